#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "common/size_text.h"
#include "reporter/application_start.h"
#include "reporter/asking_rule.h"
#include "reporter/dialog_texts.h"
#include "reporter/field_text.h"
#include "reporter/file_listing.h"
#include "reporter/outcome_text.h"
#include "reporter/theme.h"
#include "reporter/user_format.h"
#include "support/clock.h"
#include "tests/support/temp_dir.h"

namespace wrenfall::reporter {
namespace {

TEST(DialogTexts, AreFilledOnce) {
  DialogTexts texts;
  texts.override_from(R"({"title": "{a} {b} {} {a"})", [](const std::string&) { FAIL(); });
  EXPECT_EQ(texts.filled(Text::kTitle, {{"a", "{b}"}, {"b", "%s&"}}), "{b} %s& {} {a");
}

TEST(DialogTexts, ThemesReplaceWhatTheyNameWell) {
  const std::string title = DialogTexts()[Text::kTitle];
  const std::string longest(DialogTexts::kMaxTextBytes, 'x');
  const std::tuple<std::string, std::string, int> rows[] = {
      // JSON, title, warnings
      {R"({"title": "Tïtel", "unknown": 1})", "Tïtel", 0},
      {"\xEF\xBB\xBF{\"title\": \"T\"}", "T", 0},
      {R"({"title": 5, "send": ["x"], "back": null, "close": "C"})", title, 3},
      {R"({"title": ""})", title, 1},
      {R"({"offerAlwaysSend": true})", title, 0},
      {R"({"offerAlwaysSend": false})", title, 0},
      {R"({"offerAlwaysSend": "yes"})", title, 1},
      {R"({"title": ")" + longest + R"("})", longest, 0},
      {R"({"title": ")" + longest + R"(x"})", title, 1},
      {R"({"title": "T")", title, 1},
      {"{\"title\": \"\xFF\"}", title, 1},
      {"{\"close\": \"C\", \"title\": \"T\"} x", title, 1},
      {"[\"title\"]", title, 1},
      {"", title, 1},
      {std::string(100000, '['), title, 1},
  };
  for (const auto& [json, expected, expected_warnings] : rows) {
    DialogTexts texts;
    int warnings = 0;
    texts.override_from(json, [&warnings](const std::string&) { ++warnings; });
    EXPECT_EQ(texts[Text::kTitle], expected) << json.substr(0, 80);
    EXPECT_EQ(warnings, expected_warnings) << json.substr(0, 80);
    EXPECT_EQ(texts.offers_always_send(), json.find("true") != std::string::npos) << json;
  }
}

TEST(OutcomeText, ExplainsEveryResult) {
  const DialogTexts texts;
  OutcomeContext context;
  context.application = "App";
  const std::tuple<wrenfall_result, int32_t, Text, const char*> rows[] = {
      {WRENFALL_ERROR_INVALID_ARGUMENT, 0, Text::kIncomplete,
       "WRENFALL_ERROR_INVALID_ARGUMENT (1)"},
      {WRENFALL_ERROR_FILE, 0, Text::kUnreadable, "WRENFALL_ERROR_FILE (7)"},
      {WRENFALL_ERROR_TRANSPORT, 0, Text::kUnreachable, "WRENFALL_ERROR_TRANSPORT (10)"},
      {WRENFALL_ERROR_REJECTED, 429, Text::kSlowDown, "WRENFALL_ERROR_REJECTED (12), HTTP 429"},
      {WRENFALL_ERROR_REJECTED, 400, Text::kRejected, "WRENFALL_ERROR_REJECTED (12), HTTP 400"},
      {99, 0, Text::kFailedOtherwise, "unknown result (99)"},
  };
  for (const auto& [result, status, reason, details] : rows) {
    for (const Text fate : {Text::kDeleted, Text::kKept, Text::kSentLater, Text::kSentAgain}) {
      SendOutcome outcome;
      outcome.upload.result = result;
      outcome.upload.http_status = status;
      outcome.upload.error = "PUT returned 503: ";
      outcome.kept = fate != Text::kDeleted;
      outcome.pending = fate == Text::kSentLater;
      if (fate == Text::kSentAgain) outcome.retry.emplace();
      for (const bool by_itself : {true, false}) {
        context.is_sent_by_itself = by_itself && !outcome.retry;
        if (outcome.retry) outcome.retry->agreed = by_itself;
        const bool is_asked = !by_itself && (outcome.pending || outcome.retry);
        const OutcomeText shown = explain_outcome(outcome, texts, context);
        const Text said = is_asked ? Text::kAskedAgain : fate;
        EXPECT_EQ(shown.explanation,
                  texts[reason] + "; " +
                      texts.filled(said, {{"application", "App"}, {"time", local_time_text(0)}}) +
                      ".");
        EXPECT_EQ(shown.details, details + std::string("\nPUT returned 503"));
        EXPECT_EQ(shown.may_try_again, outcome.kept);
      }
    }
  }
  SendOutcome outcome;
  outcome.upload.result = WRENFALL_ERROR_SERVICE;
  outcome.upload.http_status = 503;
  outcome.upload.error = std::string(1999, 'x') + "\xC3\xBC" + std::string(1 << 20, 'y');
  EXPECT_EQ(explain_outcome(outcome, texts, context).details,
            "WRENFALL_ERROR_SERVICE (11), HTTP 503\n" + std::string(1999, 'x'));
  context.was_cancelled = true;
  EXPECT_EQ(explain_outcome(outcome, texts, context).explanation,
            "Sending was cancelled; the report was deleted from this computer.");
  outcome.upload.result = WRENFALL_OK;
  EXPECT_EQ(explain_outcome(outcome, texts, context).heading, texts[Text::kHeadingSentPlain]);
  outcome.upload.crash_id = 2;
  EXPECT_EQ(explain_outcome(outcome, texts, context).heading, "Sent. Report number 2");
  outcome.not_sent = NotSent::kNoReport;
  EXPECT_EQ(explain_outcome(outcome, texts, context).explanation, texts[Text::kGone]);
  outcome.not_sent = NotSent::kNoConsent;
  outcome.kept = true;
  const OutcomeText refused = explain_outcome(outcome, texts, context);
  EXPECT_EQ(refused.explanation,
            "Sending of reports is turned off; the report stays on this computer and is not sent.");
  EXPECT_EQ(std::make_pair(refused.details, refused.may_try_again),
            std::make_pair(std::string(), false));
}

TEST(SupportPage, IsOpenedOnlyWhenItIsAPlainWebAddress) {
  const char* const opened[] = {"https://a.example/x?y=1&z=%20#p", "HTTP://a"};
  const char* const shown[] = {
      "https://",          "https:/a",
      "httpsx://a",        "file:///c:/windows/system32/calc.exe",
      " https://a",        "https://a b",
      "https://a\"--flag", "https://a\n",
      "https://a\\\\b",    "https://\xC3\xBC",
  };
  EXPECT_EQ(support_page_for("", true), SupportPage::kNone);
  EXPECT_EQ(support_page_for("https://" + std::string(2000, 'a'), true), SupportPage::kShow);
  for (const char* const address : opened) {
    EXPECT_EQ(support_page_for(address, true), SupportPage::kOpenIt) << address;
    EXPECT_EQ(support_page_for(address, false), SupportPage::kShow) << address;
  }
  for (const char* const address : shown) {
    EXPECT_EQ(support_page_for(address, true), SupportPage::kShow) << address;
  }
}

TEST(Handling, HasNoDialogInSessionZero) {
  for (const uint32_t consent : {WRENFALL_CONSENT_UNKNOWN, WRENFALL_CONSENT_ASK}) {
    EXPECT_TRUE(handling_of(kPolicyDialog, consent, false).asks) << consent;
    const Handling done = handling_of(kPolicyDialog, consent, true);
    EXPECT_TRUE(done.is_dialog_left_out && !done.asks && !done.at_somebodys_word) << consent;
  }
  // The user is not asked about this report, who may want to be asked about the next.
  const Handling given = handling_of(kPolicyDialog, WRENFALL_CONSENT_GIVEN, true);
  EXPECT_FALSE(given.at_somebodys_word || given.asks || given.is_dialog_left_out);
  EXPECT_FALSE(handling_of(kPolicyQuiet, WRENFALL_CONSENT_ASK, false).at_somebodys_word);
  EXPECT_TRUE(handling_of(kPolicyManual, WRENFALL_CONSENT_ASK, true).at_somebodys_word);
}

TEST(ApplicationStart, IsThatOfTheFirstReportAlone) {
  const ApplicationStart told = {"a", "a.exe", "a.exe -x", "d"};
  const std::tuple<const char*, bool, const char*, const char*> rows[] = {
      {"a", true, "a.exe", "a.exe -x"}, {"a", false, "a.exe", ""}, {"b", false, "", ""}};
  for (const auto& [name, is_first, program, command_line] : rows) {
    CrashData report;
    report.appName = name;
    const ApplicationStart known = application_of(report, is_first, told);
    EXPECT_EQ(known.program, program) << name << is_first;
    EXPECT_EQ(known.command_line, command_line) << name << is_first;
    EXPECT_EQ(known.folder.empty(), !is_first);
  }
}

TEST(FieldText, IsCutBetweenCharactersAndKeepsItsLines) {
  EXPECT_EQ(cut_utf8("abc", 3), "abc");
  EXPECT_EQ(cut_utf8("a€", 3), "a");
  EXPECT_EQ(cut_utf8("a€b", 4), "a€");
  EXPECT_EQ(cut_utf8("\x80\x80", 1), "");
  EXPECT_EQ(to_field("a\nb\r\nc\rd"), "a\r\nb\r\nc\r\nd");
  EXPECT_EQ(to_field(std::string("a\0b", 3)), "a b");
  EXPECT_EQ(from_field("a\r\nb\n\r\n"), "a\nb\n\n");
}

TEST(FileListing, HoldsWhatIsSentAndWhatMayBeLeftOut) {
  const TempDir folder;
  for (const char* name : {"b.txt", "breadcrumbs.json", "minidump.dmp", "result.json", "ü.dmp"}) {
    folder.add(name, "12345");
  }
  CrashData record;
  record.dumpFile = "ü.dmp";
  std::vector<ListedFile> files = list_files_to_send(folder.path(), record);
  std::vector<std::pair<std::string, bool>> found;
  for (const ListedFile& file : files) found.emplace_back(file.name, file.is_optional);
  EXPECT_EQ(found, (std::vector<std::pair<std::string, bool>>{{"b.txt", true},
                                                              {"breadcrumbs.json", false},
                                                              {"minidump.dmp", false},
                                                              {"ü.dmp", false}}));
  files[0].is_wanted = false;
  EXPECT_EQ(total_size(files), 15u);
  folder.add("c.txt", "1");
  record.attachments = {"breadcrumbs.json"};
  files = list_again(files, folder.path(), record);
  EXPECT_EQ(std::make_pair(files.size(), total_size(files)),
            std::make_pair(size_t{5}, uint64_t{16}));
  EXPECT_TRUE(files[1].is_optional);
  EXPECT_TRUE(list_files_to_send(folder.path() / "none", record).empty());
  for (const char* name : {"a.TXT", "b.c.json"}) EXPECT_TRUE(is_safe_to_open(name)) << name;
  for (const char* name : {"a.exe", "txt", "a.txt.lnk", "a.", "a.html"}) {
    EXPECT_FALSE(is_safe_to_open(name)) << name;
  }
}

TEST(UserFormat, GivesSizesAsTheUserWritesThem) {
  const UserFormat german = {",", ".", {}};
  const std::map<uint64_t, const char*> sizes = {{0, "0,0 KB"},
                                                 {1, "0,1 KB"},
                                                 {1048524, "1.023,9 KB"},
                                                 {1048525, "1,0 MB"},
                                                 {uint64_t{3} << 40, "3.072,0 GB"}};
  for (const auto& [bytes, text] : sizes) {
    EXPECT_EQ(file_size_text(bytes, DialogTexts(), german), text) << bytes;
  }
  const std::map<uint64_t, const char*> tool = {
      {1, "1 byte"}, {1023, "1023 bytes"}, {1048524, "1023.9 KB"}, {1048525, "1.0 MB"}};
  for (const auto& [bytes, text] : tool) EXPECT_EQ(size_text(bytes), text) << bytes;
}

std::string little(uint64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i, value >>= 8) text += static_cast<char>(value & 0xFF);
  return text;
}

std::string icon(const std::string& image, uint64_t size, uint64_t offset = 22, int count = 1) {
  return little(0, 2) + little(1, 2) + little(static_cast<uint64_t>(count), 2) + little(0, 8) +
         little(size, 4) + little(offset, 4) + image;
}

std::string bitmap(uint64_t width, uint64_t height, uint64_t bits, uint64_t compression,
                   size_t pixels) {
  return little(40, 4) + little(width, 4) + little(height, 4) + little(1, 2) + little(bits, 2) +
         little(compression, 4) + little(0, 20) + std::string(pixels, 'x');
}

TEST(ThemeLogo, IsTakenWhenItsImagesAreSmall) {
  const std::string good = bitmap(16, 32, 32, 0, 1024);
  const std::string png = "\x89PNG\r\n\x1A\n" + little(0x0D000000, 4) + "IHDR";
  const std::tuple<const char*, std::string, bool> rows[] = {
      {"bitmap", icon(good, good.size()), true},
      {"png", icon(png + little(0x00010000, 4) + little(0x00010000, 4) + little(0, 20), 44), true},
      {"large png", icon(png + little(0x01010000, 4) + little(0x10, 4) + little(0, 20), 44), false},
      {"empty", "", false},
      {"no images", icon(good, good.size(), 22, 0), false},
      {"entries beyond the end", icon("", 0, 0, 2), false},
      {"beyond the end", icon(good, good.size() + 1), false},
      {"far beyond the end", icon(good, 0xFFFFFFFF, 0xFFFFFFFF), false},
      {"too short", icon(good, 39), false},
      {"too wide", icon(bitmap(257, 32, 1, 0, 9000), 9040), false},
      {"negative height", icon(bitmap(16, 0xFFFFFFE0, 32, 0, 1024), 1064), false},
      {"compressed", icon(bitmap(16, 32, 32, 1, 1024), 1064), false},
      {"fewer pixels than told", icon(bitmap(16, 32, 32, 0, 1023), 1063), false},
      {"depth", icon(bitmap(16, 32, 33, 0, 9000), 9040), false},
  };
  for (const auto& [label, bytes, is_harmless] : rows) {
    EXPECT_EQ(is_harmless_icon(bytes), is_harmless) << label;
  }
}

TEST(Theme, LeavesAloneWhatIsTooLargeOrNoFile) {
  const TempDir folder;
  Logger logger(folder.path() / "log");
  EXPECT_TRUE(find_theme_logo(folder.path(), logger).empty());
  EXPECT_EQ(file_text(folder.path() / "log"), "<missing>");
  folder.add("strings.json", "{\"send\": \"S\"}" + std::string(300 * 1024, ' '));
  folder.make_folder("logo.ico");
  EXPECT_EQ(load_theme_texts(folder.path(), "en", logger)[Text::kSend], DialogTexts()[Text::kSend]);
  EXPECT_TRUE(find_theme_logo(folder.path(), logger).empty());
  EXPECT_NE(file_text(folder.path() / "log").find("logo.ico is unreadable"), std::string::npos);
}

TEST(Theme, SpeaksTheUsersLanguage) {
  const TempDir folder;
  Logger logger;
  folder.add("strings.de.json", R"({"send": "los", "close": "zu"})");
  folder.add("strings.de-AT.json", R"({"send": "gemma"})");
  folder.add("strings.ar.json", R"({"direction": "rtl"})");
  const DialogTexts english;
  const DialogTexts german("de-CH");
  EXPECT_NE(german[Text::kBack], english[Text::kBack]);
  for (const char* const language : {"", R"(, "language": "en")"}) {
    folder.add("strings.json", R"({"send": "go", "sent": 1, "offerAlwaysSend": true)" +
                                   std::string(language) + "}");
    const bool is_named = *language != 0;
    const std::tuple<const char*, std::string, std::string, std::string> rows[] = {
        // locale, "send", "close", "back"
        {"de-AT", "gemma", "zu", german[Text::kBack]},
        {"de", "los", "zu", german[Text::kBack]},
        {"en-GB", "go", english[Text::kClose], english[Text::kBack]},
        {"fr", "go", DialogTexts(is_named ? "en" : "fr")[Text::kClose],
         DialogTexts(is_named ? "en" : "fr")[Text::kBack]},
        {"ar", is_named ? english[Text::kSend] : "go", english[Text::kClose], english[Text::kBack]},
        {"../de", "go", english[Text::kClose], english[Text::kBack]},
    };
    for (const auto& [locale, send, close, back] : rows) {
      const DialogTexts texts = load_theme_texts(folder.path(), locale, logger);
      EXPECT_EQ(std::make_tuple(texts[Text::kSend], texts[Text::kClose], texts[Text::kBack]),
                std::make_tuple(send, close, back))
          << locale << language;
      EXPECT_TRUE(texts.offers_always_send());
      EXPECT_EQ(texts.is_right_to_left(), std::string(locale) == "ar");
    }
  }
  EXPECT_EQ(language_names("zh-CN"), (std::vector<std::string>{"zh-CN", "zh-Hans", "zh"}));
  EXPECT_EQ(language_names("zh-Hant-TW"),
            (std::vector<std::string>{"zh-Hant-TW", "zh-Hant", "zh"}));
}

}  // namespace
}  // namespace wrenfall::reporter
