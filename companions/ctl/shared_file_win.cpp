#include <windows.h>

#include "ctl/shared_file.h"

namespace wrenfall::ctl {

void SharedFile::Closer::operator()(void* file) const { CloseHandle(file); }

SharedFile::SharedFile(const std::filesystem::path& path) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) file_.reset(file);
}

uint64_t SharedFile::size() const {
  LARGE_INTEGER size{};
  return is_open() && GetFileSizeEx(file_.get(), &size) ? static_cast<uint64_t>(size.QuadPart) : 0;
}

bool SharedFile::read_at(uint64_t offset, void* buffer, size_t size) const {
  if (!is_open() || size > MAXDWORD) return false;
  OVERLAPPED position{};
  position.Offset = static_cast<DWORD>(offset);
  position.OffsetHigh = static_cast<DWORD>(offset >> 32);
  DWORD got = 0;
  return ReadFile(file_.get(), buffer, static_cast<DWORD>(size), &got, &position) && got == size;
}

}  // namespace wrenfall::ctl
