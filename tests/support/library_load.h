#ifndef WRENFALL_TESTS_SUPPORT_LIBRARY_LOAD_H_
#define WRENFALL_TESTS_SUPPORT_LIBRARY_LOAD_H_

#include <wrenfall/wrenfall.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <string>

// What the tests that put a load on the library share: a round of its run-time calls, each of which
// must succeed, and the count of what went wrong.

inline std::atomic<long> failures{0}, calls{0}, names{0};

inline void check(bool passed, const char* what, long figure = 0) {
  if (!passed && ++failures <= 50) std::printf("FAILED: %s (%ld)\n", what, figure);
}
inline void expect_ok(wrenfall_result result, const char* call) {
  ++calls;
  check(result == WRENFALL_OK, call, result);
}

inline void start_library(const std::filesystem::path& store) {
  wrenfall_options* const options = wrenfall_options_new("127", "Load", "1.0");
  wrenfall_options_set_store_dir(options, store.u8string().c_str());
  wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
  wrenfall_options_set_hang_detection(options, 60000, WRENFALL_HANG_REPORT);
  expect_ok(wrenfall_init(options), "wrenfall_init");
}

inline void use_setters_once(const std::string& own, long round, const std::string& attachment) {
  const std::string name = own + "." + std::to_string(++names);
  expect_ok(wrenfall_set_attribute(name.c_str(), own.c_str()), "set an attribute");
  expect_ok(wrenfall_set_user(name.c_str()), "wrenfall_set_user");
  const std::string notes(static_cast<size_t>(round * 977) % 20481, 'h');
  expect_ok(wrenfall_set_notes(notes.c_str()), "wrenfall_set_notes");
  // Few texts: the library keeps every environment, which a host may still read.
  expect_ok(wrenfall_set_environment(round % 2 == 0 ? own.c_str() : nullptr), "set environment");
  wrenfall_set_quiet_mode(round % 2 == 0);
  wrenfall_heartbeat();
  if (round % 50 == 0) {  // files are slower than all the rest
    expect_ok(wrenfall_watch_thread(name.c_str()), "wrenfall_watch_thread");
    expect_ok(wrenfall_add_attachment(attachment.c_str()), "wrenfall_add_attachment");
    expect_ok(wrenfall_remove_attachment(attachment.c_str()), "wrenfall_remove_attachment");
    wrenfall_unwatch_thread();
  }
  expect_ok(wrenfall_set_attribute(name.c_str(), nullptr), "remove an attribute");
}

#endif  // WRENFALL_TESTS_SUPPORT_LIBRARY_LOAD_H_
