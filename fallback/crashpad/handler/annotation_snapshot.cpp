#include "handler/annotation_snapshot.h"

#include <algorithm>
#include <array>
#include <optional>

#include "common/client_protocol.h"

namespace crashpad::internal {
namespace {

constexpr uint64_t kPageSize = 4096;

// A name literal may lie at the very end of readable memory. Then only the rest of its page is read.
std::optional<std::string> read_name(const ReadMemory& read_memory, uint64_t address) {
  std::array<char, kAnnotationNameBytes> bytes = {};
  if (!read_memory(address, bytes.data(), bytes.size())) {
    const uint64_t left_in_page = kPageSize - address % kPageSize;
    if (left_in_page >= bytes.size() ||
        !read_memory(address, bytes.data(), static_cast<size_t>(left_in_page))) {
      return std::nullopt;
    }
  }
  return std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), '\0'));
}

std::optional<LiveAnnotation> read_annotation(const ReadMemory& read_memory,
                                              const AnnotationImage& image) {
  if (image.size == 0 || image.size > kAnnotationMaxValueBytes) return std::nullopt;
  const std::optional<std::string> name = read_name(read_memory, image.name);
  if (!name || name->empty()) return std::nullopt;
  LiveAnnotation annotation{*name, image.type, std::string(image.size, '\0')};
  if (!read_memory(image.value, annotation.value.data(), annotation.value.size())) {
    return std::nullopt;
  }
  return annotation;
}

}  // namespace

std::vector<LiveAnnotation> read_live_annotations(const ReadMemory& read_memory,
                                                  uint64_t list_head) {
  std::vector<LiveAnnotation> annotations;
  uint64_t address = 0;
  if (!read_memory(list_head, &address, sizeof(address))) return annotations;
  for (size_t i = 0; i < kMaxLiveAnnotations; ++i) {
    AnnotationImage image = {};
    if (!read_memory(address, &image, sizeof(image)) || image.link == 0) break;
    if (auto annotation = read_annotation(read_memory, image)) {
      annotations.push_back(std::move(*annotation));
    }
    address = image.link;
  }
  return annotations;
}

}  // namespace crashpad::internal
