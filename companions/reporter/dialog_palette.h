#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_PALETTE_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_PALETTE_H_

#include <cstdint>

namespace wrenfall::reporter {

// A colour as 0xRRGGBB.
using Rgb = uint32_t;

// The dialog's colours. Texts differ enough from what is behind them for people who see badly: a
// contrast of 4.5 to 1 at least, frames and marks 3 to 1.
struct Palette {
  Rgb window;
  Rgb footer;  // behind the buttons
  Rgb text;
  Rgb quiet_text;  // of hints
  Rgb field;
  Rgb frame;
  Rgb accent;  // frame of what has the focus, default button, check marks
  Rgb accent_text;
  Rgb link;
  Rgb button;
  Rgb button_hot;
};

inline constexpr Palette kLightPalette = {0xFFFFFF, 0xF3F3F3, 0x1A1A1A, 0x5C5C5C,
                                          0xFFFFFF, 0x868686, 0x005FB8, 0xFFFFFF,
                                          0x0058AD, 0xFDFDFD, 0xE5F1FB};
inline constexpr Palette kDarkPalette = {0x202020, 0x2B2B2B, 0xF2F2F2, 0xB4B4B4, 0x2D2D2D, 0x828282,
                                         0x4CC2FF, 0x002B45, 0x66CCFF, 0x3A3A3A, 0x474747};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_PALETTE_H_
