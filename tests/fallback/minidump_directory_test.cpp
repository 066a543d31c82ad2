#include "handler/minidump_directory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <vector>

namespace {

using namespace crashpad::internal;
using Bytes = std::vector<uint8_t>;

// A dump of two streams: a memory list with one range of 100 bytes, a 64-bit one with two of 50.
Bytes dump_with_memory() {
  std::vector<uint32_t> words = {0x504D444D, 0xA793, 2, 16};  // Header; the directory follows.
  words.insert(words.end(), {5, 20, 40, 9, 48, 60});          // Directory.
  words.insert(words.end(), {1, 0, 0, 100, 108});             // Memory list at 40.
  words.insert(words.end(), {2, 0, 208, 0, 0, 0, 50, 0, 0, 0, 50, 0});  // The other one at 60.
  Bytes file(308, 0);
  std::memcpy(file.data(), words.data(), words.size() * sizeof(uint32_t));
  return file;
}

TEST(MinidumpDirectory, FindsCutDumps) {
  const Bytes whole = dump_with_memory();
  const std::tuple<size_t, bool, bool> cases[] = {
      // Size, readable, whole.
      {308, true, true},   // All of it.
      {307, true, false},  // The last byte of the last range is missing.
      {250, true, false},  // Only the first range of two.
      {120, true, false},  // Less than the first memory list.
      {100, true, false},  // Cut in the second stream.
      {39, false, false},  // Cut in the directory.
      {0, false, false},
  };
  for (const auto& [length, readable, is_whole] : cases) {
    SCOPED_TRACE(length);
    const Bytes file(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    const ReadFileAt read = [&file](uint64_t offset, void* buffer, size_t size) {
      if (offset > file.size() || size > file.size() - offset) return false;
      std::memcpy(buffer, file.data() + offset, size);
      return true;
    };
    const auto streams = read_minidump_directory(read);
    ASSERT_EQ(streams.has_value(), readable);
    if (!streams) continue;
    EXPECT_EQ(minidump_is_whole(read, file.size(), *streams), is_whole);
    EXPECT_EQ((*streams)[1].type, 9u);
    EXPECT_EQ((*streams)[1].rva, 60u);
    EXPECT_EQ((*streams)[1].entry_offset, 28u);
    // A stream of another type, whose contents are not looked at.
    EXPECT_TRUE(minidump_is_whole(read, file.size(), {{7, 9, 91, 0}}));
    EXPECT_FALSE(minidump_is_whole(read, file.size(), {{7, 9, 300, 0}}));
  }
}

}  // namespace
