#ifndef WRENFALL_TESTS_NATIVE_LIBRARY_TEST_H_
#define WRENFALL_TESTS_NATIVE_LIBRARY_TEST_H_

#include <gtest/gtest.h>
#include <wrenfall/wrenfall.h>

#include <filesystem>
#include <string>

#include "tests/native/http_client_posix.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {

// A test of the exported functions, with a folder of its own. The library is shut down at the end.
class LibraryTest : public ::testing::Test {
 protected:
  LibraryTest() { put_file(companion_, ""); }
  // Before the members of a derived test are destroyed, which the library may still use.
  void TearDown() override {
    wrenfall_shutdown();
    network() = nullptr;
  }

  wrenfall_options* options(uint32_t policy = WRENFALL_UPLOAD_MANUAL) const {
    wrenfall_options* const options = wrenfall_options_new("127", "Native Test", "1.0");
    wrenfall_options_set_store_dir(options, path_to_utf8(store_).c_str());
    wrenfall_options_set_monitor_path(options, path_to_utf8(companion_).c_str());
    wrenfall_options_set_reporter_path(options, path_to_utf8(companion_).c_str());
    wrenfall_options_set_upload_policy(options, policy);
    return options;
  }

  const TempDir dir_;
  const std::filesystem::path store_ = dir_ / "store";
  const std::filesystem::path companion_ = dir_ / "companion";
};

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_NATIVE_LIBRARY_TEST_H_
