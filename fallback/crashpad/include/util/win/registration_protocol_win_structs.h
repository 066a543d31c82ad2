#ifndef WRENFALL_FALLBACK_UTIL_WIN_REGISTRATION_PROTOCOL_WIN_STRUCTS_H_
#define WRENFALL_FALLBACK_UTIL_WIN_REGISTRATION_PROTOCOL_WIN_STRUCTS_H_

#include <windows.h>

#include <cstdint>

// What a client keeps in its memory for a helper module in Windows Error Reporting's process. The names
// and types of the members are an interface: modules are compiled against them.
namespace crashpad {

// An address in the client.
using WinVMAddress = uint64_t;

#pragma pack(push, 1)

// Says to the handler which exception a dump is of.
struct ExceptionInformation {
  WinVMAddress exception_pointers;  // of an EXCEPTION_POINTERS
  DWORD thread_id;
};

#pragma pack(pop)

// CrashpadClient::RegisterWerModule() gives the address of one to the system, which passes it to the
// module. The module fills in the exception after a crash, because the handler reads exceptions from
// the memory of the crashed process.
struct WerRegistration {
  enum { kWerRegistrationVersion = 1 };
  int version;  // kWerRegistrationVersion; anything else is another structure, or none

  // Events; the values are the client's handles. Neither is valid while there is no handler. The first
  // asks the handler for a dump of the exception below; the second is its answer.
  HANDLE dump_without_crashing;
  HANDLE dump_completed;

  // Whether the client itself waits for a dump by these events. Never set by this client, which has
  // other events for its own dumps.
  bool in_dump_without_crashing;

  void* crashpad_exception_info;  // an ExceptionInformation

  EXCEPTION_POINTERS pointers;  // to the next two
  EXCEPTION_RECORD exception;
  CONTEXT context;
};

}  // namespace crashpad

#endif  // WRENFALL_FALLBACK_UTIL_WIN_REGISTRATION_PROTOCOL_WIN_STRUCTS_H_
