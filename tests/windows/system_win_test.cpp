// What the system says of itself and of the folders that it has.
#include <gtest/gtest.h>
#include <windows.h>

#include "backend/platform_facts.h"
#include "support/paths.h"

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

}  // namespace
}  // namespace wrenfall
