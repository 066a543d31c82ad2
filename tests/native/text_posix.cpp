#include "support/json_text.h"
#include "support/text.h"

namespace wrenfall {

std::filesystem::path utf8_to_path(std::string_view text) { return valid_utf8(std::string(text)); }

std::string path_to_utf8(const std::filesystem::path& path) { return valid_utf8(path.native()); }

}  // namespace wrenfall
