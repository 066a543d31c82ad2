#include "report/store/consent.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>

#include "report/store/folder_claim.h"
#include "report/store/json_fields.h"
#include "report/store/layout.h"
#include "support/files.h"
#include "support/json_text.h"
#include "support/text.h"

namespace wrenfall {
namespace {

constexpr uint64_t kMaxConsentBytes = 4096;
// Another process needs the file for a moment; one that is stopped keeps it.
constexpr std::chrono::seconds kPatience(2);

// By WRENFALL_CONSENT_... value.
constexpr const char* kWords[] = {"", "given", "refused", "ask"};

}  // namespace

uint32_t read_consent(const std::filesystem::path& store) {
  const std::filesystem::path file = store / kConsentFile;
  if (!path_exists(file)) return WRENFALL_CONSENT_UNKNOWN;
  std::string text;
  std::string word;
  if (read_file(file, text, kMaxConsentBytes)) {
    const nlohmann::json object = parse_json(text);
    const JsonFieldReader read(object);
    if (object.is_object()) read("consent", word);
  }
  const auto* const known = std::find(std::begin(kWords) + 1, std::end(kWords), word);
  return known == std::end(kWords) ? kConsentUnreadable
                                   : static_cast<uint32_t>(known - std::begin(kWords));
}

bool write_consent(const std::filesystem::path& store, uint32_t consent) {
  const std::filesystem::path file = store / kConsentFile;
  const auto turn = FolderClaim::take_until(file, AwakeClock::now() + kPatience);
  if (!turn) return false;
  if (consent == WRENFALL_CONSENT_UNKNOWN) return remove_file(file);
  return consent < std::size(kWords) &&
         write_file_atomic(file, json_text({{"consent", kWords[consent]}}));
}

void log_no_consent(const std::filesystem::path& folder, Logger& logger) {
  logger.info("Report not sent, the user has not agreed: %s", path_to_utf8(folder).c_str());
}

}  // namespace wrenfall
