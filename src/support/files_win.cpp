#include <windows.h>

#include <algorithm>
#include <string_view>

#include "support/files.h"
#include "support/win_handle.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

constexpr size_t kLargestRead = size_t{1} << 30;
constexpr int kReplaceAttempts = 20;
constexpr DWORD kReplacePauseMs = 5;

struct FindHandleTraits {
  using Handle = HANDLE;
  static Handle empty() { return INVALID_HANDLE_VALUE; }
  static void close(Handle handle) { FindClose(handle); }
};

// Calls `visit` for each entry of a folder but "." and "..". Asks the system itself: the directory
// iterator of some runtimes takes no path of more than 260 characters, and follows junctions as if
// they were folders. An error after the first entry is returned.
template <typename Visit>
DWORD for_each_entry(const fs::path& folder, Visit visit) {
  WIN32_FIND_DATAW entry{};
  const ScopedHandle<FindHandleTraits> search(FindFirstFileW((folder / L"*").c_str(), &entry));
  if (!search) return ERROR_SUCCESS;
  do {
    const std::wstring_view name = entry.cFileName;
    if (name != L"." && name != L"..") visit(entry);
  } while (FindNextFileW(search.get(), &entry));
  const DWORD error = GetLastError();
  return error == ERROR_NO_MORE_FILES ? ERROR_SUCCESS : error;
}

void remove_entry(const fs::path& path, DWORD attributes) {
  // A read-only file or folder cannot be deleted.
  if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    SetFileAttributesW(path.c_str(), attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
  }
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    DeleteFileW(path.c_str());
  } else if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    // The link alone, not what it leads to.
    RemoveDirectoryW(path.c_str());
  } else {
    remove_folder(path);
  }
}

}  // namespace

std::vector<fs::path> list_folder(const fs::path& folder) {
  std::vector<fs::path> entries;
  const DWORD error = for_each_entry(
      folder, [&](const WIN32_FIND_DATAW& entry) { entries.push_back(folder / entry.cFileName); });
  if (error != ERROR_SUCCESS) {
    throw DirectoryIterationError(folder,
                                  std::error_code(static_cast<int>(error), std::system_category()));
  }
  return entries;
}

bool remove_folder(const fs::path& folder) {
  if (RemoveDirectoryW(folder.c_str())) return true;
  for_each_entry(folder, [&](const WIN32_FIND_DATAW& entry) {
    remove_entry(folder / entry.cFileName, entry.dwFileAttributes);
  });
  return RemoveDirectoryW(folder.c_str()) != FALSE;
}

bool read_file(const fs::path& path, std::string& bytes) {
  const ScopedFile file(CreateFileW(path.c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  LARGE_INTEGER size{};
  if (!file || !GetFileSizeEx(file.get(), &size)) return false;
  bytes.resize(static_cast<size_t>(size.QuadPart));
  // One call reads at most 4 GiB, and a file that shrinks meanwhile ends early.
  for (size_t done = 0; done < bytes.size();) {
    const auto wanted = static_cast<DWORD>(std::min<size_t>(bytes.size() - done, kLargestRead));
    DWORD got = 0;
    if (!ReadFile(file.get(), bytes.data() + done, wanted, &got, nullptr)) return false;
    done += got;
    if (got == 0) bytes.resize(done);
  }
  return true;
}

bool replace_file(const fs::path& from, const fs::path& to) {
  for (int attempt = 1;; ++attempt) {
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING)) return true;
    const DWORD error = GetLastError();
    // Readers and virus scanners hold a file for moments only.
    const bool in_use = error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
    if (!in_use || attempt == kReplaceAttempts) return false;
    Sleep(kReplacePauseMs);
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
  ULARGE_INTEGER time{};
  time.LowPart = data.ftLastWriteTime.dwLowDateTime;
  time.HighPart = data.ftLastWriteTime.dwHighDateTime;
  return static_cast<int64_t>(time.QuadPart);
}

bool copy_file_over(const fs::path& from, const fs::path& to) {
  return CopyFileW(from.c_str(), to.c_str(), FALSE) != FALSE;
}

}  // namespace wrenfall
