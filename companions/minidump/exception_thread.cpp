#include "minidump/exception_thread.h"

#include <algorithm>
#include <array>

#include "minidump/stream_directory.h"

namespace wrenfall::minidump {
namespace {

// MINIDUMP_EXCEPTION_STREAM (minidumpapiset.h): the thread's id, a filler, the exception of 152
// bytes, and the location of the registers.
constexpr size_t kExceptionStreamBytes = 168;
constexpr size_t kContextPlace = 160;

// MINIDUMP_THREAD begins with the thread's id and ends with the location of the registers.
constexpr size_t kThreadBytes = 48;
constexpr size_t kThreadContextPlace = 40;
constexpr size_t kThreadsPerRead = 1024;
constexpr uint64_t kMaxThreads = uint64_t{1024} * 1024;

std::vector<uint8_t> bytes_of(uint32_t number) {
  return {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8),
          static_cast<uint8_t>(number >> 16), static_cast<uint8_t>(number >> 24)};
}

std::vector<uint8_t> bytes_of(const DumpLocation& place) {
  std::vector<uint8_t> bytes = bytes_of(place.size);
  const std::vector<uint8_t> rva = bytes_of(place.rva);
  bytes.insert(bytes.end(), rva.begin(), rva.end());
  return bytes;
}

// Where the registers of a thread lie; nothing when the thread is not in the list, or the list does
// not fit into its stream. Some writers align the entries to 8 bytes.
std::optional<DumpLocation> find_thread(const DumpBytes& dump, const Stream& list, uint32_t id) {
  std::array<uint8_t, 4> head{};
  if (!dump.read(list.place, head)) return std::nullopt;
  uint64_t left = u32_at(head.data(), 0);
  const uint64_t room = list.place.size - head.size();
  if (left > kMaxThreads || left * kThreadBytes > room) return std::nullopt;
  uint64_t offset = uint64_t{list.place.rva} + head.size();
  if (room == left * kThreadBytes + 4) offset += 4;
  std::vector<uint8_t> threads;
  while (left > 0) {
    threads.resize(static_cast<size_t>(std::min<uint64_t>(left, kThreadsPerRead)) * kThreadBytes);
    if (!dump.read(offset, threads.data(), threads.size())) return std::nullopt;
    for (size_t at = 0; at < threads.size(); at += kThreadBytes) {
      if (u32_at(threads.data(), at) == id) {
        return location_at(threads.data(), at + kThreadContextPlace);
      }
    }
    offset += threads.size();
    left -= threads.size() / kThreadBytes;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::vector<DumpPatch>> name_exception_thread(const ReadAt& read, uint64_t size,
                                                            uint32_t thread_id,
                                                            ShownContext context) {
  const DumpBytes dump(read, size);
  const auto directory = read_stream_directory(dump);
  if (!directory) return std::nullopt;
  const Stream* const exception = directory->find(kException);
  const Stream* const threads = directory->find(kThreadList);
  if (exception == nullptr || exception->place.size < kExceptionStreamBytes || threads == nullptr) {
    return std::nullopt;
  }
  const auto registers = find_thread(dump, *threads, thread_id);
  if (!registers) return std::nullopt;

  std::vector<DumpPatch> patches = {{exception->place.rva, bytes_of(thread_id)}};
  if (context == ShownContext::kThreadsOwn) {
    if (registers->size == 0 || !dump.holds(registers->rva, registers->size)) return std::nullopt;
    patches.push_back({uint64_t{exception->place.rva} + kContextPlace, bytes_of(*registers)});
  }
  return patches;
}

}  // namespace wrenfall::minidump
