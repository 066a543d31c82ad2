#include "backend/platform_facts.h"

namespace wrenfall {

PlatformFacts query_platform_facts() {
  SystemVersion system;
  system.major = 10;
  system.build = 22631;
  system.product_type = 1;
  system.native_architecture = 9;
  return platform_facts(system, "x64");
}

}  // namespace wrenfall
