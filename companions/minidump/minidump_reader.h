#ifndef WRENFALL_COMPANIONS_MINIDUMP_MINIDUMP_READER_H_
#define WRENFALL_COMPANIONS_MINIDUMP_MINIDUMP_READER_H_

#include <cstdint>
#include <optional>

#include "minidump/annotation_stream.h"
#include "minidump/minidump_layout.h"

namespace wrenfall::minidump {

// What the companions need to know of a dump.
struct DumpFacts {
  uint32_t time_stamp = 0;             // seconds since 1970-01-01 UTC, 0 when the dump does not say
  uint64_t type_flags = 0;             // MINIDUMP_TYPE (minidumpapiset.h)
  std::optional<uint32_t> crash_code;  // a dump on demand has one, too
  DumpAnnotations annotations;

  // The code of a real exception.
  std::optional<uint32_t> real_exception_code() const {
    return crash_code == kSimulatedExceptionCode ? std::nullopt : crash_code;
  }
};

// Reads a minidump of `size` bytes. Nothing when the file is no minidump, is cut short, or contradicts
// itself. Only the directories and annotations are read, piece by piece, so the size of the dump does
// not matter. The dump comes from a crashed process and may contain anything: every offset, length and
// count in it is checked.
std::optional<DumpFacts> read_minidump(const ReadAt& read, uint64_t size);

// Whether the file is only the beginning of a dump: its writer was ended in the middle, or the disk was
// full. Some writers write the signature last, so its place may still be empty. False for a whole dump,
// and for what is no dump.
bool is_cut_short(const ReadAt& read, uint64_t size);

}  // namespace wrenfall::minidump

#endif  // WRENFALL_COMPANIONS_MINIDUMP_MINIDUMP_READER_H_
