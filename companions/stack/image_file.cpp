#include "stack/image_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace wrenfall::stack {
namespace {

using minidump::u32_at;

constexpr uint32_t kPeMark = 0x00004550;  // "PE"
constexpr uint32_t kAmd64 = 0x8664;
constexpr uint32_t kPlusFormat = 0x20B;  // of the optional header of 64-bit modules
constexpr size_t kSectionBytes = 40;
constexpr uint32_t kMaxSections = 96;        // the system's own limit
constexpr uint32_t kHoldsCode = 0x20000020;  // IMAGE_SCN_CNT_CODE | IMAGE_SCN_MEM_EXECUTE
constexpr uint32_t kMaxTableBytes = 64 * 1024 * 1024;
constexpr uint32_t kEntryBytes = sizeof(FunctionEntry);

// The headers from "PE" to the directory of the function table, which is the fourth.
constexpr size_t kHeadBytes = 24 + 112 + 4 * 8;

constexpr char kDebugLinkSection[] = ".gnu_debuglink";
constexpr size_t kSymbolBytes = 18;
constexpr uint32_t kMaxLinkBytes = 4096;

// A name of more than 8 bytes is "/" and the decimal place of the name in a table; 0 for a short one.
uint32_t long_name_of(const uint8_t* section) {
  if (section[0] != '/') return 0;
  uint32_t place = 0;
  for (size_t i = 1; i < 8 && section[i] >= '0' && section[i] <= '9'; ++i) {
    place = place * 10 + (section[i] - uint32_t{'0'});
  }
  return place;
}

}  // namespace

std::unique_ptr<ImageFile> ImageFile::open(minidump::ReadAt read, uint64_t size,
                                           ImageLayout layout) {
  std::unique_ptr<ImageFile> image(new ImageFile(std::move(read), size, layout));
  if (!image->read_headers()) return nullptr;
  return image;
}

bool ImageFile::read_headers() {
  std::array<uint8_t, 64> dos{};
  if (!bytes_.read(0, dos.data(), dos.size()) || dos[0] != 'M' || dos[1] != 'Z') return false;
  const uint64_t start = u32_at(dos.data(), 60);
  std::array<uint8_t, kHeadBytes> head{};
  if (!bytes_.read(start, head.data(), head.size())) return false;
  const uint8_t* const optional = head.data() + 24;
  if (u32_at(head.data(), 0) != kPeMark || (u32_at(head.data(), 4) & 0xFFFF) != kAmd64 ||
      (u32_at(optional, 0) & 0xFFFF) != kPlusFormat) {
    return false;
  }
  time_stamp_ = u32_at(head.data(), 8);
  size_ = u32_at(optional, 56);
  // The names follow the symbols.
  names_ = u32_at(head.data(), 12) + uint64_t{kSymbolBytes} * u32_at(head.data(), 16);

  const uint32_t count = u32_at(head.data(), 4) >> 16;
  const uint64_t table = start + 24 + (u32_at(head.data(), 20) & 0xFFFF);
  if (count > kMaxSections) return false;
  std::vector<uint8_t> sections(count * kSectionBytes);
  if (!sections.empty() && !bytes_.read(table, sections.data(), sections.size())) return false;
  for (size_t at = 0; at < sections.size(); at += kSectionBytes) {
    const uint8_t* const entry = sections.data() + at;
    Section section{u32_at(entry, 12),
                    u32_at(entry, 8),
                    u32_at(entry, 20),
                    u32_at(entry, 16),
                    (u32_at(entry, 36) & kHoldsCode) != 0,
                    long_name_of(entry)};
    if (layout_ == ImageLayout::kMapped) {
      section.offset = section.start;
      section.stored = section.size;
    }
    section.stored = std::min(section.stored, section.size);
    sections_.push_back(section);
  }
  // A directory is a place and a size, in this order.
  if (u32_at(optional, 108) > 3) {
    place_functions({u32_at(optional, 112 + 28), u32_at(optional, 112 + 24)});
  }
  return true;
}

void ImageFile::place_functions(const minidump::DumpLocation& table) {
  const Section* const section = section_at(table.rva);
  if (section == nullptr) return;
  // What the section has no bytes for is no part of the table, whatever the header says.
  const uint32_t skipped = std::min(table.rva - section->start, section->stored);
  const uint32_t most = std::min(section->stored - skipped, kMaxTableBytes);
  table_ = {std::min(table.size, most) / kEntryBytes * kEntryBytes, table.rva};
}

void ImageFile::read_functions() {
  std::vector<uint8_t> bytes(table_.size);
  bytes.resize(bytes.empty() ? 0 : read(table_.rva, bytes.data(), bytes.size()));
  functions_.reserve(bytes.size() / kEntryBytes);
  for (size_t at = 0; at + kEntryBytes <= bytes.size(); at += kEntryBytes) {
    functions_.push_back(
        {u32_at(bytes.data(), at), u32_at(bytes.data(), at + 4), u32_at(bytes.data(), at + 8)});
  }
}

const ImageFile::Section* ImageFile::section_at(uint64_t place) const {
  const auto found =
      std::find_if(sections_.begin(), sections_.end(), [place](const Section& section) {
        return place >= section.start && place - section.start < section.size;
      });
  return found == sections_.end() ? nullptr : &*found;
}

size_t ImageFile::read(uint64_t place, void* buffer, size_t size) const {
  const Section* const section = section_at(place);
  if (section == nullptr) return 0;
  const uint64_t skipped = place - section->start;
  size = static_cast<size_t>(std::min<uint64_t>(size, section->size - skipped));
  const auto stored = static_cast<size_t>(
      skipped < section->stored ? std::min<uint64_t>(size, section->stored - skipped) : 0);
  if (stored != 0 && !bytes_.read(section->offset + skipped, buffer, stored)) return 0;
  std::memset(static_cast<uint8_t*>(buffer) + stored, 0, size - stored);
  return size;
}

bool ImageFile::is_code(uint64_t place) const {
  const Section* const section = section_at(place);
  return section != nullptr && section->is_code;
}

std::optional<DebugLink> ImageFile::debug_link() const {
  for (const Section& section : sections_) {
    std::array<char, sizeof kDebugLinkSection> name{};
    if (section.long_name == 0 || section.size > kMaxLinkBytes ||
        !bytes_.read(names_ + section.long_name, name.data(), name.size()) ||
        std::memcmp(name.data(), kDebugLinkSection, name.size()) != 0) {
      continue;
    }
    std::string bytes(section.size, '\0');
    return read(section.start, bytes.data(), bytes.size()) == bytes.size() ? parse_debug_link(bytes)
                                                                           : std::nullopt;
  }
  return std::nullopt;
}

const FunctionEntry* ImageFile::function_at(uint64_t place) const {
  auto next = std::upper_bound(
      functions_.begin(), functions_.end(), place,
      [](uint64_t wanted, const FunctionEntry& entry) { return wanted < entry.begin; });
  if (next == functions_.begin()) return nullptr;
  --next;
  return place >= next->begin && place < next->end ? &*next : nullptr;
}

}  // namespace wrenfall::stack
