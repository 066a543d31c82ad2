#ifndef WRENFALL_COMPANIONS_STACK_ADDRESS_SPACE_H_
#define WRENFALL_COMPANIONS_STACK_ADDRESS_SPACE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "minidump/dump_snapshot.h"
#include "minidump/memory_map.h"
#include "stack/image_file.h"

namespace wrenfall::stack {

// The file of a module, when it is at hand and of the same build; else null.
using FindImage = std::function<std::unique_ptr<ImageFile>(const minidump::DumpModule&)>;

// What the function tables of all modules of a dump may take together. Modules may all lie in the same bytes
// of the dump, and so be far larger together than the dump is.
inline constexpr uint64_t kMostTableBytes = uint64_t{256} * 1024 * 1024;

// The memory of the crashed process as a walk over its stacks needs it: what the dump holds, and for the
// rest, mostly code, the modules' files. For one thread at a time.
class AddressSpace {
 public:
  // The snapshot and the dump must outlive this object. A module's file is looked for when it is first
  // needed, and once. One whose function table has no room among `table_bytes` for all is left out.
  AddressSpace(const minidump::DumpSnapshot& snapshot, const minidump::DumpBytes& dump,
               FindImage find_image, uint64_t table_bytes = kMostTableBytes);

  // Copies what is known from an address on, up to `size` bytes. Returns how many bytes those are.
  size_t read(uint64_t address, void* buffer, size_t size);

  // Where the module begins that an address lies in; 0 when it lies in none.
  uint64_t module_base(uint64_t address) const;

  // The entry of a function table that an address belongs to; null when there is none, or when its unwind
  // data can be followed without an end. It lives as long as this object.
  const FunctionEntry* function_at(uint64_t address);

  // Whether the function tables of the address's module are at hand, so that its callers can be found.
  bool can_unwind(uint64_t address);

  // The bases of the modules that were left out so far.
  const std::set<uint64_t>& left_out() const { return left_out_; }

  // A word of a stack that a call may have put there.
  struct ReturnAddress {
    uint64_t place = 0;  // of the word
    uint64_t value = 0;
  };

  // The first such word from a place on: one that points into code of a known module, behind a call.
  // Looks no further than `end`, nor than some thousands of words; with all calls together no further than
  // some millions.
  std::optional<ReturnAddress> find_return_address(uint64_t place, uint64_t end);

 private:
  const ImageFile* image_of(const minidump::DumpModule& module);
  std::unique_ptr<ImageFile> open_image(const minidump::DumpModule& module) const;
  bool is_behind_call(uint64_t address);
  bool has_sound_unwind_data(uint64_t base, const FunctionEntry& function);

  const minidump::DumpSnapshot& snapshot_;
  const minidump::MemoryMap memory_;
  const FindImage find_image_;
  uint64_t words_left_;        // that may still be searched
  uint64_t table_bytes_left_;  // for the modules to come
  std::set<uint64_t> left_out_;
  std::map<uint64_t, std::unique_ptr<const ImageFile>> images_;  // by the base; null without one
};

}  // namespace wrenfall::stack

#endif  // WRENFALL_COMPANIONS_STACK_ADDRESS_SPACE_H_
