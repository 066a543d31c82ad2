#include "stack/stack_walker_win.h"

#include <cstring>

namespace wrenfall::stack {
namespace {

constexpr size_t kMostFrames = 256;

// The library's functions know a process by a handle that need not be one. Here it is the memory.
AddressSpace& memory_of(HANDLE process) { return *static_cast<AddressSpace*>(process); }

BOOL CALLBACK read_memory(HANDLE process, DWORD64 address, PVOID buffer, DWORD size, LPDWORD read) {
  const size_t done = memory_of(process).read(address, buffer, size);
  std::memset(static_cast<char*>(buffer) + done, 0, size - done);
  if (read != nullptr) *read = static_cast<DWORD>(done);
  return done == size;
}

// The library changes nothing behind the pointer.
PVOID CALLBACK find_function(HANDLE process, DWORD64 address) {
  return const_cast<FunctionEntry*>(memory_of(process).function_at(address));
}

DWORD64 CALLBACK find_module_base(HANDLE process, DWORD64 address) {
  return memory_of(process).module_base(address);
}

class Walker {
 public:
  Walker(const DebugHelp& debug_help, AddressSpace& memory, const CONTEXT& registers,
         uint64_t stack_end)
      : debug_help_(debug_help), memory_(memory), registers_(registers), stack_end_(stack_end) {}

  Walk walk() {
    add(false);
    if (!debug_help_.is_usable) return std::move(walk_);
    while (unwind() && search()) {
    }
    return std::move(walk_);
  }

 private:
  void add(bool searched) { walk_.frames.push_back({registers_.Rip, searched}); }

  bool is_full() {
    walk_.truncated = walk_.frames.size() >= kMostFrames;
    return walk_.truncated;
  }

  // Adds the callers as long as function tables lead to them. True when the rest of the stack is to be
  // searched, false when the walk is complete.
  bool unwind() {
    STACKFRAME64 frame{};
    frame.AddrPC = {registers_.Rip, 0, AddrModeFlat};
    frame.AddrStack = {registers_.Rsp, 0, AddrModeFlat};
    frame.AddrFrame = {registers_.Rbp, 0, AddrModeFlat};
    // The first step finds the frame that it begins with.
    if (!step(frame)) return true;
    while (memory_.can_unwind(registers_.Rip)) {
      const CONTEXT before = registers_;
      const DWORD64 expected = frame.AddrReturn.Offset;
      const bool stepped = step(frame);
      // The first function of a thread has no caller; the innermost one has.
      const bool at_end = registers_.Rip == 0 || (!stepped && expected == 0);
      if (at_end && walk_.frames.size() > 1) return false;
      // A caller's part of the stack lies above: everything else is damage, and might never end.
      if (!stepped || registers_.Rsp <= before.Rsp || memory_.module_base(registers_.Rip) == 0) {
        registers_ = before;
        return true;
      }
      if (is_full()) return false;
      add(false);
    }
    return true;
  }

  bool step(STACKFRAME64& frame) {
    const bool done =
        debug_help_.walk(IMAGE_FILE_MACHINE_AMD64, &memory_, &memory_, &frame, &registers_,
                         read_memory, find_function, find_module_base, nullptr) != FALSE;
    registers_.Rip = frame.AddrPC.Offset;
    return done;
  }

  bool search() {
    const auto found = memory_.find_return_address(registers_.Rsp, stack_end_);
    if (!found || is_full()) return false;
    registers_.Rip = found->value;
    registers_.Rsp = found->place + sizeof found->value;
    add(true);
    return true;
  }

  const DebugHelp& debug_help_;
  AddressSpace& memory_;
  CONTEXT registers_;
  const uint64_t stack_end_;
  Walk walk_;
};

}  // namespace

Walk walk_stack(const DebugHelp& debug_help, AddressSpace& memory, CONTEXT registers,
                uint64_t stack_end) {
  return Walker(debug_help, memory, registers, stack_end).walk();
}

}  // namespace wrenfall::stack
