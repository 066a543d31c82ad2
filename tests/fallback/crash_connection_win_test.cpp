#include "client/crash_connection_win.h"

#include <gtest/gtest.h>

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

}  // namespace
