#ifndef WRENFALL_COMPANIONS_STACK_DEBUG_LINK_H_
#define WRENFALL_COMPANIONS_STACK_DEBUG_LINK_H_

#include <cstdint>
#include <optional>
#include <string>

#include "minidump/minidump_layout.h"

namespace wrenfall::stack {

// What a stripped program of the GNU tools says of the file that holds its debug information.
struct DebugLink {
  std::string file;       // its name, without a folder
  uint32_t checksum = 0;  // of all its bytes, by link_checksum()
};

// Parses the section ".gnu_debuglink": a name with a zero at its end, zeros up to a multiple of four
// bytes, and the checksum. Nothing when it is damaged or names another folder.
std::optional<DebugLink> parse_debug_link(const std::string& section);

// The CRC-32 of a file of `size` bytes; nothing when it cannot be read.
std::optional<uint32_t> link_checksum(const minidump::ReadAt& read, uint64_t size);

}  // namespace wrenfall::stack

#endif  // WRENFALL_COMPANIONS_STACK_DEBUG_LINK_H_
