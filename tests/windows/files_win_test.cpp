#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <sstream>
#include <thread>

#include "monitor/claimed_dump.h"
#include "monitor/database_use_win.h"
#include "report/store/attachments.h"
#include "report/store/folder_claim.h"
#include "support/digest.h"
#include "support/files.h"
#include "support/logger.h"
#include "support/system_path_win.h"
#include "support/text.h"
#include "support/win_handle.h"
#include "tests/support/temp_dir.h"
#include "tests/windows/import_hook_win.h"
#include "upload/report_archive.h"

WRENFALL_IMPORT(CreateFileW);
WRENFALL_IMPORT(GetFileAttributesW);
WRENFALL_IMPORT(GetFileInformationByHandleEx);
WRENFALL_IMPORT(MoveFileExW);

namespace wrenfall {
namespace {

const auto system_create_file = __imp_CreateFileW;

ScopedFile hold_open(const std::filesystem::path& path, DWORD share) {
  return ScopedFile(CreateFileW(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
}

const auto system_move_file = __imp_MoveFileExW;

// A reader that is off the processor holds the file for longer than a write waits. So the fourth denial
// in a row is waited out here; the three before are the caller's.
BOOL WINAPI move_patiently(LPCWSTR from, LPCWSTR to, DWORD flags) {
  static int denials = 0;
  const ULONGLONG end = GetTickCount64() + 30000;
  while (!system_move_file(from, to, flags)) {
    if (++denials < 4 || GetTickCount64() > end) return FALSE;
    Sleep(1);
  }
  denials = 0;
  return TRUE;
}

TEST(FilesWin, ReadersNeverSeeAPartOfAnAtomicWrite) {
  const ImportHook hook(__imp_MoveFileExW, &move_patiently);
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
  const ULONGLONG end = GetTickCount64() + 30000;
  for (int i = 0; i < 300 || (whole <= 20 && GetTickCount64() < end); ++i) {
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

TEST(DatabaseUse, NotesOfHandlersGoWhenNobodyElseUsesTheDatabase) {
  const TempDir dir;
  const auto add_notes = [&] { return dir.add("crashpad/metadata", std::string(98, 'x')); };
  ScopedFile first = monitor::use_database(dir / "crashpad");  // makes the folder too
  ASSERT_TRUE(first);
  const std::filesystem::path notes = add_notes();
  ScopedFile second = monitor::use_database(dir / "crashpad");
  EXPECT_TRUE(second);
  EXPECT_TRUE(path_exists(notes));
  DWORD flags = 0;  // a handler inherits it, so it counts when its monitor was killed
  EXPECT_TRUE(GetHandleInformation(second.get(), &flags) && (flags & HANDLE_FLAG_INHERIT) != 0);
  first.reset();
  EXPECT_TRUE(monitor::use_database(dir / "crashpad"));
  EXPECT_TRUE(path_exists(notes));
  second.reset();
  EXPECT_TRUE(monitor::use_database(dir / "crashpad"));
  EXPECT_FALSE(path_exists(notes));
}

TEST(FilesWin, WhatIsHeldForAMomentIsWaitedFor) {
  const TempDir dir;
  const auto file = dir.add("report/x.dmp", "x");
  const ImportHook hook(__imp_CreateFileW, &deny_at_first);
  denial = {GENERIC_READ, ERROR_SHARING_VIOLATION, 3};
  std::string bytes;
  EXPECT_TRUE(read_file(file, bytes));
  // A virus scanner holds a file for longer than other readers do: one denial more than they wait out.
  denial = {GENERIC_READ, ERROR_SHARING_VIOLATION, 20};
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
  return system_get_attributes(path) | FILE_ATTRIBUTE_REPARSE_POINT;
}

BOOL WINAPI tell_tag(HANDLE, FILE_INFO_BY_HANDLE_CLASS, void* info, DWORD) {
  static_cast<FILE_ATTRIBUTE_TAG_INFO*>(info)->ReparseTag = reparse_tag;
  return TRUE;
}

TEST(FilesWin, ReparsePointsThatAreNoLinksAreFilesAndFolders) {
  const TempDir dir;
  const auto file = dir.add("folder/file", "x");
  const ImportHook attributes(__imp_GetFileAttributesW, &attributes_of_reparse_point);
  const ImportHook tag(__imp_GetFileInformationByHandleEx, &tell_tag);
  for (const DWORD link : {IO_REPARSE_TAG_SYMLINK, IO_REPARSE_TAG_MOUNT_POINT, DWORD{0}}) {
    reparse_tag = link;
    EXPECT_TRUE(is_link(file)) << link;
    EXPECT_FALSE(remove_folder(dir / "folder")) << "removed what a link leads to";
  }
  for (const DWORD cloud_or_deduplicated : {0x9000601A, 0x80000013}) {
    reparse_tag = cloud_or_deduplicated;
    EXPECT_FALSE(is_link(file)) << reparse_tag;
  }
  EXPECT_TRUE(remove_folder(dir / "folder"));
}

TEST(FilesWin, LongNamesAreExtended) {
  const std::wstring tail(300, L'x');
  const std::pair<std::wstring, std::wstring> rows[] = {
      {LR"(C:\)" + tail, LR"(\\?\C:\)" + tail},
      {LR"(\\server\share\)" + tail, LR"(\\?\UNC\server\share\)" + tail},
      {L"C:/a/../b/" + tail, LR"(\\?\C:\b\)" + tail},
      {LR"(\\?\C:\)" + tail, LR"(\\?\C:\)" + tail},
      {LR"(\\.\pipe\)" + tail, LR"(\\.\pipe\)" + tail},
      {L"short/../name", L"short/../name"},
      {L"NUL", L"NUL"},
      {L"", L""},
  };
  for (const auto& [path, expected] : rows) EXPECT_EQ(system_path(path), expected);
  const std::wstring folder = LR"(C:\)" + std::wstring(195, L'x');
  EXPECT_EQ(system_folder(folder, 49), folder);
  EXPECT_EQ(system_folder(folder, 50), LR"(\\?\)" + folder);
  const std::wstring relative = system_path(tail);
  EXPECT_EQ(relative.substr(0, 4), LR"(\\?\)");
  EXPECT_EQ(relative.substr(relative.size() - tail.size()), tail);
}

}  // namespace
}  // namespace wrenfall
