#include "minidump/stream_directory.h"

#include <algorithm>
#include <array>

namespace wrenfall::minidump {
namespace {

constexpr uint32_t kVersion = 0xA793;  // the lower half; the upper one is the writer's own
constexpr uint32_t kMaxStreams = 1024;
constexpr size_t kEntryBytes = 12;

}  // namespace

const Stream* StreamDirectory::find(uint32_t type) const {
  const auto found = std::find_if(streams.begin(), streams.end(),
                                  [type](const Stream& stream) { return stream.type == type; });
  return found == streams.end() ? nullptr : &*found;
}

std::optional<StreamDirectory> read_stream_directory(const DumpBytes& dump, CutStreams cut) {
  std::array<uint8_t, 32> header{};
  if (!dump.read(0, header.data(), header.size())) return std::nullopt;
  if (u32_at(header.data(), 0) != kSignature) return std::nullopt;
  if ((u32_at(header.data(), 4) & 0xFFFF) != kVersion) return std::nullopt;
  const uint32_t count = u32_at(header.data(), 8);
  if (count > kMaxStreams) return std::nullopt;

  StreamDirectory directory;
  directory.time_stamp = u32_at(header.data(), 20);
  directory.type_flags = u64_at(header.data(), 24);
  std::vector<uint8_t> entries(count * kEntryBytes);
  if (!entries.empty() && !dump.read(u32_at(header.data(), 12), entries.data(), entries.size())) {
    return std::nullopt;
  }
  for (size_t entry = 0; entry < entries.size(); entry += kEntryBytes) {
    const Stream stream{u32_at(entries.data(), entry), location_at(entries.data(), entry + 4)};
    if (dump.holds(stream.place.rva, stream.place.size)) {
      directory.streams.push_back(stream);
    } else if (cut == CutStreams::kRefuse) {
      return std::nullopt;
    } else {
      directory.left_out = true;
    }
  }
  return directory;
}

}  // namespace wrenfall::minidump
