#include "zip_records.h"

#include <algorithm>

namespace miniz {
namespace {

constexpr uint64_t kMax16 = 0xFFFF;
constexpr uint64_t kMax32 = 0xFFFFFFFF;
constexpr uint16_t kUtf8Name = 1 << 11;
constexpr uint16_t kVersion = 20;
constexpr uint16_t kVersionZip64 = 45;
constexpr uint16_t kZip64ExtraId = 1;

// Appends the low `size` bytes of `value`, lowest first.
void put(uint64_t value, int size, std::string* bytes) {
  for (int i = 0; i < size; ++i) bytes->push_back(static_cast<char>(value >> (8 * i) & 0xFF));
}

// A field that overflows holds its largest value; the real one is in the zip64 extra field.
void put_capped(uint64_t value, uint64_t max, int size, std::string* bytes) {
  put(std::min(value, max), size, bytes);
}

bool has_large_size(const ZipEntry& entry) {
  return entry.size >= kMax32 || entry.compressed_size >= kMax32;
}

// Version, flags, method, time, CRC and sizes: the same in both headers, but for the sizes, of
// which the local header must cap both or none.
void put_common(const ZipEntry& entry, bool zip64, bool cap_both, std::string* bytes) {
  put(zip64 ? kVersionZip64 : kVersion, 2, bytes);
  put(kUtf8Name, 2, bytes);
  put(entry.method, 2, bytes);
  put(entry.dos_time, 2, bytes);
  put(entry.dos_date, 2, bytes);
  put(entry.crc, 4, bytes);
  put_capped(cap_both ? kMax32 : entry.compressed_size, kMax32, 4, bytes);
  put_capped(cap_both ? kMax32 : entry.size, kMax32, 4, bytes);
  put(entry.name.size(), 2, bytes);
}

std::string zip64_extra(const std::string& fields) {
  std::string extra;
  if (fields.empty()) return extra;
  put(kZip64ExtraId, 2, &extra);
  put(fields.size(), 2, &extra);
  return extra + fields;
}

}  // namespace

std::string local_header(const ZipEntry& entry) {
  const bool large = has_large_size(entry);
  std::string fields;
  if (large) {
    put(entry.size, 8, &fields);
    put(entry.compressed_size, 8, &fields);
  }
  const std::string extra = zip64_extra(fields);

  std::string bytes = "PK\x03\x04";
  put_common(entry, large, large, &bytes);
  put(extra.size(), 2, &bytes);
  return bytes + entry.name + extra;
}

std::string central_header(const ZipEntry& entry) {
  std::string fields;
  for (const uint64_t value : {entry.size, entry.compressed_size, entry.header_offset}) {
    if (value >= kMax32) put(value, 8, &fields);
  }
  const std::string extra = zip64_extra(fields);
  const bool zip64 = !extra.empty();

  std::string bytes = "PK\x01\x02";
  put(zip64 ? kVersionZip64 : kVersion, 2, &bytes);  // Made by: MS-DOS attributes.
  put_common(entry, zip64, false, &bytes);
  put(extra.size(), 2, &bytes);
  put(0, 2, &bytes);  // Comment.
  put(0, 2, &bytes);  // Disk.
  put(0, 2, &bytes);  // Internal attributes.
  put(0, 4, &bytes);  // External attributes.
  put_capped(entry.header_offset, kMax32, 4, &bytes);
  return bytes + entry.name + extra;
}

std::string end_of_archive(uint64_t entry_count, uint64_t directory_offset,
                           uint64_t directory_size) {
  std::string bytes;
  if (entry_count >= kMax16 || directory_offset >= kMax32 || directory_size >= kMax32) {
    bytes += "PK\x06\x06";
    put(44, 8, &bytes);  // The rest of this record.
    put(kVersionZip64, 2, &bytes);
    put(kVersionZip64, 2, &bytes);
    put(0, 4, &bytes);  // This disk.
    put(0, 4, &bytes);  // The directory's disk.
    put(entry_count, 8, &bytes);
    put(entry_count, 8, &bytes);
    put(directory_size, 8, &bytes);
    put(directory_offset, 8, &bytes);
    bytes += "PK\x06\x07";
    put(0, 4, &bytes);
    put(directory_offset + directory_size, 8, &bytes);  // Of the record above.
    put(1, 4, &bytes);                                  // Disks.
  }
  bytes += "PK\x05\x06";
  put(0, 2, &bytes);
  put(0, 2, &bytes);
  put_capped(entry_count, kMax16, 2, &bytes);
  put_capped(entry_count, kMax16, 2, &bytes);
  put_capped(directory_size, kMax32, 4, &bytes);
  put_capped(directory_offset, kMax32, 4, &bytes);
  put(0, 2, &bytes);  // Comment.
  return bytes;
}

void set_time(std::time_t time, ZipEntry* entry) {
  std::tm local = {};
#if defined(_WIN32)
  const bool known = localtime_s(&local, &time) == 0;
#else
  const bool known = localtime_r(&time, &local) != nullptr;
#endif
  if (!known || local.tm_year < 80 || local.tm_year > 207) {
    local = {};
    local.tm_year = 80;
    local.tm_mday = 1;
  }
  entry->dos_time =
      static_cast<uint16_t>(local.tm_hour << 11 | local.tm_min << 5 | local.tm_sec / 2);
  entry->dos_date =
      static_cast<uint16_t>((local.tm_year - 80) << 9 | (local.tm_mon + 1) << 5 | local.tm_mday);
}

}  // namespace miniz
