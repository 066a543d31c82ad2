#include "reporter/dialog_page.h"

#include <algorithm>
#include <set>

#include "support/text.h"

namespace wrenfall::reporter {
namespace {

// Where the "&" of the access key is; npos without one.
size_t find_access_key(const std::string& text) {
  for (size_t at = text.find('&'); at != std::string::npos; at = text.find('&', at + 2)) {
    if (at + 1 < text.size() && text[at + 1] != '&') return at;
  }
  return std::string::npos;
}

// Where the UTF-8 character after this one starts.
size_t next_character(const std::string& text, size_t at) {
  ++at;
  while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) ++at;
  return at;
}

bool shows_access_key(ControlKind kind) {
  return kind == ControlKind::kLabel || kind == ControlKind::kCheckBox ||
         kind == ControlKind::kLink || kind == ControlKind::kButton;
}

}  // namespace

ControlKind kind_of(ControlId id) {
  switch (id) {
    case kIcon:
      return ControlKind::kIcon;
    case kHeading:
      return ControlKind::kHeading;
    case kMessage:
    case kHint:
    case kProgressText:
      return ControlKind::kText;
    case kFilesLabel:
    case kEmailLabel:
    case kDescriptionLabel:
    case kSupportLabel:
      return ControlKind::kLabel;
    case kEmail:
    case kSupport:
      return ControlKind::kField;
    case kDescription:
    case kDetails:
      return ControlKind::kLines;
    case kFiles:
      return ControlKind::kList;
    case kAlwaysSend:
    case kRestart:
      return ControlKind::kCheckBox;
    case kShowFiles:
    case kPrivacy:
    case kCopyNumber:
    case kOpenPage:
    case kShowDetails:
      return ControlKind::kLink;
    case kProgress:
      return ControlKind::kProgress;
    default:
      return ControlKind::kButton;
  }
}

bool DialogPage::has(ControlId id) const {
  return std::any_of(items.begin(), items.end(),
                     [id](const PageItem& item) { return item.id == id; });
}

std::string access_key(const std::string& text) {
  const size_t at = find_access_key(text);
  if (at == std::string::npos) return {};
  std::string key = text.substr(at + 1, next_character(text, at + 1) - at - 1);
  if (key.size() == 1) key.front() = ascii_lower(key.front());
  return key;
}

std::string without_access_key(std::string text) {
  const size_t at = find_access_key(text);
  if (at != std::string::npos && at > 0 && text[at - 1] == '(') {
    const size_t end = next_character(text, at + 1);
    if (end < text.size() && text[end] == ')') {
      const size_t start = at > 1 && text[at - 2] == ' ' ? at - 2 : at - 1;
      text.erase(start, end + 1 - start);
    }
  }
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '&') {
      plain += text[i];
    } else if (i + 1 < text.size() && text[i + 1] == '&') {
      plain += text[i++];
    }
  }
  return plain;
}

void make_access_keys_unique(DialogPage& page) {
  std::set<std::string> taken;
  for (PageItem& item : page.items) {
    if (!shows_access_key(kind_of(item.id))) continue;
    const std::string key = access_key(item.text);
    if (!key.empty() && !taken.insert(key).second) item.text.erase(find_access_key(item.text), 1);
  }
}

}  // namespace wrenfall::reporter
