#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_TEXTS_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_TEXTS_H_

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace wrenfall::reporter {

// Everything that the dialog says. The table in dialog_texts.cpp holds the keys in the same order,
// which the compiler checks.
enum class Text {
  kTitle,
  kTitleSending,
  kTitleSent,
  kTitleNotSent,
  kHeadingCrash,
  kHeadingHang,
  kHeadingOther,
  kIntro,
  kMoreReports,
  kDescriptionLabel,
  kEmailLabel,
  kShowFiles,
  kAlwaysSend,
  kRestart,
  kPrivacy,
  kCloseHint,
  kCloseHintAsk,
  kSend,
  kDontSend,
  kHeadingFiles,
  kFilesIntro,
  kFilesLabel,
  kFileColumn,
  kSizeColumn,
  kAlwaysSent,
  kOpenFile,
  kOpenFolder,
  kBack,
  kHeadingSending,
  kSending,
  kPacking,
  kProgress,
  kCancelling,
  kCancel,
  kHeadingSent,
  kHeadingSentPlain,
  kCopy,
  kSupportLabel,
  kOpenPage,
  kHeadingNotSent,
  kFailure,
  kIncomplete,
  kUnreadable,
  kUnreachable,
  kServiceFailed,
  kSlowDown,
  kRejected,
  kCancelled,
  kRefused,
  kFailedOtherwise,
  kGone,
  kKept,
  kSentLater,
  kSentAgain,
  kAskedAgain,
  kHeldBack,
  kDeleted,
  kShowDetails,
  kHideDetails,
  kDetailsLabel,
  kTryAgain,
  kClose,
  kSaveFailed,
  kCloseUnsaved,
  kDiscardFailed,
  kDiscardHeld,
  kDiscardUnmarked,
  kLeaveOutFailed,
  kCloseLeftIn,
  kRestartFailed,
  kCopyFailed,
  kSizeKb,
  kSizeMb,
  kSizeGb,
  kCount,
};

// One language that is built in: its name, such as "de", and a JSON object with all texts.
struct BuiltInLanguage {
  const char* name;
  const char* json;
};
// The files of the folder "languages", English among them.
const std::vector<BuiltInLanguage>& built_in_languages();

// The names under which the texts for a locale are looked for, the most exact first: for "zh-CN" these
// are "zh-CN", "zh-Hans" and "zh". Empty for a text that is no name of a locale.
std::vector<std::string> language_names(const std::string& locale);

// The texts, in UTF-8, and what else a theme may set. A theme may replace each text under the text's
// key. "&" marks the access key of a label or a button. A name in braces, for example {application}, is
// replaced by its value when the text is shown. Can be copied.
class DialogTexts {
 public:
  // In the built-in language for that locale, such as "de-AT"; in English when there is none.
  explicit DialogTexts(const std::string& locale = "en");

  using Warn = std::function<void(const std::string&)>;
  enum class Take { kAll, kSettings };
  // Replaces the texts and the settings that the JSON object names, or the settings alone. Unknown keys
  // are ignored. A value that is not a text, is empty, or is longer than kMaxTextBytes is ignored with a
  // warning, and so is a setting of the wrong kind. When `json` is not a JSON object, nothing changes,
  // and there is a warning.
  void override_from(const std::string& json, const Warn& warn, Take take = Take::kAll);

  const std::string& operator[](Text text) const { return texts_[static_cast<size_t>(text)]; }
  // The text with each "{name}" replaced by its value. Braces in a value are left as they are.
  std::string filled(Text text, const std::map<std::string, std::string>& values) const;

  // The settings:
  bool offers_always_send() const { return offers_always_send_; }
  bool offers_restart() const { return offers_restart_; }
  bool is_right_to_left() const { return is_right_to_left_; }
  const std::string& privacy_url() const { return privacy_url_; }

  static constexpr size_t kMaxTextBytes = 1000;

 private:
  std::string& at(Text text) { return texts_[static_cast<size_t>(text)]; }

  std::array<std::string, static_cast<size_t>(Text::kCount)> texts_;
  bool offers_always_send_ = false;
  bool offers_restart_ = false;
  bool is_right_to_left_ = false;
  std::string privacy_url_;
};

// The language in which a theme's file says that its texts are; empty when it does not.
std::string language_of_texts(const std::string& json);

// A text for a control in which "&" marks the access key: an ampersand of a name is doubled.
std::string escape_access_key(std::string_view text);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_TEXTS_H_
