#ifndef WRENFALL_COMPANIONS_COMMON_PROGRAM_START_H_
#define WRENFALL_COMPANIONS_COMMON_PROGRAM_START_H_

namespace wrenfall {

// The first thing that each companion does. Libraries that the system loads later come from its own
// folder alone, and neither a damaged drive nor a crash of this process brings up a window.
void prepare_program();

}  // namespace wrenfall

#endif  // WRENFALL_COMPANIONS_COMMON_PROGRAM_START_H_
