#include "client/crash_connection_win.h"

#include <client/crashpad_info.h>

#include <new>

#include "client/annotation_list.h"

namespace crashpad::internal {
namespace {

// What the handler needs for a dump with handle data, and for suspending the client.
constexpr DWORD kHandlerRightsToClient = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ |
                                         PROCESS_DUP_HANDLE | PROCESS_SUSPEND_RESUME | SYNCHRONIZE;

uint64_t to_number(const ScopedHandle& handle) { return reinterpret_cast<uintptr_t>(handle.get()); }

// How long a handler that is alive may take to get ready, and to write the dump of a crash. In a dump
// on demand it is how long the other threads may stay suspended.
constexpr DWORD kPatienceMs = 120000;

// How long the program that was started as the handler may take to replace a handler that has ended.
constexpr DWORD kSuccessorPatienceMs = 6000;
constexpr DWORD kSuccessorPauseMs = 20;

// True as well when there is none.
bool has_ended(HANDLE process) {
  return process == nullptr || WaitForSingleObject(process, 0) != WAIT_TIMEOUT;
}

enum class WaitResult { kSet, kProcessEnded, kTimedOut };

// The helper module says here of which exception it wants a dump.
ExceptionInformation g_wer_exception_information = {};

// kSet wins when both have happened.
WaitResult wait_for_event_or_exit(HANDLE event, HANDLE process, DWORD milliseconds) {
  const HANDLE handles[] = {event, process};
  switch (WaitForMultipleObjects(2, handles, FALSE, milliseconds)) {
    case WAIT_OBJECT_0:
      return WaitResult::kSet;
    case WAIT_TIMEOUT:
      return WaitResult::kTimedOut;
    default:
      return WaitResult::kProcessEnded;
  }
}

}  // namespace

std::unique_ptr<CrashConnection, CrashConnection::Deleter> CrashConnection::create() {
  void* const pages =
      VirtualAlloc(nullptr, sizeof(CrashConnection), MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  if (pages == nullptr) return nullptr;
  std::unique_ptr<CrashConnection, Deleter> connection(new (pages) CrashConnection);
  if (!connection->open_section() || !connection->open_events()) return nullptr;
  HANDLE self = nullptr;
  if (!DuplicateHandle(GetCurrentProcess(), GetCurrentProcess(), GetCurrentProcess(), &self,
                       kHandlerRightsToClient, FALSE, 0)) {
    return nullptr;
  }
  connection->client_process_.reset(self);
  return connection;
}

void CrashConnection::Deleter::operator()(CrashConnection* connection) const {
  DWORD protection = 0;
  VirtualProtect(connection, sizeof(*connection), PAGE_READWRITE, &protection);
  connection->~CrashConnection();
  VirtualFree(connection, 0, MEM_RELEASE);
}

void CrashConnection::protect() {
  if (handler_process_.load() == nullptr) return;
  // Only the start needed these.
  for (ScopedHandle* handle : {&client_process_, &ready_}) handle->reset();
  DWORD protection = 0;
  VirtualProtect(this, sizeof(*this), PAGE_READONLY, &protection);
}

CrashConnection::CrashConnection()
    : resume_process_(find_system_function<ProcessFunction>(L"ntdll.dll", "NtResumeProcess")) {}

CrashConnection::~CrashConnection() {
  if (stop_) tell_to_stop();
  const HANDLE handler = handler_process_.load();
  if (handler != nullptr) CloseHandle(handler);
}

bool CrashConnection::open_section() {
  section_handle_.reset(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                           sizeof(ClientSection), nullptr));
  if (!section_handle_) return false;
  void* view = MapViewOfFile(section_handle_.get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0,
                             sizeof(ClientSection));
  if (view == nullptr) return false;
  section_.reset(new (view) ClientSection{});
  section_->magic = kClientSectionMagic;
  section_->version = kClientSectionVersion;
  section_->annotation_list_head = reinterpret_cast<uintptr_t>(annotation_list_head());
  section_->wer_exception_information = reinterpret_cast<uintptr_t>(&g_wer_exception_information);
  return true;
}

bool CrashConnection::open_events() {
  // "ready" and "stop" stay set for every waiter; a request or an answer is for one waiter.
  for (ScopedHandle* event : {&ready_, &stop_}) {
    event->reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!*event) return false;
  }
  for (ScopedHandle* event :
       {&crash_request_, &crash_done_, &dump_request_, &dump_done_, &wer_request_, &wer_done_}) {
    event->reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!*event) return false;
  }
  return true;
}

InitialClientData CrashConnection::initial_client_data() const {
  InitialClientData data = {};
  data.section = to_number(section_handle_);
  data.client_process = to_number(client_process_);
  data.ready = to_number(ready_);
  data.crash_request = to_number(crash_request_);
  data.crash_done = to_number(crash_done_);
  data.dump_request = to_number(dump_request_);
  data.dump_done = to_number(dump_done_);
  data.stop = to_number(stop_);
  data.wer_request = to_number(wer_request_);
  data.wer_done = to_number(wer_done_);
  return data;
}

std::vector<HANDLE> CrashConnection::inherited_handles() const {
  return {section_handle_.get(), client_process_.get(), ready_.get(),     crash_request_.get(),
          crash_done_.get(),     dump_request_.get(),   dump_done_.get(), stop_.get(),
          wer_request_.get(),    wer_done_.get()};
}

bool CrashConnection::wait_until_ready() {
  if (handler_process_.load() != nullptr) return true;
  if (wait_for_event_or_exit(ready_.get(), started_process_.get(), kPatienceMs) !=
      WaitResult::kSet) {
    return false;
  }
  const HANDLE handler = OpenProcess(SYNCHRONIZE, FALSE, section_->handler_process_id.load());
  if (handler == nullptr) return false;
  HANDLE none = nullptr;
  if (!handler_process_.compare_exchange_strong(none, handler)) CloseHandle(handler);
  return true;
}

bool CrashConnection::request_crash_dump(const EXCEPTION_POINTERS* exception) {
  ScopedHandle successor;
  const HANDLE process =
      request(&section_->crash, crash_request_.get(), crash_done_.get(), exception, &successor);
  return process != nullptr &&
         wait_for_event_or_exit(crash_done_.get(), process, kPatienceMs) == WaitResult::kSet;
}

void CrashConnection::request_dump(const EXCEPTION_POINTERS* exception) {
  ScopedHandle successor;
  const HANDLE process =
      request(&section_->dump, dump_request_.get(), dump_done_.get(), exception, &successor);
  if (process == nullptr) return;
  DWORD patience = kPatienceMs;
  for (;;) {
    const WaitResult result = wait_for_event_or_exit(dump_done_.get(), process, patience);
    if (result == WaitResult::kSet) return;
    if (section_->client_suspended.exchange(0) != 0 && resume_process_ != nullptr) {
      resume_process_(GetCurrentProcess());
    }
    if (result == WaitResult::kProcessEnded) {
      // What is not begun by now is of no use to a later handler: `exception` will be gone.
      ResetEvent(dump_request_.get());
      return;
    }
    patience = INFINITE;
  }
}

HANDLE CrashConnection::request(DumpRequest* slot, HANDLE request_event, HANDLE done_event,
                                const EXCEPTION_POINTERS* exception, ScopedHandle* successor) {
  if (!wait_until_ready()) return nullptr;
  // Found before it is asked. A handler that replaces one which took the request with it will never
  // answer.
  const HANDLE process = handler(successor);
  // Discards a late answer to an earlier request that is no longer waited for.
  ResetEvent(done_event);
  slot->exception_pointers = reinterpret_cast<uintptr_t>(exception);
  slot->thread_id = GetCurrentThreadId();
  slot->waiting_thread_id = slot->thread_id;
  slot->gather_indirect_memory =
      CrashpadInfo::GetCrashpadInfo()->gather_indirectly_referenced_memory() == TriState::kEnabled;
  return SetEvent(request_event) ? process : nullptr;
}

void CrashConnection::publish(WerRegistration* registration) const {
  // Without the version a crash in the middle of this is not reported; with it, the events could be
  // those of two connections.
  auto* const version = reinterpret_cast<volatile LONG*>(&registration->version);
  InterlockedExchange(version, 0);
  registration->dump_without_crashing = wer_request_.get();
  registration->dump_completed = wer_done_.get();
  registration->crashpad_exception_info = &g_wer_exception_information;
  registration->pointers = {&registration->exception, &registration->context};
  InterlockedExchange(version, WerRegistration::kWerRegistrationVersion);
}

void CrashConnection::wait_until_gone() {
  ScopedHandle successor;
  if (wait_until_ready()) WaitForSingleObject(handler(&successor), INFINITE);
}

HANDLE CrashConnection::handler(ScopedHandle* successor) const {
  const HANDLE first = handler_process_.load();
  DWORD waited = 0;
  for (HANDLE handler = first; has_ended(handler); waited += kSuccessorPauseMs) {
    if (waited > 0) Sleep(kSuccessorPauseMs);
    if (waited > kSuccessorPatienceMs || has_ended(started_process_.get())) return first;
    successor->reset(OpenProcess(SYNCHRONIZE, FALSE, section_->handler_process_id.load()));
    handler = successor->get();
  }
  return *successor ? successor->get() : first;
}

}  // namespace crashpad::internal
