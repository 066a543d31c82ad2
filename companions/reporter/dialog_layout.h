#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_LAYOUT_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_LAYOUT_H_

#include <map>
#include <string>
#include <vector>

#include "reporter/dialog_page.h"

namespace wrenfall::reporter {

struct Box {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

struct Extent {
  int width = 0;
  int height = 0;
};

// Measures texts in the fonts of the dialog, in pixels.
class TextSizes {
 public:
  virtual ~TextSizes() = default;
  // Of the text in lines of at most that width; of a longer word, the width of the word. Width 0 is
  // one line. In the text of a label, a check box, a link or a button "&" marks the access key.
  virtual Extent extent(ControlKind kind, const std::string& text, int width) const = 0;
};

// Where the controls of a page go.
struct PlacedPage {
  std::map<ControlId, Box> boxes;
  int height = 0;      // of all of it; more than the window has when that is too low
  int footer_top = 0;  // where the strip with the buttons begins
};

// Places the page in a client area of that size. No text is ever cut: a long one gets more lines, a
// label or a button of several lines among them, and buttons that do not fit beside each other are
// stacked. What the fields of many lines do not need is the last thing that is spent.
PlacedPage place_page(const DialogPage& page, const TextSizes& sizes, const Extent& window,
                      unsigned dpi);

// The client area in which all these pages are shown without scrolling: as wide as usual, wider where
// a single word or the height asks for it. Never more than `most`.
Extent fitting_window(const std::vector<DialogPage>& pages, const TextSizes& sizes,
                      const Extent& most, unsigned dpi);

// The narrowest client area in which no word of the page is cut.
int narrowest_window(const DialogPage& page, const TextSizes& sizes, unsigned dpi);

// The same text as the words between which a line may end. A character of a script that is written
// without blanks is a word of its own.
std::vector<std::string> words_of(const std::string& text);

// Pixels for a length at 96 dots an inch, rounded to the nearest.
int scale_to_dpi(int length, unsigned dpi);

// The edge of the icon at 96 dots an inch.
inline constexpr int kIconSize = 32;

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_LAYOUT_H_
