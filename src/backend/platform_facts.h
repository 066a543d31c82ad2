#ifndef WRENFALL_BACKEND_PLATFORM_FACTS_H_
#define WRENFALL_BACKEND_PLATFORM_FACTS_H_

#include <cstdint>
#include <string>

namespace wrenfall {

// The system and processor that the process runs on, as texts.
struct PlatformFacts {
  std::string family;        // "windows"
  std::string name;          // the product, for example "Windows 11"
  std::string version;       // "10.0.22631"
  std::string build;         // "22631"
  std::string architecture;  // the library's own; " on arm64" or " on x64" is added when the
                             // machine's is another one
  std::string detail;        // a remark, usually empty
};

// What the system says about itself. The numbers are those of RTL_OSVERSIONINFOEXW and SYSTEM_INFO
// (winnt.h).
struct SystemVersion {
  uint32_t major = 0;
  uint32_t minor = 0;
  uint32_t build = 0;
  uint8_t product_type = 0;          // VER_NT_WORKSTATION is 1; every other value is a server
  uint16_t native_architecture = 0;  // PROCESSOR_ARCHITECTURE_...
};

// The facts for a version, for a library built for the architecture ("x64", "x86", "arm64").
PlatformFacts platform_facts(const SystemVersion& system, const std::string& library_architecture);

// Asks the system each time. Numbers that it does not tell are 0.
PlatformFacts query_platform_facts();

// Whether this is Windows 10 version 1607 or newer, the lowest that the library is for. Judged by what
// the system has rather than by its number: compatibility modes and Wine often tell an older one.
bool is_system_new_enough();

// One line, for example "Windows 11 10.0.22631 x64".
std::string describe(const PlatformFacts& facts);

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_PLATFORM_FACTS_H_
