// What the system says of itself, of its folders and of its processes.
#include <gtest/gtest.h>
#include <windows.h>

#include "backend/platform_facts.h"
#include "support/paths.h"
#include "support/process.h"
#include "support/win_handle.h"

namespace wrenfall {
namespace {

TEST(PathsWin, DefaultStoreLiesInTheLocalData) {
  const auto base = local_data_dir();
  EXPECT_TRUE(std::filesystem::is_directory(base));
  EXPECT_EQ(default_store_dir("My:App/é 試", "1.0"),
            base / L"Wrenfall" / L"My_App_\u00E9 \u8A66-1.0");
  EXPECT_EQ(default_store_dir("", ""), base / "Wrenfall" / "-");
  wchar_t variable[MAX_PATH] = {};
  GetEnvironmentVariableW(L"LOCALAPPDATA", variable, MAX_PATH);
  EXPECT_EQ(base, variable);
}

TEST(PlatformFactsWin, SystemTellsItsVersion) {
  const PlatformFacts facts = query_platform_facts();
  EXPECT_NE(facts.build, "0");
  EXPECT_EQ(facts.name.substr(0, 8), "Windows ") << facts.name;
  EXPECT_EQ(facts.architecture, "x64");
}

TEST(ProcessWin, OneThatMayNotBeOpenedRuns) {
  ACL nobody{};
  SECURITY_DESCRIPTOR descriptor{};
  ASSERT_TRUE(InitializeAcl(&nobody, sizeof nobody, ACL_REVISION));
  ASSERT_TRUE(InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION));
  ASSERT_TRUE(SetSecurityDescriptorDacl(&descriptor, TRUE, &nobody, FALSE));
  SECURITY_ATTRIBUTES closed{sizeof closed, &descriptor, FALSE};
  wchar_t program[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, program, MAX_PATH);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION made{};
  ASSERT_TRUE(CreateProcessW(program, nullptr, &closed, nullptr, FALSE, CREATE_SUSPENDED, nullptr,
                             nullptr, &startup, &made));
  const ScopedKernelHandle process(made.hProcess), thread(made.hThread);
  EXPECT_EQ(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, made.dwProcessId), nullptr);
  EXPECT_TRUE(is_process_running(made.dwProcessId));
  TerminateProcess(process.get(), 0);
  WaitForSingleObject(process.get(), INFINITE);
}

}  // namespace
}  // namespace wrenfall
