#include <windows.h>

// Needs <windows.h> first.
#include <util/win/registration_protocol_win_structs.h>

#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "common/client_protocol.h"
#include "common/command_line.h"
#include "common/scoped_win.h"
#include "handler/manners.h"
#include "handler/minidump_file_win.h"
#include "handler/process_suspension_win.h"

namespace crashpad::internal {
namespace {

enum ExitCode : int {
  kExitOk = 0,
  kExitBadArguments = 2,
  kExitNoSection = 3,
  kExitNoDatabase = 4,
  kExitWaitFailed = 5,
};

std::string to_utf8(const std::wstring& wide) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                       nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), utf8.data(), size,
                      nullptr, nullptr);
  return utf8;
}

HANDLE to_handle(uint64_t value) { return reinterpret_cast<HANDLE>(static_cast<uintptr_t>(value)); }

ScopedView<ClientSection> map_section(HANDLE section) {
  void* view = MapViewOfFile(section, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(ClientSection));
  ScopedView<ClientSection> result(static_cast<ClientSection*>(view));
  if (result &&
      (result->magic != kClientSectionMagic || result->version != kClientSectionVersion)) {
    result.reset();
  }
  return result;
}

bool is_folder(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Creates the folder and those above it that are missing. False when there is no such folder then.
bool create_folders(const std::wstring& path) {
  if (is_folder(path)) return true;
  const size_t end = path.find_last_of(L"\\/");
  if (end != std::wstring::npos && end != 0) create_folders(path.substr(0, end));
  return CreateDirectoryW(path.c_str(), nullptr) || is_folder(path);
}

// Writes a line to the standard error output, if there is one.
void print_error(const std::string& text) {
  const HANDLE output = GetStdHandle(STD_ERROR_HANDLE);
  const std::string line = text + "\n";
  DWORD done = 0;
  if (output != nullptr && output != INVALID_HANDLE_VALUE) {
    WriteFile(output, line.data(), static_cast<DWORD>(line.size()), &done, nullptr);
  }
}

// Serves one client until the client ends or sets "stop".
class Handler {
 public:
  Handler(const HandlerArguments& arguments, std::wstring reports,
          ScopedView<ClientSection> section)
      : handles_(arguments.client_data),
        reports_(std::move(reports)),
        section_(std::move(section)) {
    for (const auto& [key, value] : arguments.annotations) {
      annotations_.emplace_back(to_utf8(key), to_utf8(value));
    }
  }

  int run() {
    section_->handler_process_id.store(GetCurrentProcessId());
    SetEvent(to_handle(handles_.ready));
    // The client goes on meanwhile.
    prepare_minidump_files();
    // When several handles are signalled, the first one counts, so requests are served before the end.
    const HANDLE waits[] = {to_handle(handles_.crash_request), to_handle(handles_.dump_request),
                            to_handle(handles_.wer_request), to_handle(handles_.stop),
                            to_handle(handles_.client_process)};
    for (;;) {
      switch (WaitForMultipleObjects(5, waits, FALSE, INFINITE)) {
        case WAIT_OBJECT_0:
          serve(&section_->crash, to_handle(handles_.crash_done), false);
          if (!kManners.leaves_end_to_client) end_client();
          break;
        case WAIT_OBJECT_0 + 1:
          serve(&section_->dump, to_handle(handles_.dump_done), true);
          break;
        case WAIT_OBJECT_0 + 2:
          serve_helper_module();
          break;
        case WAIT_OBJECT_0 + 3:
          if (!kManners.ends_when_told) {
            WaitForSingleObject(to_handle(handles_.client_process), INFINITE);
          }
          return kExitOk;
        case WAIT_OBJECT_0 + 4:
          return kExitOk;
        default:
          return kExitWaitFailed;
      }
    }
  }

 private:
  void serve(DumpRequest* request, HANDLE done, bool on_demand) const {
    request->written = 0;
    const std::string failure = write_dump(*request, on_demand);
    request->written = failure.empty() ? 1 : 0;
    SetEvent(done);
    report(failure);
  }

  // The helper module is answered only when the dump is complete. After a failure its wait ends by
  // itself, and then the system makes a report of its own.
  void serve_helper_module() const {
    ExceptionInformation exception = {};
    SIZE_T done = 0;
    const auto* const address =
        reinterpret_cast<const void*>(static_cast<uintptr_t>(section_->wer_exception_information));
    std::string failure = "the exception cannot be read";
    if (ReadProcessMemory(to_handle(handles_.client_process), address, &exception,
                          sizeof(exception), &done) &&
        done == sizeof(exception)) {
      DumpRequest request = section_->wer;
      request.exception_pointers = exception.exception_pointers;
      request.thread_id = exception.thread_id;
      failure = write_dump(request, false);
    }
    if (failure.empty()) SetEvent(to_handle(handles_.wer_done));
    report(failure);
  }

  // Empty when the dump is complete on disk, otherwise why it is not.
  std::string write_dump(const DumpRequest& request, bool on_demand) const {
    DumpOrder order;
    order.on_demand = on_demand;
    order.client_process = to_handle(handles_.client_process);
    order.exception_pointers = request.exception_pointers;
    order.thread_id = request.thread_id;
    if (kManners.lets_one_thread_run) order.waiting_thread_id = request.waiting_thread_id;
    order.gather_indirect_memory = request.gather_indirect_memory != 0;
    order.annotation_list_head = section_->annotation_list_head;
    order.client_suspended = &section_->client_suspended;
    try {
      return write_minidump_file(reports_, annotations_, order);
    } catch (const std::exception&) {
      // The dump is lost, but the client must be answered.
      return "out of memory";
    }
  }

  void end_client() const {
    const DWORD id = GetProcessId(to_handle(handles_.client_process));
    const ScopedHandle client(OpenProcess(PROCESS_TERMINATE, FALSE, id));
    if (client) TerminateProcess(client.get(), exception_code());
  }

  // Of the crash that was served last; nothing when it cannot be read.
  DWORD exception_code() const {
    const auto read = [this](uint64_t address, void* buffer, size_t size) {
      SIZE_T done = 0;
      return ReadProcessMemory(to_handle(handles_.client_process),
                               reinterpret_cast<const void*>(static_cast<uintptr_t>(address)),
                               buffer, size, &done) != FALSE;
    };
    EXCEPTION_POINTERS pointers = {};
    EXCEPTION_RECORD record = {};
    read(section_->crash.exception_pointers, &pointers, sizeof(pointers));
    read(reinterpret_cast<uintptr_t>(pointers.ExceptionRecord), &record, sizeof(record));
    return record.ExceptionCode;
  }

  void report(const std::string& failure) const {
    if (!failure.empty()) print_error("no dump written to " + to_utf8(reports_) + ": " + failure);
  }

  const InitialClientData handles_;
  const std::wstring reports_;
  const ScopedView<ClientSection> section_;
  StartUpAnnotations annotations_;
};

int run_handler() {
  // DLLs that system libraries load later must not come from the program's or the current folder.
  SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  // A missing disk or a crash in here must not bring up a dialog.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  ProcessSuspension::resume_on_own_crash();
  // When the user logs off, this process ends after its client.
  SetProcessShutdownParameters(0x100, SHUTDOWN_NORETRY);

  if (__argc < 1) return kExitBadArguments;
  const std::optional<HandlerArguments> arguments =
      parse_handler_arguments({__wargv + 1, __wargv + __argc});
  if (!arguments) return kExitBadArguments;
  ScopedView<ClientSection> section = map_section(to_handle(arguments->client_data.section));
  if (!section) return kExitNoSection;
  const std::wstring reports = arguments->database + L"\\reports";
  if (!create_folders(reports)) return kExitNoDatabase;
  return Handler(*arguments, reports, std::move(section)).run();
}

}  // namespace
}  // namespace crashpad::internal

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
  return crashpad::internal::run_handler();
}
