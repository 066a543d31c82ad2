#include "backend/annotation_table.h"

#include <client/annotation.h>
#include <gtest/gtest.h>

#include <memory>

namespace wrenfall {
namespace {

using crashpad::Annotation;

TEST(AnnotationTable, CutsValuesByTheirKey) {
  struct Case {
    const char* key;
    size_t given, kept;
  };
  const Case cases[] = {{"user", 4096, 4096},
                        {"user", 5000, 4096},
                        {"user", 1, 1},
                        {"notes", 5000, 5000},
                        {"notes", 20480, 20480},
                        {"notes", 30000, 20480},
                        {"description", 20481, 20480},
                        {"Notes", 5000, 4096},
                        {"notes2", 5000, 4096},
                        {"wrenfall.environment", 5000, 4096}};
  AnnotationTable table;
  for (const Case& c : cases) {
    std::string value(c.given, '\0');
    for (size_t i = 0; i < value.size(); ++i) value[i] = static_cast<char>(i % 251);
    table.set(c.key, value);
    EXPECT_EQ(Annotation::live(c.key), value.substr(0, c.kept)) << c.key << " " << c.given;
  }
}

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

// The handler reads 200 annotations at the most, cleared ones counted.
TEST(AnnotationTable, PassingAttributesDoNotCrowdOutTheNamedFacts) {
  AnnotationTable table;
  table.set("user", "u");
  for (int i = 0; i < 64; ++i) table.set("attr.kept " + std::to_string(i), std::to_string(i));
  for (int i = 0; i < 5000; ++i) {
    const std::string key = "attr.passing " + std::to_string(i);
    table.set("attr.kept 0", "");
    table.set(key, std::to_string(i));
    ASSERT_EQ(Annotation::live(key), std::to_string(i));
    table.set(key, "");
    table.set("attr.kept 0", "back");
  }
  EXPECT_LE(Annotation::all().size(), 200u);
  EXPECT_EQ(Annotation::live("user"), "u");
  EXPECT_EQ(Annotation::live("attr.kept 0"), "back");
  EXPECT_EQ(Annotation::live("attr.kept 63"), "63");
  EXPECT_EQ(Annotation::live("attr.passing 0"), std::nullopt);
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
