#include "common/program_start.h"

#include <windows.h>

namespace wrenfall {

void prepare_program() {
  // Not from the program's or the current folder, where others may have put files of the same names.
  SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

}  // namespace wrenfall
