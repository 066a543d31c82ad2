#ifndef WRENFALL_BENCH_LIBRARY_H_
#define WRENFALL_BENCH_LIBRARY_H_

#include <wrenfall/wrenfall.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace bench {

inline constexpr int kBreadcrumbs = 200;

// A folder of the program's own, gone at its end.
class Folder {
 public:
  explicit Folder(const std::string& name)
      : path_(std::filesystem::temp_directory_path() / ("wrenfall bench " + name)) {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
    std::filesystem::create_directories(path_);
  }
  ~Folder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  const std::filesystem::path path_;
};

inline void start_library(const std::filesystem::path& store, uint32_t hang_threshold_ms = 0) {
  wrenfall_options* const options = wrenfall_options_new("127", "Bench", "1.0");
  // In C++20 the text is of another type.
  const auto utf8 = store.u8string();
  wrenfall_options_set_store_dir(options, reinterpret_cast<const char*>(utf8.c_str()));
  wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
  wrenfall_options_set_breadcrumbs(options, kBreadcrumbs);
  wrenfall_options_set_hang_detection(options, hang_threshold_ms, WRENFALL_HANG_REPORT);
  const wrenfall_result result = wrenfall_init(options);
  if (result == WRENFALL_OK) return;
  std::fprintf(stderr, "wrenfall_init: %d\n", static_cast<int>(result));
  std::exit(1);
}

// The library, initialized as long as this object lives.
class Library {
 public:
  explicit Library(const std::string& name, uint32_t hang_threshold_ms = 0) : folder_(name) {
    start_library(folder_.path() / "store", hang_threshold_ms);
  }
  ~Library() { wrenfall_shutdown(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  std::filesystem::path store() const { return folder_.path() / "store"; }

 private:
  Folder folder_;
};

}  // namespace bench

#endif  // WRENFALL_BENCH_LIBRARY_H_
