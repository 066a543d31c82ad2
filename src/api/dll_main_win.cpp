#include <windows.h>

#include "backend/stack_guarantee.h"

// The loader calls it for each thread that starts, on that thread and under its lock.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  if (reason == DLL_THREAD_ATTACH) wrenfall::guarantee_stack_of_this_thread();
  return TRUE;
}
