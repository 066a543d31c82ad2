#include "minidump_builder.h"

#include <stdexcept>

namespace wrenfall::minidump {
namespace {

constexpr uint32_t kStreams = 7;

}  // namespace

std::string with32(std::string dump, size_t offset, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) dump.at(offset + i) = static_cast<char>(value >> (8 * i));
  return dump;
}

ReadAt reader_of(const std::string& dump) {
  return [&dump](uint64_t offset, void* buffer, size_t size) {
    // Copying throws when it begins beyond the end.
    if (dump.copy(static_cast<char*>(buffer), size, offset) == size) return true;
    throw std::out_of_range("read beyond the end of the dump");
  };
}

std::optional<std::string> with_thread(std::string dump, uint32_t thread, ShownContext context) {
  const auto patches = name_exception_thread(reader_of(dump), dump.size(), thread, context);
  if (!patches) return std::nullopt;
  for (const DumpPatch& patch : *patches) {
    for (size_t i = 0; i < patch.bytes.size(); ++i) {
      dump.at(patch.offset + i) = static_cast<char>(patch.bytes[i]);
    }
  }
  return dump;
}

void MinidumpBuilder::set32(size_t offset, uint32_t value) {
  bytes_ = with32(std::move(bytes_), offset, value);
}

void MinidumpBuilder::add(std::initializer_list<uint32_t> numbers) {
  for (const uint32_t number : numbers) {
    bytes_.append(4, '\0');
    set32(bytes_.size() - 4, number);
  }
}

void MinidumpBuilder::add_directory_entry(uint32_t type, uint32_t size, uint32_t rva) {
  set32(next_entry_, type);
  set32(next_entry_ + 4, size);
  set32(next_entry_ + 8, rva);
  next_entry_ += 12;
}

uint32_t MinidumpBuilder::add_text(const std::string& text) {
  const uint32_t rva = here();
  add({static_cast<uint32_t>(text.size())});
  bytes_ += text;
  return rva;
}

uint32_t MinidumpBuilder::add_text(const std::u16string& text) {
  std::string bytes;
  for (const char16_t unit : text) {
    bytes += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
  }
  return add_text(bytes);
}

void MinidumpBuilder::add_thread_name() {
  const uint32_t name = add_text(thread_name);
  const uint32_t list = here();
  const size_t count = all_have_the_name ? threads.size() : 1;
  add({static_cast<uint32_t>(count)});
  for (size_t i = 0; i < count; ++i) add({threads[i], name, 0});
  add_directory_entry(24, here() - list, list);
}

void MinidumpBuilder::add_modules() {
  std::vector<uint32_t> names;
  for (const auto& [base, path] : modules) names.push_back(add_text(path));
  const uint32_t list = here();
  mark("module count");
  add({static_cast<uint32_t>(modules.size())});
  for (size_t i = 0; i < modules.size(); ++i) {
    mark("module " + std::to_string(i));
    const uint64_t base = modules[i].first;
    add({static_cast<uint32_t>(base), static_cast<uint32_t>(base >> 32), 0x3000, 0, 5, names[i],
         0xFEEF04BD, 0x10000, 0x10002, 0x30004});
    bytes_.append(68, '\0');
  }
  add_directory_entry(4, here() - list, list);
}

void MinidumpBuilder::add_exception() {
  const uint32_t rva = here();
  mark("exception thread");
  add({77, 0, *crash_code});
  bytes_.append(148, '\0');
  mark("exception context");
  bytes_.append(8, '\0');
  add_directory_entry(6, here() - rva, rva);
}

void MinidumpBuilder::add_threads() {
  const auto count = static_cast<uint32_t>(threads.size());
  const uint32_t list = here();
  mark("thread count");
  add({count});
  if (aligned_threads) add({0});
  const uint32_t registers = here() + 48 * count;
  for (uint32_t i = 0; i < count; ++i) {
    mark("thread " + std::to_string(i));
    add({threads[i]});
    bytes_.append(36, '\0');
    add({16, registers + 16 * i});
  }
  add_directory_entry(3, here() - list, list);
  bytes_.append(16 * count, 'r');
}

void MinidumpBuilder::add_memory() {
  const uint32_t list = here();
  mark("memory");
  add({1, 0x1000, 0, 8, list + 20});
  bytes_.append(8, 'm');
  add_directory_entry(5, 20, list);

  const uint32_t list64 = here();
  mark("memory64");
  add({1, 0, list64 + 32, 0, 0x2000, 0, 16, 0});
  bytes_.append(16, 'M');
  add_directory_entry(9, 32, list64);
}

// Start-up texts are pairs of places, live ones have a type between the two.
uint32_t MinidumpBuilder::add_texts_list(const std::string& name, bool live_list) {
  std::vector<std::pair<std::string, std::string>> texts(startup.begin(), startup.end());
  if (live_list) texts = live;
  const size_t entry_bytes = live_list ? 12 : 8;
  const uint32_t rva = here();
  add({static_cast<uint32_t>(texts.size())});
  size_t entry = bytes_.size();
  mark(name + " key");
  bytes_.append(texts.size() * entry_bytes, '\0');
  for (const auto& [key, value] : texts) {
    set32(entry, add_text(key));
    bytes_.push_back('\0');
    if (live_list) set32(entry + 4, 1);
    set32(entry + entry_bytes - 4, add_text(value));
    if (!live_list) bytes_.push_back('\0');
    entry += entry_bytes;
  }
  return rva;
}

void MinidumpBuilder::add_annotations() {
  const uint32_t rva = here();
  add({1});
  for (char i = 0; i < 32; ++i) bytes_.push_back(i);
  const size_t places = bytes_.size();
  bytes_.append(16, '\0');
  add_directory_entry(0x43500001, here() - rva, rva);

  set32(places, static_cast<uint32_t>(4 + 8 * startup.size()));
  set32(places + 4, add_texts_list("startup", false));
  set32(places + 8, 16);
  set32(places + 12, here());
  add({1, 0, 28});
  add({here() + 4, 1});
  bytes_.append(16, '\0');
  add({static_cast<uint32_t>(4 + 12 * live.size())});
  add({here() + 4});
  add_texts_list("live", true);
}

std::string MinidumpBuilder::build() {
  bytes_ = "MDMP";
  offsets_.clear();
  add({0xA793, kStreams, 32, 0, time_stamp, 0, 0});
  next_entry_ = bytes_.size();
  mark("directory");
  bytes_.append(kStreams * 12, '\0');  // an entry that stays empty is an unused stream
  if (crash_code) add_exception();
  if (!threads.empty()) add_threads();
  if (!thread_name.empty()) add_thread_name();
  if (!modules.empty()) add_modules();
  if (with_memory) add_memory();
  if (with_annotations) add_annotations();
  return bytes_;
}

}  // namespace wrenfall::minidump
