#include "backend/startup_annotations.h"

#include <gtest/gtest.h>

#include "support/text.h"

namespace wrenfall {
namespace {

using Annotations = std::map<std::string, std::string>;

TEST(StartupAnnotations, CarryTheConfiguration) {
  BackendConfiguration full;
  full.database = "db";
  full.application = "App é";
  full.version = "";  // Empty texts are carried too.
  full.store_dir = utf8_to_path("störe 試");
  full.reporter_path = "reporter.exe";
  full.theme_dir = utf8_to_path("thème");
  full.minidump_flags = 4294967295u;
  full.open_support_url = false;
  full.crash_type_id = -1;
  full.sdk_version = "9.0.0-dev";
  full.environment = "goes by another way";
  Annotations expected = {{"database", "db"},
                          {"prod", "App é"},
                          {"version", ""},
                          {"wrenfall.store", "störe 試"},
                          {"wrenfall.reporter", "reporter.exe"},
                          {"wrenfall.minidumpFlags", "4294967295"},
                          {"wrenfall.themeDir", "thème"},
                          {"wrenfall.openSupportUrl", "0"},
                          {"wrenfall.crashTypeId", "-1"},
                          {"wrenfall.sdkVersion", "9.0.0-dev"},
                          {"wrenfall.session", "1234-133500000000000007"}};
  const char* const texts[][2] = {
      {"dialog", "normal"}, {"quiet", "heap"}, {"manual", "full"}, {"dialog", "normal"}};
  for (const uint32_t number : {0u, 1u, 2u, 3u, 4294967295u}) {
    full.upload_policy = full.dump_type = number;
    const auto& [policy, dump_type] = texts[number < 3 ? number : 3];
    expected["wrenfall.policy"] = policy;
    expected["wrenfall.dumpType"] = dump_type;
    EXPECT_EQ(startup_annotations(full, {1234, 133500000000000007u}), expected) << number;
  }
  full.open_support_url = true;
  EXPECT_EQ(startup_annotations(full, {5, 0}).at("wrenfall.openSupportUrl"), "1");
  EXPECT_EQ(startup_annotations(full, {5, 0}).at("wrenfall.session"), "5-0");
}

}  // namespace
}  // namespace wrenfall
