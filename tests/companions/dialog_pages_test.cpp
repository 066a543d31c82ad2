#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "reporter/dialog_layout.h"
#include "reporter/dialog_pages.h"
#include "reporter/dialog_palette.h"
#include "support/json_text.h"

namespace wrenfall::reporter {
namespace {

// Letters of 7 pixels, twice as wide where a character is a word of its own, in lines of 15.
class PlainSizes : public TextSizes {
 public:
  Extent extent(ControlKind kind, const std::string& text, int width) const override {
    const int scale = kind == ControlKind::kHeading ? 2 : 1;
    Extent size{0, 15 * scale};
    int line = 0;
    for (const std::string& word : words_of(text)) {
      const bool is_wide = static_cast<unsigned char>(word[0]) > 0xE2;
      const int taken = scale * (is_wide ? 14 : 7 * (static_cast<int>(word.size()) + 1));
      if (width > 0 && line > 0 && line + taken > width) {
        size.height += 15 * scale;
        line = 0;
      }
      line += taken;
      size.width = std::max(size.width, line);
    }
    return size;
  }
};

DialogFacts facts_for(const std::string& kind) {
  DialogFacts facts;
  facts.application = "Fritz & Söhne";
  facts.kind = kind;
  facts.more = 1234;
  facts.files = {{"minidump.dmp", 5000, false, true}, {"log.txt", 100, true, true}};
  facts.can_restart = true;
  return facts;
}

DialogTexts with_all_controls(DialogTexts texts) {
  texts.override_from(
      R"({"offerAlwaysSend": true, "offerRestart": true, "privacyUrl": "https://a.example/"})",
      [](const std::string&) {});
  return texts;
}

// Every page with every control that it can have.
std::vector<DialogPage> all_pages(const DialogTexts& texts) {
  DialogFacts facts = facts_for("crash");
  std::vector<DialogPage> pages = {ask_page(texts, facts), files_page(texts, facts)};
  facts.is_sent_by_itself = false;
  pages.push_back(ask_page(texts, facts));
  for (const SendingState& state :
       {SendingState{}, SendingState{5000, 5000}, SendingState{0, 0, true}}) {
    pages.push_back(sending_page(texts, facts, state));
  }
  SendOutcome outcome;
  outcome.kept = true;
  outcome.upload.error = "why";
  for (const wrenfall_result result :
       {WRENFALL_OK, WRENFALL_ERROR_TRANSPORT, WRENFALL_ERROR_FILE, WRENFALL_ERROR_SERVICE}) {
    outcome.upload.result = result;
    outcome.pending = result == WRENFALL_ERROR_TRANSPORT;
    pages.push_back(result_page(texts, explain_outcome(outcome, texts, {}),
                                {result == WRENFALL_OK, true, "https://a.example/1",
                                 SupportPage::kShow, true, result == WRENFALL_ERROR_FILE}));
  }
  return pages;
}

// In a pixel's way of each other, or outside of the page.
void expect_in_order(const DialogPage& page, const PlacedPage& placed, int width) {
  for (const auto& [id, box] : placed.boxes) {
    EXPECT_TRUE(box.left >= 0 && box.top >= 0 && box.left + box.width <= width &&
                box.top + box.height <= placed.height)
        << page.title << id;
    for (const auto& [other, its] : placed.boxes) {
      EXPECT_TRUE(id == other || box.left + box.width <= its.left ||
                  its.left + its.width <= box.left || box.top + box.height <= its.top ||
                  its.top + its.height <= box.top)
          << page.title << id << " and " << other;
    }
  }
}

void expect_nothing_is_cut(const DialogTexts& texts, const Extent& most, unsigned dpi) {
  const PlainSizes sizes;
  const DialogFacts facts = facts_for("crash");
  const Extent window = fitting_window(pages_to_fit(texts, facts), sizes, most, dpi);
  // While it sends, the page is not laid out again.
  const PlacedPage packing = place_page(sending_page(texts, facts, {}), sizes, window, dpi);
  for (const DialogPage& page : all_pages(texts)) {
    const PlacedPage placed =
        page.page == Page::kSending ? packing : place_page(page, sizes, window, dpi);
    EXPECT_LE(placed.height, window.height) << page.title;
    expect_in_order(page, placed, window.width);
    for (const auto& [id, text, name, later] : page.items) {
      const Box& box = placed.boxes.at(id);
      const ControlKind kind = kind_of(id);
      const int beside = kind == ControlKind::kCheckBox ? 20 : kind == ControlKind::kButton ? 8 : 0;
      if (kind == ControlKind::kField || kind == ControlKind::kLines || text.empty()) continue;
      const Extent needed = sizes.extent(kind, text, box.width - beside);
      EXPECT_LE(needed.width, box.width - beside) << text;
      EXPECT_LE(needed.height, box.height) << text;
    }
  }
}

DialogTexts with_longer_words(const BuiltInLanguage& language) {
  nlohmann::json json = parse_json(language.json);
  for (auto& member : json) {
    std::string longer;
    for (const std::string& word : words_of(member.get<std::string>())) {
      longer += word.find('{') == std::string::npos ? word + word + word + " " : word + " ";
    }
    member = longer;
  }
  json["cancelling"] = json["sending"];  // so that it needs more lines than what it replaces
  DialogTexts texts;
  texts.override_from(json_text(json), [](const std::string& why) { FAIL() << why; });
  return texts;
}

TEST(DialogLayout, CutsNoTextOfAnyLanguage) {
  for (const BuiltInLanguage& language : built_in_languages()) {
    for (const unsigned dpi : {96U, 144U}) {
      SCOPED_TRACE(language.name + std::to_string(dpi));
      const auto pixels = static_cast<int>(dpi);
      expect_nothing_is_cut(with_all_controls(DialogTexts(language.name)), {pixels * 8, pixels * 7},
                            dpi);
      expect_nothing_is_cut(with_all_controls(with_longer_words(language)),
                            {pixels * 20, pixels * 11}, dpi);
    }
  }
}

TEST(DialogLayout, StacksButtonsThatDoNotFitBesideEachOther) {
  DialogPage page;
  page.items = {{kSendButton, "Fehlerbericht jetzt senden"},
                {kDontSendButton, "Nicht senden, Bericht löschen"},
                {kOpenFolderButton, "Ordner mit dem Bericht öffnen"}};
  const auto tops = [&](int width) {
    std::set<int> found;
    const PlacedPage placed = place_page(page, PlainSizes(), {width, 0}, 96);
    expect_in_order(page, placed, width);
    for (const auto& [id, box] : placed.boxes) found.insert(box.top);
    return found.size();
  };
  EXPECT_EQ(tops(800), 1u);
  EXPECT_EQ(tops(500), 3u);
}

TEST(DialogLayout, GivesWhatIsLeftToTheDescription) {
  const DialogPage page = ask_page(DialogTexts(), facts_for("hang"));
  const PlacedPage low = place_page(page, PlainSizes(), {500, 0}, 96);
  const PlacedPage high = place_page(page, PlainSizes(), {500, low.height + 100}, 96);
  EXPECT_EQ(high.height, low.height + 100);
  EXPECT_EQ(high.boxes.at(kDescription).height, low.boxes.at(kDescription).height + 100);
  EXPECT_EQ(high.boxes.at(kSendButton).top, low.boxes.at(kSendButton).top + 100);
  // A page without such a field has its buttons at the bottom.
  const DialogPage sending = sending_page(DialogTexts(), facts_for("hang"), {});
  EXPECT_EQ(place_page(sending, PlainSizes(), {500, 600}, 96).height, 600);
}

std::set<std::string> names_in_braces(const std::string& text) {
  std::set<std::string> names;
  for (size_t at = text.find('{'); at != std::string::npos; at = text.find('{', at + 1)) {
    names.insert(text.substr(at, text.find('}', at) - at));
  }
  return names;
}

TEST(Languages, AreComplete) {
  std::set<std::string> found;
  const nlohmann::json english = parse_json(built_in_languages()[1].json);
  ASSERT_EQ(built_in_languages()[1].name, std::string("en"));
  EXPECT_EQ(english.size(), static_cast<size_t>(Text::kCount));
  for (const BuiltInLanguage& language : built_in_languages()) {
    found.insert(language.name);
    const nlohmann::json texts = parse_json(language.json);
    EXPECT_EQ(texts.size(), english.size()) << language.name;
    for (const auto& [key, text] : english.items()) {
      ASSERT_TRUE(texts.contains(key)) << language.name << key;
      const std::string given = texts[key].get<std::string>();
      EXPECT_EQ(names_in_braces(given), names_in_braces(text.get<std::string>())) << given;
      EXPECT_EQ(access_key(given).empty(), access_key(text.get<std::string>()).empty()) << given;
    }
  }
  EXPECT_EQ(found,
            (std::set<std::string>{"de", "en", "es", "fr", "it", "ja", "pl", "pt", "zh-Hans"}));
}

TEST(Languages, HaveAccessKeysOfTheirOwnOnEveryPage) {
  for (const BuiltInLanguage& language : built_in_languages()) {
    // Where two were the same, the page has lost one of them.
    for (const DialogPage& page : all_pages(with_all_controls(DialogTexts(language.name)))) {
      for (const PageItem& item : page.items) {
        const ControlKind kind = kind_of(item.id);
        const bool has_key = kind == ControlKind::kLabel || kind == ControlKind::kCheckBox ||
                             kind == ControlKind::kLink || kind == ControlKind::kButton;
        EXPECT_TRUE(!has_key || !access_key(item.text).empty()) << language.name << item.text;
        EXPECT_EQ(item.name.find('&'), std::string::npos) << language.name << item.name;
      }
    }
  }
  for (const auto& [text, plain] : std::map<std::string, std::string>{{"A && &Bc&", "A & Bc"},
                                                                      {"名(1)(&É)：", "名(1)："},
                                                                      {"A (&B)", "A"},
                                                                      {"(&Beta)", "(Beta)"}}) {
    EXPECT_EQ(without_access_key(text), plain);
  }
  DialogPage page;
  page.items = {{kSendButton, "A && &Bc"}, {kDontSendButton, "&b"}, {kCloseButton, "&é"}};
  make_access_keys_unique(page);
  EXPECT_EQ(page.items[0].text + page.items[1].text, "A && &Bcb");
  EXPECT_EQ(access_key(page.items[2].text), "é");
}

TEST(DialogPages, OfferWhatTheThemeAsksFor) {
  const std::tuple<const char*, bool, std::set<ControlId>> rows[] = {
      {"{}", true, {}},
      {R"({"offerAlwaysSend": true})", true, {kAlwaysSend}},
      {R"({"offerRestart": true})", true, {kRestart}},
      {R"({"offerRestart": true})", false, {}},
      {R"({"privacyUrl": "https://a.example/"})", true, {kPrivacy}},
      {R"({"privacyUrl": "c:\\calc.exe"})", true, {}},
  };
  for (const auto& [json, can_restart, expected] : rows) {
    DialogTexts texts;
    texts.override_from(json, [](const std::string&) {});
    DialogFacts facts = facts_for("crash");
    facts.can_restart = can_restart;
    std::set<ControlId> offered;
    for (const PageItem& item : ask_page(texts, facts).items) {
      if (item.id == kAlwaysSend || item.id == kRestart || item.id == kPrivacy) {
        offered.insert(item.id);
        EXPECT_EQ(item.id == kRestart, item.text == "&Restart Fritz && Söhne");
      }
    }
    EXPECT_EQ(offered, expected) << json;
  }
}

double luminance(Rgb color) {
  const auto part = [&](unsigned shift) {
    const double value = (color >> shift & 0xFF) / 255.0;
    return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * part(16) + 0.7152 * part(8) + 0.0722 * part(0);
}

double contrast(Rgb a, Rgb b) {
  const double light = std::max(luminance(a), luminance(b));
  return (light + 0.05) / (std::min(luminance(a), luminance(b)) + 0.05);
}

TEST(DialogPalette, CanBeReadByPeopleWhoSeeBadly) {
  for (const Palette& p : {kLightPalette, kDarkPalette}) {
    for (const auto& [text, behind] : std::vector<std::pair<Rgb, Rgb>>{{p.text, p.window},
                                                                       {p.text, p.field},
                                                                       {p.text, p.button},
                                                                       {p.text, p.button_hot},
                                                                       {p.quiet_text, p.window},
                                                                       {p.link, p.window},
                                                                       {p.accent_text, p.accent}}) {
      EXPECT_GE(contrast(text, behind), 4.5) << std::hex << text << " " << behind;
    }
    for (const Rgb mark : {p.frame, p.accent}) EXPECT_GE(contrast(mark, p.field), 3.0) << mark;
  }
}

}  // namespace
}  // namespace wrenfall::reporter
