#ifndef WRENFALL_TESTS_SUPPORT_TEMP_DIR_H_
#define WRENFALL_TESTS_SUPPORT_TEMP_DIR_H_

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/identifiers.h"
#include "support/text.h"

namespace wrenfall {

// Plain file access that does not go through the code under test. Parent folders are made.
inline void put_file(const std::filesystem::path& path, const std::string& bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

// A folder of the test's own, deleted at the end. Its name has blanks and letters that no single code
// page holds, so that every test is one of paths as well.
class TempDir {
 public:
  TempDir()
      : path_(std::filesystem::temp_directory_path() /
              utf8_to_path("wrenfall tést Ω 試験 " + new_uuid().substr(0, 13))) {
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }

  std::filesystem::path make_folder(const std::filesystem::path& name) const {
    std::filesystem::create_directories(path_ / name);
    return path_ / name;
  }

  // Writes a file below the folder and returns its path.
  std::filesystem::path add(const std::string& name, const std::string& bytes) const {
    const std::filesystem::path file = path_ / utf8_to_path(name);
    put_file(file, bytes);
    return file;
  }

 private:
  const std::filesystem::path path_;
};

// "<missing>" when there is no such file.
inline std::string file_text(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) return "<missing>";
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_SUPPORT_TEMP_DIR_H_
