#ifndef WRENFALL_TESTS_END_TO_END_CRASH_KINDS_H_
#define WRENFALL_TESTS_END_TO_END_CRASH_KINDS_H_

// Prints the ids of the threads that are going to crash, then crashes. Returns when `kind` is
// unknown or did not end the process.
void crash(const char* kind);

#endif  // WRENFALL_TESTS_END_TO_END_CRASH_KINDS_H_
