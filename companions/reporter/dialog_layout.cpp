#include "reporter/dialog_layout.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace wrenfall::reporter {
namespace {

// Lengths at 96 dots an inch.
constexpr int kUsualWidth = 500;
constexpr int kWidthStep = 40;
constexpr int kMargin = 18;
constexpr int kGap = 12;
constexpr int kSmallGap = 4;
constexpr int kHeadingGap = 6;
constexpr int kFooterMargin = 12;
constexpr int kButtonGap = 8;
constexpr int kButtonHeight = 28;
constexpr int kButtonWidth = 92;
constexpr int kButtonPadding = 14;  // at each side of the text
constexpr int kButtonPaddingAbove = 6;
constexpr int kFieldPadding = 10;  // above and below the text together, with the frame
constexpr int kCheckMark = 28;     // with the gap between it and the text
constexpr int kLinkPadding = 6;
constexpr int kProgressHeight = 14;
constexpr int kLeastLines = 5;

constexpr size_t kBytesOfWide = 3;

// Whether a Chinese character, a kana, or their punctuation (from U+2E80 on) begins there.
bool is_wide(const std::string& text, size_t at) {
  if (at + kBytesOfWide > text.size()) return false;
  const auto first = static_cast<unsigned char>(text[at]);
  const auto second = static_cast<unsigned char>(text[at + 1]);
  return (first > 0xE2 && first < 0xF0) || (first == 0xE2 && second >= 0xBA);
}

class PagePlacer {
 public:
  PagePlacer(const DialogPage& page, const TextSizes& sizes, unsigned dpi)
      : page_(page), sizes_(sizes), dpi_(dpi) {}

  PlacedPage place(const Extent& window) {
    content_width_ = std::max(window.width - 2 * pixels(kMargin), 1);
    // First as low as possible, then again with what the window has left over.
    const int least = flow(0);
    flow(std::max(window.height - least, 0));
    return placed_;
  }

  int narrowest() const {
    int width = 0;
    for (const PageItem& item : page_.items) width = std::max(width, narrowest(item));
    return width + 2 * pixels(kMargin);
  }

 private:
  int pixels(int length) const { return scale_to_dpi(length, dpi_); }

  Extent measure(const PageItem& item, int width) const {
    Extent most = sizes_.extent(kind_of(item.id), item.text, std::max(width, 1));
    for (const std::string& text : item.later) {
      const Extent size = sizes_.extent(kind_of(item.id), text, std::max(width, 1));
      most = {std::max(most.width, size.width), std::max(most.height, size.height)};
    }
    return most;
  }
  int line_height() const { return sizes_.extent(ControlKind::kText, "X", 0).height; }

  // What is beside the text of the control.
  int width_beside(ControlKind kind) const {
    switch (kind) {
      case ControlKind::kHeading:
        return pixels(kIconSize) + pixels(kGap);
      case ControlKind::kButton:
        return 2 * pixels(kButtonPadding);
      case ControlKind::kCheckBox:
        return pixels(kCheckMark);
      case ControlKind::kLink:
        return pixels(kLinkPadding);
      default:
        return 0;
    }
  }

  int widest_word(const std::string& text, ControlKind kind) const {
    int widest = 0;
    for (const std::string& word : words_of(text)) {
      widest = std::max(widest, sizes_.extent(kind, word, 0).width);
    }
    return widest;
  }

  int narrowest(const PageItem& item) const {
    const ControlKind kind = kind_of(item.id);
    if (kind == ControlKind::kField || kind == ControlKind::kLines || kind == ControlKind::kList ||
        kind == ControlKind::kIcon || kind == ControlKind::kProgress) {
      return 0;
    }
    int widest = widest_word(item.text, kind);
    for (const std::string& text : item.later) widest = std::max(widest, widest_word(text, kind));
    return widest + width_beside(item.id == kMessage ? ControlKind::kHeading : kind);
  }

  // Returns the height of all.
  int flow(int surplus) {
    placed_ = PlacedPage();
    int top = place_header(pixels(kMargin));
    for (const PageItem& item : page_.items) {
      const ControlKind kind = kind_of(item.id);
      if (item.id == kIcon || item.id == kHeading || item.id == kMessage ||
          kind == ControlKind::kButton) {
        continue;
      }
      Extent size = size_of(item, kind);
      if (kind == ControlKind::kLines || kind == ControlKind::kList) {
        size.height += std::exchange(surplus, 0);
      }
      put(item.id, {pixels(kMargin), top, size.width, size.height});
      top += size.height + pixels(kind == ControlKind::kLabel ? kSmallGap : kGap);
    }
    // Without a field that grows the strip with the buttons is at the bottom nevertheless.
    placed_.footer_top = top + surplus;
    placed_.height = place_buttons(placed_.footer_top);
    return placed_.height;
  }

  Extent size_of(const PageItem& item, ControlKind kind) const {
    const int line = line_height();
    switch (kind) {
      case ControlKind::kField:
        return {content_width_, line + pixels(kFieldPadding)};
      case ControlKind::kLines:
      case ControlKind::kList:
        return {content_width_, kLeastLines * line + pixels(kFieldPadding)};
      case ControlKind::kProgress:
        return {content_width_, pixels(kProgressHeight)};
      case ControlKind::kCheckBox:
      case ControlKind::kLink: {
        const int beside = width_beside(kind);
        const Extent text = measure(item, content_width_ - beside);
        return {std::min(text.width + beside, content_width_), text.height + pixels(kLinkPadding)};
      }
      default:
        return {content_width_, measure(item, content_width_).height};
    }
  }

  // The icon, and beside it the heading and the message. Returns where the rest begins.
  int place_header(int top) {
    const int icon = pixels(kIconSize);
    const int left = pixels(kMargin) + icon + pixels(kGap);
    const int width = std::max(content_width_ - icon - pixels(kGap), 1);
    int bottom = top;
    for (const PageItem& item : page_.items) {
      if (item.id == kIcon) put(kIcon, {pixels(kMargin), top, icon, icon});
      if (item.id != kHeading && item.id != kMessage) continue;
      if (bottom > top) bottom += pixels(kHeadingGap);
      const int height = measure(item, width).height;
      put(item.id, {left, bottom, width, height});
      bottom += height;
    }
    return std::max(bottom, top + icon) + pixels(kGap);
  }

  int button_width(const PageItem& item) const {
    return std::max(pixels(kButtonWidth), sizes_.extent(ControlKind::kButton, item.text, 0).width +
                                              2 * pixels(kButtonPadding));
  }

  // Beside each other at the right, or, where they are too wide, below each other. Returns where the
  // strip ends.
  int place_buttons(int top) {
    std::vector<const PageItem*> buttons;
    for (const PageItem& item : page_.items) {
      if (kind_of(item.id) == ControlKind::kButton) buttons.push_back(&item);
    }
    const int gap = pixels(kButtonGap);
    const int row = std::accumulate(
        buttons.begin(), buttons.end(), -gap,
        [&](int sum, const PageItem* item) { return sum + gap + button_width(*item); });
    top += pixels(kFooterMargin);
    if (row > content_width_) return stack_buttons(buttons, top);
    int left = pixels(kMargin) + content_width_ - row;
    for (const PageItem* const item : buttons) {
      const int width = button_width(*item);
      const int height = button_height(*item, width);
      put(item->id, {left, top, width, height});
      left += width + gap;
    }
    return top + button_height({kCloseButton, "X"}, content_width_) + pixels(kFooterMargin);
  }

  int button_height(const PageItem& item, int width) const {
    const Extent text = measure(item, width - 2 * pixels(kButtonPadding));
    return std::max(pixels(kButtonHeight), text.height + 2 * pixels(kButtonPaddingAbove));
  }

  int stack_buttons(const std::vector<const PageItem*>& buttons, int top) {
    for (const PageItem* const item : buttons) {
      const int height = button_height(*item, content_width_);
      put(item->id, {pixels(kMargin), top, content_width_, height});
      top += height + pixels(kButtonGap);
    }
    return top - pixels(kButtonGap) + pixels(kFooterMargin);
  }

  void put(ControlId id, const Box& box) { placed_.boxes[id] = box; }

  const DialogPage& page_;
  const TextSizes& sizes_;
  const unsigned dpi_;
  int content_width_ = 0;
  PlacedPage placed_;
};

}  // namespace

std::vector<std::string> words_of(const std::string& text) {
  std::vector<std::string> words;
  bool in_word = false;
  for (size_t at = 0; at < text.size();) {
    if (is_wide(text, at)) {
      words.push_back(text.substr(at, kBytesOfWide));
      at += kBytesOfWide;
      in_word = false;
      continue;
    }
    const char c = text[at++];
    if (c == ' ' || c == '\n') {
      in_word = false;
    } else {
      if (!std::exchange(in_word, true)) words.emplace_back();
      words.back() += c;
    }
  }
  return words;
}

PlacedPage place_page(const DialogPage& page, const TextSizes& sizes, const Extent& window,
                      unsigned dpi) {
  return PagePlacer(page, sizes, dpi).place(window);
}

int narrowest_window(const DialogPage& page, const TextSizes& sizes, unsigned dpi) {
  return PagePlacer(page, sizes, dpi).narrowest();
}

Extent fitting_window(const std::vector<DialogPage>& pages, const TextSizes& sizes,
                      const Extent& most, unsigned dpi) {
  int width = scale_to_dpi(kUsualWidth, dpi);
  for (const DialogPage& page : pages) {
    width = std::max(width, narrowest_window(page, sizes, dpi));
  }
  for (;; width += scale_to_dpi(kWidthStep, dpi)) {
    width = std::min(width, most.width);
    int height = 0;
    for (const DialogPage& page : pages) {
      height = std::max(height, place_page(page, sizes, {width, 0}, dpi).height);
    }
    if (height <= most.height || width == most.width) return {width, std::min(height, most.height)};
  }
}

int scale_to_dpi(int length, unsigned dpi) { return (length * static_cast<int>(dpi) + 48) / 96; }

}  // namespace wrenfall::reporter
