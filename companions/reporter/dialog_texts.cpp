#include "reporter/dialog_texts.h"

#include "support/json_text.h"

namespace wrenfall::reporter {
namespace {

struct Entry {
  Text text;
  const char* key;  // in a theme's file
  const char* english;
};

constexpr Entry kEntries[] = {
    {Text::kTitle, "title", "{application} - Problem report"},
    {Text::kTitleSending, "titleSending", "{application} - Sending the report"},
    {Text::kTitleSent, "titleSent", "{application} - Report sent"},
    {Text::kTitleNotSent, "titleNotSent", "{application} - Report not sent"},
    {Text::kHeadingCrash, "headingCrash", "{application} has stopped working"},
    {Text::kHeadingHang, "headingHang", "{application} has stopped responding"},
    {Text::kHeadingOther, "headingOther", "{application} has made a problem report"},
    {Text::kIntro, "intro",
     "A report was made that helps to find and fix the problem. It consists of the files below and "
     "facts about the program and this computer. Please send it, and say what you know."},
    {Text::kMoreReports, "moreReports",
     "This report and {count} more wait for your answer, one after the other."},
    {Text::kFilesLabel, "filesLabel", "Files that &will be sent ({count}, {size}):"},
    {Text::kFileColumn, "fileColumn", "File"},
    {Text::kSizeColumn, "sizeColumn", "Size"},
    {Text::kOpenFolder, "openFolder", "&Open folder"},
    {Text::kEmailLabel, "emailLabel",
     "E-&mail address, if you may be asked about the problem (optional):"},
    {Text::kDescriptionLabel, "descriptionLabel",
     "What &happened? What did you do before? (optional)"},
    {Text::kAlwaysSend, "alwaysSend", "&Always send without asking"},
    {Text::kCloseHint, "closeHint",
     "If you close this window without choosing, the report stays on this computer, and "
     "{application} may send it later."},
    {Text::kSend, "send", "&Send report"},
    {Text::kDontSend, "dontSend", "&Don't send"},
    {Text::kClose, "close", "&Close"},
    {Text::kTryAgain, "tryAgain", "&Try again"},
    {Text::kHeadingSending, "headingSending", "Sending the report"},
    {Text::kSending, "sending",
     "This can take a while. You may close the window: sending goes on, and the window comes back "
     "if it fails."},
    {Text::kHeadingSent, "headingSent", "The report was sent"},
    {Text::kSent, "sent", "Thank you. It helps to find and fix the problem."},
    {Text::kHeadingNotSent, "headingNotSent", "The report was not sent"},
    {Text::kIncomplete, "incomplete", "The report lacks something that the service needs."},
    {Text::kUnreadable, "unreadable",
     "The files of the report could not be read, or there is no room to pack them."},
    {Text::kUnreachable, "unreachable",
     "The service could not be reached. Is this computer connected to the network?"},
    {Text::kServiceFailed, "serviceFailed",
     "The service could not take the report (HTTP status {status})."},
    {Text::kSlowDown, "slowDown",
     "The service gets too many reports at present and did not accept this one."},
    {Text::kRejected, "rejected", "The service did not accept the report."},
    {Text::kFailedOtherwise, "failedOtherwise", "Something unexpected went wrong."},
    {Text::kGone, "gone",
     "The report is not there any more. Another program has sent or deleted it."},
    {Text::kKept, "kept", "The report is kept on this computer for another attempt."},
    {Text::kSentLater, "sentLater", "The report stays on this computer and will be sent later."},
    {Text::kSentAgain, "sentAgain",
     "The report stays on this computer. {application} sends it again by itself while it runs, the "
     "next time after {time}."},
    {Text::kDeleted, "deleted", "The report was deleted from this computer."},
    {Text::kSupportLabel, "supportLabel", "There is a page with &advice about this problem:"},
    {Text::kDetailsLabel, "detailsLabel", "D&etails:"},
    {Text::kSaveFailed, "saveFailed",
     "Your e-mail address and description could not be saved, so nothing was sent. The report is "
     "still there, and so is what you typed. Is the disk full?"},
    {Text::kCloseUnsaved, "closeUnsaved",
     "Your e-mail address and description could not be saved and will be lost. The report stays on "
     "this computer. Close nevertheless?"},
    {Text::kDiscardFailed, "discardFailed",
     "Not all files of the report could be deleted. Perhaps another program has one open. The "
     "report will not be sent."},
};

constexpr char kOfferAlwaysSend[] = "offerAlwaysSend";

// Whether the row of each text is found at the text's own number.
constexpr bool rows_are_in_order() {
  size_t number = 0;
  for (const Entry& entry : kEntries) {
    if (static_cast<size_t>(entry.text) != number++) return false;
  }
  return number == static_cast<size_t>(Text::kCount);
}
static_assert(rows_are_in_order());

}  // namespace

DialogTexts::DialogTexts() {
  for (const Entry& entry : kEntries) at(entry.text) = entry.english;
}

void DialogTexts::override_from(const std::string& json,
                                const std::function<void(const std::string&)>& warn) {
  const nlohmann::json object = parse_json(json);
  if (!object.is_object()) {
    warn("not a JSON object in UTF-8");
    return;
  }
  for (const Entry& entry : kEntries) {
    const auto member = object.find(entry.key);
    if (member == object.end()) continue;
    const auto* const text = member->get_ptr<const std::string*>();
    if (text != nullptr && !text->empty() && text->size() <= kMaxTextBytes) {
      at(entry.text) = *text;
    } else {
      warn(std::string("\"") + entry.key + "\" is not a text of 1 to " +
           std::to_string(kMaxTextBytes) + " bytes");
    }
  }
  const auto offer = object.find(kOfferAlwaysSend);
  if (offer == object.end()) return;
  const auto* const offered = offer->get_ptr<const bool*>();
  if (offered != nullptr) {
    offers_always_send_ = *offered;
  } else {
    warn(std::string("\"") + kOfferAlwaysSend + "\" is neither true nor false");
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
