#include "minidump/minidump_reader.h"

#include <gtest/gtest.h>

#include <cstring>

#include "minidump_builder.h"

namespace wrenfall::minidump {
namespace {

// Reads a dump in memory, and fails the test on a read beyond it or on reading unreasonably much.
std::optional<DumpFacts> read_text(const std::string& dump, const std::string& label = "") {
  uint64_t total = 0;
  const ReadAt read = [&](uint64_t offset, void* buffer, size_t size) {
    EXPECT_TRUE(offset <= dump.size() && size <= dump.size() - offset) << label;
    if (offset > dump.size() || size > dump.size() - offset) return false;
    total += size;
    std::memcpy(buffer, dump.data() + offset, size);
    return true;
  };
  auto facts = read_minidump(read, dump.size());
  EXPECT_LT(total, 64u * 1024 * 1024) << label;
  return facts;
}

MinidumpBuilder sample() {
  MinidumpBuilder builder;
  builder.time_stamp = 1769903999;
  builder.exception_code = 0xC0000005;
  builder.startup = {{"database", "db"}, {"wrenfall.session", "12-34"}};
  builder.live = {{"user", "J\xC3\xBCrgen"}, {"notes", "new"}, {"notes", "old"}};
  builder.with_memory = true;
  return builder;
}

TEST(MinidumpReader, IgnoresLiveAnnotationsThatAreNoText) {
  MinidumpBuilder builder = sample();
  std::string dump = builder.build();
  const size_t first_live = builder.offset("live key");
  dump = with32(dump, first_live + 4, 2);
  dump = with32(dump, first_live + 8, 0xFFFFFFF0);  // of no concern to the reader
  const auto facts = read_text(dump);
  ASSERT_TRUE(facts);
  EXPECT_EQ(facts->annotations.live.count("user"), 0u);
  EXPECT_EQ(facts->annotations.live.at("notes"), "new");
}

TEST(MinidumpReader, RefusesEveryTruncation) {
  const std::string whole = sample().build();
  for (size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(read_text(whole.substr(0, length))) << "cut to " << length;
  }
}

TEST(MinidumpReader, RefusesDumpWhoseMemoryIsCutOff) {
  MinidumpBuilder builder = sample();
  builder.with_annotations = false;  // so that the memory comes last
  const std::string whole = builder.build();
  ASSERT_TRUE(read_text(whole));
  EXPECT_FALSE(read_text(whole.substr(0, whole.size() - 1)));
}

// Many small lists that all point at the same long text would multiply it without a limit.
TEST(MinidumpReader, LimitsTextThatIsNamedAgainAndAgain) {
  MinidumpBuilder builder;
  builder.startup = {{"wrenfall.session", "1-2"}};
  for (int i = 0; i < 4000; ++i) builder.live.emplace_back("k" + std::to_string(i), "v");
  std::string dump = builder.build();
  const uint32_t text = static_cast<uint32_t>(dump.size());
  dump += with32("0000", 0, 60000) + std::string(60000, 'x');
  const size_t first = builder.offset("live key");
  for (size_t i = 0; i < 4000; ++i) dump = with32(std::move(dump), first + i * 12 + 8, text);
  EXPECT_FALSE(read_text(dump));
}

}  // namespace
}  // namespace wrenfall::minidump
