#ifndef WRENFALL_FALLBACK_HANDLER_MINIDUMP_FILE_WIN_H_
#define WRENFALL_FALLBACK_HANDLER_MINIDUMP_FILE_WIN_H_

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace crashpad::internal {

// One dump to write. Addresses are the client's.
struct DumpOrder {
  HANDLE client_process = nullptr;
  uint64_t exception_pointers = 0;
  uint32_t thread_id = 0;
  uint32_t waiting_thread_id = 0;  // This thread is not suspended; 0 for none.
  bool gather_indirect_memory = false;
  uint64_t annotation_list_head = 0;
  std::atomic<uint32_t>* client_suspended = nullptr;  // See ClientSection.
  // A dump of a client that is ended meanwhile is not kept: it may lack anything, and seem to be of a
  // crash. What there is of a crash is worth keeping.
  bool on_demand = false;
};

using StartUpAnnotations = std::vector<std::pair<std::string, std::string>>;

// Loads what writing a dump needs and the start of the handler does not. write_minidump_file does so
// itself where this was not called or has failed.
void prepare_minidump_files();

// Writes `<reports>/<uuid>.dmp`. The client is suspended while its memory is read. No other process can
// open the file until it is complete. When it cannot be completed, or this process ends in the middle,
// the file vanishes. Returns an empty text when the dump is complete on disk, otherwise what failed.
std::string write_minidump_file(const std::wstring& reports, const StartUpAnnotations& annotations,
                                const DumpOrder& order);

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_HANDLER_MINIDUMP_FILE_WIN_H_
