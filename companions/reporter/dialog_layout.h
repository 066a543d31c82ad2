#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_LAYOUT_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_LAYOUT_H_

namespace wrenfall::reporter {

struct Box {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

// A rectangle that is cut up into the places of controls. Whatever does not fit gets what there is,
// down to nothing; no size is ever negative.
class FreeSpace {
 public:
  explicit FreeSpace(Box box) : box_(box) {}

  // A strip of that thickness along a side. `gap` is left free beyond it.
  Box take_top(int height, int gap);
  Box take_bottom(int height, int gap);
  Box take_left(int width, int gap);
  Box take_right(int width, int gap);

  const Box& rest() const { return box_; }

 private:
  Box box_;
};

// Pixels for a length at 96 dots an inch, rounded to the nearest.
int scale_to_dpi(int length, unsigned dpi);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_LAYOUT_H_
