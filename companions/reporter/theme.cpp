#include "reporter/theme.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "support/files.h"
#include "support/text.h"

namespace wrenfall::reporter {

namespace fs = std::filesystem;

namespace {

constexpr uint64_t kMaxTextsBytes = uint64_t{256} * 1024;
constexpr uint64_t kMaxLogoBytes = uint64_t{1024} * 1024;

constexpr size_t kIconHeaderBytes = 6;
constexpr size_t kIconEntryBytes = 16;
constexpr uint32_t kMaxIconImages = 32;
constexpr uint32_t kMaxIconPixels = 256;
constexpr size_t kMinImageBytes = 40;  // the size of a bitmap's header
constexpr std::string_view kPngStart("\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR", 16);

// False when there is no file of that name, and, with a warning, when it cannot be read or is larger
// than `max_bytes`.
bool read_theme_file(const fs::path& path, uint64_t max_bytes, Logger& logger, std::string& bytes) {
  if (!path_exists(path)) return false;
  const auto size = size_of_file(path);
  if (is_file(path) && size && *size <= max_bytes && read_file(path, bytes)) return true;
  logger.warn("Theme: %s is unreadable or too large", path_to_utf8(path).c_str());
  return false;
}

uint32_t byte_at(std::string_view bytes, size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

uint32_t little16(std::string_view bytes, size_t at) {
  return byte_at(bytes, at) | byte_at(bytes, at + 1) << 8;
}

uint32_t little32(std::string_view bytes, size_t at) {
  return little16(bytes, at) | little16(bytes, at + 2) << 16;
}

uint32_t big32(std::string_view bytes, size_t at) {
  return byte_at(bytes, at) << 24 | byte_at(bytes, at + 1) << 16 | byte_at(bytes, at + 2) << 8 |
         byte_at(bytes, at + 3);
}

bool is_small(uint32_t width, uint32_t height) {
  return width > 0 && height > 0 && width <= kMaxIconPixels && height <= kMaxIconPixels;
}

bool is_harmless_image(std::string_view image) {
  if (image.size() < kMinImageBytes) return false;
  if (image.substr(0, kPngStart.size()) == kPngStart) {
    return is_small(big32(image, 16), big32(image, 20));
  }
  // Otherwise it must be a bitmap without compression. Its height counts the picture and the mask.
  const uint32_t width = little32(image, 4);
  const uint32_t height = little32(image, 8) / 2;
  const uint32_t bits = little16(image, 14);
  return little32(image, 0) == kMinImageBytes && little32(image, 16) == 0 &&
         is_small(width, height) && bits <= 32 &&
         image.size() - kMinImageBytes >= size_t{width} * height * bits / 8;
}

}  // namespace

bool is_harmless_icon(std::string_view bytes) {
  if (bytes.size() < kIconHeaderBytes || little16(bytes, 0) != 0 || little16(bytes, 2) != 1) {
    return false;
  }
  const uint32_t count = little16(bytes, 4);
  if (count == 0 || count > kMaxIconImages) return false;
  for (uint32_t i = 0; i < count; ++i) {
    const size_t entry = kIconHeaderBytes + i * kIconEntryBytes;
    if (bytes.size() < entry + kIconEntryBytes) return false;
    const size_t size = little32(bytes, entry + 8);
    const size_t offset = little32(bytes, entry + 12);
    if (offset > bytes.size() || size > bytes.size() - offset) return false;
    if (!is_harmless_image(bytes.substr(offset, size))) return false;
  }
  return true;
}

DialogTexts load_theme_texts(const fs::path& folder, const std::string& locale, Logger& logger) {
  if (folder.empty()) return DialogTexts(locale);
  std::string general;
  const bool has_general =
      read_theme_file(folder / kThemeTextsFile, kMaxTextsBytes, logger, general);
  // From the least to the most exact.
  std::vector<std::pair<fs::path, std::string>> own;
  std::vector<std::string> names = language_names(locale);
  std::reverse(names.begin(), names.end());
  for (const std::string& name : names) {
    const fs::path file = folder / ("strings." + name + ".json");
    std::string json;
    if (read_theme_file(file, kMaxTextsBytes, logger, json)) own.emplace_back(file, json);
  }
  const std::string language = has_general ? language_of_texts(general) : std::string();
  const bool is_foreign =
      !language.empty() && std::none_of(names.begin(), names.end(), [&](const std::string& name) {
        return equal_ignoring_ascii_case(name, language);
      });
  DialogTexts texts(is_foreign && own.empty() ? language : locale);
  const auto take = [&](const fs::path& file, const std::string& json, DialogTexts::Take what) {
    texts.override_from(
        json,
        [&](const std::string& reason) {
          logger.warn("Theme: %s: %s", path_to_utf8(file).c_str(), reason.c_str());
        },
        what);
  };
  if (has_general) {
    take(folder / kThemeTextsFile, general,
         is_foreign && !own.empty() ? DialogTexts::Take::kSettings : DialogTexts::Take::kAll);
  }
  for (const auto& [file, json] : own) take(file, json, DialogTexts::Take::kAll);
  return texts;
}

fs::path find_theme_logo(const fs::path& folder, Logger& logger) {
  std::string bytes;
  fs::path file = folder / kThemeLogoFile;
  if (folder.empty() || !read_theme_file(file, kMaxLogoBytes, logger, bytes)) return {};
  if (is_harmless_icon(bytes)) return file;
  logger.warn("Theme: %s is not an icon of at most %u x %u pixels", path_to_utf8(file).c_str(),
              kMaxIconPixels, kMaxIconPixels);
  return {};
}

}  // namespace wrenfall::reporter
