#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <sstream>
#include <thread>

#include "monitor/claimed_dump.h"
#include "monitor/dump_watcher_win.h"
#include "report/store/attachments.h"
#include "report/store/folder_claim.h"
#include "report/store/report_store.h"
#include "support/digest.h"
#include "support/files.h"
#include "support/logger.h"
#include "support/open_file_win.h"
#include "support/system_path_win.h"
#include "support/text.h"
#include "support/win_handle.h"
#include "tests/support/temp_dir.h"
#include "tests/windows/import_hook_win.h"
#include "upload/report_archive.h"

WRENFALL_IMPORT(CopyFileW);
WRENFALL_IMPORT(CreateDirectoryW);
WRENFALL_IMPORT(CreateFileW);
WRENFALL_IMPORT(DeleteFileW);
WRENFALL_IMPORT(FindFirstChangeNotificationW);
WRENFALL_IMPORT(FindFirstFileW);
WRENFALL_IMPORT(GetDiskFreeSpaceExW);
WRENFALL_IMPORT(GetFileAttributesExW);
WRENFALL_IMPORT(GetFileAttributesW);
WRENFALL_IMPORT(GetFileInformationByHandleEx);
WRENFALL_IMPORT(MoveFileExW);
WRENFALL_IMPORT(RemoveDirectoryW);
WRENFALL_IMPORT(SetFileAttributesW);

namespace wrenfall {
namespace {

const auto system_create_file = __imp_CreateFileW;

ScopedFile hold_open(const std::filesystem::path& path, DWORD share) {
  return ScopedFile(CreateFileW(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
}

TEST(FilesWin, ReadersNeverSeeAPartOfAnAtomicWrite) {
  const TempDir dir;
  const auto path = dir / "record.json";
  const std::string versions[] = {std::string(60000, 'a'), std::string(150000, 'b')};
  ASSERT_TRUE(write_file_atomic(path, versions[0]));
  std::atomic<bool> done{false};
  std::atomic<int> whole{0}, torn{0}, missing{0};
  std::thread reader([&] {
    for (; !done; Sleep(1)) {
      std::string bytes;
      if (!read_file(path, bytes)) {
        ++missing;
      } else if (bytes == versions[0] || bytes == versions[1]) {
        ++whole;
      } else {
        ++torn;
      }
    }
  });
  int failed = 0;
  for (int i = 0; i < 300; ++i) {
    if (!write_file_atomic(path, versions[i % 2])) ++failed;
  }
  done = true;
  reader.join();
  EXPECT_EQ(torn, 0) << "of " << whole + torn + missing;
  EXPECT_EQ(missing, 0);
  EXPECT_EQ(failed, 0);
  EXPECT_GT(whole, 20);
}

TEST(FilesWin, AtomicWriteCopiesWhereTheTargetCannotBeReplaced) {
  const TempDir dir;
  const auto path = dir / "record.json";
  put_file(path, "old, and longer");
  {
    const ScopedFile reader = hold_open(path, FILE_SHARE_READ | FILE_SHARE_WRITE);
    ASSERT_TRUE(reader);
    EXPECT_TRUE(write_file_atomic(path, "new"));
  }
  EXPECT_EQ(file_text(path), "new");
  {
    const ScopedFile reader = hold_open(path, FILE_SHARE_READ);
    EXPECT_FALSE(write_file_atomic(path, "newer"));
  }
  EXPECT_EQ(file_text(path), "new");
  EXPECT_FALSE(path_exists(dir / "record.json.tmp"));
}

TEST(FilesWin, LoggersShareAFile) {
  constexpr int kLines = 200;
  const TempDir dir;
  const auto write_lines = [&dir](char letter) {
    Logger logger(dir / "a.log");
    for (int i = 0; i < kLines; ++i) logger.info("%s", std::string(300, letter).c_str());
  };
  std::thread other(write_lines, 'x');
  write_lines('y');
  other.join();
  std::istringstream file(file_text(dir / "a.log"));
  std::string line;
  int lines = 0, whole = 0;
  for (; std::getline(file, line); ++lines) {
    const std::string message = line.substr(std::min(line.size(), line.find("INFO ") + 5));
    if (message == std::string(300, 'x') || message == std::string(300, 'y')) ++whole;
  }
  // Windows finds the end of the file and writes there in one step. Wine takes two, so that once in
  // a while a line lands on a part of another one, or on all of it.
  const bool wine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
  EXPECT_GE(whole, wine ? 2 * kLines * 95 / 100 : 2 * kLines);
  EXPECT_LE(lines, 2 * kLines);
}

std::wstring short_name(const std::filesystem::path& path) {
  std::wstring text(1024, L'\0');
  text.resize(GetShortPathNameW(path.c_str(), text.data(), static_cast<DWORD>(text.size())));
  return std::filesystem::path(text).filename();
}

TEST(FilesWin, AttachmentsReplaceNothingThatTheLibraryWrote) {
  const TempDir dir;
  const auto report = dir.add("report/feedback.json", "the report");
  const auto name = short_name(report);
  if (name == L"feedback.json") GTEST_SKIP() << "the file system keeps no short names";
  put_file(dir / "files" / name, "an attachment");
  Logger logger;
  for (const SameName rule : {SameName::kAddNumber, SameName::kReplace}) {
    const auto names =
        copy_attachments(dir / "report", {path_to_utf8(dir / "files" / name)}, rule, logger);
    EXPECT_EQ(file_text(report), "the report");
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(file_text(dir / "report" / utf8_to_path(names[0])), "an attachment");
  }
}

TEST(FilesWin, LockedFilesAreToldAndReadOnlyOnesRemoved) {
  Logger logger;
  const TempDir dir;
  const auto folder = dir.make_folder("report");
  put_file(folder / "locked", "x");
  const ScopedFile holder = hold_open(folder / "locked", 0);
  ASSERT_TRUE(holder);
  EXPECT_FALSE(write_report_archive(folder, dir / "a.zip", logger));
  EXPECT_EQ(md5_file_hex(folder / "locked"), "");
  EXPECT_FALSE(remove_folder(folder));
  EXPECT_FALSE(remove_file(folder / "locked"));

  const auto read_only = dir.make_folder("read-only");
  put_file(read_only / "sub" / "file", "x");
  SetFileAttributesW((read_only / "sub" / "file").c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_TRUE(remove_folder(read_only));
  EXPECT_FALSE(path_exists(read_only));
}

// The kind of opening that fails at first, why, and how often.
struct {
  DWORD access, error;
  int times;
} denial;

HANDLE WINAPI deny_at_first(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                            DWORD how, DWORD flags, HANDLE like) {
  if ((access & denial.access) == 0 || --denial.times < 0) {
    return system_create_file(path, access, share, security, how, flags, like);
  }
  SetLastError(denial.error);
  return INVALID_HANDLE_VALUE;
}

TEST(FilesWin, WhatIsHeldForAMomentIsWaitedFor) {
  const TempDir dir;
  const auto file = dir.add("report/x.dmp", "x");
  const ImportHook hook(__imp_CreateFileW, &deny_at_first);
  denial = {GENERIC_READ, ERROR_SHARING_VIOLATION, 3};
  std::string bytes;
  EXPECT_TRUE(read_file(file, bytes));
  // A virus scanner holds a file for longer than other readers do.
  denial = {GENERIC_READ, ERROR_SHARING_VIOLATION, 50};
  Logger logger;
  EXPECT_TRUE(write_report_archive(dir / "report", dir / "a.zip", logger));
  // The last holder of a claim has ended, and its file is being deleted.
  denial = {GENERIC_WRITE, ERROR_ACCESS_DENIED, 3};
  const auto claim = FolderClaim::try_take(dir / "report");
  EXPECT_TRUE(claim);
  EXPECT_FALSE(FolderClaim::try_take(dir / "report")) << "the claim holds nothing";
  // A host that is ending releases its files with its end.
  ScopedFile host = hold_open(file, 0);
  int waits = 0;
  const auto wait = [&] {
    ++waits;
    host.reset();
  };
  const std::vector<std::string> paths = {path_to_utf8(dir / "gone"), path_to_utf8(file)};
  EXPECT_EQ(
      copy_attachments(dir.make_folder("copies"), paths, SameName::kAddNumber, logger, {}, wait),
      std::vector<std::string>{"x.dmp"});
  EXPECT_EQ(waits, 1);
  // The handler finishes its dump between two attempts to claim it.
  denial = {GENERIC_WRITE, ERROR_SHARING_VIOLATION, 1};
  EXPECT_TRUE(monitor::ClaimedDump(file).write_at(0, "y", 1));
}

TEST(FilesWin, AFileThatIsBeingDeletedIsHeld) {
  const TempDir dir;
  const auto folder = dir.make_folder("report");
  const ImportHook hook(__imp_CreateFileW, &deny_at_first);
  denial = {GENERIC_WRITE, ERROR_ACCESS_DENIED, 1000};
  EXPECT_TRUE(FolderClaim::try_take(folder)) << "no claims in a read-only store";
  const NameHook status(
      "RtlGetLastNtStatus", +[]() -> LONG { return static_cast<LONG>(0xC0000056); });
  EXPECT_FALSE(FolderClaim::try_take(folder));
}

// What the entries of a folder in the cloud look like, or, with another tag, junctions.
DWORD reparse_tag = 0;
const auto system_get_attributes = __imp_GetFileAttributesW;

DWORD WINAPI attributes_of_reparse_point(LPCWSTR path) {
  const DWORD attributes = system_get_attributes(path);
  return attributes == INVALID_FILE_ATTRIBUTES ? attributes
                                               : attributes | FILE_ATTRIBUTE_REPARSE_POINT;
}

BOOL WINAPI tell_tag(HANDLE, FILE_INFO_BY_HANDLE_CLASS, void* info, DWORD) {
  static_cast<FILE_ATTRIBUTE_TAG_INFO*>(info)->ReparseTag = reparse_tag;
  return TRUE;
}

TEST(FilesWin, ReparsePointsThatAreNoLinksAreFilesAndFolders) {
  constexpr DWORD kCloud = 0x9000601A;
  const std::pair<DWORD, bool> rows[] = {{IO_REPARSE_TAG_SYMLINK, true},
                                         {IO_REPARSE_TAG_MOUNT_POINT, true},
                                         {0, true},            // the system does not tell
                                         {0x80000013, false},  // a deduplicated file
                                         {kCloud, false}};
  const TempDir dir;
  const auto file = dir.add("folder/file", "x");
  const ImportHook attributes(__imp_GetFileAttributesW, &attributes_of_reparse_point);
  const ImportHook tag(__imp_GetFileInformationByHandleEx, &tell_tag);
  for (const auto& [kind, leads_elsewhere] : rows) {
    reparse_tag = kind;
    EXPECT_EQ(is_link(file), leads_elsewhere) << kind;
    if (leads_elsewhere) {
      EXPECT_FALSE(remove_folder(dir / "folder")) << "removed what a link leads to";
    }
  }
  EXPECT_TRUE(remove_folder(dir / "folder"));
}

template <typename Result>
Result failure() {
  return FALSE;
}
template <>
HANDLE failure() {
  return INVALID_HANDLE_VALUE;
}
template <>
DWORD failure() {
  return INVALID_FILE_ATTRIBUTES;
}

bool is_too_long(LPCWSTR path) {
  return std::wcslen(path) >= MAX_PATH && std::wstring_view(path).substr(0, 4) != LR"(\\?\)";
}
template <typename Other>
bool is_too_long(Other) {
  return false;
}

// Makes a function of the system take no long path, which is what Windows does without a setting of the
// machine. Wine takes paths of any length.
template <auto* entry, typename Function = std::remove_pointer_t<decltype(entry)>>
class TakesShortPaths;

template <auto* entry, typename Result, typename... Rest>
class TakesShortPaths<entry, Result(WINAPI*)(LPCWSTR, Rest...)> {
  static Result WINAPI call(LPCWSTR path, Rest... rest) {
    if (!is_too_long(path) && !(is_too_long(rest) || ...)) return original_(path, rest...);
    SetLastError(ERROR_PATH_NOT_FOUND);
    return failure<Result>();
  }

  static inline const auto original_ = *entry;
  const ImportHook<Result(WINAPI*)(LPCWSTR, Rest...)> hook_{*entry, &call};
};

TEST(FilesWin, PathsMayHaveAnyLength) {
  const TakesShortPaths<&__imp_CopyFileW> copy;
  const TakesShortPaths<&__imp_CreateDirectoryW> create_directory;
  const TakesShortPaths<&__imp_CreateFileW> create_file;
  const TakesShortPaths<&__imp_DeleteFileW> delete_file;
  const TakesShortPaths<&__imp_FindFirstChangeNotificationW> watch;
  const TakesShortPaths<&__imp_FindFirstFileW> find;
  const TakesShortPaths<&__imp_GetDiskFreeSpaceExW> space;
  const TakesShortPaths<&__imp_GetFileAttributesExW> attributes_ex;
  const TakesShortPaths<&__imp_GetFileAttributesW> attributes;
  const TakesShortPaths<&__imp_MoveFileExW> move;
  const TakesShortPaths<&__imp_RemoveDirectoryW> remove_directory;
  const TakesShortPaths<&__imp_SetFileAttributesW> set_attributes;

  const TempDir dir;
  const auto top = dir / std::string(150, 'd');
  const auto store = top / std::string(150, 'e');
  const auto report = store / "report";
  const std::string name = std::string(196, 'n') + ".txt";
  ASSERT_TRUE(create_folders(store));
  EXPECT_TRUE(monitor::FolderWatch(store).arm());
  EXPECT_GT(free_space(store).value_or(0), 0u);
  ASSERT_TRUE(write_file_atomic(store / name, "text"));
  EXPECT_TRUE(append_to_file(store / name, "!"));
  EXPECT_TRUE(is_same_entry(store / name, top / "." / store.filename() / name));
  EXPECT_FALSE(is_same_entry(store / name, store));
  EXPECT_TRUE(is_disk_file(store / name));
  EXPECT_EQ(size_of_file(store / name), 5u);
  EXPECT_EQ(age_of_file(store / name).value_or(std::chrono::hours(1)).count() / 60, 0);
  EXPECT_TRUE(folder_write_time(store));
  EXPECT_NE(md5_file_hex(store / name), "");

  ASSERT_TRUE(create_folders(report));
  Logger logger;
  SetFileAttributesW(system_path(store / name).c_str(), FILE_ATTRIBUTE_READONLY);
  const std::string path = path_to_utf8(store / name);
  EXPECT_EQ(copy_attachments(report, {path, path}, SameName::kAddNumber, logger),
            (std::vector<std::string>{name, std::string(196, 'n') + " (2).txt"}));
  EXPECT_TRUE(write_file_atomic(report / name, "an attachment that is not read-only"));
  EXPECT_EQ(list_folder(report).size(), 2u);
  EXPECT_TRUE(write_report_archive(report, report / "a.zip", logger));
  {
    const auto claim = FolderClaim::try_take(report);
    EXPECT_TRUE(path_exists(store / "report.sending"));
    EXPECT_FALSE(FolderClaim::try_take(report));
  }
  monitor::ClaimedDump dump(report / name);
  EXPECT_TRUE(dump.move_to(report / "minidump.dmp"));
  dump.release();
  EXPECT_TRUE(is_half_made(report));
  EXPECT_TRUE(remove_file(report / "minidump.dmp"));
  EXPECT_TRUE(remove_folder(top));
  EXPECT_FALSE(path_exists(top));
}

TEST(FilesWin, LongNamesAreExtended) {
  const std::wstring tail(300, L'x');
  const std::pair<std::wstring, std::wstring> rows[] = {
      {LR"(C:\)" + tail, LR"(\\?\C:\)" + tail},
      {LR"(\\server\share\)" + tail, LR"(\\?\UNC\server\share\)" + tail},
      {L"C:/a/../b/" + tail, LR"(\\?\C:\b\)" + tail},
      {LR"(\\?\C:\)" + tail, LR"(\\?\C:\)" + tail},
      {LR"(\\.\pipe\)" + tail, LR"(\\.\pipe\)" + tail},
      {LR"(C:\short)", LR"(C:\short)"},
      {L"short/../name", L"short/../name"},
      {L"NUL", L"NUL"},
      {L"", L""},
  };
  for (const auto& [path, expected] : rows) EXPECT_EQ(system_path(path), expected);
  const std::wstring relative = system_path(tail);
  EXPECT_EQ(relative.substr(0, 4), LR"(\\?\)");
  EXPECT_EQ(relative.substr(relative.size() - tail.size()), tail);
}

}  // namespace
}  // namespace wrenfall
