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

// The built-in texts, replaced by what the theme folder's "strings.json" says. What is wrong in it
// is logged as a warning and left out. `folder` may be empty.
DialogTexts load_theme_texts(const std::filesystem::path& folder, Logger& logger);

// The theme's logo, when there is one that the system can be given without risk; else empty, with a
// warning where there is a file.
std::filesystem::path find_theme_logo(const std::filesystem::path& folder, Logger& logger);

// Whether the bytes are an icon file of at most 32 images, each of at most 256 x 256 pixels and
// within the file. The decoder believes the size that an image itself tells, so that is what is
// looked at.
bool is_harmless_icon(std::string_view bytes);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_THEME_H_
