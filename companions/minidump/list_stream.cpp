#include "minidump/list_stream.h"

#include <algorithm>
#include <array>
#include <vector>

namespace wrenfall::minidump {
namespace {

constexpr size_t kEntriesPerRead = 1024;

}  // namespace

std::optional<ListPlace> find_list(const DumpBytes& dump, const DumpLocation& stream,
                                   size_t entry_bytes) {
  std::array<uint8_t, 4> head{};
  if (!dump.read(stream, head)) return std::nullopt;
  ListPlace list{uint64_t{stream.rva} + head.size(), u32_at(head.data(), 0)};
  const uint64_t room = stream.size - head.size();
  if (list.count > room / entry_bytes) return std::nullopt;
  if (room == list.count * entry_bytes + 4) list.offset += 4;
  return list;
}

bool for_each_entry(const DumpBytes& dump, const ListPlace& list, size_t entry_bytes,
                    const std::function<bool(const uint8_t* entry)>& use) {
  std::vector<uint8_t> entries;
  uint64_t offset = list.offset;
  for (uint64_t left = list.count; left > 0;) {
    const uint64_t piece = std::min<uint64_t>(left, kEntriesPerRead);
    entries.resize(static_cast<size_t>(piece) * entry_bytes);
    if (!dump.read(offset, entries.data(), entries.size())) return false;
    for (size_t at = 0; at < entries.size(); at += entry_bytes) {
      if (!use(entries.data() + at)) return true;
    }
    offset += entries.size();
    left -= piece;
  }
  return true;
}

}  // namespace wrenfall::minidump
