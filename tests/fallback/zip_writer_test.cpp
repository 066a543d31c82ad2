#include <gtest/gtest.h>
#include <miniz.h>

#include <cstdio>
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

#if defined(_WIN32)
constexpr char kNowhere[] = "NUL";
#else
constexpr char kNowhere[] = "/dev/null";
#endif

// An archive of which nothing is read back: that is done where reports are packed and received.
class ZipWriter {
 public:
  ZipWriter(const char* file, const char* mode) : file_(std::fopen(file, mode)) {
    EXPECT_NE(file_, nullptr);
    EXPECT_TRUE(mz_zip_writer_init_cfile(&zip, file_, 0));
  }
  ~ZipWriter() {
    mz_zip_writer_end(&zip);
    std::fclose(file_);
  }
  ZipWriter(const ZipWriter&) = delete;
  ZipWriter& operator=(const ZipWriter&) = delete;

  mz_bool add(const std::string& name, const std::string& data) {
    return mz_zip_writer_add_mem(&zip, name.c_str(), data.data(), data.size(), 0);
  }

  mz_zip_archive zip = {};

 private:
  FILE* const file_;
};

TEST(ZipWriter, RefusesBadNames) {
  ZipWriter writer(kNowhere, "wb");
  for (const char* name : {"", "/absolute", "back\\slash", "C:drive"}) {
    EXPECT_FALSE(writer.add(name, "x")) << name;
  }
  EXPECT_FALSE(writer.add(std::string(65536, 'n'), "x"));
  EXPECT_FALSE(writer.add("folder/", "x"));
  EXPECT_FALSE(mz_zip_writer_add_mem(&writer.zip, "null", nullptr, 1, 6));
  EXPECT_TRUE(writer.add(std::string(65535, 'n'), "x"));
  EXPECT_EQ(writer.zip.m_total_files, 1u);
  EXPECT_TRUE(mz_zip_writer_finalize_archive(&writer.zip));
  EXPECT_FALSE(writer.add("late", "x"));
  EXPECT_FALSE(mz_zip_writer_finalize_archive(&writer.zip));
}

TEST(ZipWriter, WriteErrorsAreReported) {
  ZipWriter unwritable(kNowhere, "rb");
  // More than any buffer, so that the error shows at once.
  EXPECT_FALSE(unwritable.add("large", std::string(1 << 20, 'x')));
  EXPECT_FALSE(unwritable.add("next", "x"));
  EXPECT_FALSE(mz_zip_writer_finalize_archive(&unwritable.zip));
#if defined(__linux__)
  // Small data fails only when the buffer is flushed.
  ZipWriter full("/dev/full", "wb");
  EXPECT_TRUE(full.add("small", "x"));
  EXPECT_FALSE(mz_zip_writer_finalize_archive(&full.zip));
#endif
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
