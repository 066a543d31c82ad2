#include "minidump/exception_thread.h"

#include "minidump/list_stream.h"
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

// Where the registers of a thread lie; nothing when the thread is not in the list, or the list is
// damaged.
std::optional<DumpLocation> find_thread(const DumpBytes& dump, const Stream& list, uint32_t id) {
  const auto threads = find_list(dump, list.place, kThreadBytes);
  std::optional<DumpLocation> found;
  if (!threads || threads->count > kMaxThreads) return found;
  for_each_entry(dump, *threads, kThreadBytes, [&found, id](const uint8_t* thread) {
    if (u32_at(thread, 0) == id) found = location_at(thread, kThreadContextPlace);
    return !found;
  });
  return found;
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
