#ifndef WRENFALL_FALLBACK_HANDLER_ANNOTATION_SNAPSHOT_H_
#define WRENFALL_FALLBACK_HANDLER_ANNOTATION_SNAPSHOT_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace crashpad::internal {

constexpr size_t kMaxLiveAnnotations = 200;

// A copy of a live annotation of the client.
struct LiveAnnotation {
  std::string name;
  uint16_t type = 0;
  std::string value;
};

// Copies `size` bytes at the client's `address` to `buffer`; true only when it copied all of them.
using ReadMemory = std::function<bool(uint64_t address, void* buffer, size_t size)>;

// Reads the annotations that are set, newest first, from the list whose head pointer lies at
// `list_head`. The memory belongs to a crashed process and may contain anything: a bad entry is left
// out, a bad link ends the list, and at most kMaxLiveAnnotations entries are read, cleared ones
// included.
std::vector<LiveAnnotation> read_live_annotations(const ReadMemory& read_memory,
                                                  uint64_t list_head);

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_HANDLER_ANNOTATION_SNAPSHOT_H_
