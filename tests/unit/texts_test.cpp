// The small text services: encodings, identifiers, timestamps, file name parts and session tags.
#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <regex>
#include <set>

#include "support/clock.h"
#include "support/encoding.h"
#include "support/identifiers.h"
#include "support/paths.h"
#include "support/process.h"

namespace wrenfall {
namespace {

TEST(Encoding, PercentEncodesAllButUnreservedBytes) {
  const std::string unreserved =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (int value = 0; value < 256; ++value) {
    const std::string byte(1, static_cast<char>(value));
    const bool plain = unreserved.find(byte) != std::string::npos;
    const std::string escape = {'%', kHex[value / 16], kHex[value % 16]};
    EXPECT_EQ(percent_encode(byte), plain ? byte : escape) << "byte " << value;
  }
  EXPECT_EQ(percent_encode("My App/2 é"), "My%20App%2F2%20%C3%A9");
}

TEST(Encoding, HexIsLowerCaseHighNibbleFirst) {
  const unsigned char bytes[] = {0x00, 0x0F, 0xA0, 0xFF, 0x5C};
  EXPECT_EQ(hex_lower(bytes, sizeof bytes), "000fa0ff5c");
}

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

TEST(Paths, SanitizingReplacesWhatNoFileNameMayHold) {
  const std::pair<std::string, std::string> cases[] = {{"My:App/Two", "My_App_Two"},
                                                       {"\"*/:<>?\\|", "_________"},
                                                       {"", ""},
                                                       {"a b-c.d_e'é試", "a b-c.d_e'é試"}};
  for (const auto& [text, clean] : cases) EXPECT_EQ(sanitize_path_component(text), clean) << text;
}

TEST(SessionTag, TextIsParsedBackAndNothingElseIs) {
  const std::pair<SessionTag, std::string> tags[] = {
      {{1234, 133500000000000007u}, "1234-133500000000000007"},
      {{7, 0}, "7-0"},
      {{UINT64_MAX, UINT64_MAX}, "18446744073709551615-18446744073709551615"}};
  for (const auto& [tag, text] : tags) {
    EXPECT_EQ(tag.text(), text);
    const auto parsed = SessionTag::parse(text);
    ASSERT_TRUE(parsed) << text;
    EXPECT_EQ(parsed->process_id, tag.process_id) << text;
    EXPECT_EQ(parsed->start_time, tag.start_time) << text;
  }
  for (const char* text : {"", "-", "12", "12-", "-12", "12-3x", "12-3-", " 12-3", "12 -3", "+1-2",
                           "1--2", "12-3.json", "18446744073709551616-1", "x-1"}) {
    EXPECT_FALSE(SessionTag::parse(text)) << '"' << text << '"';
  }
}

}  // namespace
}  // namespace wrenfall
