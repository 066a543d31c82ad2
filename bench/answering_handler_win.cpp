// A capture handler that answers its client at once and writes no dump: what a handler costs at least.
#include <windows.h>

#include <cstdlib>
#include <optional>

#include "common/client_protocol.h"
#include "common/command_line.h"

namespace {

using crashpad::internal::ClientSection;
using crashpad::internal::HandlerArguments;
using crashpad::internal::kClientSectionMagic;
using crashpad::internal::kClientSectionVersion;

HANDLE to_handle(uint64_t value) { return reinterpret_cast<HANDLE>(static_cast<uintptr_t>(value)); }

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
  const std::optional<HandlerArguments> arguments =
      crashpad::internal::parse_handler_arguments({__wargv + 1, __wargv + __argc});
  if (!arguments) return 1;
  const auto& handles = arguments->client_data;
  auto* const section = static_cast<ClientSection*>(
      MapViewOfFile(to_handle(handles.section), FILE_MAP_WRITE, 0, 0, sizeof(ClientSection)));
  if (section == nullptr || section->magic != kClientSectionMagic ||
      section->version != kClientSectionVersion) {
    return 1;
  }
  section->handler_process_id.store(GetCurrentProcessId());
  SetEvent(to_handle(handles.ready));
  const HANDLE waits[] = {to_handle(handles.crash_request), to_handle(handles.dump_request),
                          to_handle(handles.stop), to_handle(handles.client_process)};
  for (;;) {
    switch (WaitForMultipleObjects(4, waits, FALSE, INFINITE)) {
      case WAIT_OBJECT_0:
        section->crash.written = 1;
        SetEvent(to_handle(handles.crash_done));
        break;
      case WAIT_OBJECT_0 + 1:
        section->dump.written = 1;
        SetEvent(to_handle(handles.dump_done));
        break;
      default:
        return 0;
    }
  }
}
