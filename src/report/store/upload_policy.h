#ifndef WRENFALL_REPORT_STORE_UPLOAD_POLICY_H_
#define WRENFALL_REPORT_STORE_UPLOAD_POLICY_H_

#include <wrenfall/wrenfall.h>

#include <cstdint>
#include <string>

namespace wrenfall {

// Who sends a report, as the record's "uploadPolicy" and the annotation of the same meaning say it.
inline constexpr char kPolicyDialog[] = "dialog";  // the reporter asks the user
inline constexpr char kPolicyQuiet[] = "quiet";    // the reporter sends without asking
inline constexpr char kPolicyManual[] = "manual";  // the report waits for the host

// The word for the host's number; dialog for any number that is not listed.
inline const char* upload_policy_text(uint32_t policy) {
  switch (policy) {
    case WRENFALL_UPLOAD_QUIET:
      return kPolicyQuiet;
    case WRENFALL_UPLOAD_MANUAL:
      return kPolicyManual;
    default:
      return kPolicyDialog;
  }
}

// The word itself where it is known; dialog for any other.
inline std::string known_upload_policy(const std::string& policy) {
  return policy == kPolicyQuiet || policy == kPolicyManual ? policy : kPolicyDialog;
}

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_UPLOAD_POLICY_H_
