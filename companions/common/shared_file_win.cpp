#include <windows.h>

#include "common/shared_file.h"
#include "support/open_file_win.h"
#include "support/positioned_io_win.h"

namespace wrenfall {

void SharedFile::Closer::operator()(void* file) const { CloseHandle(file); }

SharedFile::SharedFile(const std::filesystem::path& path) {
  ScopedFile file = open_file(path, GENERIC_READ, kShareAll);
  if (file) file_.reset(file.release());
}

uint64_t SharedFile::size() const {
  LARGE_INTEGER size{};
  return is_open() && GetFileSizeEx(file_.get(), &size) ? static_cast<uint64_t>(size.QuadPart) : 0;
}

bool SharedFile::read_at(uint64_t offset, void* buffer, size_t size) const {
  return is_open() && read_file_at(file_.get(), offset, buffer, size);
}

}  // namespace wrenfall
