#include <handler/win/wer/crashpad_wer.h>

#include <algorithm>

#include "common/client_protocol.h"
#include "common/scoped_win.h"
#include "common/wer_registration_win.h"
#include "wer/fatal_exception_win.h"

namespace crashpad::wer {
namespace {

using internal::ClientSection;
using internal::DumpRequest;
using internal::ScopedHandle;
using internal::ScopedView;
using internal::WerRegistration;

constexpr DWORD kDumpTimeoutMs = 60000;

DWORD system_build() {
  using VersionFunction = LONG(NTAPI*)(OSVERSIONINFOW*);
  const auto get_version =
      internal::find_system_function<VersionFunction>(L"ntdll.dll", "RtlGetVersion");
  OSVERSIONINFOW version = {};
  version.dwOSVersionInfoSize = sizeof(version);
  return get_version != nullptr && get_version(&version) >= 0 ? version.dwBuildNumber : 0;
}

bool read_registration(HANDLE process, const void* address, WerRegistration* registration) {
  SIZE_T done = 0;
  return ReadProcessMemory(process, address, registration, sizeof(*registration), &done) &&
         done == sizeof(*registration) && registration->magic == internal::kWerRegistrationMagic &&
         registration->size == sizeof(*registration);
}

ScopedHandle take_over(HANDLE process, uint64_t value, DWORD rights) {
  HANDLE own = nullptr;
  const auto remote = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(value));
  DuplicateHandle(process, remote, GetCurrentProcess(), &own, rights, FALSE, 0);
  return ScopedHandle(own);
}

// The client's connection to its handler, opened in this process.
struct Connection {
  Connection(HANDLE process, const WerRegistration& registration)
      : request(take_over(process, registration.request, EVENT_MODIFY_STATE)),
        done(take_over(process, registration.done, SYNCHRONIZE)) {
    constexpr DWORD kSectionRights = FILE_MAP_READ | FILE_MAP_WRITE;
    const ScopedHandle handle = take_over(process, registration.section, kSectionRights);
    if (!handle) return;
    section.reset(static_cast<ClientSection*>(
        MapViewOfFile(handle.get(), kSectionRights, 0, 0, sizeof(ClientSection))));
    if (!section || section->magic != internal::kClientSectionMagic ||
        section->version != internal::kClientSectionVersion) {
      return;
    }
    const DWORD handler_id = section->handler_process_id.load();
    if (handler_id != 0) handler.reset(OpenProcess(SYNCHRONIZE, FALSE, handler_id));
  }
  bool ok() const { return request && done && section && handler; }

  ScopedHandle request;
  ScopedHandle done;
  ScopedView<ClientSection> section;
  ScopedHandle handler;
};

// Copies the exception to where the dump writer finds it. True when all of it was copied.
bool write_exception(HANDLE process, WerRegistration* remote,
                     const WER_RUNTIME_EXCEPTION_INFORMATION& information) {
  WerRegistration::Exception exception = {};
  exception.pointers.ExceptionRecord = &remote->exception.record;
  exception.pointers.ContextRecord = &remote->exception.context;
  exception.record = information.exceptionRecord;
  exception.context = information.context;
  SIZE_T done = 0;
  return WriteProcessMemory(process, &remote->exception, &exception, sizeof(exception), &done) &&
         done == sizeof(exception);
}

// The slot "wer" belongs to this module; the client uses the others.
bool request_dump(const Connection& connection, const DumpRequest& request) {
  connection.section->wer = request;
  if (!SetEvent(connection.request.get())) return false;
  const HANDLE waits[] = {connection.done.get(), connection.handler.get()};
  return WaitForMultipleObjects(2, waits, FALSE, kDumpTimeoutMs) == WAIT_OBJECT_0 &&
         connection.section->wer.written != 0;
}

}  // namespace

bool ExceptionEvent(const DWORD* handled_exceptions, size_t num_handled_exceptions,
                    const PVOID context, const PWER_RUNTIME_EXCEPTION_INFORMATION information) {
  if (context == nullptr || information == nullptr ||
      information->dwSize < internal::kFatalOffset) {
    return false;
  }
  const DWORD code = information->exceptionRecord.ExceptionCode;
  const DWORD* const handled_end = handled_exceptions + num_handled_exceptions;
  if (std::find(handled_exceptions, handled_end, code) == handled_end) return false;
  if (!internal::ends_the_process(*information, system_build())) return false;

  const HANDLE process = information->hProcess;
  WerRegistration registration = {};
  if (!read_registration(process, context, &registration)) return false;
  const Connection connection(process, registration);
  if (!connection.ok()) return false;

  auto* const remote = static_cast<WerRegistration*>(context);
  DumpRequest request = {};
  request.exception_pointers = reinterpret_cast<uintptr_t>(&remote->exception.pointers);
  request.thread_id = GetThreadId(information->hThread);
  request.gather_indirect_memory = registration.gather_indirect_memory;
  if (request.thread_id == 0 || !write_exception(process, remote, *information) ||
      !request_dump(connection, request)) {
    return false;
  }
  TerminateProcess(process, code);
  return true;
}

}  // namespace crashpad::wer
