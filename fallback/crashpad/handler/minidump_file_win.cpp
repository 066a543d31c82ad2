// For rand_s, before any other header.
#define _CRT_RAND_S
#include <cstdlib>

#include "handler/minidump_file_win.h"

// Needs <windows.h> first.
#include <dbghelp.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <cwchar>
#include <optional>

#include "common/scoped_win.h"
#include "handler/annotation_snapshot.h"
#include "handler/annotation_stream.h"
#include "handler/dump_output_win.h"
#include "handler/minidump_directory.h"
#include "handler/process_suspension_win.h"

namespace crashpad::internal {
namespace {

std::string failure(const char* what) {
  return std::string(what) + " (error " + std::to_string(GetLastError()) + ")";
}

std::string find_value(const StartUpAnnotations& annotations, const char* key) {
  for (const auto& [name, value] : annotations) {
    if (name == key) return value;
  }
  return std::string();
}

MINIDUMP_TYPE choose_type(const StartUpAnnotations& annotations, bool gather_indirect_memory) {
  const unsigned long flags =
      std::strtoul(find_value(annotations, "wrenfall.minidumpFlags").c_str(), nullptr, 10);
  if (flags != 0) return static_cast<MINIDUMP_TYPE>(flags);

  constexpr int kBasic = MiniDumpNormal | MiniDumpWithThreadInfo | MiniDumpWithUnloadedModules;
  constexpr int kLarge = kBasic | MiniDumpWithHandleData | MiniDumpWithFullMemoryInfo |
                         MiniDumpIgnoreInaccessibleMemory;
  const std::string type = find_value(annotations, "wrenfall.dumpType");
  if (type == "full") return static_cast<MINIDUMP_TYPE>(kLarge | MiniDumpWithFullMemory);
  if (type == "heap")
    return static_cast<MINIDUMP_TYPE>(kLarge | MiniDumpWithPrivateReadWriteMemory);
  return static_cast<MINIDUMP_TYPE>(
      gather_indirect_memory ? kBasic | MiniDumpWithIndirectlyReferencedMemory : kBasic);
}

// Random, in the form that RFC 4122 calls version 4.
bool create_uuid(GUID* uuid) {
  unsigned int draws[sizeof(*uuid) / sizeof(unsigned int)] = {};
  for (unsigned int& draw : draws) {
    if (rand_s(&draw) != 0) return false;
  }
  std::memcpy(uuid, draws, sizeof(*uuid));
  uuid->Data3 = static_cast<unsigned short>((uuid->Data3 & 0x0FFF) | 0x4000);
  uuid->Data4[0] = static_cast<unsigned char>((uuid->Data4[0] & 0x3F) | 0x80);
  return true;
}

std::wstring to_text(const GUID& uuid) {
  wchar_t text[40] = {};
  swprintf(
      text, sizeof(text) / sizeof(text[0]), L"%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
      static_cast<unsigned long>(uuid.Data1), uuid.Data2, uuid.Data3, uuid.Data4[0], uuid.Data4[1],
      uuid.Data4[2], uuid.Data4[3], uuid.Data4[4], uuid.Data4[5], uuid.Data4[6], uuid.Data4[7]);
  return text;
}

// The functions that write dumps.
struct DebugHelp {
  decltype(&MiniDumpWriteDump) write_dump = nullptr;
  decltype(&SymInitializeW) initialize_symbols = nullptr;
  decltype(&SymCleanup) clean_up_symbols = nullptr;

  bool load() {
    constexpr wchar_t kLibrary[] = L"dbghelp.dll";
    if (clean_up_symbols != nullptr) return true;
    if (LoadLibraryExW(kLibrary, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32) == nullptr) return false;
    write_dump = find_system_function<decltype(write_dump)>(kLibrary, "MiniDumpWriteDump");
    initialize_symbols =
        find_system_function<decltype(initialize_symbols)>(kLibrary, "SymInitializeW");
    clean_up_symbols = find_system_function<decltype(clean_up_symbols)>(kLibrary, "SymCleanup");
    return write_dump != nullptr && initialize_symbols != nullptr && clean_up_symbols != nullptr;
  }
};

// Used by one thread.
DebugHelp g_debug_help;

// A symbol handler of the process that knows no symbols. Without one, Wine's MiniDumpWriteDump makes a
// handler that knows them all, and copies the unwind record of every function of every module: 2.5 s and
// half a megabyte a dump, while the process does not run. Without the records a debugger takes them from
// the module files. On Windows this object is not expected to change the dump: by what is published of
// MiniDumpWriteDump there, it writes no records of modules, only those of code generated at run time.
class EmptySymbolHandler {
 public:
  explicit EmptySymbolHandler(HANDLE process)
      : process_(process),
        initialized_(g_debug_help.initialize_symbols(process, nullptr, FALSE) != FALSE) {}
  ~EmptySymbolHandler() {
    if (initialized_) g_debug_help.clean_up_symbols(process_);
  }
  EmptySymbolHandler(const EmptySymbolHandler&) = delete;
  EmptySymbolHandler& operator=(const EmptySymbolHandler&) = delete;

 private:
  const HANDLE process_;
  const bool initialized_;
};

// Writes the dump with a user stream of the placeholder's size, whose content is filled in later.
bool write_system_minidump(const DumpOrder& order, MINIDUMP_TYPE type,
                           std::vector<uint8_t>* placeholder, DumpOutput* output) {
  MINIDUMP_EXCEPTION_INFORMATION exception = {};
  exception.ThreadId = order.thread_id;
  exception.ExceptionPointers =
      reinterpret_cast<EXCEPTION_POINTERS*>(static_cast<uintptr_t>(order.exception_pointers));
  exception.ClientPointers = TRUE;
  MINIDUMP_USER_STREAM stream = {};
  stream.Type = kAnnotationStreamType;
  stream.BufferSize = static_cast<ULONG>(placeholder->size());
  stream.Buffer = placeholder->data();
  MINIDUMP_USER_STREAM_INFORMATION streams = {1, &stream};

  const EmptySymbolHandler no_symbols(order.client_process);
  const DWORD process_id = GetProcessId(order.client_process);
  const auto write = [&](MINIDUMP_TYPE chosen) {
    return g_debug_help.write_dump(order.client_process, process_id, output->handle(), chosen,
                                   &exception, &streams, nullptr) != FALSE;
  };
  return write(type) || (output->make_empty() && write(MiniDumpNormal));
}

// Writes the annotations over the placeholder. They cannot be appended to the file, because its end may
// lie beyond the reach of the stream's 32-bit offsets.
bool fill_in_annotations(const AnnotationStreamContent& content, const MinidumpStream& placeholder,
                         DumpOutput* output) {
  const std::vector<uint8_t> bytes = build_annotation_stream(content, placeholder.rva);
  if (bytes.size() != placeholder.size) return false;
  const uint32_t header_size = kAnnotationStreamHeaderSize;
  return output->write_at(placeholder.rva, bytes.data(), bytes.size()) &&
         output->write_at(
             placeholder.entry_offset + offsetof(MINIDUMP_DIRECTORY, Location.DataSize),
             &header_size, sizeof(header_size));
}

bool finish_minidump(const AnnotationStreamContent& content, DumpOutput* output) {
  const ReadFileAt read_file = [output](uint64_t offset, void* buffer, size_t size) {
    return output->read_at(offset, buffer, size);
  };
  const auto streams = read_minidump_directory(read_file);
  if (!streams || !minidump_is_whole(read_file, output->size(), *streams)) return false;
  const auto placeholder = std::find_if(
      streams->begin(), streams->end(),
      [](const MinidumpStream& stream) { return stream.type == kAnnotationStreamType; });
  return placeholder != streams->end() && fill_in_annotations(content, *placeholder, output) &&
         output->commit();
}

}  // namespace

void prepare_minidump_files() { g_debug_help.load(); }

std::string write_minidump_file(const std::wstring& reports, const StartUpAnnotations& annotations,
                                const DumpOrder& order) {
  if (!g_debug_help.load()) return failure("dbghelp.dll was not loaded");
  GUID uuid = {};
  if (!create_uuid(&uuid)) return failure("no name for it");
  DumpOutput output(reports + L"\\" + to_text(uuid) + L".dmp");
  if (!output.ok()) return failure("no file for it");

  AnnotationStreamContent content;
  static_assert(sizeof(uuid) == sizeof(content.report_id));
  std::memcpy(content.report_id.data(), &uuid, sizeof(uuid));
  content.start_up = annotations;
  {
    ProcessSuspension suspension(order.client_process, order.waiting_thread_id,
                                 order.client_suspended);
    const auto read_client = [&order](uint64_t address, void* buffer, size_t size) {
      SIZE_T done = 0;
      return ReadProcessMemory(order.client_process,
                               reinterpret_cast<const void*>(static_cast<uintptr_t>(address)),
                               buffer, size, &done) != FALSE &&
             done == size;
    };
    content.live = read_live_annotations(read_client, order.annotation_list_head);
    std::vector<uint8_t> placeholder(build_annotation_stream(content, 0).size());
    if (!write_system_minidump(order, choose_type(annotations, order.gather_indirect_memory),
                               &placeholder, &output)) {
      return failure("the system did not write it");
    }
    // Memory that can be read at the end could be read all the time.
    uint64_t newest = 0;
    if (order.on_demand && !read_client(order.annotation_list_head, &newest, sizeof(newest))) {
      return "the process was ended meanwhile";
    }
  }
  // The system's writer may report success for a dump that did not fit onto the disk.
  return finish_minidump(content, &output) ? std::string() : failure("it is not whole");
}

}  // namespace crashpad::internal
