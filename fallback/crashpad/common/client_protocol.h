#ifndef WRENFALL_FALLBACK_COMMON_CLIENT_PROTOCOL_H_
#define WRENFALL_FALLBACK_COMMON_CLIENT_PROTOCOL_H_

#include <atomic>
#include <cstddef>
#include <cstdint>

// What the crashing process (the client) and crashpad_handler.exe share. Both come from one build; the
// version only detects that files of two builds were mixed.
//
// A connection's life:
//   1. The client creates the section and the events and starts the handler, which inherits them.
//   2. The handler maps the section, writes its process id, sets "ready".
//   3. For a dump the client fills its request slot, sets the request event and waits for the
//      matching done event or the end of the handler process. The handler sets "done" once for each
//      request. For a crash that never reaches the client's code, the helper module in Windows Error
//      Reporting's process makes the request; see registration_protocol_win_structs.h.
//   4. The handler ends when the client process ends or when "stop" is set, after pending requests.
namespace crashpad::internal {

constexpr uint32_t kClientSectionMagic = 0x43535257;  // "WRSC"
constexpr uint32_t kClientSectionVersion = 3;

constexpr size_t kAnnotationNameBytes = 256;
constexpr uint32_t kAnnotationMaxValueBytes = 20480;

// The exception code of a dump that was asked for.
constexpr uint32_t kDumpWithoutCrashCode = 0x0517A7ED;

// An annotation in the client's memory. The addresses are the client's.
struct AnnotationImage {
  uint64_t link;
  uint64_t name;
  uint64_t value;
  uint32_t size;
  uint16_t type;
  uint16_t padding;
};

// Crashes, dumps on demand, and crashes that only the system sees each have a slot and events of their
// own, so that a request of one kind can come while another one waits for its dump.
struct DumpRequest {
  uint64_t exception_pointers;
  uint32_t thread_id;
  uint32_t waiting_thread_id;  // The thread of the client that waits for the dump; 0 for none.
  uint32_t gather_indirect_memory;
  uint32_t written;  // The handler's answer: not 0 when the dump is complete on disk.
};

struct ClientSection {
  uint32_t magic;
  uint32_t version;
  uint64_t annotation_list_head;
  DumpRequest crash;
  DumpRequest dump;
  DumpRequest wer;  // the exception and the thread are those of the next member

  // Where the helper module says of which exception it wants a dump: a crashpad::ExceptionInformation
  // in the client.
  uint64_t wer_exception_information;
  std::atomic<uint32_t> handler_process_id;

  // Not 0 while the handler may have suspended the client. The thread that waits for the dump keeps
  // running, so that it can resume the others when the handler is killed.
  std::atomic<uint32_t> client_suspended;
};

// The handles a handler inherits, as numbers in `--initial-client-data`.
struct InitialClientData {
  uint64_t section;
  uint64_t client_process;
  uint64_t ready;
  uint64_t crash_request;
  uint64_t crash_done;
  uint64_t dump_request;
  uint64_t dump_done;
  uint64_t stop;
  uint64_t wer_request;
  uint64_t wer_done;
};

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_COMMON_CLIENT_PROTOCOL_H_
