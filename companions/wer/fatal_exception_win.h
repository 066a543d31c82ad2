#ifndef WRENFALL_COMPANIONS_WER_FATAL_EXCEPTION_WIN_H_
#define WRENFALL_COMPANIONS_WER_FATAL_EXCEPTION_WIN_H_

#include <cstddef>
#include <cstring>

#include "wer/werapi_win.h"

namespace wrenfall::wer {

// Systems from this build on have a field that says whether the exception ends the process. Older
// headers do not name it: it lies in the padding after the last field that every header has. Older
// systems leave that padding uninitialised, so the structure's size does not say whether the field
// is valid.
constexpr DWORD kFirstBuildThatTellsFatal = 19041;
constexpr size_t kFatalOffset =
    offsetof(WER_RUNTIME_EXCEPTION_INFORMATION, pwszReportId) + sizeof(PCWSTR);
static_assert(kFatalOffset + sizeof(BOOL) <= sizeof(WER_RUNTIME_EXCEPTION_INFORMATION));

// False when a system of that build says that the process goes on.
inline bool ends_the_process(const WER_RUNTIME_EXCEPTION_INFORMATION& information,
                             DWORD system_build) {
  BOOL fatal = TRUE;
  if (system_build >= kFirstBuildThatTellsFatal &&
      information.dwSize >= kFatalOffset + sizeof(fatal)) {
    std::memcpy(&fatal, reinterpret_cast<const char*>(&information) + kFatalOffset, sizeof(fatal));
  }
  return fatal != FALSE;
}

}  // namespace wrenfall::wer

#endif  // WRENFALL_COMPANIONS_WER_FATAL_EXCEPTION_WIN_H_
