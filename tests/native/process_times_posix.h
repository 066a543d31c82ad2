#ifndef WRENFALL_TESTS_NATIVE_PROCESS_TIMES_POSIX_H_
#define WRENFALL_TESTS_NATIVE_PROCESS_TIMES_POSIX_H_

#include <sys/types.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

namespace wrenfall {

// When the process was started, in clock ticks since the machine was; 0 when it cannot be read.
inline uint64_t process_start_time(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string line;
  std::getline(file, line);
  // The 22nd field, behind the program's name in brackets, which may hold anything.
  std::istringstream fields(line.substr(line.rfind(')') + 1));
  std::string skipped;
  for (int i = 3; i < 22; ++i) fields >> skipped;
  uint64_t time = 0;
  fields >> time;
  return time;
}

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_NATIVE_PROCESS_TIMES_POSIX_H_
