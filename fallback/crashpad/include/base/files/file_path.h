#ifndef WRENFALL_FALLBACK_BASE_FILES_FILE_PATH_H_
#define WRENFALL_FALLBACK_BASE_FILES_FILE_PATH_H_

#include <string>
#include <utility>

namespace base {

// A path in the system's own encoding: UTF-16 on Windows, bytes elsewhere.
class FilePath {
 public:
#if defined(_WIN32)
  using StringType = std::wstring;
#else
  using StringType = std::string;
#endif
  using CharType = StringType::value_type;

  FilePath() = default;
  explicit FilePath(StringType path) : path_(std::move(path)) {}

  const StringType& value() const { return path_; }
  bool empty() const { return path_.empty(); }

  bool operator==(const FilePath& other) const { return path_ == other.path_; }
  bool operator!=(const FilePath& other) const { return path_ != other.path_; }

 private:
  StringType path_;
};

}  // namespace base

#endif  // WRENFALL_FALLBACK_BASE_FILES_FILE_PATH_H_
