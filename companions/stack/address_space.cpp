#include "stack/address_space.h"

#include <algorithm>
#include <array>
#include <utility>

namespace wrenfall::stack {
namespace {

using minidump::DumpModule;

constexpr uint64_t kWordBytes = 8;
constexpr uint64_t kMostWords = 16384;
constexpr uint64_t kMostWordsInAll = uint64_t{4} * 1024 * 1024;
constexpr int kMostChained = 32;   // parts of one function
constexpr uint8_t kIsChained = 4;  // UNW_FLAG_CHAININFO

// Whether the bytes in front of an address end with a call: one with a distance, or one through a
// register or memory (FF /2), whose length depends on how the memory is addressed.
bool ends_with_call(const std::array<uint8_t, 7>& bytes) {
  if (bytes[2] == 0xE8) return true;
  for (size_t length = 2; length <= 7; ++length) {
    const size_t at = bytes.size() - length;
    if (bytes[at] == 0xFF && (bytes[at + 1] & 0x38) == 0x10) return true;
  }
  return false;
}

}  // namespace

AddressSpace::AddressSpace(const minidump::DumpSnapshot& snapshot, const minidump::DumpBytes& dump,
                           FindImage find_image, uint64_t table_bytes)
    : snapshot_(snapshot),
      memory_(dump, snapshot.memory),
      find_image_(std::move(find_image)),
      words_left_(kMostWordsInAll),
      table_bytes_left_(table_bytes) {}

const ImageFile* AddressSpace::image_of(const DumpModule& module) {
  const auto [entry, is_new] = images_.try_emplace(module.base);
  if (!is_new) return entry->second.get();
  auto image = open_image(module);
  if (!image) return nullptr;
  if (image->table_bytes() > table_bytes_left_) {
    left_out_.insert(module.base);
    return nullptr;
  }
  table_bytes_left_ -= image->table_bytes();
  image->read_functions();
  entry->second = std::move(image);
  return entry->second.get();
}

std::unique_ptr<ImageFile> AddressSpace::open_image(const DumpModule& module) const {
  if (auto image = find_image_(module)) return image;
  // A dump of all memory holds the modules too.
  const auto read_mapped = [this, base = module.base](uint64_t place, void* buffer, size_t size) {
    return memory_.read(base + place, buffer, size) == size;
  };
  return ImageFile::open(read_mapped, module.size, ImageLayout::kMapped);
}

size_t AddressSpace::read(uint64_t address, void* buffer, size_t size) {
  size_t done = 0;
  while (done < size) {
    const uint64_t from = address + done;
    if (from < address) break;
    uint8_t* const rest = static_cast<uint8_t*>(buffer) + done;
    size_t piece = memory_.read(from, rest, size - done);
    if (piece == 0) {
      const DumpModule* const module = snapshot_.module_at(from);
      const ImageFile* const image = module == nullptr ? nullptr : image_of(*module);
      if (image != nullptr) piece = image->read(from - module->base, rest, size - done);
    }
    if (piece == 0) break;
    done += piece;
  }
  return done;
}

uint64_t AddressSpace::module_base(uint64_t address) const {
  const DumpModule* const module = snapshot_.module_at(address);
  return module == nullptr ? 0 : module->base;
}

const FunctionEntry* AddressSpace::function_at(uint64_t address) {
  const DumpModule* const module = snapshot_.module_at(address);
  const ImageFile* const image = module == nullptr ? nullptr : image_of(*module);
  const FunctionEntry* const function =
      image == nullptr ? nullptr : image->function_at(address - module->base);
  return function != nullptr && has_sound_unwind_data(module->base, *function) ? function : nullptr;
}

// Unwind data can refer to another entry's, behind its codes of two bytes, whose number is made even. The
// system's library follows that without asking how often.
bool AddressSpace::has_sound_unwind_data(uint64_t base, const FunctionEntry& function) {
  uint32_t place = function.unwind_data;
  for (int i = 0; i < kMostChained; ++i) {
    std::array<uint8_t, 4> head{};
    // An odd place is that of another entry, which no current compiler makes.
    if (place % 2 != 0 || read(base + place, head.data(), head.size()) != head.size()) return false;
    if ((head[0] >> 3 & kIsChained) == 0) return true;
    std::array<uint8_t, 12> next{};
    const uint64_t behind_codes = base + place + head.size() + (uint64_t{head[2]} + 1) / 2 * 4;
    if (read(behind_codes, next.data(), next.size()) != next.size()) return false;
    place = minidump::u32_at(next.data(), 8);
  }
  return false;
}

bool AddressSpace::can_unwind(uint64_t address) {
  const DumpModule* const module = snapshot_.module_at(address);
  return module != nullptr && image_of(*module) != nullptr;
}

bool AddressSpace::is_behind_call(uint64_t address) {
  const DumpModule* const module = snapshot_.module_at(address);
  const ImageFile* const image = module == nullptr ? nullptr : image_of(*module);
  std::array<uint8_t, 7> bytes{};
  return image != nullptr && image->is_code(address - module->base) &&
         address - module->base >= bytes.size() &&
         image->read(address - module->base - bytes.size(), bytes.data(), bytes.size()) ==
             bytes.size() &&
         ends_with_call(bytes);
}

std::optional<AddressSpace::ReturnAddress> AddressSpace::find_return_address(uint64_t place,
                                                                             uint64_t end) {
  for (uint64_t i = 0; i < kMostWords && words_left_ > 0; ++i, --words_left_) {
    if (place >= end || end - place < kWordBytes) break;
    std::array<uint8_t, kWordBytes> word{};
    if (memory_.read(place, word.data(), word.size()) != word.size()) break;
    const uint64_t value = minidump::u64_at(word.data(), 0);
    if (is_behind_call(value)) return ReturnAddress{place, value};
    place += kWordBytes;
  }
  return std::nullopt;
}

}  // namespace wrenfall::stack
