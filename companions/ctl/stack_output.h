#ifndef WRENFALL_COMPANIONS_CTL_STACK_OUTPUT_H_
#define WRENFALL_COMPANIONS_CTL_STACK_OUTPUT_H_

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "stack/stack_report.h"

namespace wrenfall::ctl {

// The stacks of a dump as text for people and as JSON for programs, whose keys docs/wrenfallctl.md
// documents: never rename one. The warnings are part of the JSON; as text they have a function of their
// own, since they go to the error stream.
std::string stack_text(const stack::StackReport& report);
std::string stack_warnings_text(const std::vector<std::string>& warnings);
nlohmann::json stack_json(const stack::StackReport& report);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_STACK_OUTPUT_H_
