#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "monitor/claimed_dump.h"
#include "support/file_times_win.h"
#include "support/open_file_win.h"
#include "support/positioned_io_win.h"
#include "support/system_path_win.h"

namespace wrenfall::monitor {
namespace {

ClaimedDump::State state_after(DWORD error) {
  switch (error) {
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    // A handler may mark its file for deletion until the dump is complete; such a file cannot be
    // opened at all.
    case ERROR_ACCESS_DENIED:
    case ERROR_DELETE_PENDING:
      return ClaimedDump::State::kBusy;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return ClaimedDump::State::kGone;
    default:
      return ClaimedDump::State::kFailed;
  }
}

}  // namespace

void ClaimedDump::Closer::operator()(void* file) const { CloseHandle(file); }

ClaimedDump::ClaimedDump(const std::filesystem::path& path) {
  // The open fails while another process has the file open for writing. Because it shares no deletion,
  // no other process can rename the file or claim it afterwards.
  const auto open = [&](DWORD access) {
    ScopedFile file = open_file(path, access | DELETE, FILE_SHARE_READ);
    const bool opened = static_cast<bool>(file);
    file_.reset(opened ? file.release() : nullptr);
    return opened;
  };
  constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;
  bool claimed = open(kReadWrite);
  // Another program that only reads the file keeps it from being opened for writing. But the handler
  // may also have finished the file between two attempts: then it can be written to now.
  if (!claimed && open(GENERIC_READ)) {
    file_.reset();
    claimed = open(kReadWrite) || open(GENERIC_READ);
  }
  if (claimed) {
    state_ = State::kClaimed;
    return;
  }
  error_ = GetLastError();
  state_ = state_after(error_);
}

uint64_t ClaimedDump::size() const {
  LARGE_INTEGER size{};
  return GetFileSizeEx(file_.get(), &size) ? static_cast<uint64_t>(size.QuadPart) : 0;
}

bool ClaimedDump::read_at(uint64_t offset, void* buffer, size_t size) const {
  return read_file_at(file_.get(), offset, buffer, size);
}

bool ClaimedDump::write_at(uint64_t offset, const void* data, size_t size) {
  if (write_file_at(file_.get(), offset, data, size)) return true;
  error_ = GetLastError();
  return false;
}

minidump::ReadAt ClaimedDump::reader() const {
  return [this](uint64_t offset, void* buffer, size_t count) {
    return read_at(offset, buffer, count);
  };
}

std::chrono::seconds ClaimedDump::age() const {
  FILETIME written{};
  FILETIME now{};
  if (!GetFileTime(file_.get(), nullptr, nullptr, &written)) return std::chrono::seconds(0);
  GetSystemTimeAsFileTime(&now);
  const uint64_t from = ticks_of(written);
  const uint64_t to = ticks_of(now);
  return std::chrono::seconds((to < from ? from - to : to - from) / kTicksPerSecond);
}

bool ClaimedDump::move_to(const std::filesystem::path& target) {
  // Renamed through the open handle, so that the claim is never interrupted. The structure ends in an
  // array of one character; the name and its NUL extend beyond it.
  const std::wstring name = system_path(target);
  const size_t name_bytes = (name.size() + 1) * sizeof(wchar_t);
  std::vector<uint64_t> buffer((sizeof(FILE_RENAME_INFO) + name_bytes) / sizeof(uint64_t) + 1);
  auto* const info = reinterpret_cast<FILE_RENAME_INFO*>(buffer.data());
  info->ReplaceIfExists = FALSE;
  info->FileNameLength = static_cast<DWORD>(name.size() * sizeof(wchar_t));
  std::memcpy(info->FileName, name.c_str(), name_bytes);
  const auto bytes = static_cast<DWORD>(buffer.size() * sizeof(uint64_t));
  if (SetFileInformationByHandle(file_.get(), FileRenameInfo, info, bytes)) return true;
  error_ = GetLastError();
  return false;
}

}  // namespace wrenfall::monitor
