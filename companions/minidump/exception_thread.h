#ifndef WRENFALL_COMPANIONS_MINIDUMP_EXCEPTION_THREAD_H_
#define WRENFALL_COMPANIONS_MINIDUMP_EXCEPTION_THREAD_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "minidump/minidump_layout.h"

namespace wrenfall::minidump {

// Bytes to write over those of a dump, at an offset from the start of the file.
struct DumpPatch {
  uint64_t offset = 0;
  std::vector<uint8_t> bytes;
};

// Which registers the exception stream shows after the change.
enum class ShownContext {
  kUnchanged,   // those that the stream already refers to
  kThreadsOwn,  // those of the thread in the thread list
};

// What must be written into a dump of `size` bytes so that its exception stream names the thread.
// Debuggers and services show that thread first. Nothing when the dump has no exception stream, when
// the thread is not in its thread list, or when one of the two is damaged. All places are checked
// against the size of the file.
std::optional<std::vector<DumpPatch>> name_exception_thread(const ReadAt& read, uint64_t size,
                                                            uint32_t thread_id,
                                                            ShownContext context);

}  // namespace wrenfall::minidump

#endif  // WRENFALL_COMPANIONS_MINIDUMP_EXCEPTION_THREAD_H_
