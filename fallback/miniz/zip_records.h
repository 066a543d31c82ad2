#ifndef WRENFALL_FALLBACK_MINIZ_ZIP_RECORDS_H_
#define WRENFALL_FALLBACK_MINIZ_ZIP_RECORDS_H_

#include <cstdint>
#include <ctime>
#include <string>

namespace miniz {

// What the archive's records say about one entry.
struct ZipEntry {
  std::string name;
  uint16_t method = 0;  // 0 stored, 8 deflated.
  uint16_t dos_time = 0;
  uint16_t dos_date = 0;
  uint32_t crc = 0;
  uint64_t compressed_size = 0;
  uint64_t size = 0;
  uint64_t header_offset = 0;
};

// The records as bytes, with their zip64 forms where a size, an offset or a count needs it.
std::string local_header(const ZipEntry& entry);
std::string central_header(const ZipEntry& entry);
std::string end_of_archive(uint64_t entry_count, uint64_t directory_offset,
                           uint64_t directory_size);

// Local time in the archive's format: steps of 2 seconds, years 1980 to 2107.
void set_time(std::time_t time, ZipEntry* entry);

}  // namespace miniz

#endif  // WRENFALL_FALLBACK_MINIZ_ZIP_RECORDS_H_
