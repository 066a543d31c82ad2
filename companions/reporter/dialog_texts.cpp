#include "reporter/dialog_texts.h"

#include <algorithm>

#include "support/json_text.h"
#include "support/text.h"

namespace wrenfall::reporter {
namespace {

struct Entry {
  Text text;
  const char* key;  // in a language's and a theme's file
};

constexpr Entry kEntries[] = {
    {Text::kTitle, "title"},
    {Text::kTitleSending, "titleSending"},
    {Text::kTitleSent, "titleSent"},
    {Text::kTitleNotSent, "titleNotSent"},
    {Text::kHeadingCrash, "headingCrash"},
    {Text::kHeadingHang, "headingHang"},
    {Text::kHeadingOther, "headingOther"},
    {Text::kIntro, "intro"},
    {Text::kMoreReports, "moreReports"},
    {Text::kDescriptionLabel, "descriptionLabel"},
    {Text::kEmailLabel, "emailLabel"},
    {Text::kShowFiles, "showFiles"},
    {Text::kAlwaysSend, "alwaysSend"},
    {Text::kRestart, "restart"},
    {Text::kPrivacy, "privacy"},
    {Text::kCloseHint, "closeHint"},
    {Text::kCloseHintAsk, "closeHintAsk"},
    {Text::kSend, "send"},
    {Text::kDontSend, "dontSend"},
    {Text::kHeadingFiles, "headingFiles"},
    {Text::kFilesIntro, "filesIntro"},
    {Text::kFilesLabel, "filesLabel"},
    {Text::kFileColumn, "fileColumn"},
    {Text::kSizeColumn, "sizeColumn"},
    {Text::kAlwaysSent, "alwaysSent"},
    {Text::kOpenFile, "openFile"},
    {Text::kOpenFolder, "openFolder"},
    {Text::kBack, "back"},
    {Text::kHeadingSending, "headingSending"},
    {Text::kSending, "sending"},
    {Text::kPacking, "packing"},
    {Text::kProgress, "progress"},
    {Text::kCancelling, "cancelling"},
    {Text::kCancel, "cancel"},
    {Text::kHeadingSent, "headingSent"},
    {Text::kHeadingSentPlain, "headingSentPlain"},
    {Text::kCopy, "copy"},
    {Text::kSupportLabel, "supportLabel"},
    {Text::kOpenPage, "openPage"},
    {Text::kHeadingNotSent, "headingNotSent"},
    {Text::kFailure, "failure"},
    {Text::kIncomplete, "incomplete"},
    {Text::kUnreadable, "unreadable"},
    {Text::kUnreachable, "unreachable"},
    {Text::kServiceFailed, "serviceFailed"},
    {Text::kSlowDown, "slowDown"},
    {Text::kRejected, "rejected"},
    {Text::kCancelled, "cancelled"},
    {Text::kRefused, "refused"},
    {Text::kFailedOtherwise, "failedOtherwise"},
    {Text::kGone, "gone"},
    {Text::kKept, "kept"},
    {Text::kSentLater, "sentLater"},
    {Text::kSentAgain, "sentAgain"},
    {Text::kAskedAgain, "askedAgain"},
    {Text::kHeldBack, "heldBack"},
    {Text::kDeleted, "deleted"},
    {Text::kShowDetails, "showDetails"},
    {Text::kHideDetails, "hideDetails"},
    {Text::kDetailsLabel, "detailsLabel"},
    {Text::kTryAgain, "tryAgain"},
    {Text::kClose, "close"},
    {Text::kSaveFailed, "saveFailed"},
    {Text::kCloseUnsaved, "closeUnsaved"},
    {Text::kDiscardFailed, "discardFailed"},
    {Text::kDiscardHeld, "discardHeld"},
    {Text::kDiscardUnmarked, "discardUnmarked"},
    {Text::kLeaveOutFailed, "leaveOutFailed"},
    {Text::kCloseLeftIn, "closeLeftIn"},
    {Text::kRestartFailed, "restartFailed"},
    {Text::kCopyFailed, "copyFailed"},
    {Text::kSizeKb, "sizeKb"},
    {Text::kSizeMb, "sizeMb"},
    {Text::kSizeGb, "sizeGb"},
};

constexpr char kDirection[] = "direction";
constexpr char kLanguage[] = "language";
constexpr char kOfferAlwaysSend[] = "offerAlwaysSend";
constexpr char kOfferRestart[] = "offerRestart";
constexpr char kPrivacyUrl[] = "privacyUrl";

// Whether the row of each text is found at the text's own number.
constexpr bool rows_are_in_order() {
  size_t number = 0;
  for (const Entry& entry : kEntries) {
    if (static_cast<size_t>(entry.text) != number++) return false;
  }
  return number == static_cast<size_t>(Text::kCount);
}
static_assert(rows_are_in_order());

std::string quoted(const char* key) { return '"' + std::string(key) + '"'; }

const std::string* text_member(const nlohmann::json& object, const char* key) {
  const auto member = object.find(key);
  return member == object.end() ? nullptr : member->get_ptr<const std::string*>();
}

void read_switch(const nlohmann::json& object, const char* key, bool& value,
                 const DialogTexts::Warn& warn) {
  const auto member = object.find(key);
  if (member == object.end()) return;
  if (const auto* const given = member->get_ptr<const bool*>()) {
    value = *given;
  } else {
    warn(quoted(key) + " is neither true nor false");
  }
}

// The script in which a region writes Chinese.
std::string chinese_script(const std::string& locale) {
  for (const char* const traditional : {"TW", "HK", "MO", "Hant"}) {
    if (locale.find(traditional) != std::string::npos) return "zh-Hant";
  }
  return "zh-Hans";
}

const char* find_language(const std::string& locale) {
  for (const std::string& name : language_names(locale)) {
    for (const BuiltInLanguage& language : built_in_languages()) {
      if (equal_ignoring_ascii_case(name, language.name)) return language.json;
    }
  }
  return nullptr;
}

}  // namespace

std::vector<std::string> language_names(const std::string& locale) {
  const auto is_allowed = [](char c) {
    return (c >= '0' && c <= '9') || c == '-' || (ascii_lower(c) >= 'a' && ascii_lower(c) <= 'z');
  };
  std::vector<std::string> names;
  if (!std::all_of(locale.begin(), locale.end(), is_allowed)) return names;
  size_t length = locale.size();
  while (length > 0 && length != std::string::npos) {
    names.push_back(locale.substr(0, length));
    length = names.back().rfind('-');
  }
  if (names.empty() || names.back() != "zh") return names;
  const std::string script = chinese_script(locale);
  if (std::find(names.begin(), names.end(), script) == names.end()) {
    names.insert(names.end() - 1, script);
  }
  return names;
}

DialogTexts::DialogTexts(const std::string& locale) {
  const auto ignore = [](const std::string&) {};
  override_from(find_language("en"), ignore);
  if (const char* const json = find_language(locale)) override_from(json, ignore);
}

void DialogTexts::override_from(const std::string& json, const Warn& warn, Take take) {
  const nlohmann::json object = parse_json(json);
  if (!object.is_object()) {
    warn("not a JSON object in UTF-8");
    return;
  }
  const auto read_text = [&](const char* key, std::string& value) {
    if (!object.contains(key)) return;
    const std::string* const text = text_member(object, key);
    if (text != nullptr && !text->empty() && text->size() <= kMaxTextBytes) {
      value = *text;
    } else {
      warn(quoted(key) + " is not a text of 1 to " + std::to_string(kMaxTextBytes) + " bytes");
    }
  };
  read_switch(object, kOfferAlwaysSend, offers_always_send_, warn);
  read_switch(object, kOfferRestart, offers_restart_, warn);
  read_text(kPrivacyUrl, privacy_url_);
  if (take == Take::kSettings) return;
  for (const Entry& entry : kEntries) read_text(entry.key, at(entry.text));
  std::string direction = is_right_to_left_ ? "rtl" : "ltr";
  read_text(kDirection, direction);
  if (direction != "rtl" && direction != "ltr") {
    warn(quoted(kDirection) + " is neither \"ltr\" nor \"rtl\"");
  } else {
    is_right_to_left_ = direction == "rtl";
  }
}

std::string DialogTexts::filled(Text text, const std::map<std::string, std::string>& values) const {
  const std::string& pattern = (*this)[text];
  std::string result;
  for (size_t at = 0; at < pattern.size();) {
    const size_t end = pattern[at] == '{' ? pattern.find('}', at) : std::string::npos;
    const auto value =
        end == std::string::npos ? values.end() : values.find(pattern.substr(at + 1, end - at - 1));
    if (value == values.end()) {
      result += pattern[at++];
    } else {
      result += value->second;
      at = end + 1;
    }
  }
  return result;
}

std::string language_of_texts(const std::string& json) {
  const nlohmann::json object = parse_json(json);
  const std::string* const text = object.is_object() ? text_member(object, kLanguage) : nullptr;
  return text == nullptr ? std::string() : *text;
}

std::string escape_access_key(std::string_view text) {
  std::string escaped;
  for (const char c : text) escaped.append(c == '&' ? 2 : 1, c);
  return escaped;
}

}  // namespace wrenfall::reporter
