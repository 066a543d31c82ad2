#include "wer/dump_request_win.h"

#include <algorithm>

#include "support/system_function_win.h"
#include "wer/client_registration_win.h"
#include "wer/fatal_exception_win.h"

namespace wrenfall::wer {
namespace {

// Windows Error Reporting waits for this module, and the user for Windows Error Reporting.
constexpr ULONGLONG kPatienceMs = 10000;

DWORD system_build() {
  using VersionFunction = LONG(NTAPI*)(OSVERSIONINFOW*);
  const auto get_version = find_system_function<VersionFunction>(L"ntdll.dll", "RtlGetVersion");
  OSVERSIONINFOW version = {};
  version.dwOSVersionInfoSize = sizeof(version);
  return get_version != nullptr && get_version(&version) >= 0 ? version.dwBuildNumber : 0;
}

bool have_dump_written(const ClientRegistration& client,
                       const WER_RUNTIME_EXCEPTION_INFORMATION& information) {
  const ULONGLONG end = GetTickCount64() + kPatienceMs;
  const auto rest = [end] {
    const ULONGLONG now = GetTickCount64();
    return static_cast<DWORD>(end - std::min(end, now));
  };
  // The answer to the process's own request must not be taken for the answer to this one.
  if (client.has_dump_under_way() && !client.wait_for_dump(rest())) return false;
  return client.write_exception(information) && client.request_dump() &&
         client.wait_for_dump(rest());
}

}  // namespace

bool report_exception(void* registration, const WER_RUNTIME_EXCEPTION_INFORMATION& information) {
  if (!ends_the_process(information, system_build())) return false;
  const auto client = ClientRegistration::read(information.hProcess, registration);
  if (!client || !have_dump_written(*client, information)) return false;
  TerminateProcess(information.hProcess, information.exceptionRecord.ExceptionCode);
  return true;
}

}  // namespace wrenfall::wer
