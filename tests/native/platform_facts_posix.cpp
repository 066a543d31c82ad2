#include "backend/platform_facts.h"

namespace wrenfall {

// A test of the library on an old system sets it.
bool native_system_is_old = false;

bool is_system_new_enough() { return !native_system_is_old; }

PlatformFacts query_platform_facts() {
  SystemVersion system;
  system.major = 10;
  system.build = 22631;
  system.product_type = 1;
  system.native_architecture = 9;
  return platform_facts(system, "x64");
}

}  // namespace wrenfall
