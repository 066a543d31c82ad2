#include "minidump/minidump_reader.h"

#include <gtest/gtest.h>

#include <tuple>

#include "minidump_builder.h"

namespace wrenfall::minidump {
namespace {

std::optional<DumpFacts> read_text(const std::string& dump) {
  return read_minidump(reader_of(dump), dump.size());
}

MinidumpBuilder sample() {
  MinidumpBuilder builder;
  builder.crash_code = 0xC0000005;
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
  MinidumpBuilder builder = sample();
  for (const bool memory_comes_last : {false, true}) {
    builder.with_annotations = !memory_comes_last;
    const std::string whole = builder.build();
    ASSERT_TRUE(read_text(whole));
    EXPECT_FALSE(is_cut_short(reader_of(whole), whole.size()));
    // Not yet signed, of another version, another file.
    EXPECT_TRUE(is_cut_short(reader_of(with32(whole, 0, 0)), whole.size()));
    EXPECT_FALSE(is_cut_short(reader_of(with32(whole, 4, 7)), whole.size()));
    EXPECT_FALSE(is_cut_short(reader_of(with32(whole, 0, 7)), whole.size()));
    for (size_t length = 0; length < whole.size(); ++length) {
      const std::string cut = whole.substr(0, length);
      EXPECT_FALSE(read_text(cut)) << "cut to " << length;
      EXPECT_TRUE(is_cut_short(reader_of(cut), length)) << "cut to " << length;
    }
  }
}

TEST(MinidumpReader, RefusesHostileNumbers) {
  MinidumpBuilder builder = sample();
  const std::string whole = builder.build();
  const size_t startup = builder.offset("startup key"), live = builder.offset("live key");
  const size_t exception_size = builder.offset("directory") + 4;
  const size_t memory = builder.offset("memory"), memory64 = builder.offset("memory64");
  const std::pair<size_t, std::vector<uint32_t>> rows[] = {
      {0, {0x504D444C}},
      {4, {0xA794}},
      {8, {1025, UINT32_MAX}},
      {12, {4000000, UINT32_MAX}},
      {exception_size, {11, UINT32_MAX}},
      {exception_size + 4, {UINT32_MAX}},
      {memory, {2, UINT32_MAX}},
      {memory + 12, {4000}},
      {memory + 16, {UINT32_MAX}},
      {memory64, {2}},
      {memory64 + 4, {1}},
      {memory64 + 8, {UINT32_MAX}},
      {memory64 + 28, {1}},
      {startup - 4, {3, UINT32_MAX}},
      {startup, {UINT32_MAX}},
      {startup + 4, {0}},
      {live - 4, {4, UINT32_MAX}},
      {live, {UINT32_MAX}},
      {live + 8, {0x7FFFFFFF}},
  };
  for (const auto& [offset, values] : rows) {
    for (const uint32_t value : values) {
      EXPECT_FALSE(read_text(with32(whole, offset, value))) << offset << ": " << value;
    }
  }
  for (const size_t entries : {4096u, 4097u}) {
    builder.live.assign(entries, {"k", "v"});
    EXPECT_EQ(read_text(builder.build()).has_value(), entries == 4096) << entries;
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

TEST(ExceptionThread, IsNamedAndShownWithItsOwnRegisters) {
  for (const bool aligned : {false, true}) {
    MinidumpBuilder builder = sample();
    builder.threads = {77, 80, 0xFFFFFFFC};
    builder.aligned_threads = aligned;
    const std::string dump = builder.build();
    const size_t thread = builder.offset("exception thread");
    const size_t context = builder.offset("exception context");
    const size_t own_context = builder.offset("thread 2") + 40;

    const std::string named = with32(dump, thread, 0xFFFFFFFC);
    EXPECT_EQ(with_thread(dump, 0xFFFFFFFC, ShownContext::kUnchanged), named) << aligned;
    std::string shown = named;
    shown.replace(context, 8, dump, own_context, 8);
    EXPECT_EQ(with_thread(dump, 0xFFFFFFFC, ShownContext::kThreadsOwn), shown) << aligned;
    EXPECT_EQ(with_thread(shown, 0xFFFFFFFC, ShownContext::kThreadsOwn), shown) << aligned;
    EXPECT_FALSE(with_thread(dump, 81, ShownContext::kUnchanged)) << aligned;
  }
}

TEST(ExceptionThread, LeavesDamagedDumpsAlone) {
  MinidumpBuilder builder = sample();
  builder.threads = {77, 80};
  const std::string dump = builder.build();
  // A field, the bytes from its start, and the number that is put there.
  const std::tuple<const char*, size_t, uint32_t> rows[] = {
      {"directory", 4, 167},         // the exception stream is too short
      {"directory", 8, 0xFFFFFFF0},  // and lies beyond the file
      {"directory", 12, 99},         // no thread list
      {"directory", 16, 3},         {"thread count", 0, 3}, {"thread count", 0, 0xFFFFFFFF},
      {"thread count", 0, 1},       {"thread 1", 40, 0},    {"thread 1", 40, 0x7FFFFFFF},
      {"thread 1", 44, 0xFFFFFFF8},
  };
  ASSERT_TRUE(with_thread(dump, 80, ShownContext::kThreadsOwn));
  for (const auto& [field, beyond, value] : rows) {
    const std::string damaged = with32(dump, builder.offset(field) + beyond, value);
    EXPECT_FALSE(with_thread(damaged, 80, ShownContext::kThreadsOwn))
        << field << " +" << beyond << " = " << value;
  }
}

}  // namespace
}  // namespace wrenfall::minidump
