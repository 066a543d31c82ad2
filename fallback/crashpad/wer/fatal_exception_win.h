#ifndef WRENFALL_FALLBACK_WER_FATAL_EXCEPTION_WIN_H_
#define WRENFALL_FALLBACK_WER_FATAL_EXCEPTION_WIN_H_

#include <handler/win/wer/crashpad_wer.h>

#include <cstring>

namespace crashpad::internal {

// Systems from this build on tell exceptions that end the process from others, in a field behind
// those that every header has. It lies in padding, which older systems leave as it comes, so the
// structure's size does not say whether the field counts.
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

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_WER_FATAL_EXCEPTION_WIN_H_
