#ifndef WRENFALL_COMPANIONS_REPORTER_THEME_H_
#define WRENFALL_COMPANIONS_REPORTER_THEME_H_

#include <filesystem>
#include <string>
#include <string_view>

#include "reporter/dialog_texts.h"
#include "support/logger.h"

namespace wrenfall::reporter {

inline constexpr char kThemeTextsFile[] = "strings.json";
inline constexpr char kThemeLogoFile[] = "logo.ico";

// What a theme makes of the dialog.
struct DialogTheme {
  DialogTexts texts;
  std::filesystem::path logo;  // an icon file, or empty
};

// The texts for a user of that locale. The theme folder's "strings.json" and then, where they are there,
// "strings.de.json" and "strings.de-AT.json" replace what is built in. Where the folder has no file of
// the user's language, and "strings.json" names the language of its texts, the dialog is in that
// language; where it has one, a "strings.json" in another language gives its settings alone. Entries that
// cannot be used are logged as warnings and ignored. `folder` may be empty.
DialogTexts load_theme_texts(const std::filesystem::path& folder, const std::string& locale,
                             Logger& logger);

// The theme's logo. Empty when there is none, and, with a warning, when the file is not a harmless
// icon.
std::filesystem::path find_theme_logo(const std::filesystem::path& folder, Logger& logger);

// Whether the bytes are an icon file of at most 32 images, each of at most 256 x 256 pixels and
// within the file. The sizes are read from the images themselves, because the system's decoder uses
// those, not the sizes in the icon's directory.
bool is_harmless_icon(std::string_view bytes);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_THEME_H_
