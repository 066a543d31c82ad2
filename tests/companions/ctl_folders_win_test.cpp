#include <gtest/gtest.h>

#include "ctl/ctl_options.h"
#include "support/text.h"

namespace wrenfall {
namespace {

TEST(CtlOptions, FoldersAreNamesInTheStoreOrPaths) {
  const struct {
    const char* argument;
    const char* folder;
  } rows[] = {
      {"name \xC3\xBC", "S:\\store\\name \xC3\xBC"},
      {"name\\", "S:\\store\\name"},
      {"up/name", "up/name"},
      {"..\\name", "..\\name"},
      {"C:\\x\\name\\", "C:\\x\\name"},
      {"C:name", "C:name"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(path_to_utf8(report_folder_of("S:\\store", row.argument)), row.folder);
  }
  EXPECT_EQ(path_to_utf8(report_folder_of("", "name")), "name");
}

}  // namespace
}  // namespace wrenfall
