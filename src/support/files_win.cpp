#include <windows.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "support/file_times_win.h"
#include "support/files.h"
#include "support/open_file_win.h"
#include "support/system_path_win.h"
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
  const ScopedHandle<FindHandleTraits> search(
      FindFirstFileW(system_path(folder / L"*").c_str(), &entry));
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
    ScopedFile file = open_file(path, GENERIC_READ, kShareAll);
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

DWORD attributes_of(const fs::path& path) { return GetFileAttributesW(system_path(path).c_str()); }

std::optional<WIN32_FILE_ATTRIBUTE_DATA> data_of(const fs::path& path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!GetFileAttributesExW(system_path(path).c_str(), GetFileExInfoStandard, &data)) {
    return std::nullopt;
  }
  return data;
}

// Opens an entry only to ask about it, so that no other program is in the way.
ScopedFile open_to_ask(const fs::path& path, DWORD flags) {
  return open_file(path, 0, kShareAll, OPEN_EXISTING, flags);
}

// Whether an entry with these attributes is a link. Of the many kinds of reparse points only some lead
// to another name; a bit of the kind says so. Where the kind is unknown, it may be a link.
bool leads_elsewhere(const fs::path& path, DWORD attributes) {
  constexpr DWORD kNameSurrogate = 0x20000000;
  if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return false;
  const ScopedFile entry =
      open_to_ask(path, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT);
  FILE_ATTRIBUTE_TAG_INFO info{};
  const bool known =
      entry && GetFileInformationByHandleEx(entry.get(), FileAttributeTagInfo, &info, sizeof info);
  return !known || info.ReparseTag == 0 || (info.ReparseTag & kNameSurrogate) != 0;
}

std::optional<int64_t> write_time(const fs::path& path, bool of_folder) {
  const auto data = data_of(path);
  if (!data) return std::nullopt;
  const bool is_folder = (data->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  if (is_folder != of_folder) return std::nullopt;
  return static_cast<int64_t>(ticks_of(data->ftLastWriteTime));
}

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
  return attributes != INVALID_FILE_ATTRIBUTES && leads_elsewhere(path, attributes);
}

bool is_same_entry(const fs::path& a, const fs::path& b) {
  BY_HANDLE_FILE_INFORMATION of_a{};
  BY_HANDLE_FILE_INFORMATION of_b{};
  // Open at the same time, so that the system cannot give the number of one to the other.
  const ScopedFile entry_a = open_to_ask(a, FILE_FLAG_BACKUP_SEMANTICS);
  const ScopedFile entry_b = open_to_ask(b, FILE_FLAG_BACKUP_SEMANTICS);
  return entry_a && entry_b && GetFileInformationByHandle(entry_a.get(), &of_a) &&
         GetFileInformationByHandle(entry_b.get(), &of_b) &&
         of_a.dwVolumeSerialNumber == of_b.dwVolumeSerialNumber &&
         of_a.nFileIndexHigh == of_b.nFileIndexHigh && of_a.nFileIndexLow == of_b.nFileIndexLow;
}

bool is_disk_file(const fs::path& path) {
  if (!is_file(path)) return false;
  const ScopedFile file = open_to_ask(path, FILE_ATTRIBUTE_NORMAL);
  if (file) return GetFileType(file.get()) == FILE_TYPE_DISK;
  const DWORD error = GetLastError();
  return error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND &&
         error != ERROR_CANT_RESOLVE_FILENAME;
}

std::optional<uint64_t> size_of_file(const fs::path& path) {
  const auto data = data_of(path);
  if (!data || (data->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return std::nullopt;
  LARGE_INTEGER size{};
  if ((data->dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    // The size of a link itself is 0.
    const ScopedFile file = open_to_ask(path, FILE_ATTRIBUTE_NORMAL);
    if (!file || !GetFileSizeEx(file.get(), &size)) return std::nullopt;
  } else {
    size.LowPart = data->nFileSizeLow;
    size.HighPart = static_cast<LONG>(data->nFileSizeHigh);
  }
  return static_cast<uint64_t>(size.QuadPart);
}

bool create_folders(const fs::path& path) {
  if (path.empty() || is_folder(path)) return !path.empty();
  const fs::path parent = path.parent_path();
  if (parent != path) create_folders(parent);
  return CreateDirectoryW(system_path(path).c_str(), nullptr) || is_folder(path);
}

std::optional<uint64_t> free_space(const fs::path& folder) {
  ULARGE_INTEGER available{};
  if (!GetDiskFreeSpaceExW(system_path(folder).c_str(), &available, nullptr, nullptr)) {
    return std::nullopt;
  }
  return available.QuadPart;
}

bool remove_file(const fs::path& path) {
  if (DeleteFileW(system_path(path).c_str())) return true;
  const DWORD error = GetLastError();
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

bool remove_entry(const fs::path& path) {
  const std::wstring name = system_path(path);
  const DWORD attributes = GetFileAttributesW(name.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return true;
  // What is read-only cannot be deleted.
  if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    SetFileAttributesW(name.c_str(), attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
  }
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return DeleteFileW(name.c_str()) != FALSE;
  if (RemoveDirectoryW(name.c_str())) return true;
  if (GetLastError() != ERROR_DIR_NOT_EMPTY || leads_elsewhere(path, attributes)) return false;
  DWORD error = ERROR_SUCCESS;
  for_each_entry(path, error, [](const fs::path& entry) { remove_entry(entry); });
  return RemoveDirectoryW(name.c_str()) != FALSE;
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
  const std::wstring source = system_path(from);
  const std::wstring target = system_path(to);
  for (int attempt = 1;; ++attempt) {
    if (MoveFileExW(source.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING)) return true;
    const DWORD error = GetLastError();
    const bool in_use = error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
    if (!in_use || attempt == kInUseAttempts) return false;
    Sleep(kInUsePauseMs);
  }
}

bool append_to_file(const fs::path& path, std::string_view bytes) {
  // With FILE_APPEND_DATA alone the system itself moves each write to the end of the file, so that
  // lines of several processes do not overwrite each other.
  const ScopedFile file = open_file(path, FILE_APPEND_DATA, kShareAll, OPEN_ALWAYS);
  if (!file || bytes.size() > MAXDWORD) return false;
  DWORD written = 0;
  return WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
         written == bytes.size();
}

std::FILE* open_for_writing(const fs::path& path) {
  return _wfopen(system_path(path).c_str(), L"wb");
}

std::optional<int64_t> file_write_time(const fs::path& path) { return write_time(path, false); }
std::optional<int64_t> folder_write_time(const fs::path& path) { return write_time(path, true); }

int64_t file_time_now() {
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  return static_cast<int64_t>(ticks_of(now));
}

bool copy_file_over(const fs::path& from, const fs::path& to) {
  return CopyFileW(system_path(from).c_str(), system_path(to).c_str(), FALSE) != FALSE;
}

void reset_copied_attributes(const fs::path& copy) {
  const std::wstring name = system_path(copy);
  const DWORD attributes = GetFileAttributesW(name.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return;
  SetFileAttributesW(name.c_str(), attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
  const ScopedFile file = open_file(copy, FILE_WRITE_ATTRIBUTES, kShareAll);
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  if (file) SetFileTime(file.get(), nullptr, nullptr, &now);
}

}  // namespace wrenfall
