#include "report/store/session_files.h"

#include <algorithm>

#include "report/store/layout.h"
#include "report/store/report_store.h"
#include "support/files.h"
#include "support/json_text.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

// Far beyond any that the library writes.
constexpr uint64_t kMaxSessionBytes = uint64_t{1} << 20;

// Whether a dump may still have to become a report, in the handler's folder or in a report folder
// that is only half made; true as well where that cannot be found out.
bool may_have_dumps(const fs::path& root) {
  try {
    const std::vector<fs::path> dumps = list_folder(root / kHandlerFolder / kDumpsFolder);
    const std::vector<fs::path> folders = list_folder(root);
    return std::any_of(dumps.begin(), dumps.end(),
                       [](const fs::path& entry) { return entry.extension() == kDumpExtension; }) ||
           std::any_of(folders.begin(), folders.end(), is_half_made);
  } catch (const DirectoryIterationError&) {
    return true;
  }
}

// Removes a temporary session file, unless the process that writes it still runs. The file's name
// says which process that is.
void sweep_temporary(const fs::path& file) {
  const auto writer = ProcessIdentity::parse(path_to_utf8(file.stem().stem()));
  if (!writer || !is_process_running(writer->process_id)) remove_file(file);
}

void sweep(const fs::path& root, const fs::path& file) {
  std::string text;
  const bool damaged = size_of_file(file).value_or(0) > kMaxSessionBytes;
  if (!damaged && !read_file(file, text, kMaxSessionBytes)) return;
  const auto record = parse_session(text);
  if (record && is_process_running(record->process.process_id)) return;
  const bool is_needed = record && !record->attachments.empty() && may_have_dumps(root);
  // On a full disk the file stays where it is until the list can be kept elsewhere.
  if (is_needed && !write_file_atomic(kept_session_file(root, record->process), text)) return;
  remove_file(file);
}

}  // namespace

fs::path session_file(const fs::path& root, const ProcessIdentity& process) {
  return root / kSessionsFolder / (process.text() + ".json");
}

bool write_session(const fs::path& root, const SessionRecord& record) {
  const json object = {{"pid", record.process.process_id},
                       {"startTime", record.process.start_time},
                       {"attachments", record.attachments}};
  return write_file_atomic(session_file(root, record.process), json_text(object));
}

std::optional<SessionRecord> parse_session(const std::string& text) {
  const json object = parse_json(text);
  if (!object.is_object()) return std::nullopt;
  const auto pid = object.find("pid");
  if (pid == object.end() || !pid->is_number_unsigned()) return std::nullopt;

  SessionRecord record;
  record.process.process_id = pid->get<uint64_t>();
  if (const auto start = object.find("startTime");
      start != object.end() && start->is_number_unsigned()) {
    record.process.start_time = start->get<uint64_t>();
  }
  if (const auto paths = object.find("attachments"); paths != object.end() && paths->is_array()) {
    for (const json& path : *paths) {
      if (record.attachments.size() == kMaxAttachments) break;
      if (path.is_string()) record.attachments.push_back(path.get<std::string>());
    }
  }
  return record;
}

std::optional<SessionRecord> read_session(const fs::path& file) {
  std::string text;
  if (!read_file(file, text, kMaxSessionBytes)) return std::nullopt;
  return parse_session(text);
}

void remove_session(const fs::path& root, const ProcessIdentity& process) {
  remove_file(session_file(root, process));
}

fs::path kept_session_file(const fs::path& root, const ProcessIdentity& process) {
  return root / kHandlerFolder / kSessionsFolder / (process.text() + ".json");
}

void sweep_sessions(const fs::path& root) {
  // What a link leads to is not the store's.
  if (is_link(root / kSessionsFolder)) return;
  for (const fs::path& file : list_folder(root / kSessionsFolder)) {
    if (!is_file(file)) continue;
    if (file.extension() == kTemporarySuffix) {
      sweep_temporary(file);
    } else {
      sweep(root, file);
    }
  }
}

}  // namespace wrenfall
