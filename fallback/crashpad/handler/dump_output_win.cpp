#include "handler/dump_output_win.h"

#include "handler/manners.h"

namespace crashpad::internal {

DumpOutput::DumpOutput(const std::wstring& path)
    : file_(adopt_file(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr,
                                   CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr))) {
  // FILE_FLAG_DELETE_ON_CLOSE would do the same, but cannot be undone.
  if (file_ && kManners.removes_half_dumps && !mark_for_deletion(true)) file_.reset();
}

uint64_t DumpOutput::size() const {
  LARGE_INTEGER size = {};
  return GetFileSizeEx(file_.get(), &size) ? static_cast<uint64_t>(size.QuadPart) : 0;
}

bool DumpOutput::read_at(uint64_t offset, void* buffer, size_t size) const {
  DWORD done = 0;
  return seek(offset) && ReadFile(file_.get(), buffer, static_cast<DWORD>(size), &done, nullptr) &&
         done == size;
}

bool DumpOutput::write_at(uint64_t offset, const void* data, size_t size) {
  DWORD done = 0;
  return seek(offset) && WriteFile(file_.get(), data, static_cast<DWORD>(size), &done, nullptr) &&
         done == size;
}

bool DumpOutput::make_empty() { return seek(0) && SetEndOfFile(file_.get()); }

bool DumpOutput::commit() { return FlushFileBuffers(file_.get()) && mark_for_deletion(false); }

bool DumpOutput::seek(uint64_t offset) const {
  LARGE_INTEGER distance = {};
  distance.QuadPart = static_cast<LONGLONG>(offset);
  return SetFilePointerEx(file_.get(), distance, nullptr, FILE_BEGIN) != FALSE;
}

bool DumpOutput::mark_for_deletion(bool mark) {
  FILE_DISPOSITION_INFO disposition = {};
  disposition.DeleteFile = mark;
  return SetFileInformationByHandle(file_.get(), FileDispositionInfo, &disposition,
                                    sizeof(disposition)) != FALSE;
}

}  // namespace crashpad::internal
