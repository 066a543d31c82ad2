#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_TEXTS_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_TEXTS_H_

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <string>

namespace wrenfall::reporter {

// Everything that the dialog says. The order is that of the table in dialog_texts.cpp.
enum class Text {
  kTitle,
  kTitleSending,
  kTitleSent,
  kTitleNotSent,
  kHeadingCrash,
  kHeadingHang,
  kHeadingOther,
  kIntro,
  kFilesLabel,
  kFileColumn,
  kSizeColumn,
  kOpenFolder,
  kEmailLabel,
  kDescriptionLabel,
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
  kDeleted,
  kSupportLabel,
  kDetailsLabel,
  kSaveFailed,
  kCloseUnsaved,
  kDiscardFailed,
  kCount,
};

// The texts, and under which key a theme may replace each. UTF-8; "&" marks the access key of a
// label or a button. Values in braces, for example {application}, are filled in when a text is
// shown. A plain value.
class DialogTexts {
 public:
  DialogTexts();

  // Replaces the texts that the JSON object names. Unknown keys are ignored. What is not a text, is
  // empty, or is longer than kMaxTextBytes is left out with a warning. A text that is no JSON
  // object changes nothing, with a warning.
  void override_from(const std::string& json, const std::function<void(const std::string&)>& warn);

  const std::string& operator[](Text text) const { return texts_[static_cast<size_t>(text)]; }
  // With "{name}" replaced by its value, once: what a value holds is never looked at again.
  std::string filled(Text text, const std::map<std::string, std::string>& values) const;

  static const char* key(Text text);

  static constexpr size_t kMaxTextBytes = 1000;

 private:
  std::array<std::string, static_cast<size_t>(Text::kCount)> texts_;
};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_TEXTS_H_
