#ifndef WRENFALL_COMPANIONS_REPORTER_SCREEN_READER_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_SCREEN_READER_WIN_H_

#include <windows.h>

#include <string>

struct IAccPropServices;

namespace wrenfall::reporter {

// Tells screen readers what the windows themselves do not. Needs COM on this thread. Where the system
// does not offer this, nothing happens.
class ScreenReader {
 public:
  ScreenReader();
  ~ScreenReader();
  ScreenReader(const ScreenReader&) = delete;
  ScreenReader& operator=(const ScreenReader&) = delete;

  void set_name(HWND control, const std::wstring& name) const;
  // The button is read out as a link.
  void set_link(HWND button) const;
  // Makes announce() work for the text.
  void set_announced(HWND text) const;

 private:
  void set_number(HWND control, const GUID& property, LONG number) const;

  IAccPropServices* services_ = nullptr;
};

// Has the text of a control for which set_announced() was called read out, although the focus is elsewhere.
void announce(HWND control);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_SCREEN_READER_WIN_H_
