#include "backend/platform_facts.h"
#include "backend/dump_options.h"
#include "backend/stack_guarantee.h"

#include <gtest/gtest.h>

namespace wrenfall {
namespace {

constexpr uint8_t kWorkstation = 1, kDomainController = 2, kServer = 3;
constexpr uint16_t kAmd64 = 9, kArm64 = 12;

struct Heeding {
  static constexpr bool kHeedsDumpType = true;
};
struct Other {};

TEST(DumpOptions, AreToldToBeWithoutEffect) {
  EXPECT_TRUE(HeedsDumpType<Heeding>::value);
  EXPECT_FALSE(HeedsDumpType<Other>::value);
  const std::string type = "wrenfall.dumpType", flags = "wrenfall.minidumpFlags";
  EXPECT_EQ(unheeded_dump_options({{type, "normal"}, {flags, "0"}}), "");
  EXPECT_EQ(unheeded_dump_options({{type, "full"}, {flags, "4096"}}),
            "The capture handler decides itself what dumps hold; without effect: dump type full, "
            "minidump flags 4096");
}

TEST(PlatformFacts, NameFollowsVersionBuildAndProduct) {
  const struct {
    SystemVersion system;
    const char* line;
    const char* library = "x64";
  } rows[] = {{{10, 0, 22631, kWorkstation, kAmd64}, "Windows 11 10.0.22631 x64"},
              {{10, 0, 22000, kWorkstation, kAmd64}, "Windows 11 10.0.22000 x64"},
              {{10, 0, 21999, kWorkstation, kAmd64}, "Windows 10 10.0.21999 x64"},
              {{10, 0, 26100, kServer, kAmd64}, "Windows Server 10.0.26100 x64"},
              {{10, 0, 17763, kDomainController, kAmd64}, "Windows Server 10.0.17763 x64"},
              {{6, 3, 9600, kServer, kAmd64}, "Windows 8.1 6.3.9600 x64"},
              {{6, 2, 9200, kWorkstation, kAmd64}, "Windows 6.2.9200 x64"},
              {{6, 1, 7601, kServer, kAmd64}, "Windows 7 6.1.7601 x64"},
              {{5, 1, 2600, kWorkstation, kAmd64}, "Windows 5.1.2600 x64"},
              {{11, 0, 30000, kWorkstation, kAmd64}, "Windows 11.0.30000 x64"},
              {{0, 0, 0, 0, 0}, "Windows 0.0.0 x64"},
              // The machine is not always what the library was built for.
              {{10, 0, 22631, kWorkstation, kArm64}, "Windows 11 10.0.22631 x64 on arm64"},
              {{10, 0, 22631, kWorkstation, kArm64}, "Windows 11 10.0.22631 arm64", "arm64"},
              {{10, 0, 22631, kWorkstation, kAmd64}, "Windows 11 10.0.22631 x86 on x64", "x86"},
              {{10, 0, 22631, kWorkstation, 0}, "Windows 11 10.0.22631 x86", "x86"}};
  for (const auto& row : rows) {
    const PlatformFacts facts = platform_facts(row.system, row.library);
    EXPECT_EQ(describe(facts), row.line);
    EXPECT_EQ(facts.family + facts.build + facts.detail,
              "windows" + std::to_string(row.system.build));
  }
}

TEST(StackGuarantee, LeavesSmallStacksAlone) {
  EXPECT_EQ(stack_guarantee_of(262143, 32768), 0u);
  EXPECT_EQ(stack_guarantee_of(262144, 32768), 32768u);
  EXPECT_EQ(stack_guarantee_of(262144, UINT32_MAX), 65536u);
}

TEST(PlatformFacts, PartsMayBeMissing) {
  const std::pair<PlatformFacts, const char*> rows[] = {
      {{"f", "Name", "", "", "", ""}, "Name"},
      {{"f", "Name", "1.2", "7", "x64", ""}, "Name 1.2 (7) x64"},
      {{"f", "Name", "1.7", "7", "x64", "remark"}, "Name 1.7 x64; remark"},
      {{"f", "Name", "", "7", "", "remark"}, "Name (7); remark"}};
  for (const auto& [facts, line] : rows) EXPECT_EQ(describe(facts), line);
}

}  // namespace
}  // namespace wrenfall
