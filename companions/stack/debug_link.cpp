#include "stack/debug_link.h"

#include <algorithm>
#include <array>
#include <vector>

namespace wrenfall::stack {
namespace {

constexpr size_t kPiece = size_t{256} * 1024;

std::array<uint32_t, 256> make_table() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < table.size(); ++i) {
    uint32_t rest = i;
    for (int bit = 0; bit < 8; ++bit) rest = rest >> 1 ^ ((rest & 1) != 0 ? 0xEDB88320 : 0);
    table[i] = rest;
  }
  return table;
}

}  // namespace

std::optional<DebugLink> parse_debug_link(const std::string& section) {
  const size_t end = section.find('\0');
  if (end == std::string::npos || end == 0) return std::nullopt;
  const size_t checksum = (end + 4) / 4 * 4;
  if (checksum + 4 > section.size()) return std::nullopt;
  DebugLink link{section.substr(0, end), 0};
  if (link.file.find_first_of("\\/:") != std::string::npos) return std::nullopt;
  link.checksum = minidump::u32_at(reinterpret_cast<const uint8_t*>(section.data()), checksum);
  return link;
}

std::optional<uint32_t> link_checksum(const minidump::ReadAt& read, uint64_t size) {
  static const std::array<uint32_t, 256> kTable = make_table();
  std::vector<uint8_t> piece;
  uint32_t sum = 0xFFFFFFFF;
  for (uint64_t done = 0; done < size; done += piece.size()) {
    piece.resize(static_cast<size_t>(std::min<uint64_t>(kPiece, size - done)));
    if (!read(done, piece.data(), piece.size())) return std::nullopt;
    for (const uint8_t byte : piece) sum = sum >> 8 ^ kTable[(sum ^ byte) & 0xFF];
  }
  return ~sum;
}

}  // namespace wrenfall::stack
