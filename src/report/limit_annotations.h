#ifndef WRENFALL_REPORT_LIMIT_ANNOTATIONS_H_
#define WRENFALL_REPORT_LIMIT_ANNOTATIONS_H_

#include <map>
#include <string>

#include "report/store/store_limits.h"

namespace wrenfall {

// How the limits of a store travel from the library to the monitor: among what the handler is told at
// its start. Limits that are not used are not mentioned.
void add_limit_annotations(const StoreLimits& limits,
                           std::map<std::string, std::string>& annotations);

// Takes one of those annotations; others are ignored, and so is a value that is none of ours.
void take_limit_annotation(const std::string& key, const std::string& value, StoreLimits& limits);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_LIMIT_ANNOTATIONS_H_
