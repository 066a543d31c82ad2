// The small text services: identifiers, timestamps and session tags.
#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <regex>
#include <set>

#include "support/clock.h"
#include "support/identifiers.h"
#include "support/process.h"

namespace wrenfall {
namespace {

TEST(Identifiers, AreRandomVersionFourUuids) {
  const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
  std::set<std::string> seen;
  std::set<char> first_digits, variants;
  for (int i = 0; i < 400; ++i) {
    const std::string uuid = new_uuid();
    ASSERT_TRUE(std::regex_match(uuid, form)) << uuid;
    ASSERT_TRUE(seen.insert(uuid).second) << "twice: " << uuid;
    first_digits.insert(uuid[0]);
    variants.insert(uuid[19]);
  }
  EXPECT_EQ(first_digits.size(), 16u);
  EXPECT_EQ(variants.size(), 4u);
}

TEST(Clock, TellsTheSystemsTime) {
  char utc[40], local[40], text[80];
  bool same = false;
  // Again when a second passed in between.
  for (int attempt = 0; attempt < 5 && !same; ++attempt) {
    const std::time_t now = std::time(nullptr);
    std::strftime(utc, sizeof utc, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
    std::strftime(local, sizeof local, "%Y-%m-%dT%H:%M:%S", std::localtime(&now));
    const CalendarTime time = local_now();
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", time.year, time.month,
                  time.day, time.hour, time.minute, time.second);
    same = utc_timestamp() == utc && std::string(text) == local;
  }
  EXPECT_TRUE(same) << utc_timestamp() << " for " << utc << ", " << text << " for " << local;
}

// That its own texts are parsed back is a fuzzer's matter.
TEST(ProcessIdentity, OtherTextsAreNone) {
  for (const char* text : {"", "-", "12", "12-", "-12", "12-3x", "12-3-", " 12-3", "12 -3", "+1-2",
                           "1--2", "12-3.json", "18446744073709551616-1", "x-1"}) {
    EXPECT_FALSE(ProcessIdentity::parse(text)) << '"' << text << '"';
  }
}

}  // namespace
}  // namespace wrenfall
