#include "backend/annotation_table.h"

#include <client/annotation.h>
#include <gtest/gtest.h>

#include <memory>

namespace wrenfall {
namespace {

using crashpad::Annotation;

TEST(AnnotationTable, EmptyValuesClear) {
  AnnotationTable table;
  const size_t before = Annotation::all().size();
  table.set("never set", "");
  EXPECT_EQ(Annotation::all().size(), before);
  for (const char* value : {"one", "", "two"}) {
    table.set("cleared", value);
    EXPECT_EQ(Annotation::live("cleared").value_or(""), value);
  }
  EXPECT_EQ(Annotation::all().size(), before + 1) << "the holder was not used again";
}

TEST(AnnotationTable, NamesAreCutButKeysAreNot) {
  AnnotationTable table;
  const std::string longest(255, 'k');
  const size_t before = Annotation::all().size();
  for (const char* rest : {"", "1", "2"}) {
    table.set(longest + rest, std::string("value") + rest);
    EXPECT_EQ(Annotation::live(longest), std::string("value") + rest);
    if (*rest != '2') table.set(longest + rest, "");
  }
  EXPECT_EQ(Annotation::all().size(), before + 3) << "keys share a holder";
  table.set(longest + "1", "");
  EXPECT_EQ(Annotation::live(longest), "value2");
}

// The handler goes on walking the list when a table is gone, and counts what is in it.
TEST(AnnotationTable, HoldersOutliveTheTableAndAreTakenAgain) {
  const size_t before = Annotation::all().size();
  for (const char* run : {"first", "second", "third"}) {
    {
      AnnotationTable table;
      table.set("survivor", run);
      table.set("other", "x");
      EXPECT_EQ(Annotation::live("survivor"), run);
    }
    EXPECT_FALSE(Annotation::live("survivor") || Annotation::live("other")) << run;
    EXPECT_EQ(Annotation::all().size(), before + 2) << run;
  }
}

TEST(AnnotationTable, OnlyTheNewestTableCounts) {
  auto old_table = std::make_unique<AnnotationTable>();
  old_table->set("user", "old");
  old_table->set("email", "old");
  AnnotationTable table;
  EXPECT_EQ(Annotation::live("email"), std::nullopt);
  table.set("user", "new");
  old_table->set("user", "late");
  EXPECT_EQ(Annotation::live("user"), "new");
  old_table.reset();
  EXPECT_EQ(Annotation::live("user"), "new");
}

}  // namespace
}  // namespace wrenfall
