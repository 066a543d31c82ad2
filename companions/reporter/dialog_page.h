#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_PAGE_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_PAGE_H_

#include <string>
#include <vector>

namespace wrenfall::reporter {

// The dialog manager turns Enter into kSendButton's number and Escape into kCloseButton's.
enum ControlId : int {
  kSendButton = 1,
  kCloseButton = 2,
  kIcon = 100,
  kHeading,
  kMessage,
  kFilesLabel,
  kFiles,
  kEmailLabel,
  kEmail,
  kDescriptionLabel,
  kDescription,
  kHint,
  kProgress,
  kSupportLabel,
  kSupport,
  kShowDetails,
  kDetails,
  kTryAgainButton,
  kDontSendButton,
  kOpenFolderButton,
  kAlwaysSend,
  kShowFiles,
  kRestart,
  kPrivacy,
  kOpenFileButton,
  kBackButton,
  kProgressText,
  kCopyNumber,
  kOpenPage,
};

enum class ControlKind {
  kIcon,
  kHeading,
  kText,   // of any length, without an access key
  kLabel,  // belongs to the field that follows it
  kField,  // one line
  kLines,  // a field of many lines, which takes the height that is left
  kList,   // takes the height that is left, too
  kCheckBox,
  kLink,  // a button that looks like a link
  kProgress,
  kButton,  // in the strip at the bottom
};
ControlKind kind_of(ControlId id);

// kAsk comes first. kFiles comes from it and leads back. Another attempt goes from kResult back to
// kSending.
enum class Page { kAsk, kFiles, kSending, kResult };

enum class Sign { kWarning, kInformation, kError };

struct PageItem {
  ControlId id;
  std::string text;    // what the control shows; not of what the user fills
  std::string name{};  // for screen readers, where the text is not the name; no access key in it
  // What the control shows instead while the page is not laid out again. There is room for each.
  std::vector<std::string> later{};
};

// What one page of the dialog consists of.
struct DialogPage {
  Page page = Page::kAsk;
  std::string title;
  Sign sign = Sign::kWarning;
  ControlId focus = kCloseButton;
  ControlId default_button = kCloseButton;
  std::vector<PageItem> items;  // from top to bottom, and the buttons from left to right

  bool has(ControlId id) const;
};

// The letter, in lower case if it is one of ASCII, behind the text's first "&" that marks one; empty
// when there is none.
std::string access_key(const std::string& text);

// The text as it is read: without the mark, and with one "&" for "&&". Languages that are not written
// with Latin letters add the key in parentheses, as in "(&I)"; these are left out as well.
std::string without_access_key(std::string text);

// Takes the mark from each access key that an earlier control of the page has already.
void make_access_keys_unique(DialogPage& page);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_PAGE_H_
