#ifndef WRENFALL_COMPANIONS_MINIDUMP_LIST_STREAM_H_
#define WRENFALL_COMPANIONS_MINIDUMP_LIST_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "minidump/minidump_layout.h"

namespace wrenfall::minidump {

// The entries of a list that a stream holds.
struct ListPlace {
  uint64_t offset = 0;  // of the first entry, from the start of the file
  uint64_t count = 0;
};

// The list of a stream that is a 32-bit count followed by entries of one size. Some writers align the
// entries to 8 bytes. Nothing when the entries do not fit into the stream.
std::optional<ListPlace> find_list(const DumpBytes& dump, const DumpLocation& stream,
                                   size_t entry_bytes);

// Reads the entries in large pieces, and calls `use(entry)` for each until one call returns false.
// False when a piece cannot be read.
bool for_each_entry(const DumpBytes& dump, const ListPlace& list, size_t entry_bytes,
                    const std::function<bool(const uint8_t* entry)>& use);

}  // namespace wrenfall::minidump

#endif  // WRENFALL_COMPANIONS_MINIDUMP_LIST_STREAM_H_
