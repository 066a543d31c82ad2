#ifndef WRENFALL_BACKEND_STARTUP_ANNOTATIONS_H_
#define WRENFALL_BACKEND_STARTUP_ANNOTATIONS_H_

#include <cstdint>
#include <map>
#include <string>

#include "backend/backend.h"
#include "support/process.h"

namespace wrenfall {

// The texts of the crash-data record and of the annotations for the host's numbers.
const char* upload_policy_text(uint32_t policy);  // "quiet", "manual", else "dialog"
const char* dump_type_text(uint32_t dump_type);   // "full", "heap", else "normal"

// What the handler is told when it starts, for every dump of that session.
std::map<std::string, std::string> startup_annotations(const BackendConfiguration& configuration,
                                                       const ProcessIdentity& session);

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_STARTUP_ANNOTATIONS_H_
