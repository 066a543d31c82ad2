#include "backend/platform_facts.h"

#include <cstdio>

namespace wrenfall {
namespace {

constexpr uint8_t kProductTypeWorkstation = 1;  // VER_NT_WORKSTATION
constexpr uint32_t kFirstWindows11Build = 22000;
constexpr uint16_t kArchitectureAmd64 = 9;   // PROCESSOR_ARCHITECTURE_AMD64
constexpr uint16_t kArchitectureArm64 = 12;  // PROCESSOR_ARCHITECTURE_ARM64

const char* product_name(const SystemVersion& system) {
  if (system.major == 10) {
    if (system.product_type != kProductTypeWorkstation) return "Windows Server";
    return system.build < kFirstWindows11Build ? "Windows 10" : "Windows 11";
  }
  // The server editions of these two versions get the workstation's name too.
  if (system.major == 6 && system.minor == 3) return "Windows 8.1";
  if (system.major == 6 && system.minor == 1) return "Windows 7";
  return "Windows";
}

bool ends_with(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

PlatformFacts platform_facts(const SystemVersion& system, const std::string& library_architecture) {
  PlatformFacts facts;
  facts.family = "windows";
  facts.name = product_name(system);
  char version[64];
  std::snprintf(version, sizeof version, "%lu.%lu.%lu", static_cast<unsigned long>(system.major),
                static_cast<unsigned long>(system.minor), static_cast<unsigned long>(system.build));
  facts.version = version;
  facts.build = std::to_string(system.build);
  facts.architecture = library_architecture;
  if (system.native_architecture == kArchitectureArm64 && library_architecture != "arm64") {
    facts.architecture += " on arm64";
  } else if (system.native_architecture == kArchitectureAmd64 && library_architecture == "x86") {
    facts.architecture += " on x64";
  }
  return facts;
}

std::string describe(const PlatformFacts& facts) {
  std::string line = facts.name;
  if (!facts.version.empty()) line += " " + facts.version;
  if (!facts.build.empty() && !ends_with(facts.version, facts.build)) {
    line += " (" + facts.build + ")";
  }
  if (!facts.architecture.empty()) line += " " + facts.architecture;
  if (!facts.detail.empty()) line += "; " + facts.detail;
  return line;
}

}  // namespace wrenfall
