#include "report/store/retry_file.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "report/store/crash_data.h"
#include "report/store/json_fields.h"
#include "report/store/layout.h"
#include "support/clock.h"
#include "support/files.h"
#include "support/json_text.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

// Far beyond any that is written here.
constexpr uint64_t kMaxRetryBytes = 4096;
constexpr char kMark[] = "wrenfallRetry";
constexpr int32_t kFormat = 1;
// Far in the future.
constexpr int64_t kLastSecond = int64_t{1} << 40;

constexpr char kBegin[] = "{\"attempts\":";

// Whether a text that is no JSON is what a power loss made of such a file (nothing, zeros, or its
// beginning), and not an attachment of the host's.
bool is_left_of_ours(const fs::path& folder, const std::string& text) {
  if (text.find_first_not_of('\0') != std::string::npos && text.rfind(kBegin, 0) != 0) return false;
  CrashData record;
  return load(folder, record) && std::find(record.attachments.begin(), record.attachments.end(),
                                           kRetryFile) == record.attachments.end();
}

// One attempt, when the damaged file was written.
RetryState state_after_damage(const fs::path& file) {
  constexpr int64_t kTicksPerSecond = 10'000'000;
  const int64_t age =
      (file_time_now() - file_write_time(file).value_or(file_time_now())) / kTicksPerSecond;
  const int64_t written = unix_now() - age;
  return {1, written, written, 0};
}

// Calls `visit(key, field)` for each field of the state.
template <typename State, typename Visit>
void for_each_field(State& state, Visit visit) {
  visit("attempts", state.attempts);
  visit("firstAttempt", state.first_attempt);
  visit("lastAttempt", state.last_attempt);
  visit("retryAfter", state.retry_after);
  visit("agreed", state.agreed);
}

}  // namespace

std::optional<RetryState> read_retry(const fs::path& folder) {
  std::string text;
  const fs::path file = folder / kRetryFile;
  if (!is_file(file) || !read_file(file, text, kMaxRetryBytes)) return std::nullopt;
  const nlohmann::json object = parse_json(text);
  if (object.is_discarded() && is_left_of_ours(folder, text)) return state_after_damage(file);
  if (!object.is_object() || object.find(kMark) == object.end()) return std::nullopt;
  RetryState state;
  for_each_field(state, JsonFieldReader(object));
  // Any program may have written the file. Numbers of this size can be added and compared.
  state.attempts = std::clamp(state.attempts, 0, kMaxResendAttempts);
  for (int64_t* const time : {&state.first_attempt, &state.last_attempt, &state.retry_after}) {
    *time = std::clamp<int64_t>(*time, 0, kLastSecond);
  }
  return state;
}

bool write_retry(const fs::path& folder, const RetryState& state) {
  const fs::path file = folder / kRetryFile;
  if (path_exists(file) && !is_retry_file(file)) return false;
  nlohmann::json object = {{kMark, kFormat}};
  for_each_field(state, JsonFieldWriter(object));
  return write_file_atomic(file, json_text(object));
}

bool mark_for_resend(const fs::path& folder) {
  return read_retry(folder).has_value() || write_retry(folder, {});
}

bool is_retry_file(const fs::path& file) {
  return file.filename() == kRetryFile && read_retry(file.parent_path()).has_value();
}

std::string resend_id(const fs::path& folder) { return path_to_utf8(folder.filename()); }

}  // namespace wrenfall
