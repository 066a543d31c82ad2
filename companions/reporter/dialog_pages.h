#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_PAGES_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_PAGES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "reporter/dialog_page.h"
#include "reporter/dialog_texts.h"
#include "reporter/file_listing.h"
#include "reporter/outcome_text.h"
#include "reporter/user_format.h"

namespace wrenfall::reporter {

// What the pages say beside their texts.
struct DialogFacts {
  std::string application;
  std::string kind;               // of the report
  size_t more = 0;                // reports that wait behind this one
  std::vector<ListedFile> files;  // that are sent
  bool is_sent_by_itself = true;  // what stays in the store
  bool can_restart = false;       // the application has ended, and its command line is known
  UserFormat format;
};

// How far sending has come.
struct SendingState {
  uint64_t sent = 0;   // bytes
  uint64_t total = 0;  // 0 while the files are being packed
  bool is_cancelling = false;
};

DialogPage ask_page(const DialogTexts& texts, const DialogFacts& facts);
DialogPage files_page(const DialogTexts& texts, const DialogFacts& facts);
DialogPage sending_page(const DialogTexts& texts, const DialogFacts& facts,
                        const SendingState& state);
std::string progress_text(const DialogTexts& texts, const DialogFacts& facts,
                          const SendingState& state);

// What the page about the outcome shows beside the outcome itself.
struct ResultFacts {
  bool was_sent = false;
  bool has_number = false;
  std::string support_page;  // the address that the service sent
  SupportPage support = SupportPage::kNone;
  bool can_open_page = false;
  bool shows_details = false;
};
DialogPage result_page(const DialogTexts& texts, const OutcomeText& outcome,
                       const ResultFacts& facts);

// What the window is made for: each page with as much text as it usually has.
std::vector<DialogPage> pages_to_fit(const DialogTexts& texts, const DialogFacts& facts);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_PAGES_H_
