// A session file, and the name of one, of any text.
#include "report/store/session_files.h"
#include "support/json_text.h"
#include "tests/fuzz/property.h"

namespace wrenfall {
namespace {

void read_tag(const std::string& text) {
  const auto tag = ProcessIdentity::parse(text);
  if (!tag) return;
  require(text.find_first_not_of("0123456789-") == std::string::npos, "a tag is of digits alone");
  const auto again = ProcessIdentity::parse(tag->text());
  require(again && again->process_id == tag->process_id && again->start_time == tag->start_time,
          "a tag survives being written and read");
}

void read_record(const std::string& text) {
  const auto record = parse_session(text);
  const nlohmann::json object = parse_json(text);
  const auto pid = object.is_object() ? object.find("pid") : object.end();
  const bool names_process = pid != object.end() && pid->is_number_unsigned();
  require(record.has_value() == names_process, "a record is an object that names a process");
  if (!record) return;
  require(record->process.process_id == pid->get<uint64_t>(), "the process is taken as it is");
  const nlohmann::json written = {{"pid", record->process.process_id},
                                  {"startTime", record->process.start_time},
                                  {"attachments", record->attachments}};
  const auto again = parse_session(json_text(written));
  require(again && again->process.text() == record->process.text(), "the session survives");
  require(again->attachments == record->attachments, "the attachments survive");
}

}  // namespace
}  // namespace wrenfall

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  wrenfall::read_tag(text);
  wrenfall::read_record(text);
  return 0;
}
