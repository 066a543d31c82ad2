#include <client/crashpad_client.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>

#include "client/crash_connection_win.h"
#include "client/crash_filter_win.h"
#include "client/handler_process_win.h"
#include "common/command_line.h"

namespace crashpad {
namespace {

// The system's limit, including the closing NUL.
constexpr size_t kMaxCommandLine = 32767;

// Bytes that are not UTF-8 become U+FFFD. The text ends at its first NUL, as it would in a command
// line.
std::wstring to_utf16(const std::string& utf8) {
  // The length is given, because some systems take a closing NUL for a part of a bad sequence before
  // it.
  const int length = static_cast<int>(std::min(std::strlen(utf8.c_str()), kMaxCommandLine * 4));
  if (length == 0) return std::wstring();
  const int size = MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), length, nullptr, 0);
  std::wstring wide(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), length, wide.data(), size);
  return wide;
}

}  // namespace

bool CrashpadClient::StartHandler(const base::FilePath& handler, const base::FilePath& database,
                                  const base::FilePath& metrics_dir, const std::string& url,
                                  const std::map<std::string, std::string>& annotations,
                                  const std::vector<std::string>& arguments, bool /*restartable*/,
                                  bool asynchronous_start,
                                  const std::vector<base::FilePath>& attachments) {
  auto connection = internal::CrashConnection::create();
  if (!connection) return false;

  std::wstring command_line;
  const auto add = [&command_line](const std::wstring& argument) {
    internal::append_argument(argument, &command_line);
  };
  add(handler.value());
  if (!database.empty()) add(L"--database=" + database.value());
  if (!metrics_dir.empty()) add(L"--metrics-dir=" + metrics_dir.value());
  if (!url.empty()) add(L"--url=" + to_utf16(url));
  for (const auto& [key, value] : annotations) {
    add(L"--annotation=" + to_utf16(key) + L"=" + to_utf16(value));
  }
  for (const base::FilePath& attachment : attachments) add(L"--attachment=" + attachment.value());
  for (const std::string& argument : arguments) add(to_utf16(argument));
  add(L"--initial-client-data=" +
      internal::format_initial_client_data(connection->initial_client_data()));
  if (command_line.size() >= kMaxCommandLine) {
    SetLastError(ERROR_FILENAME_EXCED_RANGE);
    return false;
  }

  internal::ScopedHandle process = internal::start_handler_process(handler.value(), command_line,
                                                                   connection->inherited_handles());
  if (!process) return false;
  connection->set_started_process(std::move(process));
  if (!asynchronous_start && !connection->wait_until_ready()) {
    connection.reset();
    SetLastError(ERROR_PROCESS_ABORTED);
    return false;
  }
  internal::direct_crashes_to(std::move(connection));
  return true;
}

bool CrashpadClient::RegisterWerModule(const std::wstring& full_path) {
  using RegisterFunction = HRESULT(WINAPI*)(PCWSTR, PVOID);
  const auto register_module = internal::find_system_function<RegisterFunction>(
      L"kernel32.dll", "WerRegisterRuntimeExceptionModule");
  if (register_module == nullptr) return false;
  // The system keeps each registration until the process ends, and accepts only a few.
  static std::mutex& mutex = *new std::mutex;
  static std::set<std::wstring>& registered = *new std::set<std::wstring>;
  const std::lock_guard<std::mutex> lock(mutex);
  WerRegistration* const context = internal::prepare_wer_registration();
  if (registered.count(full_path) != 0) return true;
  if (FAILED(register_module(full_path.c_str(), context))) return false;
  registered.insert(full_path);
  return true;
}

void CrashpadClient::DumpWithoutCrash(const CONTEXT& context) {
  internal::dump_without_crash(context);
}

}  // namespace crashpad
