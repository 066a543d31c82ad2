// A crash-data record of any text, and one with any text in it.
#include "report/store/crash_data.h"
#include "support/json_text.h"
#include "tests/fuzz/property.h"

namespace wrenfall {
namespace {

void write_any_text(const std::string& text) {
  CrashData record, read;
  record.notes = text;
  record.attributes["a"] = text;
  require(parse(serialize(record), read), "every record can be read");
  require(read.notes == valid_utf8(text) && read.attributes["a"] == read.notes, "a text");
}

void read_any_text(const std::string& text) {
  CrashData record;
  record.appName = "kept when the text is no record";
  const nlohmann::json object = parse_json(text);
  if (!parse(text, record)) {
    require(!object.is_object(), "every JSON object is a record");
    require(record.appName == "kept when the text is no record", "a failed read changes nothing");
    return;
  }
  require(object.is_object(), "nothing but a JSON object is a record");
  require(!record.uploadPolicy.empty(), "there is always a policy");
  const auto name = object.find("appName");
  const bool has_name = name != object.end() && name->is_string();
  require(record.appName == (has_name ? name->get<std::string>() : ""), "a text is taken as it is");

  CrashData again;
  const std::string written = serialize(record);
  require(parse(written, again), "what is written can be read");
  require(serialize(again) == written, "a record survives being written and read");
}

}  // namespace
}  // namespace wrenfall

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  wrenfall::read_any_text(text);
  wrenfall::write_any_text(text);
  return 0;
}
