#include "api/options.h"

#include <new>

#include "support/text.h"

using wrenfall::CrashData;
using wrenfall::text_or_empty;

namespace {

// Applies the change unless the record is null. When memory runs out the record stays as it was,
// because a setter has no result to say so.
template <typename Change>
void change(wrenfall_options* options, Change apply) {
  if (options == nullptr) return;
  try {
    apply(*options);
  } catch (const std::bad_alloc&) {
  }
}

void set_text(wrenfall_options* options, std::string wrenfall_options::*field, const char* value) {
  change(options, [=](wrenfall_options& o) { o.*field = text_or_empty(value); });
}

void set_fact(wrenfall_options* options, std::string CrashData::*field, const char* value) {
  change(options, [=](wrenfall_options& o) { o.facts.*field = text_or_empty(value); });
}

void set_number(wrenfall_options* options, uint32_t wrenfall_options::*field, uint32_t value) {
  if (options != nullptr) options->*field = value;
}

void set_flag(wrenfall_options* options, bool wrenfall_options::*field, int flag) {
  if (options != nullptr) options->*field = flag != 0;
}

}  // namespace

wrenfall_options* wrenfall_options_new(const char* database, const char* application,
                                       const char* version) {
  auto* const options = new (std::nothrow) wrenfall_options;
  set_fact(options, &CrashData::database, database);
  set_fact(options, &CrashData::appName, application);
  set_fact(options, &CrashData::appVersion, version);
  return options;
}

void wrenfall_options_free(wrenfall_options* options) { delete options; }

void wrenfall_options_set_store_dir(wrenfall_options* options, const char* value) {
  set_text(options, &wrenfall_options::store_dir, value);
}
void wrenfall_options_set_monitor_path(wrenfall_options* options, const char* value) {
  set_text(options, &wrenfall_options::monitor_path, value);
}
void wrenfall_options_set_reporter_path(wrenfall_options* options, const char* value) {
  set_text(options, &wrenfall_options::reporter_path, value);
}
void wrenfall_options_set_theme_dir(wrenfall_options* options, const char* value) {
  set_text(options, &wrenfall_options::theme_dir, value);
}
void wrenfall_options_set_key(wrenfall_options* options, const char* value) {
  set_fact(options, &CrashData::key, value);
}
void wrenfall_options_set_user(wrenfall_options* options, const char* value) {
  set_fact(options, &CrashData::user, value);
}
void wrenfall_options_set_email(wrenfall_options* options, const char* value) {
  set_fact(options, &CrashData::email, value);
}
void wrenfall_options_set_user_description(wrenfall_options* options, const char* value) {
  set_fact(options, &CrashData::userDescription, value);
}
void wrenfall_options_set_notes(wrenfall_options* options, const char* value) {
  set_fact(options, &CrashData::notes, value);
}
void wrenfall_options_set_environment(wrenfall_options* options, const char* value) {
  set_fact(options, &CrashData::environment, value);
}

void wrenfall_options_set_attribute(wrenfall_options* options, const char* name,
                                    const char* value) {
  if (name == nullptr) return;
  change(options,
         [=](wrenfall_options& o) { o.attributes.emplace_back(name, text_or_empty(value)); });
}

void wrenfall_options_add_attachment(wrenfall_options* options, const char* path) {
  if (path == nullptr) return;
  change(options, [=](wrenfall_options& o) { o.attachments.emplace_back(path); });
}

void wrenfall_options_set_upload_policy(wrenfall_options* options, uint32_t policy) {
  set_number(options, &wrenfall_options::upload_policy, policy);
}
void wrenfall_options_set_crash_type_id(wrenfall_options* options, uint32_t crash_type_id) {
  set_number(options, &wrenfall_options::crash_type_id, crash_type_id);
}
void wrenfall_options_set_dump_type(wrenfall_options* options, uint32_t dump_type) {
  set_number(options, &wrenfall_options::dump_type, dump_type);
}
void wrenfall_options_set_minidump_flags(wrenfall_options* options, uint32_t flags) {
  set_number(options, &wrenfall_options::minidump_flags, flags);
}
void wrenfall_options_set_crash_completion(wrenfall_options* options, uint32_t completion) {
  set_number(options, &wrenfall_options::crash_completion, completion);
}

void wrenfall_options_set_hang_detection(wrenfall_options* options, uint32_t threshold_ms,
                                         uint32_t policy) {
  if (options == nullptr) return;
  options->hang_threshold = static_cast<int32_t>(threshold_ms);
  options->hang_policy = policy;
}

void wrenfall_options_set_hang_ignore_debugger(wrenfall_options* options, int flag) {
  set_flag(options, &wrenfall_options::hang_ignore_debugger, flag);
}

void wrenfall_options_set_protect_exception_filter(wrenfall_options* options, int flag) {
  set_flag(options, &wrenfall_options::protect_exception_filter, flag);
}
void wrenfall_options_set_stack_guarantee(wrenfall_options* options, uint32_t bytes) {
  set_number(options, &wrenfall_options::stack_guarantee, bytes);
}
void wrenfall_options_set_open_support_url(wrenfall_options* options, int flag) {
  if (options != nullptr) options->open_support_url = flag != 0 ? 1 : 0;
}
void wrenfall_options_set_crash_signature(wrenfall_options* options, int flag) {
  set_flag(options, &wrenfall_options::crash_signature, flag);
}
void wrenfall_options_set_chain_previous_signal_handlers(wrenfall_options* options, int flag) {
  set_flag(options, &wrenfall_options::chain_previous_signal_handlers, flag);
}

void wrenfall_options_set_retention(wrenfall_options* options, uint32_t max_reports,
                                    uint32_t max_age_days, uint64_t max_bytes) {
  if (options != nullptr) options->limits.retention = {max_reports, max_age_days, max_bytes};
}
void wrenfall_options_set_resend(wrenfall_options* options, int flag) {
  if (options != nullptr) options->limits.resend = flag != 0;
}
void wrenfall_options_set_report_limit(wrenfall_options* options, uint32_t count,
                                       uint32_t seconds) {
  if (options != nullptr) options->limits.report_limit = {count, seconds};
}

void wrenfall_options_set_drop_without_consent(wrenfall_options* options, int flag) {
  if (options != nullptr) options->limits.drop_without_consent = flag != 0;
}
void wrenfall_options_set_breadcrumbs(wrenfall_options* options, uint32_t count) {
  set_number(options, &wrenfall_options::breadcrumbs, count);
}

void wrenfall_options_set_on_crash(wrenfall_options* options, wrenfall_crash_callback callback,
                                   void* user_data) {
  if (options == nullptr) return;
  options->on_crash = callback;
  options->on_crash_user_data = user_data;
}

void wrenfall_options_set_logger(wrenfall_options* options, wrenfall_log_callback callback,
                                 void* user_data) {
  if (options == nullptr) return;
  options->logger = callback;
  options->logger_user_data = user_data;
}
