#include "client/crash_connection_win.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <utility>

#include "../support/suspended_copy_win.h"
#include "../windows/import_hook_win.h"
#include "client/handler_process_win.h"

WRENFALL_IMPORT(CreateProcessW);
WRENFALL_IMPORT(SetEvent);
WRENFALL_IMPORT(SetInformationJobObject);

namespace {

using namespace crashpad::internal;

MEMORY_BASIC_INFORMATION memory_of(const void* address) {
  MEMORY_BASIC_INFORMATION memory{};
  VirtualQuery(address, &memory, sizeof memory);
  return memory;
}

HANDLE to_handle(uint64_t value) { return reinterpret_cast<HANDLE>(static_cast<uintptr_t>(value)); }

ScopedView<ClientSection> section_of(const CrashConnection& connection) {
  return ScopedView<ClientSection>(
      static_cast<ClientSection*>(MapViewOfFile(to_handle(connection.initial_client_data().section),
                                                FILE_MAP_WRITE, 0, 0, sizeof(ClientSection))));
}

// Makes the process the handler, as far as the connection can see.
void play_handler(CrashConnection& connection, DWORD process_id) {
  section_of(connection)->handler_process_id.store(process_id);
  SetEvent(to_handle(connection.initial_client_data().ready));
  connection.set_started_process(
      ScopedHandle(OpenProcess(SYNCHRONIZE, FALSE, GetCurrentProcessId())));
}

// A program that writes where it should not reaches no part of it.
TEST(CrashConnection, LiesInPagesOfItsOwnThatAreReadOnlyOnceTheHandlerIsReady) {
  const auto connection = CrashConnection::create();
  ASSERT_NE(connection, nullptr);
  EXPECT_EQ(memory_of(connection.get()).AllocationBase, connection.get());
  connection->protect();
  EXPECT_EQ(memory_of(connection.get()).Protect, DWORD{PAGE_READWRITE}) << "it is still changed";

  play_handler(*connection, GetCurrentProcessId());
  ASSERT_TRUE(connection->wait_until_ready());
  connection->protect();
  EXPECT_EQ(memory_of(connection.get()).Protect, DWORD{PAGE_READONLY});
  EXPECT_TRUE(connection->wait_until_ready());
}

const auto system_set_event = __imp_SetEvent;
std::function<void()> after_request;

BOOL WINAPI request_and_go_on(HANDLE event) {
  const BOOL result = system_set_event(event);
  if (const auto step = std::exchange(after_request, nullptr)) step();
  return result;
}

TEST(CrashConnection, DoesNotWaitForAHandlerThatWasNotAsked) {
  const auto connection = CrashConnection::create();
  ASSERT_NE(connection, nullptr);
  const PROCESS_INFORMATION first = start_suspended_copy();
  ASSERT_NE(first.hProcess, nullptr);
  const ScopedHandle thread(first.hThread);
  const ScopedHandle process(first.hProcess);
  play_handler(*connection, first.dwProcessId);
  EXPECT_TRUE(connection->wait_until_ready());

  const wrenfall::ImportHook hook(__imp_SetEvent, &request_and_go_on);
  const HANDLE asked = to_handle(connection->initial_client_data().dump_request);
  after_request = [&] {
    EXPECT_EQ(WaitForSingleObject(asked, 0), WAIT_OBJECT_0);  // the first handler takes the request
    TerminateProcess(first.hProcess, 0);
    WaitForSingleObject(first.hProcess, INFINITE);
    section_of(*connection)->handler_process_id.store(GetCurrentProcessId());
  };
  std::promise<void> returned;
  std::thread dump([&] {
    connection->request_dump(nullptr);
    returned.set_value();
  });
  EXPECT_EQ(returned.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
  SetEvent(to_handle(connection->initial_client_data().dump_done));
  dump.join();
}

bool gets_handles = true;

BOOL WINAPI note_start(LPCWSTR, LPWSTR, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                       void*, LPCWSTR, STARTUPINFOW* asked, PROCESS_INFORMATION*) {
  gets_handles = asked->dwFlags != STARTF_USESTDHANDLES || asked->hStdInput || asked->hStdOutput ||
                 asked->hStdError;
  return FALSE;
}

DWORD job_flags = 0;

BOOL WINAPI note_job(HANDLE, JOBOBJECTINFOCLASS, void* limits, DWORD) {
  job_flags = static_cast<JOBOBJECT_BASIC_LIMIT_INFORMATION*>(limits)->LimitFlags;
  return TRUE;
}

TEST(HandlerProcess, GetsNoStandardHandlesAndAJobThatItsChildrenLeave) {
  const wrenfall::ImportHook hook(__imp_CreateProcessW, &note_start);
  const wrenfall::ImportHook job_hook(__imp_SetInformationJobObject, &note_job);
  const ScopedHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  EXPECT_FALSE(start_handler_process(L"handler", L"", {event.get()}));
  EXPECT_FALSE(gets_handles);
  EXPECT_EQ(job_flags, DWORD{JOB_OBJECT_LIMIT_BREAKAWAY_OK | JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK});
}

}  // namespace
