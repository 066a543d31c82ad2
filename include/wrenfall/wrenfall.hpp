/**
 * @file
 * Wrenfall for C++17: the functions of wrenfall.h as types that end what they began.
 *
 * @code{.cpp}
 * #include <wrenfall/wrenfall.hpp>
 *
 * int main() {
 *   wrenfall::Session session(
 *       wrenfall::Options("my-database", "My Application", "1.0").upload_policy(WRENFALL_UPLOAD_QUIET));
 *   if (!session.result()) std::fprintf(stderr, "no crash reports: %s\n", session.result().message());
 *   run_the_application();
 * }
 * @endcode
 *
 * Everything is inline and calls the C functions, which say what happens, what blocks and which
 * threads may call; here is only what the types add. Nothing here throws, and nothing allocates, beyond
 * what those functions do. Texts are `const char*` in UTF-8, because that is what the functions take;
 * where a NULL means something, NULL may be given.
 */
#ifndef WRENFALL_WRENFALL_HPP_
#define WRENFALL_WRENFALL_HPP_

#include <wrenfall/wrenfall.h>

#include <cstddef>
#include <iterator>
#include <string_view>

/** The C++ face of the library. */
namespace wrenfall {

/** Keeps the names of these types apart from the library's own where both are linked into one program,
 * and those of later versions of this header apart from these. Nobody needs to write it. */
inline namespace v1 {

/** What a function that can fail returns. True is success. */
class [[nodiscard]] Result {
 public:
  /** Of a function of wrenfall.h. */
  constexpr Result(wrenfall_result code) noexcept : code_(code) {}

  /** Whether the call succeeded. */
  constexpr explicit operator bool() const noexcept { return code_ == WRENFALL_OK; }

  /** A WRENFALL_OK or WRENFALL_ERROR_... value. */
  constexpr wrenfall_result code() const noexcept { return code_; }

  /** The code in words, for logs and developers. The text is static. */
  constexpr const char* message() const noexcept {
    switch (code_) {
      case WRENFALL_OK:
        return "success";
      case WRENFALL_ERROR_INVALID_ARGUMENT:
        return "something that is required is missing";
      case WRENFALL_ERROR_ALREADY_INITIALIZED:
        return "the library is initialized already";
      case WRENFALL_ERROR_NOT_INITIALIZED:
        return "the library is not initialized";
      case WRENFALL_ERROR_MONITOR_NOT_FOUND:
        return "WrenfallMonitor.exe was not found";
      case WRENFALL_ERROR_HANDLER_START_FAILED:
        return "the capture handler could not be started or does not answer";
      case WRENFALL_ERROR_REPORTER_NOT_FOUND:
        return "WrenfallReporter.exe was not found";
      case WRENFALL_ERROR_FILE:
        return "a file could not be read, written, copied or removed";
      case WRENFALL_ERROR_LIMIT_REACHED:
        return "a limit was reached";
      case WRENFALL_ERROR_HANG_DETECTION_OFF:
        return "hang detection is not on";
      case WRENFALL_ERROR_TRANSPORT:
        return "the service gave no answer";
      case WRENFALL_ERROR_SERVICE:
        return "the service answered with a failure, or with something that cannot be used";
      case WRENFALL_ERROR_REJECTED:
        return "the service rejected the report, or asked to slow down";
      case WRENFALL_ERROR_NO_CONSENT:
        return "the user has not agreed to sending";
      default:
        return "a result of a later version";
    }
  }

  /** For a caller that goes on in either case. */
  constexpr void ignore() const noexcept {}

 private:
  wrenfall_result code_;
};

/** Start-up settings. Each setter is the function `wrenfall_options_set_<name>` or
 * `wrenfall_options_<name>`, and returns the object, so that calls can be chained. Belongs to one
 * thread. Empty once a Session has taken the settings; setting then does nothing. */
class Options {
 public:
  /** See wrenfall_options_new. */
  Options(const char* database, const char* application, const char* version)
      : options_(wrenfall_options_new(database, application, version)) {}
  ~Options() { wrenfall_options_free(options_); }
  Options(const Options&) = delete;
  Options& operator=(const Options&) = delete;

  /** The C record, which stays this object's: for functions that have no setter here. */
  wrenfall_options* get() const noexcept { return options_; }

  /** Gives the C record away, to the caller. */
  wrenfall_options* release() noexcept {
    wrenfall_options* const options = options_;
    options_ = nullptr;
    return options;
  }

  /** @name Settings
   * @{ */
  /** Calls the function of that name. */
  Options& store_dir(const char* path) { return set(wrenfall_options_set_store_dir, path); }
  Options& monitor_path(const char* path) { return set(wrenfall_options_set_monitor_path, path); }
  Options& reporter_path(const char* path) { return set(wrenfall_options_set_reporter_path, path); }
  Options& theme_dir(const char* path) { return set(wrenfall_options_set_theme_dir, path); }
  Options& key(const char* value) { return set(wrenfall_options_set_key, value); }
  Options& user(const char* value) { return set(wrenfall_options_set_user, value); }
  Options& email(const char* value) { return set(wrenfall_options_set_email, value); }
  Options& user_description(const char* value) {
    return set(wrenfall_options_set_user_description, value);
  }
  Options& notes(const char* value) { return set(wrenfall_options_set_notes, value); }
  Options& environment(const char* value) { return set(wrenfall_options_set_environment, value); }
  Options& attribute(const char* name, const char* value) {
    return set(wrenfall_options_set_attribute, name, value);
  }
  Options& add_attachment(const char* path) { return set(wrenfall_options_add_attachment, path); }
  Options& upload_policy(uint32_t policy) {
    return set(wrenfall_options_set_upload_policy, policy);
  }
  Options& crash_type_id(uint32_t id) { return set(wrenfall_options_set_crash_type_id, id); }
  Options& dump_type(uint32_t type) { return set(wrenfall_options_set_dump_type, type); }
  Options& minidump_flags(uint32_t flags) {
    return set(wrenfall_options_set_minidump_flags, flags);
  }
  Options& hang_detection(uint32_t threshold_ms, uint32_t policy = WRENFALL_HANG_REPORT) {
    return set(wrenfall_options_set_hang_detection, threshold_ms, policy);
  }
  Options& hang_ignore_debugger(bool on = true) {
    return set(wrenfall_options_set_hang_ignore_debugger, on);
  }
  Options& protect_exception_filter(bool on) {
    return set(wrenfall_options_set_protect_exception_filter, on);
  }
  Options& stack_guarantee(uint32_t bytes) {
    return set(wrenfall_options_set_stack_guarantee, bytes);
  }
  Options& breadcrumbs(uint32_t count) { return set(wrenfall_options_set_breadcrumbs, count); }
  Options& open_support_url(bool on) { return set(wrenfall_options_set_open_support_url, on); }
  Options& crash_signature(bool on) { return set(wrenfall_options_set_crash_signature, on); }
  Options& retention(uint32_t max_reports, uint32_t max_age_days, uint64_t max_bytes) {
    return set(wrenfall_options_set_retention, max_reports, max_age_days, max_bytes);
  }
  Options& resend(bool on = true) { return set(wrenfall_options_set_resend, on); }
  Options& report_limit(uint32_t count, uint32_t seconds) {
    return set(wrenfall_options_set_report_limit, count, seconds);
  }
  Options& drop_without_consent(bool on = true) {
    return set(wrenfall_options_set_drop_without_consent, on);
  }
  Options& logger(wrenfall_log_callback callback, void* user_data = nullptr) {
    return set(wrenfall_options_set_logger, callback, user_data);
  }
  Options& crash_completion(uint32_t completion) {
    return set(wrenfall_options_set_crash_completion, completion);
  }
  Options& chain_previous_signal_handlers(bool on) {
    return set(wrenfall_options_set_chain_previous_signal_handlers, on);
  }
  Options& on_crash(wrenfall_crash_callback callback, void* user_data = nullptr) {
    return set(wrenfall_options_set_on_crash, callback, user_data);
  }
  /** @} */

 private:
  template <typename Setter, typename... Values>
  Options& set(Setter setter, Values... values) {
    setter(options_, values...);
    return *this;
  }

  wrenfall_options* options_;
};

/** The library from wrenfall_init to wrenfall_shutdown. Where init failed, the host goes on without
 * crash reports, and the destructor does nothing. A process has one at a time. */
class Session {
 public:
  /** Initializes the library with the options, which are empty afterwards. */
  explicit Session(Options& options) : result_(wrenfall_init(options.release())) {}
  /** The same for options made on the spot. */
  explicit Session(Options&& options) : Session(options) {}
  ~Session() {
    if (result_) wrenfall_shutdown();
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /** What wrenfall_init returned. */
  Result result() const noexcept { return result_; }

 private:
  const Result result_;
};

/** @name Run-time metadata
 * The functions of wrenfall.h, with a Result that must be looked at.
 * @{ */
/** Calls the function of that name. */
inline Result set_key(const char* value) { return wrenfall_set_key(value); }
inline Result set_user(const char* value) { return wrenfall_set_user(value); }
inline Result set_email(const char* value) { return wrenfall_set_email(value); }
inline Result set_user_description(const char* value) {
  return wrenfall_set_user_description(value);
}
inline Result set_notes(const char* value) { return wrenfall_set_notes(value); }
inline Result set_environment(const char* value) { return wrenfall_set_environment(value); }
inline Result set_attribute(const char* name, const char* value) {
  return wrenfall_set_attribute(name, value);
}
inline Result add_attachment(const char* path) { return wrenfall_add_attachment(path); }
inline Result remove_attachment(const char* path) { return wrenfall_remove_attachment(path); }
/** @} */

/** See wrenfall_capture_report. */
inline Result capture_report() { return wrenfall_capture_report(); }

/** What is known of the run before this one, see wrenfall_get_last_run. */
class LastRun {
 public:
  /** Asks. */
  LastRun() : record_(), result_(ask(&record_)) {}

  /** What wrenfall_get_last_run returned. */
  Result result() const noexcept { return result_; }
  /** What it filled in; all zero but its size where it failed. */
  const wrenfall_last_run& record() const noexcept { return record_; }

 private:
  static wrenfall_result ask(wrenfall_last_run* record) {
    record->size = sizeof *record;
    return wrenfall_get_last_run(record);
  }

  wrenfall_last_run record_;
  Result result_;
};

/** See wrenfall_post_pending_reports_async. */
inline Result post_pending_reports_async() { return wrenfall_post_pending_reports_async(); }

/** See wrenfall_set_consent: a WRENFALL_CONSENT_... value. */
inline Result set_consent(uint32_t consent) { return wrenfall_set_consent(consent); }

/** See wrenfall_ask_pending_reports_async. */
inline Result ask_pending_reports_async() { return wrenfall_ask_pending_reports_async(); }

/** The breadcrumbs of one category and level. */
class Breadcrumb {
 public:
  /** The level is a WRENFALL_LOG_... value; the category is copied, and cut as the library cuts it. */
  explicit Breadcrumb(std::string_view category,
                      wrenfall_log_level level = WRENFALL_LOG_INFO) noexcept
      : category_(category), level_(level) {}

  /** See wrenfall_breadcrumb_add. */
  Result add(std::string_view message) const {
    return wrenfall_breadcrumb_add(level_, category_.text, Text<kMessageBytes>(message).text);
  }

  /** Removes all breadcrumbs, see wrenfall_breadcrumb_clear. */
  static Result clear() { return wrenfall_breadcrumb_clear(); }

 private:
  // The library cuts a text after so many bytes, between two characters. It gets some more here, so
  // that it sees where the last one ends.
  static constexpr std::size_t kCategoryBytes = 32 + 4;
  static constexpr std::size_t kMessageBytes = 256 + 4;

  template <std::size_t kBytes>
  struct Text {
    explicit Text(std::string_view from) noexcept { text[from.copy(text, kBytes)] = '\0'; }
    char text[kBytes + 1];
  };

  Text<kCategoryBytes> category_;
  wrenfall_log_level level_;
};

/** Watches the thread that makes it for hangs, until its end on that same thread. Does nothing when
 * the watch could not begin, because hang detection is off for example. */
class WatchedThread {
 public:
  /** See wrenfall_watch_thread. */
  explicit WatchedThread(const char* name) : result_(wrenfall_watch_thread(name)) {}
  ~WatchedThread() {
    if (result_) wrenfall_unwatch_thread();
  }
  WatchedThread(const WatchedThread&) = delete;
  WatchedThread& operator=(const WatchedThread&) = delete;

  /** What wrenfall_watch_thread returned. */
  Result result() const noexcept { return result_; }

  /** See wrenfall_heartbeat. */
  void heartbeat() const { wrenfall_heartbeat(); }

 private:
  const Result result_;
};

/** Pauses hang detection as long as it lives, see wrenfall_hang_pause. */
class HangPause {
 public:
  HangPause() { wrenfall_hang_pause(); }
  ~HangPause() { static_cast<void>(wrenfall_hang_resume()); }
  HangPause(const HangPause&) = delete;
  HangPause& operator=(const HangPause&) = delete;
};

/** The outcome of an upload, with its texts. */
class UploadOutcome {
 public:
  UploadOutcome() noexcept : record_() { record_.size = sizeof record_; }
  ~UploadOutcome() { wrenfall_upload_result_free(&record_); }
  UploadOutcome(const UploadOutcome&) = delete;
  UploadOutcome& operator=(const UploadOutcome&) = delete;

  /** What the last call that was given this object has filled in. */
  const wrenfall_upload_result& record() const noexcept { return record_; }

  /** For a call that fills the record; frees what it held. */
  wrenfall_upload_result* fill() {
    wrenfall_upload_result_free(&record_);
    return &record_;
  }

  /** The record of an outcome that a caller may have left out. */
  static wrenfall_upload_result* fill(UploadOutcome* outcome) {
    return outcome == nullptr ? nullptr : outcome->fill();
  }

 private:
  wrenfall_upload_result record_;
};

/** One report of PendingReports, whose texts it shares. */
class PendingReport {
 public:
  /** The entry of a list at an index below its count. */
  PendingReport(const wrenfall_report_list* list, uint32_t index) noexcept
      : list_(list), index_(index) {}

  /** See wrenfall_report_list_folder. */
  const char* folder() const { return wrenfall_report_list_folder(list_, index_); }
  /** See wrenfall_report_list_json. */
  const char* json() const { return wrenfall_report_list_json(list_, index_); }
  /** See wrenfall_send_report; the user's texts stay as they are. */
  Result send(UploadOutcome* outcome = nullptr) const {
    return wrenfall_send_report(folder(), nullptr, nullptr, nullptr, UploadOutcome::fill(outcome));
  }
  /** See wrenfall_discard_report. */
  Result discard() const { return wrenfall_discard_report(folder()); }

 private:
  const wrenfall_report_list* list_;
  uint32_t index_;
};

/** The reports that waited when it was made, oldest first, as a range of PendingReport. Sending and
 * discarding them does not change it. */
class PendingReports {
 public:
  /** An input iterator: it makes the reports that it gives. */
  class Iterator {
   public:
    /** @name What the standard library asks of an iterator
     * @{ */
    /** As the standard library has it. */
    using iterator_category = std::input_iterator_tag;
    using value_type = PendingReport;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = PendingReport;
    Iterator(const wrenfall_report_list* list, uint32_t index) noexcept
        : list_(list), index_(index) {}
    PendingReport operator*() const noexcept { return PendingReport(list_, index_); }
    Iterator& operator++() noexcept {
      ++index_;
      return *this;
    }
    Iterator operator++(int) noexcept { return Iterator(list_, index_++); }
    bool operator==(const Iterator& other) const noexcept { return index_ == other.index_; }
    bool operator!=(const Iterator& other) const noexcept { return index_ != other.index_; }
    /** @} */

   private:
    const wrenfall_report_list* list_;
    uint32_t index_;
  };

  /** See wrenfall_pending_reports. */
  PendingReports() : list_(wrenfall_pending_reports()) {}
  ~PendingReports() { wrenfall_report_list_free(list_); }
  PendingReports(const PendingReports&) = delete;
  PendingReports& operator=(const PendingReports&) = delete;

  /** False when the library is not initialized, or there was no memory for the list. */
  explicit operator bool() const noexcept { return list_ != nullptr; }
  /** The number of reports. */
  uint32_t size() const { return wrenfall_report_list_count(list_); }
  /** Whether there is none. */
  bool empty() const { return size() == 0; }
  /** The oldest report. */
  Iterator begin() const noexcept { return Iterator(list_, 0); }
  /** Behind the newest. */
  Iterator end() const { return Iterator(list_, size()); }

 private:
  wrenfall_report_list* list_;
};

/** A structured report while it is built. Each function is `wrenfall_report_<name>`. Belongs to one
 * thread. Without memory for the report everything does nothing, and post() fails. */
class StructuredReport {
 public:
  /** A thread of a report, to which frames are added. Lives no longer than the report. */
  class Thread {
   public:
    /** The thread of that index. */
    Thread(wrenfall_report* report, int32_t index) noexcept : report_(report), index_(index) {}
    /** See wrenfall_report_add_frame. */
    Thread& add_frame(const char* function, const char* file, uint32_t line, const char* module,
                      uint64_t address = 0) {
      wrenfall_report_add_frame(report_, index_, function, file, line, module, address);
      return *this;
    }

   private:
    wrenfall_report* report_;
    int32_t index_;
  };

  /** See wrenfall_report_new. */
  explicit StructuredReport(uint32_t format = WRENFALL_REPORT_JSON)
      : report_(wrenfall_report_new(format)) {}
  ~StructuredReport() { wrenfall_report_free(report_); }
  StructuredReport(const StructuredReport&) = delete;
  StructuredReport& operator=(const StructuredReport&) = delete;

  /** @name Facts
   * @{ */
  /** Calls the function of that name. */
  StructuredReport& set_platform(const char* platform, const char* os) {
    wrenfall_report_set_platform(report_, platform, os);
    return *this;
  }
  StructuredReport& set_exception(const char* code, const char* explanation) {
    wrenfall_report_set_exception(report_, code, explanation);
    return *this;
  }
  StructuredReport& add_register(const char* name, const char* value) {
    wrenfall_report_add_register(report_, name, value);
    return *this;
  }
  StructuredReport& add_module(const char* name, const char* path, uint64_t base, uint64_t size,
                               const char* file_version, const char* product_version) {
    wrenfall_report_add_module(report_, name, path, base, size, file_version, product_version);
    return *this;
  }
  StructuredReport& add_attachment(const char* path) {
    wrenfall_report_add_attachment(report_, path);
    return *this;
  }
  Thread add_thread(const char* name, bool crashing = false) {
    return Thread(report_, wrenfall_report_add_thread(report_, name, crashing));
  }
  /** @} */

  /** See wrenfall_report_post. */
  Result post(UploadOutcome* outcome = nullptr) const {
    return wrenfall_report_post(report_, UploadOutcome::fill(outcome));
  }

 private:
  wrenfall_report* report_;
};

}  // namespace v1
}  // namespace wrenfall

#endif  // WRENFALL_WRENFALL_HPP_
