#ifndef WRENFALL_SUPPORT_RESULT_NAMES_H_
#define WRENFALL_SUPPORT_RESULT_NAMES_H_

#include <wrenfall/wrenfall.h>

#include <string>

namespace wrenfall {

// The constant's name as in the header, for example "WRENFALL_ERROR_REJECTED"; "unknown result" for
// any other value.
const char* result_name(wrenfall_result result);

// What it means, in a few words that can follow a colon; empty for any other value.
const char* result_meaning(wrenfall_result result);

// "WRENFALL_ERROR_REJECTED (12)".
std::string name_and_number(wrenfall_result result);

// All of it: "WRENFALL_ERROR_REJECTED (12): the service rejected the report, or asked to slow
// down".
std::string describe_result(wrenfall_result result);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_RESULT_NAMES_H_
