#include <windows.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "support/file_times_win.h"
#include "support/files.h"
#include "support/win_handle.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

constexpr size_t kLargestRead = size_t{1} << 30;
// Readers and virus scanners hold a file for moments only.
constexpr int kInUseAttempts = 20;
constexpr DWORD kInUsePauseMs = 5;

struct FindHandleTraits {
  using Handle = HANDLE;
  static Handle empty() { return INVALID_HANDLE_VALUE; }
  static void close(Handle handle) { FindClose(handle); }
};

// Calls `visit` for each entry of a folder but "." and "..". Asks the system itself: the directory
// iterator of some runtimes takes no path of more than 260 characters, and follows junctions as if
// they were folders. False when the folder cannot be opened; `error` is set when the listing breaks
// off in the middle.
template <typename Visit>
bool for_each_entry(const fs::path& folder, DWORD& error, Visit visit) {
  error = ERROR_SUCCESS;
  WIN32_FIND_DATAW entry{};
  const ScopedHandle<FindHandleTraits> search(FindFirstFileW((folder / L"*").c_str(), &entry));
  if (!search) return false;
  do {
    const std::wstring_view name = entry.cFileName;
    if (name != L"." && name != L"..") visit(folder / entry.cFileName);
  } while (FindNextFileW(search.get(), &entry));
  error = GetLastError();
  if (error == ERROR_NO_MORE_FILES) error = ERROR_SUCCESS;
  return true;
}

ScopedFile open_for_reading(const fs::path& path) {
  for (int attempt = 1;; ++attempt) {
    ScopedFile file(CreateFileW(path.c_str(), GENERIC_READ,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file || GetLastError() != ERROR_SHARING_VIOLATION || attempt == kInUseAttempts) return file;
    Sleep(kInUsePauseMs);
  }
}

// The end of a read that failed: false, unless the system itself lacked memory for it.
bool fail_reading() {
  switch (GetLastError()) {
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
    case ERROR_NO_SYSTEM_RESOURCES:
    case ERROR_WORKING_SET_QUOTA:
    case ERROR_COMMITMENT_LIMIT:
      throw std::bad_alloc();
    default:
      return false;
  }
}

DWORD attributes_of(const fs::path& path) { return GetFileAttributesW(path.c_str()); }

}  // namespace

std::vector<fs::path> list_folder(const fs::path& folder, bool* opened) {
  std::vector<fs::path> entries;
  DWORD error = ERROR_SUCCESS;
  const bool found =
      for_each_entry(folder, error, [&](fs::path entry) { entries.push_back(std::move(entry)); });
  if (opened != nullptr) *opened = found;
  if (error != ERROR_SUCCESS) {
    throw DirectoryIterationError(folder,
                                  std::error_code(static_cast<int>(error), std::system_category()));
  }
  return entries;
}

bool path_exists(const fs::path& path) { return attributes_of(path) != INVALID_FILE_ATTRIBUTES; }

bool is_file(const fs::path& path) {
  const DWORD attributes = attributes_of(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool is_folder(const fs::path& path) {
  const DWORD attributes = attributes_of(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool is_link(const fs::path& path) {
  const DWORD attributes = attributes_of(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

bool is_disk_file(const fs::path& path) {
  if (!is_file(path)) return false;
  // Without any access right, so that no other program is in the way.
  const ScopedFile file(CreateFileW(path.c_str(), 0,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (file) return GetFileType(file.get()) == FILE_TYPE_DISK;
  const DWORD error = GetLastError();
  return error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND &&
         error != ERROR_CANT_RESOLVE_FILENAME;
}

bool remove_entry(const fs::path& path) {
  const DWORD attributes = attributes_of(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) return true;
  // What is read-only cannot be deleted.
  if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    SetFileAttributesW(path.c_str(), attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
  }
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return DeleteFileW(path.c_str()) != FALSE;
  if (RemoveDirectoryW(path.c_str())) return true;
  const bool is_link = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  if (is_link || GetLastError() != ERROR_DIR_NOT_EMPTY) return false;
  DWORD error = ERROR_SUCCESS;
  for_each_entry(path, error, [](const fs::path& entry) { remove_entry(entry); });
  return RemoveDirectoryW(path.c_str()) != FALSE;
}

bool remove_folder(const fs::path& folder) { return !is_file(folder) && remove_entry(folder); }

bool read_file(const fs::path& path, std::string& bytes, uint64_t max_bytes) {
  const ScopedFile file = open_for_reading(path);
  LARGE_INTEGER size{};
  if (!file || !GetFileSizeEx(file.get(), &size)) return fail_reading();
  if (static_cast<uint64_t>(size.QuadPart) > max_bytes) return false;
  // A string of that length is beyond any memory, which bad_alloc is to say here too.
  if (static_cast<uint64_t>(size.QuadPart) > bytes.max_size()) throw std::bad_alloc();
  bytes.resize(static_cast<size_t>(size.QuadPart));
  // One call reads at most 4 GiB, and a file that shrinks meanwhile ends early.
  for (size_t done = 0; done < bytes.size();) {
    const auto wanted = static_cast<DWORD>(std::min<size_t>(bytes.size() - done, kLargestRead));
    DWORD got = 0;
    if (!ReadFile(file.get(), bytes.data() + done, wanted, &got, nullptr)) {
      return fail_reading();
    }
    done += got;
    if (got == 0) bytes.resize(done);
  }
  return true;
}

bool replace_file(const fs::path& from, const fs::path& to) {
  for (int attempt = 1;; ++attempt) {
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING)) return true;
    const DWORD error = GetLastError();
    const bool in_use = error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
    if (!in_use || attempt == kInUseAttempts) return false;
    Sleep(kInUsePauseMs);
  }
}

bool append_to_file(const fs::path& path, std::string_view bytes) {
  // With FILE_APPEND_DATA alone the system itself moves each write to the end of the file, so that
  // lines of several processes do not overwrite each other.
  const ScopedFile file(CreateFileW(path.c_str(), FILE_APPEND_DATA,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file || bytes.size() > MAXDWORD) return false;
  DWORD written = 0;
  return WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
         written == bytes.size();
}

std::FILE* open_for_writing(const fs::path& path) { return _wfopen(path.c_str(), L"wb"); }

std::optional<int64_t> file_write_time(const fs::path& path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return std::nullopt;
  if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return std::nullopt;
  return static_cast<int64_t>(ticks_of(data.ftLastWriteTime));
}

int64_t file_time_now() {
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  return static_cast<int64_t>(ticks_of(now));
}

bool copy_file_over(const fs::path& from, const fs::path& to) {
  return CopyFileW(from.c_str(), to.c_str(), FALSE) != FALSE;
}

}  // namespace wrenfall
