#include "client/crash_connection_win.h"

#include <gtest/gtest.h>

#include "../windows/import_hook_win.h"
#include "client/handler_process_win.h"

WRENFALL_IMPORT(CreateProcessW);

namespace {

using namespace crashpad::internal;

MEMORY_BASIC_INFORMATION memory_of(const void* address) {
  MEMORY_BASIC_INFORMATION memory{};
  VirtualQuery(address, &memory, sizeof memory);
  return memory;
}

HANDLE to_handle(uint64_t value) { return reinterpret_cast<HANDLE>(static_cast<uintptr_t>(value)); }

// A program that writes where it should not reaches no part of it.
TEST(CrashConnection, LiesInPagesOfItsOwnThatAreReadOnlyOnceTheHandlerIsReady) {
  const auto connection = CrashConnection::create();
  ASSERT_NE(connection, nullptr);
  EXPECT_EQ(memory_of(connection.get()).AllocationBase, connection.get());
  connection->protect();
  EXPECT_EQ(memory_of(connection.get()).Protect, DWORD{PAGE_READWRITE}) << "it is still changed";

  // This process plays the handler.
  const InitialClientData data = connection->initial_client_data();
  auto* const section = static_cast<ClientSection*>(
      MapViewOfFile(to_handle(data.section), FILE_MAP_WRITE, 0, 0, sizeof(ClientSection)));
  ASSERT_NE(section, nullptr);
  section->handler_process_id.store(GetCurrentProcessId());
  UnmapViewOfFile(section);
  SetEvent(to_handle(data.ready));
  connection->set_started_process(
      ScopedHandle(OpenProcess(SYNCHRONIZE, FALSE, GetCurrentProcessId())));
  ASSERT_TRUE(connection->wait_until_ready());
  connection->protect();
  EXPECT_EQ(memory_of(connection.get()).Protect, DWORD{PAGE_READONLY});
  EXPECT_TRUE(connection->wait_until_ready());
}

bool gets_handles = true;

BOOL WINAPI note_start(LPCWSTR, LPWSTR, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                       void*, LPCWSTR, STARTUPINFOW* asked, PROCESS_INFORMATION*) {
  gets_handles = asked->dwFlags != STARTF_USESTDHANDLES || asked->hStdInput || asked->hStdOutput ||
                 asked->hStdError;
  return FALSE;
}

TEST(HandlerProcess, GetsNoneOfTheStandardHandles) {
  const wrenfall::ImportHook hook(__imp_CreateProcessW, &note_start);
  const ScopedHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  EXPECT_FALSE(start_handler_process(L"handler", L"", {event.get()}));
  EXPECT_FALSE(gets_handles);
}

}  // namespace
