#include "reporter/dialog_texts.h"

#include "support/json_text.h"

namespace wrenfall::reporter {
namespace {

struct Entry {
  const char* key;
  const char* text;
};

constexpr Entry kEntries[] = {
    {"title", "{application} - Problem report"},
    {"titleSending", "{application} - Sending the report"},
    {"titleSent", "{application} - Report sent"},
    {"titleNotSent", "{application} - Report not sent"},
    {"headingCrash", "{application} has stopped working"},
    {"headingHang", "{application} has stopped responding"},
    {"headingOther", "{application} has made a problem report"},
    {"intro",
     "A report was made that helps to find and mend the cause. It consists of the files below and "
     "facts about the program and this computer. Please send it, and say what you know."},
    {"filesLabel", "Files that &will be sent ({count}, {size}):"},
    {"fileColumn", "File"},
    {"sizeColumn", "Size"},
    {"openFolder", "&Open folder"},
    {"emailLabel", "E-&mail address, if you may be asked about the problem (optional):"},
    {"descriptionLabel", "What &happened? What did you do before? (optional)"},
    {"closeHint",
     "If you close this window without choosing, the report stays on this computer, and "
     "{application} may send it later."},
    {"send", "&Send report"},
    {"dontSend", "&Don't send"},
    {"close", "&Close"},
    {"tryAgain", "&Try again"},
    {"headingSending", "Sending the report"},
    {"sending",
     "This can take a while. You may close the window: sending goes on, and the window comes back "
     "if it fails."},
    {"headingSent", "The report was sent"},
    {"sent", "Thank you. It helps to find and mend the cause."},
    {"headingNotSent", "The report was not sent"},
    {"incomplete", "The report lacks something that the service needs."},
    {"unreadable", "The files of the report could not be read, or there is no room to pack them."},
    {"unreachable", "The service could not be reached. Is this computer connected to the network?"},
    {"serviceFailed", "The service could not take the report (HTTP status {status})."},
    {"slowDown", "The service gets too many reports at present and did not accept this one."},
    {"rejected", "The service did not accept the report."},
    {"failedOtherwise", "Something unexpected went wrong."},
    {"gone", "The report is not there any more. Another program has sent or deleted it."},
    {"kept", "The report is kept on this computer for another attempt."},
    {"deleted", "The report was deleted from this computer."},
    {"supportLabel", "There is a page with &advice about this problem:"},
    {"detailsLabel", "D&etails:"},
    {"saveFailed",
     "Your e-mail address and description could not be saved, so nothing was sent. The report is "
     "still there, and so is what you typed. Is the disk full?"},
    {"closeUnsaved",
     "Your e-mail address and description could not be saved and will be lost. The report stays on "
     "this computer. Close nevertheless?"},
    {"discardFailed",
     "Not all files of the report could be deleted. Perhaps another program has one open. The "
     "report will not be sent."},
};
static_assert(sizeof kEntries / sizeof *kEntries == static_cast<size_t>(Text::kCount));

}  // namespace

DialogTexts::DialogTexts() {
  for (size_t i = 0; i < texts_.size(); ++i) texts_[i] = kEntries[i].text;
}

const char* DialogTexts::key(Text text) { return kEntries[static_cast<size_t>(text)].key; }

void DialogTexts::override_from(const std::string& json,
                                const std::function<void(const std::string&)>& warn) {
  const nlohmann::json object = parse_json(json);
  if (!object.is_object()) {
    warn("not a JSON object in UTF-8");
    return;
  }
  for (size_t i = 0; i < texts_.size(); ++i) {
    const auto member = object.find(kEntries[i].key);
    if (member == object.end()) continue;
    const auto* const text = member->get_ptr<const std::string*>();
    if (text != nullptr && !text->empty() && text->size() <= kMaxTextBytes) {
      texts_[i] = *text;
    } else {
      warn(std::string("\"") + kEntries[i].key + "\" is not a text of 1 to " +
           std::to_string(kMaxTextBytes) + " bytes");
    }
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

}  // namespace wrenfall::reporter
