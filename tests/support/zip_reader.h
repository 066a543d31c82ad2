#ifndef WRENFALL_TESTS_SUPPORT_ZIP_READER_H_
#define WRENFALL_TESTS_SUPPORT_ZIP_READER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wrenfall {

struct ZipEntry {
  std::string name;
  uint16_t flags = 0;
  uint16_t method = 0;  // 0 stored, 8 deflated
  uint32_t crc = 0;
  uint32_t packed_size = 0;
  uint32_t size = 0;
  std::string stored_bytes;  // as they stand in the archive
};

// The CRC-32 of ZIP (polynomial 0xEDB88320).
inline uint32_t crc32_of(std::string_view bytes) {
  uint32_t crc = 0xFFFFFFFFu;
  for (const char c : bytes) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
  }
  return ~crc;
}

// The entries of an archive without a comment, in the order of its directory; nothing when a record
// is not where it has to be or when an entry's own header disagrees with the directory.
inline std::optional<std::vector<ZipEntry>> read_zip(std::string_view zip) {
  const auto number = [&zip](size_t at, size_t bytes) {
    uint32_t value = 0;
    for (size_t i = bytes; i-- > 0;) {
      value = (value << 8) | (at + i < zip.size() ? static_cast<unsigned char>(zip[at + i]) : 0u);
    }
    return value;
  };
  constexpr size_t kEndSize = 22;
  if (zip.size() < kEndSize) return std::nullopt;
  const size_t end = zip.size() - kEndSize;
  if (number(end, 4) != 0x06054B50u) return std::nullopt;

  std::vector<ZipEntry> entries;
  size_t at = number(end + 16, 4);
  for (uint32_t count = number(end + 10, 2); count > 0; --count) {
    if (number(at, 4) != 0x02014B50u) return std::nullopt;
    ZipEntry entry;
    entry.flags = static_cast<uint16_t>(number(at + 8, 2));
    entry.method = static_cast<uint16_t>(number(at + 10, 2));
    entry.crc = number(at + 16, 4);
    entry.packed_size = number(at + 20, 4);
    entry.size = number(at + 24, 4);
    const size_t name_size = number(at + 28, 2);
    const size_t local = number(at + 42, 4);
    entry.name = zip.substr(at + 46, name_size);
    at += 46 + name_size + number(at + 30, 2) + number(at + 32, 2);

    const size_t data = local + 30 + name_size + number(local + 28, 2);
    if (number(local, 4) != 0x04034B50u || number(local + 26, 2) != name_size ||
        data + entry.packed_size > zip.size() || zip.substr(local + 30, name_size) != entry.name) {
      return std::nullopt;
    }
    entry.stored_bytes = zip.substr(data, entry.packed_size);
    entries.push_back(entry);
  }
  return at == end ? std::make_optional(entries) : std::nullopt;
}

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_SUPPORT_ZIP_READER_H_
