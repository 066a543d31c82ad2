// The small text services: identifiers, timestamps and session tags.
#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <regex>
#include <set>

#include "support/clock.h"
#include "support/encoding.h"
#include "support/error_text.h"
#include "support/files.h"
#include "support/identifiers.h"
#include "support/log_line.h"
#include "support/paths.h"
#include "support/process.h"
#include "support/text.h"

namespace wrenfall {
namespace {

TEST(Identifiers, AreRandomVersionFourUuids) {
  const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
  std::set<std::string> seen;
  for (int i = 0; i < 400; ++i) {
    const std::string uuid = new_uuid();
    ASSERT_TRUE(std::regex_match(uuid, form)) << uuid;
    ASSERT_TRUE(seen.insert(uuid).second) << "twice: " << uuid;
  }
}

// What the service and the file system take as it is.
TEST(Texts, EncodeWhatMayNotBeThere) {
  EXPECT_EQ(percent_encode("-._~aZ09 /+%\"\xC3\xBC"), "-._~aZ09%20%2F%2B%25%22%C3%BC");
  EXPECT_EQ(sanitize_path_component("a \"*/:<>?\\| .~-'b"), "a _________ .~-'b");
  EXPECT_EQ(sanitize_path_component("\x01z\n\x1F\x7F\xC3\xBC"), "_z__\x7F\xC3\xBC");
}

TEST(Texts, NameSystemErrorsByTheirNumbers) {
  const std::error_code code(5, std::system_category());
  const std::filesystem::path path = utf8_to_path("C/\xC3\xBC");
  EXPECT_EQ(error_text(DirectoryIterationError(path, code)), "error 5: C/\xC3\xBC");
  EXPECT_EQ(error_text(std::filesystem::filesystem_error("remove", "a", "b", code)),
            "error 5: a: b");
  EXPECT_EQ(error_text(std::system_error(code, "lock")), "error 5");
  EXPECT_EQ(error_text(std::runtime_error("no system")), "no system");
}

// The test runs in a time zone that is not that of the clock.
TEST(Clock, TellsTheSystemsTime) {
  char utc[40], local[40], text[80];
  bool same = false;
  // Again when a second passed in between.
  for (int attempt = 0; attempt < 5 && !same; ++attempt) {
    const std::time_t now = std::time(nullptr);
    std::strftime(utc, sizeof utc, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
    std::strftime(local, sizeof local, "%Y-%m-%d %H:%M:%S", std::localtime(&now));
    const CalendarTime time = local_now();
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", time.year, time.month,
                  time.day, time.hour, time.minute, time.second);
    same = utc_timestamp() == utc && text == std::string(local) &&
           log_line(WRENFALL_LOG_INFO, "").substr(1, 19) == local;
  }
  EXPECT_NE(std::string(utc).substr(11, 8), std::string(local).substr(11)) << "no time zone";
  EXPECT_TRUE(same) << utc_timestamp() << " for " << utc << ", " << text << " for " << local
                    << log_line(WRENFALL_LOG_INFO, "");
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
