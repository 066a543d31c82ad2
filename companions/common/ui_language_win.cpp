#include <windows.h>

#include "common/ui_language.h"
#include "support/text.h"

namespace wrenfall {

std::string ui_language() {
  wchar_t name[LOCALE_NAME_MAX_LENGTH] = {};
  const LCID language = MAKELCID(GetUserDefaultUILanguage(), SORT_DEFAULT);
  // The length that it returns counts the end of the text.
  const int length = LCIDToLocaleName(language, name, LOCALE_NAME_MAX_LENGTH, 0);
  return length > 1 ? wide_to_utf8({name, static_cast<size_t>(length) - 1}) : std::string();
}

}  // namespace wrenfall
