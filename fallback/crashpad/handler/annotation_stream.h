#ifndef WRENFALL_FALLBACK_HANDLER_ANNOTATION_STREAM_H_
#define WRENFALL_FALLBACK_HANDLER_ANNOTATION_STREAM_H_

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "handler/annotation_snapshot.h"

namespace crashpad::internal {

constexpr uint32_t kAnnotationStreamType = 0x43500001;

// The part of the stream that the dump's directory points to. All that it refers to follows it.
constexpr uint32_t kAnnotationStreamHeaderSize = 52;

// In the byte order of a GUID in memory.
using Uuid = std::array<uint8_t, 16>;

struct AnnotationStreamContent {
  Uuid report_id = {};
  Uuid client_id = {};
  std::vector<std::pair<std::string, std::string>> start_up;
  std::vector<LiveAnnotation> live;
};

// Builds the stream for the offset `file_offset` of the dump. The size does not depend on that offset,
// and all offsets in the stream must fit into 32 bits. Live annotations become those of module 0, the
// program.
std::vector<uint8_t> build_annotation_stream(const AnnotationStreamContent& content,
                                             uint32_t file_offset);

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_HANDLER_ANNOTATION_STREAM_H_
