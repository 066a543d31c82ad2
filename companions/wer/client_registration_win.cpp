#include "wer/client_registration_win.h"

// The only file that depends on what a client keeps in its memory for this module. Needs <windows.h>
// first.
#include <util/win/registration_protocol_win_structs.h>

#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

namespace wrenfall::wer {
namespace {

using crashpad::ExceptionInformation;
using crashpad::WerRegistration;

static_assert(std::is_trivially_copyable_v<WerRegistration>);

// The member may be a pointer or a number.
template <typename Address>
uintptr_t to_number(Address address) {
  if constexpr (std::is_pointer_v<Address>) {
    return reinterpret_cast<uintptr_t>(address);
  } else {
    return static_cast<uintptr_t>(address);
  }
}

template <typename Object>
bool write_at(HANDLE process, uintptr_t address, const Object& object) {
  SIZE_T done = 0;
  return WriteProcessMemory(process, reinterpret_cast<void*>(address), &object, sizeof(object),
                            &done) &&
         done == sizeof(object);
}

// Whether that is memory of the process that it could write itself. Writing from outside is able to
// change more than that.
bool is_writable(HANDLE process, uintptr_t address, size_t size) {
  constexpr DWORD kWritable =
      PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
  MEMORY_BASIC_INFORMATION memory = {};
  if (VirtualQueryEx(process, reinterpret_cast<const void*>(address), &memory, sizeof(memory)) ==
      0) {
    return false;
  }
  const size_t offset = address - reinterpret_cast<uintptr_t>(memory.BaseAddress);
  return memory.State == MEM_COMMIT && (memory.Protect & kWritable) != 0 &&
         (memory.Protect & PAGE_GUARD) == 0 && offset <= memory.RegionSize &&
         size <= memory.RegionSize - offset;
}

// Empty as well for the values that mean "none", one of which is also a name for the process itself.
ScopedKernelHandle take_over(HANDLE process, HANDLE remote, DWORD rights) {
  HANDLE own = nullptr;
  if (remote != nullptr && remote != INVALID_HANDLE_VALUE) {
    DuplicateHandle(process, remote, GetCurrentProcess(), &own, rights, FALSE, 0);
  }
  return ScopedKernelHandle(own);
}

}  // namespace

std::optional<ClientRegistration> ClientRegistration::read(HANDLE process, void* address) {
  WerRegistration copy = {};
  SIZE_T done = 0;
  if (!ReadProcessMemory(process, address, &copy, sizeof(copy), &done) || done != sizeof(copy) ||
      copy.version != WerRegistration::kWerRegistrationVersion) {
    return std::nullopt;
  }
  ClientRegistration client;
  client.process_ = process;
  client.address_ = reinterpret_cast<uintptr_t>(address);
  client.exception_information_ = to_number(copy.crashpad_exception_info);
  // As a byte, for a damaged one need be neither true nor false.
  unsigned char under_way = 0;
  std::memcpy(&under_way, &copy.in_dump_without_crashing, sizeof(under_way));
  client.has_dump_under_way_ = under_way != 0;
  client.request_ = take_over(process, copy.dump_without_crashing, EVENT_MODIFY_STATE);
  client.done_ = take_over(process, copy.dump_completed, SYNCHRONIZE);
  if (!client.request_ || !client.done_ ||
      !is_writable(process, client.exception_information_, sizeof(ExceptionInformation))) {
    return std::nullopt;
  }
  return client;
}

bool ClientRegistration::write_exception(
    const WER_RUNTIME_EXCEPTION_INFORMATION& information) const {
  const uintptr_t record = address_ + offsetof(WerRegistration, exception);
  const uintptr_t context = address_ + offsetof(WerRegistration, context);
  const uintptr_t pointers = address_ + offsetof(WerRegistration, pointers);
  // The process's own pointers are not used: they may lead anywhere.
  EXCEPTION_POINTERS own_pointers = {};
  own_pointers.ExceptionRecord = reinterpret_cast<EXCEPTION_RECORD*>(record);
  own_pointers.ContextRecord = reinterpret_cast<CONTEXT*>(context);
  ExceptionInformation exception = {};
  exception.exception_pointers = pointers;
  exception.thread_id = GetThreadId(information.hThread);
  return exception.thread_id != 0 && write_at(process_, record, information.exceptionRecord) &&
         write_at(process_, context, information.context) &&
         write_at(process_, pointers, own_pointers) &&
         write_at(process_, exception_information_, exception);
}

}  // namespace wrenfall::wer
