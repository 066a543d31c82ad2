#ifndef WRENFALL_TESTS_END_TO_END_CRASH_KINDS_H_
#define WRENFALL_TESTS_END_TO_END_CRASH_KINDS_H_

#ifdef __cplusplus
extern "C" {
#endif

/* Prints the ids of the threads that are going to crash, then crashes. Returns when `kind` is
 * unknown or did not end the process. */
void crash(const char* kind);

#ifdef __cplusplus
}
#endif

#endif /* WRENFALL_TESTS_END_TO_END_CRASH_KINDS_H_ */
