#include "support/error_text.h"

#include <filesystem>
#include <system_error>

#include "support/text.h"

namespace wrenfall {

std::string error_text(const std::exception& error) {
  const auto* const system = dynamic_cast<const std::system_error*>(&error);
  if (system == nullptr) return error.what();
  std::string text = "error " + std::to_string(system->code().value());
  if (const auto* const files = dynamic_cast<const std::filesystem::filesystem_error*>(&error)) {
    for (const auto* const path : {&files->path1(), &files->path2()}) {
      if (!path->empty()) text += ": " + path_to_utf8(*path);
    }
  }
  return text;
}

}  // namespace wrenfall
