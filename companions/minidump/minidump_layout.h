#ifndef WRENFALL_COMPANIONS_MINIDUMP_MINIDUMP_LAYOUT_H_
#define WRENFALL_COMPANIONS_MINIDUMP_MINIDUMP_LAYOUT_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace wrenfall::minidump {

// Copies `size` bytes at `offset` of a file to `buffer`; true only when it copied all of them.
using ReadAt = std::function<bool(uint64_t offset, void* buffer, size_t size)>;

// The exception code that the client library gives to a dump on demand, which has no exception. Every other
// code is that of a real one.
inline constexpr uint32_t kSimulatedExceptionCode = 0x0517A7ED;

// A place in a dump. The offset counts from the start of the file.
struct DumpLocation {
  uint32_t size = 0;
  uint32_t rva = 0;
};

inline constexpr size_t kLocationBytes = 8;

// Little-endian numbers at an offset in bytes that were read from a dump. The caller has checked
// that they lie inside.
inline uint32_t u32_at(const uint8_t* bytes, size_t offset) {
  return static_cast<uint32_t>(bytes[offset]) | static_cast<uint32_t>(bytes[offset + 1]) << 8 |
         static_cast<uint32_t>(bytes[offset + 2]) << 16 |
         static_cast<uint32_t>(bytes[offset + 3]) << 24;
}

inline uint64_t u64_at(const uint8_t* bytes, size_t offset) {
  return u32_at(bytes, offset) | static_cast<uint64_t>(u32_at(bytes, offset + 4)) << 32;
}

inline DumpLocation location_at(const uint8_t* bytes, size_t offset) {
  return {u32_at(bytes, offset), u32_at(bytes, offset + 4)};
}

// A dump of known size whose every read is checked against that size before the file is asked. Used by
// one thread.
class DumpBytes {
 public:
  DumpBytes(ReadAt read, uint64_t size) : read_(std::move(read)), size_(size) {}

  bool holds(uint64_t offset, uint64_t count) const {
    const bool holds = offset <= size_ && count <= size_ - offset;
    ends_early_ = ends_early_ || !holds;
    return holds;
  }

  // Whether something was looked for beyond the end.
  bool ends_early() const { return ends_early_; }

  bool read(uint64_t offset, void* buffer, size_t count) const {
    return holds(offset, count) && read_(offset, buffer, count);
  }

  // Reads the first bytes of a place. The place must be at least as large, and lie in the file as a
  // whole.
  template <size_t count>
  bool read(const DumpLocation& place, std::array<uint8_t, count>& bytes) const {
    return place.size >= count && holds(place.rva, place.size) &&
           read(place.rva, bytes.data(), count);
  }

 private:
  const ReadAt read_;
  const uint64_t size_;
  mutable bool ends_early_ = false;
};

}  // namespace wrenfall::minidump

#endif  // WRENFALL_COMPANIONS_MINIDUMP_MINIDUMP_LAYOUT_H_
