#ifndef WRENFALL_FALLBACK_CLIENT_CRASH_CONNECTION_WIN_H_
#define WRENFALL_FALLBACK_CLIENT_CRASH_CONNECTION_WIN_H_

#include <windows.h>

// Needs <windows.h> first.
#include <util/win/registration_protocol_win_structs.h>

#include <atomic>
#include <memory>
#include <vector>

#include "common/client_protocol.h"
#include "common/scoped_win.h"

namespace crashpad::internal {

// This process's side of the connection to one handler: the section, the events, the handler's
// process. It lies in pages of its own, which are made read-only when the handler is ready, so that a
// program that writes beyond its own memory can still be reported.
//
// One thread sets it up. After that any thread may call the three members that wait, also in the
// middle of a crash: they allocate nothing and take no lock. The callers make sure that at most one
// crash dump and one dump on demand are under way at a time.
class CrashConnection {
 public:
  // Null when the system refuses a section, an event or a handle.
  struct Deleter {
    void operator()(CrashConnection* connection) const;
  };
  static std::unique_ptr<CrashConnection, Deleter> create();

  CrashConnection(const CrashConnection&) = delete;
  CrashConnection& operator=(const CrashConnection&) = delete;

  InitialClientData initial_client_data() const;
  std::vector<HANDLE> inherited_handles() const;

  // The process that was started as the handler. It may be an intermediary that starts the real
  // one.
  void set_started_process(ScopedHandle process) { started_process_ = std::move(process); }

  // Waits until the handler is ready, and opens its process. False when the started process ends
  // first, or when the handler is not ready after two minutes.
  bool wait_until_ready();

  // Both ask for a dump and wait for the answer, which comes also when the dump could not be written.
  // The wait ends when the handler ends.
  //
  // A crash waits for at most two minutes; false when there was no answer by then. A dump on demand
  // waits without end, but resumes the other threads when the handler was killed while it had them
  // suspended, or has not answered for two minutes. After a crash nobody resumes them, because the
  // process is about to end.
  bool request_crash_dump(const EXCEPTION_POINTERS* exception);
  void request_dump(const EXCEPTION_POINTERS* exception);

  // To be held while asking for a dump on demand.
  SRWLOCK* dump_lock() { return dump_lock_.get(); }

  // If the handler is ready, closes what only its start needed and makes the object read-only: nothing
  // in it changes any more. Called before other threads use the object.
  void protect();

  // The handler ends after it has answered pending requests.
  void tell_to_stop() const { SetEvent(stop_.get()); }

  // Makes the helper module in Windows Error Reporting's process use this connection. The caller
  // publishes another connection before this one is destroyed.
  void publish(WerRegistration* registration) const;

  // Whether the dumps that the helper module asks for hold the memory that registers and stacks point
  // to.
  void set_wer_gathering(bool gather) const { section_->wer.gather_indirect_memory = gather; }

  // Waits for the end of the handler.
  void wait_until_gone();

 private:
  using ProcessFunction = LONG(NTAPI*)(HANDLE);

  CrashConnection();
  // Tells the handler to stop.
  ~CrashConnection();

  bool open_section();
  bool open_events();
  // The process that writes the dumps. When that has ended, the program that was started as the handler
  // may replace it: then this waits some seconds for the new one, which `successor` holds open.
  HANDLE handler(ScopedHandle* successor) const;
  // Sends the request. The process that is asked, which `successor` may hold open; null when there is
  // none.
  HANDLE request(DumpRequest* slot, HANDLE request_event, HANDLE done_event,
                 const EXCEPTION_POINTERS* exception, ScopedHandle* successor);

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
  const std::unique_ptr<SRWLOCK> dump_lock_ = std::make_unique<SRWLOCK>();

  // Looked up beforehand, because a suspended thread may hold the loader's lock.
  const ProcessFunction resume_process_;

  // The process that wrote the dumps at first. Null until the first wait has opened it.
  std::atomic<HANDLE> handler_process_{nullptr};
};

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_CLIENT_CRASH_CONNECTION_WIN_H_
