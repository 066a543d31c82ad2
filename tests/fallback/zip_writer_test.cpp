#include <gtest/gtest.h>

#include <string>

#include "zip_records.h"

namespace {

uint64_t number(const std::string& bytes, uint64_t offset, int size) {
  uint64_t value = 0;
  for (int i = size - 1; i >= 0; --i) {
    value = value << 8 |
            static_cast<uint8_t>(bytes.at(static_cast<size_t>(offset) + static_cast<size_t>(i)));
  }
  return value;
}

// Archives of this size are not written here; the records are what differs.
TEST(ZipRecords, SixtyFourBitFields) {
  miniz::ZipEntry entry;
  entry.name = "n";
  entry.size = 0x123456789;
  entry.compressed_size = 0x1000;
  entry.header_offset = 0xFFFFFFFF;
  const std::string local = miniz::local_header(entry);
  EXPECT_EQ(number(local, 4, 2), 45u);
  // The local form has both sizes or none.
  EXPECT_EQ(number(local, 18, 8), 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(number(local, 31, 4), 0x00100001u);
  EXPECT_EQ(number(local, 35, 8), 0x123456789u);
  EXPECT_EQ(number(local, 43, 8), 0x1000u);

  // The central form has what does not fit, in this order.
  const std::string central = miniz::central_header(entry);
  EXPECT_EQ(number(central, 20, 4), 0x1000u);
  EXPECT_EQ(number(central, 24, 4), 0xFFFFFFFFu);
  EXPECT_EQ(number(central, 42, 4), 0xFFFFFFFFu);
  EXPECT_EQ(number(central, 47, 4), 0x00100001u);
  EXPECT_EQ(number(central, 51, 8), 0x123456789u);
  EXPECT_EQ(number(central, 59, 8), 0xFFFFFFFFu);

  entry.size = entry.header_offset = 0xFFFFFFFE;
  EXPECT_EQ(miniz::local_header(entry).size(), 31u);
  EXPECT_EQ(miniz::central_header(entry).size(), 47u);
  EXPECT_EQ(miniz::end_of_archive(0xFFFE, 0xFFFFFFFE, 1).size(), 22u);
  // Both places, the number of entries, and where this record itself is.
  const std::string end = miniz::end_of_archive(0x10000, 5, 7);
  EXPECT_EQ(number(end, 32, 8), 0x10000u);
  EXPECT_EQ(number(end, 48, 8), 5u);
  EXPECT_EQ(number(end, 64, 8), 12u);
  EXPECT_EQ(miniz::end_of_archive(1, 0xFFFFFFFF, 1).size(), 98u);
}

}  // namespace
