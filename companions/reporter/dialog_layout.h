#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_LAYOUT_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_LAYOUT_H_

namespace wrenfall::reporter {

struct Box {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

// A rectangle from which the places of controls are cut. A control that does not fit gets the space
// that is left, which may be none. No size is ever negative.
class FreeSpace {
 public:
  explicit FreeSpace(Box box) : box_(box) {}

  // Cuts off a strip of that thickness along a side. `gap` stays empty between it and the rest.
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
