#ifndef WRENFALL_TESTS_COMPANIONS_TEMPORARY_FOLDER_H_
#define WRENFALL_TESTS_COMPANIONS_TEMPORARY_FOLDER_H_

#include <filesystem>
#include <string>

#include "support/text.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {

struct TemporaryFolder : TempDir {
  // Writes a file under the folder and returns its path.
  std::filesystem::path add(const std::string& name, const std::string& bytes) const {
    const std::filesystem::path file = path() / utf8_to_path(name);
    put_file(file, bytes);
    return file;
  }
};

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_COMPANIONS_TEMPORARY_FOLDER_H_
