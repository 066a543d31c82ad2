#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_TEXTS_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_TEXTS_H_

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <string>

namespace wrenfall::reporter {

// Everything that the dialog says. The table in dialog_texts.cpp holds the rows in the same order,
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
  kFilesLabel,
  kFileColumn,
  kSizeColumn,
  kOpenFolder,
  kEmailLabel,
  kDescriptionLabel,
  kAlwaysSend,
  kCloseHint,
  kSend,
  kDontSend,
  kClose,
  kTryAgain,
  kHeadingSending,
  kSending,
  kHeadingSent,
  kSent,
  kHeadingNotSent,
  kIncomplete,
  kUnreadable,
  kUnreachable,
  kServiceFailed,
  kSlowDown,
  kRejected,
  kFailedOtherwise,
  kGone,
  kKept,
  kSentLater,
  kSentAgain,
  kDeleted,
  kSupportLabel,
  kDetailsLabel,
  kSaveFailed,
  kCloseUnsaved,
  kDiscardFailed,
  kCount,
};

// The texts, in UTF-8. A theme may replace each under the text's key. "&" marks the access key of a
// label or a button. A name in braces, for example {application}, is replaced by its value when the
// text is shown. Also whether the dialog has the check box kAlwaysSend, which a theme must ask for. Can
// be copied.
class DialogTexts {
 public:
  DialogTexts();

  // Replaces the texts that the JSON object names. Unknown keys are ignored. A value that is not a
  // text, is empty, or is longer than kMaxTextBytes is ignored with a warning. "offerAlwaysSend" is true
  // or false; any other value is ignored with a warning. When `json` is not a JSON object, nothing
  // changes, and there is a warning.
  void override_from(const std::string& json, const std::function<void(const std::string&)>& warn);

  bool offers_always_send() const { return offers_always_send_; }
  const std::string& operator[](Text text) const { return texts_[static_cast<size_t>(text)]; }
  // The text with each "{name}" replaced by its value. Braces in a value are left as they are.
  std::string filled(Text text, const std::map<std::string, std::string>& values) const;

  static constexpr size_t kMaxTextBytes = 1000;

 private:
  std::string& at(Text text) { return texts_[static_cast<size_t>(text)]; }

  std::array<std::string, static_cast<size_t>(Text::kCount)> texts_;
  bool offers_always_send_ = false;
};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_TEXTS_H_
