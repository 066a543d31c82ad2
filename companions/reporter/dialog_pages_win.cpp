#include "reporter/dialog_pages_win.h"

#include <algorithm>

namespace wrenfall::reporter {
namespace {

// Lengths at 96 dots an inch.
constexpr int kMargin = 16;
constexpr int kGap = 12;
constexpr int kSmallGap = 4;
constexpr int kFooterMargin = 12;
constexpr int kButtonHeight = 26;
constexpr int kButtonWidth = 92;
constexpr int kButtonPadding = 12;
constexpr int kFieldPadding = 8;
constexpr int kProgressHeight = 16;
constexpr int kListPercent = 45;  // of what the list and the description share

constexpr struct {
  ControlId id;
  Page page;
} kShownOn[] = {
    {kFilesLabel, Page::kAsk},     {kFiles, Page::kAsk},
    {kEmailLabel, Page::kAsk},     {kEmail, Page::kAsk},
    {kDescription, Page::kAsk},    {kDescriptionLabel, Page::kAsk},
    {kHint, Page::kAsk},           {kSendButton, Page::kAsk},
    {kDontSendButton, Page::kAsk}, {kOpenFolderButton, Page::kAsk},
    {kProgress, Page::kSending},
};

class PageLayout {
 public:
  PageLayout(const DialogControls& controls, unsigned dpi) : controls_(controls), dpi_(dpi) {}

  void lay_out(Page page, int width, int height) {
    FreeSpace window({0, 0, width, height});
    place_buttons(window.take_bottom(footer_height(dpi_), 0));
    window.take_top(0, pixels(kMargin));
    window.take_bottom(0, pixels(kGap));
    window.take_left(0, pixels(kMargin));
    window.take_right(0, pixels(kMargin));
    place_header(window);
    if (page == Page::kAsk) place_questions(window);
    if (page == Page::kSending) {
      controls_.place(kProgress, window.take_top(pixels(kProgressHeight), 0));
    }
    if (page == Page::kResult) place_result(window);
  }

 private:
  int pixels(int length) const { return scale_to_dpi(length, dpi_); }

  int button_width(ControlId id) const {
    return std::max(pixels(kButtonWidth), controls_.text_width(id) + 2 * pixels(kButtonPadding));
  }

  void place_buttons(Box footer) {
    FreeSpace strip(footer);
    strip.take_top(0, pixels(kFooterMargin));
    strip.take_bottom(0, pixels(kFooterMargin));
    strip.take_left(0, pixels(kMargin));
    strip.take_right(0, pixels(kMargin));
    for (const ControlId id : {kCloseButton, kDontSendButton, kTryAgainButton, kSendButton}) {
      if (controls_.is_shown(id)) {
        controls_.place(id, strip.take_right(button_width(id), pixels(kFieldPadding)));
      }
    }
    controls_.place(kOpenFolderButton, strip.take_left(button_width(kOpenFolderButton), 0));
  }

  // The icon, and beside it the heading and the message.
  void place_header(FreeSpace& window) {
    const int icon = pixels(kIconSize);
    const int width = window.rest().width - icon - pixels(kGap);
    const int heading = controls_.text_height(kHeading, width);
    const int message = controls_.text_height(kMessage, width);
    const int height = std::max(icon, heading + pixels(kGap) / 2 + message);
    FreeSpace header(window.take_top(height, pixels(kGap)));
    FreeSpace icon_column(header.take_left(icon, pixels(kGap)));
    controls_.place(kIcon, icon_column.take_top(icon, 0));
    controls_.place(kHeading, header.take_top(heading, pixels(kGap) / 2));
    controls_.place(kMessage, header.rest());
  }

  void place_label(ControlId id, FreeSpace& window) {
    const int height = controls_.text_height(id, window.rest().width);
    controls_.place(id, window.take_top(height, pixels(kSmallGap)));
  }

  int field_height() const { return controls_.line_height() + pixels(kFieldPadding); }

  void place_questions(FreeSpace& window) {
    const int hint = controls_.text_height(kHint, window.rest().width);
    controls_.place(kHint, window.take_bottom(hint, pixels(kGap)));
    if (controls_.is_shown(kAlwaysSend)) {
      controls_.place(kAlwaysSend, window.take_bottom(field_height(), pixels(kGap)));
    }
    place_label(kFilesLabel, window);
    const int width = window.rest().width;
    const int fixed = controls_.text_height(kEmailLabel, width) + field_height() +
                      controls_.text_height(kDescriptionLabel, width) + 2 * pixels(kSmallGap) +
                      2 * pixels(kGap);
    const int shared = std::max(window.rest().height - fixed, 0);
    controls_.place(kFiles, window.take_top(shared * kListPercent / 100, pixels(kGap)));
    place_label(kEmailLabel, window);
    controls_.place(kEmail, window.take_top(field_height(), pixels(kGap)));
    place_label(kDescriptionLabel, window);
    controls_.place(kDescription, window.rest());
    controls_.fit_columns();
  }

  void place_result(FreeSpace& window) {
    if (controls_.is_shown(kSupport)) {
      place_label(kSupportLabel, window);
      controls_.place(kSupport, window.take_top(field_height(), pixels(kGap)));
    }
    if (controls_.is_shown(kDetails)) {
      place_label(kDetailsLabel, window);
      controls_.place(kDetails, window.rest());
    }
  }

  const DialogControls& controls_;
  const unsigned dpi_;
};

}  // namespace

int page_height(Page page) {
  switch (page) {
    case Page::kSending:
      return 190;
    case Page::kResult:
      return 320;
    default:
      return 520;
  }
}

int footer_height(unsigned dpi) { return scale_to_dpi(kButtonHeight + 2 * kFooterMargin, dpi); }

void show_page(const DialogControls& controls, Page page) {
  for (const auto& entry : kShownOn) controls.show(entry.id, entry.page == page);
  for (const ControlId id : {kIcon, kHeading, kMessage}) controls.show(id, true);
  controls.show(kCloseButton, page != Page::kAsk);
  for (const ControlId id :
       {kAlwaysSend, kTryAgainButton, kSupportLabel, kSupport, kDetailsLabel, kDetails}) {
    controls.show(id, false);
  }
}

void lay_out_page(const DialogControls& controls, Page page, int width, int height, unsigned dpi) {
  PageLayout(controls, dpi).lay_out(page, width, height);
}

}  // namespace wrenfall::reporter
