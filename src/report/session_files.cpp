#include "report/session_files.h"

#include "support/files.h"
#include "support/json_text.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

bool is_stale(const fs::path& file) {
  if (file.extension() == ".tmp") {
    // Being written right now, or left behind by a process that ended while it wrote: the name
    // tells whose it is.
    const auto writer = SessionTag::parse(path_to_utf8(file.stem().stem()));
    return !writer || !is_process_running(writer->process_id);
  }
  std::string text;
  if (!read_file(file, text)) return false;
  const auto record = parse_session(text);
  return !record || !is_process_running(record->session.process_id);
}

}  // namespace

fs::path session_file(const fs::path& root, const SessionTag& session) {
  return root / kSessionsFolder / (session.text() + ".json");
}

bool write_session(const fs::path& root, const SessionRecord& record) {
  const json object = {{"pid", record.session.process_id},
                       {"startTime", record.session.start_time},
                       {"attachments", record.attachments}};
  return write_file_atomic(session_file(root, record.session), json_text(object));
}

std::optional<SessionRecord> parse_session(const std::string& text) {
  const json object = parse_json(text);
  if (!object.is_object()) return std::nullopt;
  const auto pid = object.find("pid");
  if (pid == object.end() || !pid->is_number_unsigned()) return std::nullopt;

  SessionRecord record;
  record.session.process_id = pid->get<uint64_t>();
  if (const auto start = object.find("startTime");
      start != object.end() && start->is_number_unsigned()) {
    record.session.start_time = start->get<uint64_t>();
  }
  if (const auto paths = object.find("attachments"); paths != object.end() && paths->is_array()) {
    for (const json& path : *paths) {
      if (path.is_string()) record.attachments.push_back(path.get<std::string>());
    }
  }
  return record;
}

std::optional<SessionRecord> read_session(const fs::path& file) {
  std::string text;
  if (!read_file(file, text)) return std::nullopt;
  return parse_session(text);
}

void remove_session(const fs::path& root, const SessionTag& session) {
  remove_file(session_file(root, session));
}

void sweep_sessions(const fs::path& root) {
  for (const fs::path& file : list_folder(root / kSessionsFolder)) {
    if (is_file(file) && is_stale(file)) remove_file(file);
  }
}

}  // namespace wrenfall
