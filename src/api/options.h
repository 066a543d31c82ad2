#ifndef WRENFALL_API_OPTIONS_H_
#define WRENFALL_API_OPTIONS_H_

#include <wrenfall/wrenfall.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "backend/stack_guarantee.h"
#include "report/store/crash_data.h"
#include "report/store/store_limits.h"

// The host's start-up settings as they were given: nothing is checked, lists keep their order and
// their duplicates.
struct wrenfall_options {
  // The texts that travel with each report, under the names that the record gives them. Attributes
  // and attachments are below.
  wrenfall::CrashData facts;
  std::string store_dir;
  std::string monitor_path;
  std::string reporter_path;
  std::string theme_dir;
  uint32_t upload_policy = WRENFALL_UPLOAD_DIALOG;
  uint32_t crash_type_id = 0;
  uint32_t dump_type = WRENFALL_DUMP_NORMAL;
  uint32_t minidump_flags = 0;
  int32_t hang_threshold = 0;  // milliseconds; not positive is off
  uint32_t hang_policy = WRENFALL_HANG_REPORT;
  bool hang_ignore_debugger = false;
  uint32_t crash_completion = 0;
  bool protect_exception_filter = true;
  uint32_t stack_guarantee = wrenfall::kDefaultStackGuarantee;
  int32_t open_support_url = -1;  // -1 is not set
  bool crash_signature = true;
  bool chain_previous_signal_handlers = false;
  wrenfall_crash_callback on_crash = nullptr;
  void* on_crash_user_data = nullptr;
  wrenfall_log_callback logger = nullptr;
  void* logger_user_data = nullptr;
  wrenfall::StoreLimits limits;
  uint32_t breadcrumbs = 0;  // how many travel with a report; 0 is off
  std::vector<std::pair<std::string, std::string>> attributes;
  std::vector<std::string> attachments;
};

#endif  // WRENFALL_API_OPTIONS_H_
