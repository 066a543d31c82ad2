#ifndef WRENFALL_COMPANIONS_MINIDUMP_MINIDUMP_READER_H_
#define WRENFALL_COMPANIONS_MINIDUMP_MINIDUMP_READER_H_

#include <cstdint>
#include <optional>

#include "minidump/annotation_stream.h"
#include "minidump/minidump_layout.h"

namespace wrenfall::minidump {

// What the monitor needs to know of a dump.
struct DumpFacts {
  uint32_t time_stamp = 0;  // seconds since 1970-01-01 UTC, 0 when the dump does not tell
  std::optional<uint32_t> exception_code;
  DumpAnnotations annotations;
};

// Reads a minidump of `size` bytes; nothing when the file is not one, is cut short, or contradicts
// itself. Reads the directories and annotations alone, piece by piece: the size of the dump does
// not matter. The dump comes from a process that crashed and may hold anything; no offset, length
// or count in it is trusted.
std::optional<DumpFacts> read_minidump(const ReadAt& read, uint64_t size);

}  // namespace wrenfall::minidump

#endif  // WRENFALL_COMPANIONS_MINIDUMP_MINIDUMP_READER_H_
