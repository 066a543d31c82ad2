#include "minidump/annotation_stream.h"

#include <array>
#include <utility>
#include <vector>

#include "support/identifiers.h"

namespace wrenfall::minidump {
namespace {

constexpr uint32_t kVersion = 1;
constexpr uint16_t kStringAnnotation = 1;

// These limits bound the work and the memory that a damaged dump can cost. They are far above what a
// handler writes: at most a few hundred live annotations of a module, 20480 bytes each.
constexpr uint32_t kMaxEntries = 4096;
constexpr uint32_t kMaxModules = 4096;
constexpr uint32_t kMaxTextBytes = 64 * 1024;
constexpr uint64_t kMaxAllTextBytes = uint64_t{16} * 1024 * 1024;

constexpr size_t kPairBytes = 8;
constexpr size_t kModuleLinkBytes = 12;
constexpr size_t kLiveBytes = 12;

class StreamReader {
 public:
  StreamReader(const DumpBytes& dump, DumpAnnotations& annotations)
      : dump_(dump), annotations_(annotations) {}

  bool read(const DumpLocation& stream) {
    std::array<uint8_t, 52> head{};
    if (!dump_.read(stream, head) || u32_at(head.data(), 0) != kVersion) return false;
    annotations_.report_id = report_id(head.data() + 4);
    return read_startup(location_at(head.data(), 36)) && read_modules(location_at(head.data(), 44));
  }

 private:
  // The system's UUID structure holds its first three parts as little-endian numbers, which are
  // written with the highest byte first.
  static std::string report_id(const uint8_t* bytes) {
    static constexpr std::array<size_t, 16> kOrder = {3, 2, 1,  0,  5,  4,  7,  6,
                                                      8, 9, 10, 11, 12, 13, 14, 15};
    std::array<unsigned char, 16> ordered{};
    for (size_t i = 0; i < kOrder.size(); ++i) ordered[i] = bytes[kOrder[i]];
    return wrenfall::uuid_text(ordered);
  }

  // Reads a list: a count, and then that many entries of one size. An absent list has no entries.
  bool read_list(const DumpLocation& list, size_t entry_bytes, uint32_t max_entries,
                 std::vector<uint8_t>& entries, uint32_t& count) const {
    entries.clear();
    count = 0;
    if (list.size == 0 && list.rva == 0) return true;
    std::array<uint8_t, 4> head{};
    if (!dump_.read(list, head)) return false;
    count = u32_at(head.data(), 0);
    if (count > max_entries) return false;
    const uint64_t bytes = uint64_t{count} * entry_bytes;
    if (bytes > list.size - head.size()) return false;
    entries.resize(static_cast<size_t>(bytes));
    return entries.empty() ||
           dump_.read(uint64_t{list.rva} + head.size(), entries.data(), entries.size());
  }

  // Reads a text: a length, and then that many bytes.
  bool read_text(uint32_t rva, std::string& text) {
    std::array<uint8_t, 4> head{};
    if (!dump_.read(rva, head.data(), head.size())) return false;
    const uint32_t length = u32_at(head.data(), 0);
    if (length > kMaxTextBytes || length > text_budget_) return false;
    text_budget_ -= length;
    text.resize(length);
    return length == 0 || dump_.read(uint64_t{rva} + head.size(), text.data(), length);
  }

  bool read_startup(const DumpLocation& list) {
    std::vector<uint8_t> entries;
    uint32_t count = 0;
    if (!read_list(list, kPairBytes, kMaxEntries, entries, count)) return false;
    for (uint32_t i = 0; i < count; ++i) {
      std::string key;
      std::string value;
      if (!read_text(u32_at(entries.data(), i * kPairBytes), key)) return false;
      if (!read_text(u32_at(entries.data(), i * kPairBytes + 4), value)) return false;
      annotations_.startup.emplace(std::move(key), std::move(value));
    }
    return true;
  }

  bool read_modules(const DumpLocation& list) {
    std::vector<uint8_t> links;
    uint32_t count = 0;
    if (!read_list(list, kModuleLinkBytes, kMaxModules, links, count)) return false;
    for (uint32_t i = 0; i < count; ++i) {
      std::array<uint8_t, 28> module{};
      if (!dump_.read(location_at(links.data(), i * kModuleLinkBytes + 4), module)) return false;
      if (u32_at(module.data(), 0) != kVersion) return false;
      if (!read_live(location_at(module.data(), 20))) return false;
    }
    return true;
  }

  bool read_live(const DumpLocation& list) {
    std::vector<uint8_t> entries;
    uint32_t count = 0;
    if (!read_list(list, kLiveBytes, kMaxEntries, entries, count)) return false;
    for (uint32_t i = 0; i < count; ++i) {
      const uint8_t* const entry = entries.data() + i * kLiveBytes;
      // The type is the lower half of this word.
      if ((u32_at(entry, 4) & 0xFFFF) != kStringAnnotation) continue;
      std::string name;
      std::string value;
      if (!read_text(u32_at(entry, 0), name) || !read_text(u32_at(entry, 8), value)) return false;
      annotations_.live.emplace(std::move(name), std::move(value));
    }
    return true;
  }

  const DumpBytes& dump_;
  DumpAnnotations& annotations_;
  uint64_t text_budget_ = kMaxAllTextBytes;
};

}  // namespace

bool read_annotation_stream(const DumpBytes& dump, const DumpLocation& stream,
                            DumpAnnotations& annotations) {
  return StreamReader(dump, annotations).read(stream);
}

}  // namespace wrenfall::minidump
