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

TEST(MinidumpReader, RefusesHostileNumbers) {
  const struct {
    const char* field;
    size_t beyond;  // bytes from the start of the field
    uint32_t value;
  } rows[] = {
      {"stream count", 0, 0xFFFFFFFF},
      {"stream count", 0, 1025},
      {"directory rva", 0, 0xFFFFFFFF},
      {"directory", 4, 0xFFFFFFFF},  // size of the first stream
      {"directory", 8, 0xFFFFFFF0},
      {"directory", 4, 11},  // exception too short
      {"memory count", 0, 0x10000000},
      {"memory count", 0, 2},
      {"memory rva", 0, 0xFFFFFFFC},
      {"memory64 count", 0, 0x0FFFFFFF},
      {"memory64 count", 4, 0x80000000},
      {"memory64 count", 8, 0xFFFFFFFF},
      {"memory64 count", 12, 0xFFFFFFFF},
      {"memory64 size", 4, 0xFFFFFFFF},
      {"stream", 0, 2},
      {"startup place", 0, 3},
      {"startup place", 0, 0xFFFFFFFF},
      {"startup place", 4, 0xFFFFFFFF},
      {"startup place", 8, 4},
      {"startup count", 0, 0x20000000},
      {"startup count", 0, 0xFFFFFFFF},
      {"startup key", 0, 0xFFFFFFFD},
      {"startup key", 4, 0xFFFFFFFF},
      {"startup last value", 0, 0x7FFFFFFF},
      {"module count", 0, 0x15555556},
      {"module rva", 0, 0xFFFFFFFF},
      {"module", 0, 9},
      {"live rva", 0, 0xFFFFFFFF},
      {"live count", 0, 0x15555556},
      {"live key", 0, 0xFFFFFFFF},
      {"live key", 8, 0xFFFFFFFF},
      {"live last value", 0, 0xFFFFFFFF},
  };
  MinidumpBuilder builder = sample();
  const std::string whole = builder.build();
  ASSERT_TRUE(read_text(whole));
  for (const auto& row : rows) {
    const std::string label = std::string(row.field) + " +" + std::to_string(row.beyond) + " = " +
                              std::to_string(row.value);
    EXPECT_FALSE(read_text(with32(whole, builder.offset(row.field) + row.beyond, row.value), label))
        << label;
  }
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
