#ifndef WRENFALL_TESTS_COMPANIONS_MINIDUMP_BUILDER_H_
#define WRENFALL_TESTS_COMPANIONS_MINIDUMP_BUILDER_H_

#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "minidump/exception_thread.h"

namespace wrenfall::minidump {

// Builds a small minidump, in this order: header, directory, exception, threads with their registers,
// their names, modules, memory lists with their memory, annotation stream with its texts. The offsets
// that tests damage are noted while building.
struct MinidumpBuilder {
  uint32_t time_stamp = 0;
  std::optional<uint32_t> crash_code;
  std::vector<uint32_t> threads;  // each with 16 bytes of registers
  bool aligned_threads = false;   // as some writers have them
  std::u16string thread_name;     // of the first
  bool all_have_the_name = false;
  std::vector<std::pair<uint64_t, std::u16string>> modules;  // base and path, of 0x3000 bytes each
  std::map<std::string, std::string> startup;
  std::vector<std::pair<std::string, std::string>> live;
  bool with_memory = false;
  bool with_annotations = true;

  std::string build();

  // Where a field lies in the last dump built.
  size_t offset(const std::string& field) const { return offsets_.at(field); }

 private:
  void add_exception();
  void add_threads();
  void add_thread_name();
  void add_modules();
  void add_memory();
  void add_annotations();
  uint32_t add_texts_list(const std::string& name, bool live_list);
  uint32_t add_text(const std::string& text);
  uint32_t add_text(const std::u16string& text);
  void add(std::initializer_list<uint32_t> numbers);
  void mark(const std::string& field) { offsets_[field] = bytes_.size(); }
  void set32(size_t offset, uint32_t value);
  uint32_t here() const { return static_cast<uint32_t>(bytes_.size()); }
  void add_directory_entry(uint32_t type, uint32_t size, uint32_t rva);

  std::string bytes_;
  size_t next_entry_ = 0;
  std::map<std::string, size_t> offsets_;
};

// The dump with a number put in at an offset.
std::string with32(std::string dump, size_t offset, uint32_t value);

// Reads a dump in memory, which must outlive the reader. A read beyond its end throws and so ends the
// test: no code may attempt one.
ReadAt reader_of(const std::string& dump);

// The dump after the changes that name the thread, or nothing. A change beyond its end throws.
std::optional<std::string> with_thread(std::string dump, uint32_t thread, ShownContext context);

}  // namespace wrenfall::minidump

#endif  // WRENFALL_TESTS_COMPANIONS_MINIDUMP_BUILDER_H_
