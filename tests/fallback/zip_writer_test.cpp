#include <gtest/gtest.h>
#include <miniz.h>
#include <zlib.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "zip_records.h"

namespace {

struct ReadEntry {
  std::string name;
  uint64_t method;
  uint64_t flags;
  uint64_t time;
  std::string data;
};

uint64_t number(const std::string& bytes, uint64_t offset, int size) {
  uint64_t value = 0;
  for (int i = size - 1; i >= 0; --i) {
    value = value << 8 |
            static_cast<uint8_t>(bytes.at(static_cast<size_t>(offset) + static_cast<size_t>(i)));
  }
  return value;
}

std::string inflate_raw(const std::string& data, uint64_t size) {
  std::string output(size, '\0');
  z_stream stream = {};
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = reinterpret_cast<Bytef*>(output.data());
  stream.avail_out = static_cast<uInt>(output.size());
  EXPECT_EQ(inflateInit2(&stream, -MAX_WBITS), Z_OK);
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  EXPECT_EQ(stream.total_out, size);
  inflateEnd(&stream);
  return output;
}

// Reads an archive without comment from the end, as extractors do, and compares both headers.
std::vector<ReadEntry> read_archive(const std::string& zip) {
  std::vector<ReadEntry> entries;
  const uint64_t end = zip.size() - 22;
  EXPECT_EQ(zip.substr(end, 4), "PK\x05\x06");
  uint64_t count = number(zip, end + 10, 2);
  uint64_t offset = number(zip, end + 16, 4);
  if (count == 0xFFFF) {
    EXPECT_EQ(zip.substr(end - 20, 4), "PK\x06\x07");
    const uint64_t end64 = number(zip, end - 20 + 8, 8);
    EXPECT_EQ(zip.substr(end64, 4), "PK\x06\x06");
    count = number(zip, end64 + 32, 8);
    offset = number(zip, end64 + 48, 8);
  }
  for (uint64_t i = 0; i < count; ++i) {
    EXPECT_EQ(zip.substr(offset, 4), "PK\x01\x02");
    const uint64_t name_size = number(zip, offset + 28, 2);
    const uint64_t local = number(zip, offset + 42, 4);
    EXPECT_EQ(zip.substr(local, 4), "PK\x03\x04");
    // Version to name length, then the name itself.
    EXPECT_EQ(zip.substr(local + 4, 24), zip.substr(offset + 6, 24));
    EXPECT_EQ(zip.substr(local + 30, name_size), zip.substr(offset + 46, name_size));
    ReadEntry entry;
    entry.flags = number(zip, offset + 8, 2);
    entry.method = number(zip, offset + 10, 2);
    entry.time = number(zip, offset + 12, 4);
    entry.name = zip.substr(offset + 46, name_size);
    const uint64_t size = number(zip, offset + 24, 4);
    const uint64_t data = local + 30 + name_size + number(zip, local + 28, 2);
    entry.data = zip.substr(data, number(zip, offset + 20, 4));
    if (entry.method == 8) entry.data = inflate_raw(entry.data, size);
    EXPECT_EQ(entry.data.size(), size);
    EXPECT_EQ(crc32(0, reinterpret_cast<const Bytef*>(entry.data.data()),
                    static_cast<uInt>(entry.data.size())),
              number(zip, offset + 16, 4));
    offset += 46 + name_size + number(zip, offset + 30, 2) + number(zip, offset + 32, 2);
    entries.push_back(entry);
  }
  return entries;
}

std::string noise(size_t size) {
  std::string bytes(size, '\0');
  uint32_t state = 1;
  for (char& byte : bytes) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  return bytes;
}

class ZipWriterTest : public testing::Test {
 protected:
  ZipWriterTest()
      : path_(std::filesystem::temp_directory_path() /
              ("wrenfall-zip-" + std::to_string(std::time(nullptr)) + "-" +
               testing::UnitTest::GetInstance()->current_test_info()->name())) {
    open("wb");
  }
  ~ZipWriterTest() override {
    close();
    std::error_code error;
    std::filesystem::remove(path_, error);
  }
  void open(const char* mode) {
    close();
    file_ = std::fopen(path_.string().c_str(), mode);
    ASSERT_NE(file_, nullptr);
    mz_zip_zero_struct(&zip_);
    ASSERT_TRUE(mz_zip_writer_init_cfile(&zip_, file_, 0));
  }
  void close() {
    mz_zip_writer_end(&zip_);
    if (file_ != nullptr) std::fclose(file_);
    file_ = nullptr;
  }
  mz_bool add(const std::string& name, const std::string& data, mz_uint level) {
    return mz_zip_writer_add_mem(&zip_, name.c_str(), data.data(), data.size(), level);
  }
  std::string content() {
    close();
    std::ifstream stream(path_, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
  }

  const std::filesystem::path path_;
  FILE* file_ = nullptr;
  mz_zip_archive zip_ = {};
};

TEST_F(ZipWriterTest, EntriesReadBack) {
  const struct {
    std::string name;
    std::string data;
    mz_uint level;
    uint64_t method;
  } cases[] = {
      {"text.txt", std::string(100000, 'a'), 6, 8},
      {"folder/gr\xC3\xBC\xC3\x9F.txt", "hello hello hello hello", 9, 8},
      {"empty", "", 6, 0},
      {"folder/", "", 6, 0},
      {"noise", noise(300000), 6, 0},
      {"noise and zeros", noise(300000) + std::string(300000, '\0'), 1, 8},
      {"stored", std::string(1000, 'a'), MZ_NO_COMPRESSION, 0},
      {"uber", std::string(1000, 'a'), MZ_UBER_COMPRESSION, 8},
      {"default", std::string(1000, 'a'), static_cast<mz_uint>(MZ_DEFAULT_COMPRESSION), 8},
  };
  for (const auto& test : cases) EXPECT_TRUE(add(test.name, test.data, test.level)) << test.name;
  ASSERT_TRUE(mz_zip_writer_finalize_archive(&zip_));
  EXPECT_FALSE(add("late", "x", 6));
  EXPECT_FALSE(mz_zip_writer_finalize_archive(&zip_));
  const uint64_t size = zip_.m_archive_size;

  const std::string zip = content();
  EXPECT_EQ(zip.size(), size);
  const std::vector<ReadEntry> entries = read_archive(zip);
  ASSERT_EQ(entries.size(), std::size(cases));
  miniz::ZipEntry now;
  miniz::set_time(std::time(nullptr), &now);
  for (size_t i = 0; i < entries.size(); ++i) {
    SCOPED_TRACE(cases[i].name);
    EXPECT_EQ(entries[i].name, cases[i].name);
    EXPECT_EQ(entries[i].method, cases[i].method);
    EXPECT_EQ(entries[i].flags, 0x800u);
    EXPECT_EQ(entries[i].time >> 16, now.dos_date);
    EXPECT_TRUE(entries[i].data == cases[i].data);
  }
}

TEST_F(ZipWriterTest, RefusesBadNames) {
  for (const char* name : {"", "/absolute", "back\\slash", "C:drive"}) {
    EXPECT_FALSE(add(name, "x", 6)) << name;
  }
  EXPECT_FALSE(add(std::string(65536, 'n'), "x", 6));
  EXPECT_FALSE(add("folder/", "x", 6));
  EXPECT_FALSE(mz_zip_writer_add_mem(&zip_, "null", nullptr, 1, 6));
  EXPECT_TRUE(add(std::string(65535, 'n'), "x", 6));
  ASSERT_TRUE(mz_zip_writer_finalize_archive(&zip_));
  EXPECT_EQ(read_archive(content()).size(), 1u);
}

TEST_F(ZipWriterTest, MoreEntriesThanSixteenBits) {
  for (int i = 0; i < 65536; ++i) ASSERT_TRUE(add(std::to_string(i), "", 0));
  ASSERT_TRUE(mz_zip_writer_finalize_archive(&zip_));
  const std::vector<ReadEntry> entries = read_archive(content());
  ASSERT_EQ(entries.size(), 65536u);
  EXPECT_EQ(entries.back().name, "65535");
}

TEST_F(ZipWriterTest, WriteErrorsAreReported) {
  open("rb");  // Nothing can be written.
  // More than any buffer, so that the error shows at once.
  EXPECT_FALSE(add("large", noise(1 << 20), 0));
  EXPECT_FALSE(add("next", "x", 0));
  EXPECT_FALSE(mz_zip_writer_finalize_archive(&zip_));
  EXPECT_TRUE(mz_zip_writer_end(&zip_));
  EXPECT_FALSE(mz_zip_writer_end(&zip_));

#if defined(__linux__)
  // Small data fails only when the buffer is flushed.
  FILE* full = std::fopen("/dev/full", "wb");
  ASSERT_NE(full, nullptr);
  ASSERT_TRUE(mz_zip_writer_init_cfile(&zip_, full, 0));
  EXPECT_TRUE(add("small", "x", 0));
  EXPECT_FALSE(mz_zip_writer_finalize_archive(&zip_));
  std::fclose(full);
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
  EXPECT_EQ(miniz::end_of_archive(1, 0xFFFFFFFF, 1).size(), 98u);
}

}  // namespace
