#ifndef WRENFALL_SUPPORT_POSITIONED_IO_WIN_H_
#define WRENFALL_SUPPORT_POSITIONED_IO_WIN_H_

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace wrenfall {

// Reads exactly `size` bytes at an offset of a file that was opened for synchronous access. False
// when the file does not hold as many.
inline bool read_file_at(HANDLE file, uint64_t offset, void* buffer, size_t size) {
  if (size > MAXDWORD) return false;
  OVERLAPPED position{};
  position.Offset = static_cast<DWORD>(offset);
  position.OffsetHigh = static_cast<DWORD>(offset >> 32);
  DWORD done = 0;
  return ReadFile(file, buffer, static_cast<DWORD>(size), &done, &position) && done == size;
}

// Writes exactly `size` bytes at an offset. False when not all of them were written.
inline bool write_file_at(HANDLE file, uint64_t offset, const void* data, size_t size) {
  if (size > MAXDWORD) return false;
  OVERLAPPED position{};
  position.Offset = static_cast<DWORD>(offset);
  position.OffsetHigh = static_cast<DWORD>(offset >> 32);
  DWORD done = 0;
  return WriteFile(file, data, static_cast<DWORD>(size), &done, &position) && done == size;
}

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_POSITIONED_IO_WIN_H_
