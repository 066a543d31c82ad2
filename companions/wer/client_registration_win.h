#ifndef WRENFALL_COMPANIONS_WER_CLIENT_REGISTRATION_WIN_H_
#define WRENFALL_COMPANIONS_WER_CLIENT_REGISTRATION_WIN_H_

#include <windows.h>

#include <cstdint>
#include <optional>

#include "support/win_handle.h"
#include "wer/werapi_win.h"

namespace wrenfall::wer {

// The crashed process's connection to its capture handler, as this process can use it.
//
// Everything that it is made of comes from the memory of a process that has just crashed, so nothing of
// it is trusted. It is copied into this process's memory before it is looked at, no address in it is
// ever read through, and the handles are opened with the one right that is needed. The worst that
// damage there can do is that the process gets no report.
class ClientRegistration {
 public:
  // Nothing when there is no registration of the known version at that address of the process, or when
  // the process has no handler.
  static std::optional<ClientRegistration> read(HANDLE process, void* address);

  // Whether the process itself waits for a dump, by the same two events.
  bool has_dump_under_way() const { return has_dump_under_way_; }

  // Copies the exception to where the handler looks for it. True when all of it was copied.
  bool write_exception(const WER_RUNTIME_EXCEPTION_INFORMATION& information) const;

  // False when that is not an event.
  bool request_dump() const { return SetEvent(request_.get()) != FALSE; }

  // False when no dump was completed within that time.
  bool wait_for_dump(DWORD milliseconds) const {
    return WaitForSingleObject(done_.get(), milliseconds) == WAIT_OBJECT_0;
  }

 private:
  ClientRegistration() = default;

  HANDLE process_ = nullptr;  // not owned
  uintptr_t address_ = 0;
  uintptr_t exception_information_ = 0;
  bool has_dump_under_way_ = false;
  ScopedKernelHandle request_;
  ScopedKernelHandle done_;
};

}  // namespace wrenfall::wer

#endif  // WRENFALL_COMPANIONS_WER_CLIENT_REGISTRATION_WIN_H_
