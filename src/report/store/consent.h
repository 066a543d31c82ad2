#ifndef WRENFALL_REPORT_STORE_CONSENT_H_
#define WRENFALL_REPORT_STORE_CONSENT_H_

#include <wrenfall/wrenfall.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "report/store/store_limits.h"
#include "report/store/upload_policy.h"
#include "support/logger.h"

namespace wrenfall {

// "consent.json" in the store, {"consent":"given"}, "refused" or "ask": what the user has said about
// sending reports. It is there once the host, or the user in the dialog, has said it, and every program
// that sends looks at it right before it does. Where the file cannot be read, nothing is sent: it may
// say "refused".

// What read_consent() says of a file that cannot be read.
inline constexpr uint32_t kConsentUnreadable = UINT32_MAX;

// A WRENFALL_CONSENT_... value; unknown without a file.
uint32_t read_consent(const std::filesystem::path& store);

// Unknown removes the file. Processes and threads take turns. False when the file could not be written
// or removed, when another process keeps it for two seconds, and for a value that is not listed.
bool write_consent(const std::filesystem::path& store, uint32_t consent);

// Whether a report may be sent: at somebody's word, or by a program on its own.
inline bool may_send(uint32_t consent, bool at_somebodys_word) {
  return consent != WRENFALL_CONSENT_REFUSED && consent != kConsentUnreadable &&
         (at_somebodys_word || consent != WRENFALL_CONSENT_ASK);
}

// Says in the log that a report was not sent for lack of consent.
void log_no_consent(const std::filesystem::path& folder, Logger& logger);

// Whether a pending report of that policy waits for the user's answer. While the consent is "ask",
// nothing is sent by itself, so that every report waits.
inline bool waits_for_answer(uint32_t consent, const std::string& policy) {
  return consent == WRENFALL_CONSENT_ASK ||
         (consent == WRENFALL_CONSENT_UNKNOWN && known_upload_policy(policy) == kPolicyDialog);
}

// Whether no report is even made now.
inline bool drops_reports(const std::filesystem::path& store, const StoreLimits& limits) {
  return limits.drop_without_consent && read_consent(store) == WRENFALL_CONSENT_REFUSED;
}

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_CONSENT_H_
