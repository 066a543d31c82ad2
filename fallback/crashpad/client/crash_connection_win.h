#ifndef WRENFALL_FALLBACK_CLIENT_CRASH_CONNECTION_WIN_H_
#define WRENFALL_FALLBACK_CLIENT_CRASH_CONNECTION_WIN_H_

#include <windows.h>

#include <atomic>
#include <memory>
#include <vector>

#include "common/client_protocol.h"
#include "common/scoped_win.h"
#include "common/wer_registration_win.h"

namespace crashpad::internal {

// This process's side of the connection to one handler: the section, the events, the handler's
// process.
//
// Set up by one thread; after that the three waiting members may be called by any thread, also in
// the middle of a crash: they allocate nothing and take no lock. One crash dump and one dump on
// demand may be under way at a time, which the callers see to.
class CrashConnection {
 public:
  // Null when the system refuses a section, an event or a handle.
  static std::unique_ptr<CrashConnection> create();

  // Tells the handler to stop.
  ~CrashConnection();
  CrashConnection(const CrashConnection&) = delete;
  CrashConnection& operator=(const CrashConnection&) = delete;

  InitialClientData initial_client_data() const;
  std::vector<HANDLE> inherited_handles() const;

  // The process that was started as the handler. It may be an intermediary that starts the real
  // one.
  void set_started_process(ScopedHandle process) { started_process_ = std::move(process); }

  // Waits until the handler is ready and finds its process. False when the started process ended
  // before, or has not got ready for two minutes.
  bool wait_until_ready();

  // Ask for a dump and wait for it; an answer does not say that the dump could be written. A handler
  // that is gone ends either wait.
  //
  // A crash waits for two minutes at the most: false when there was no answer by then. A dump on demand
  // waits without end. It resumes the other threads, which a handler leaves suspended when it is
  // killed in the middle, or has not answered for two minutes; after a crash only the process's end
  // matters.
  bool request_crash_dump(const EXCEPTION_POINTERS* exception);
  void request_dump(const EXCEPTION_POINTERS* exception);

  // Held by the one thread that may ask for a dump on demand.
  SRWLOCK* dump_lock() { return &dump_lock_; }

  // The handler ends once it has answered what it was asked for.
  void tell_to_stop() const { SetEvent(stop_.get()); }

  // Points the helper module in Windows Error Reporting's process at this connection. The caller
  // keeps `registration` from pointing at a connection that is gone.
  void publish(WerRegistration* registration) const;

  // Waits for the end of the handler.
  void wait_until_gone();

 private:
  using ProcessFunction = LONG(NTAPI*)(HANDLE);

  CrashConnection();

  bool open_section();
  bool open_events();
  // Sends the request without waiting for the answer. False when there is no handler.
  bool request(DumpRequest* slot, HANDLE request_event, HANDLE done_event,
               const EXCEPTION_POINTERS* exception);

  ScopedHandle section_handle_;
  ScopedView<ClientSection> section_;
  ScopedHandle client_process_;
  ScopedHandle ready_;
  ScopedHandle crash_request_;
  ScopedHandle crash_done_;
  ScopedHandle dump_request_;
  ScopedHandle dump_done_;
  ScopedHandle stop_;
  ScopedHandle wer_request_;
  ScopedHandle wer_done_;
  ScopedHandle started_process_;
  SRWLOCK dump_lock_ = SRWLOCK_INIT;

  // Looked up beforehand: a suspended thread may hold the loader's lock.
  const ProcessFunction resume_process_;

  // The process that writes the dumps. Null until the first wait has found it.
  std::atomic<HANDLE> handler_process_{nullptr};
};

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_CLIENT_CRASH_CONNECTION_WIN_H_
