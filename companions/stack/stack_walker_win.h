#ifndef WRENFALL_COMPANIONS_STACK_STACK_WALKER_WIN_H_
#define WRENFALL_COMPANIONS_STACK_STACK_WALKER_WIN_H_

#include <windows.h>

#include <cstdint>
#include <vector>

#include "stack/address_space.h"
#include "stack/debug_help_win.h"

namespace wrenfall::stack {

// A place in the code that a walk over a stack came by.
struct WalkedFrame {
  uint64_t address = 0;
  bool searched = false;  // found by a search of the stack for return addresses
};

struct Walk {
  std::vector<WalkedFrame> frames;  // the innermost first
  bool truncated = false;
};

// Walks over a stack from the registers of its thread on. Where the function tables of a module are not at
// hand, the next return address is searched for on the stack, up to `stack_end`. Without the system's
// library there is the innermost frame alone.
Walk walk_stack(const DebugHelp& debug_help, AddressSpace& memory, CONTEXT registers,
                uint64_t stack_end);

}  // namespace wrenfall::stack

#endif  // WRENFALL_COMPANIONS_STACK_STACK_WALKER_WIN_H_
