#ifndef WRENFALL_COMPANIONS_STACK_DUMP_STACKS_H_
#define WRENFALL_COMPANIONS_STACK_DUMP_STACKS_H_

#include <filesystem>
#include <optional>
#include <vector>

#include "stack/stack_report.h"

namespace wrenfall::stack {

struct StackRequest {
  std::filesystem::path dump;
  std::vector<std::filesystem::path> folders;  // where the modules' files and symbols may lie
  bool all_threads = false;                    // not only the one that the report is about
};

// Reads the stacks of a dump. Nothing when the file cannot be opened or is no minidump. What is missing
// or damaged in it costs a warning in the report and no more. Call it from one thread at a time.
std::optional<StackReport> read_stacks(const StackRequest& request);

}  // namespace wrenfall::stack

#endif  // WRENFALL_COMPANIONS_STACK_DUMP_STACKS_H_
