#include "minidump/memory_map.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "minidump/list_stream.h"

namespace wrenfall::minidump {
namespace {

constexpr size_t kRangeBytes = 16;
constexpr uint64_t kMaxRanges = uint64_t{1024} * 1024;

// Entries of MINIDUMP_MEMORY_DESCRIPTOR: an address, and where the bytes lie.
bool read_short_list(const DumpBytes& dump, const Stream& stream,
                     std::vector<MemoryRange>& ranges) {
  const auto list = find_list(dump, stream.place, kRangeBytes);
  return list && list->count <= kMaxRanges &&
         for_each_entry(dump, *list, kRangeBytes, [&ranges](const uint8_t* entry) {
           const DumpLocation place = location_at(entry, 8);
           ranges.push_back({u64_at(entry, 0), place.size, place.rva});
           return true;
         });
}

// Entries of MINIDUMP_MEMORY_DESCRIPTOR64: an address and a size. Their bytes follow one another from
// an offset in front of the entries.
bool read_long_list(const DumpBytes& dump, const Stream& stream, std::vector<MemoryRange>& ranges) {
  std::array<uint8_t, 16> head{};
  if (!dump.read(stream.place, head)) return false;
  const ListPlace list{uint64_t{stream.place.rva} + head.size(), u64_at(head.data(), 0)};
  if (list.count > kMaxRanges || list.count > (stream.place.size - head.size()) / kRangeBytes) {
    return false;
  }
  uint64_t offset = u64_at(head.data(), 8);
  return for_each_entry(dump, list, kRangeBytes, [&](const uint8_t* entry) {
    const uint64_t size = u64_at(entry, 8);
    ranges.push_back({u64_at(entry, 0), size, offset});
    const bool fits = size <= std::numeric_limits<uint64_t>::max() - offset;
    offset += size;
    return fits;
  });
}

}  // namespace

MemoryMap::MemoryMap(const DumpBytes& dump, std::vector<MemoryRange> ranges) : dump_(dump) {
  std::sort(ranges.begin(), ranges.end(), [](const MemoryRange& a, const MemoryRange& b) {
    return a.address != b.address ? a.address < b.address : a.size > b.size;
  });
  uint64_t end = 0;  // of what is covered so far
  for (MemoryRange& range : ranges) {
    if (range.size == 0 || !dump.holds(range.offset, range.size)) continue;
    if (range.size > std::numeric_limits<uint64_t>::max() - range.address) continue;
    const uint64_t covered = end > range.address ? end - range.address : 0;
    if (covered >= range.size) continue;
    range = {range.address + covered, range.size - covered, range.offset + covered};
    end = range.address + range.size;
    ranges_.push_back(range);
  }
}

size_t MemoryMap::read(uint64_t address, void* buffer, size_t size) const {
  auto next = std::upper_bound(
      ranges_.begin(), ranges_.end(), address,
      [](uint64_t wanted, const MemoryRange& range) { return wanted < range.address; });
  if (next != ranges_.begin()) --next;
  size_t done = 0;
  for (; done < size && next != ranges_.end(); ++next) {
    const uint64_t from = address + done;
    if (from < next->address || from - next->address >= next->size) break;
    const uint64_t skipped = from - next->address;
    const auto piece = static_cast<size_t>(std::min<uint64_t>(size - done, next->size - skipped));
    if (!dump_.read(next->offset + skipped, static_cast<uint8_t*>(buffer) + done, piece)) break;
    done += piece;
  }
  return done;
}

std::vector<MemoryRange> read_memory_ranges(const DumpBytes& dump, const StreamDirectory& directory,
                                            bool& damaged) {
  std::vector<MemoryRange> ranges;
  if (const Stream* const list = directory.find(kMemoryList)) {
    damaged = !read_short_list(dump, *list, ranges) || damaged;
  }
  if (const Stream* const list = directory.find(kMemory64List)) {
    damaged = !read_long_list(dump, *list, ranges) || damaged;
  }
  return ranges;
}

}  // namespace wrenfall::minidump
