#ifndef WRENFALL_COMPANIONS_STACK_IMAGE_FILE_H_
#define WRENFALL_COMPANIONS_STACK_IMAGE_FILE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "minidump/minidump_layout.h"
#include "stack/debug_link.h"

namespace wrenfall::stack {

// An entry of a module's function table, as the system's own structure lies in memory. The numbers count
// from the start of the module.
struct FunctionEntry {
  uint32_t begin = 0;
  uint32_t end = 0;
  uint32_t unwind_data = 0;
};

// How the bytes of a module lie: as in its file, or as the system maps it.
enum class ImageLayout { kFile, kMapped };

// An EXE or DLL for x64: its code and its function table. Places in it are counted from its start in
// memory. The file may contain anything: every place is checked. Constant once the functions are read.
class ImageFile {
 public:
  // Null when the bytes are no such module.
  static std::unique_ptr<ImageFile> open(minidump::ReadAt read, uint64_t size, ImageLayout layout);

  uint32_t time_stamp() const { return time_stamp_; }
  uint32_t size() const { return size_; }

  // How much memory the function table takes once it is read, at most 64 MB.
  uint32_t table_bytes() const { return table_.size; }

  // Until then no function is known. Call it once.
  void read_functions();

  // Copies what there is from a place on, up to `size` bytes. Returns how many bytes those are.
  size_t read(uint64_t place, void* buffer, size_t size) const;

  bool is_code(uint64_t place) const;

  // Where its debug information is, when that is in a file of its own.
  std::optional<DebugLink> debug_link() const;

  // The entry that a place belongs to; null when there is none. Lives as long as the image.
  const FunctionEntry* function_at(uint64_t place) const;

 private:
  struct Section {
    uint32_t start = 0;
    uint32_t size = 0;
    uint32_t offset = 0;  // of its bytes
    uint32_t stored = 0;  // how many of the bytes there are; the others are 0
    bool is_code = false;
    uint32_t long_name = 0;  // where a name of more than 8 bytes lies among the names, or 0
  };

  ImageFile(minidump::ReadAt read, uint64_t size, ImageLayout layout)
      : bytes_(std::move(read), size), layout_(layout) {}
  bool read_headers();
  void place_functions(const minidump::DumpLocation& table);
  const Section* section_at(uint64_t place) const;

  const minidump::DumpBytes bytes_;
  const ImageLayout layout_;
  uint32_t time_stamp_ = 0;
  uint32_t size_ = 0;
  std::vector<Section> sections_;
  uint64_t names_ = 0;            // where the names of the sections are that have long ones
  minidump::DumpLocation table_;  // of the functions; its size is that of whole entries
  std::vector<FunctionEntry> functions_;
};

}  // namespace wrenfall::stack

#endif  // WRENFALL_COMPANIONS_STACK_IMAGE_FILE_H_
