// A crash-data record of any text, and one of any fields.
#include <fuzzer/FuzzedDataProvider.h>

#include "report/store/crash_data.h"
#include "support/json_text.h"
#include "tests/fuzz/property.h"

namespace wrenfall {
namespace {

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
  const auto owner = object.find("ownerPid");
  const bool is_plain = owner != object.end() && owner->is_number_unsigned();
  require(!is_plain || record.ownerPid == owner->get<uint64_t>(), "a number is taken as it is");

  const auto duration = object.find("hangDurationMs");
  if (duration != object.end() && duration->is_number_float()) {
    const auto number = duration->get<double>();
    const bool fits = number >= -0x1p63 && number < 0x1p63;
    require(record.hangDurationMs == (fits ? static_cast<int64_t>(number) : 0), "truncated");
  }

  CrashData again;
  const std::string written = serialize(record);
  require(parse(written, again), "what is written can be read");
  require(serialize(again) == written, "a record survives being written and read");
}

void write_any_fields(FuzzedDataProvider& input) {
  CrashData record;
  record.notes = input.ConsumeRandomLengthString();
  record.uploadPolicy = input.ConsumeRandomLengthString(8);
  record.hangDurationMs = input.ConsumeIntegral<int64_t>();
  record.retryCount = input.ConsumeIntegral<int32_t>();
  record.ownerPid = input.ConsumeIntegral<uint64_t>();
  while (input.remaining_bytes() > 0) {
    record.attachments.push_back(input.ConsumeRandomLengthString(16));
    record.attributes["a" + std::to_string(record.attributes.size())] =
        input.ConsumeRandomLengthString(16);
  }
  CrashData read;
  require(parse(serialize(record), read), "every record can be read");
  require(read.notes == valid_utf8(record.notes), "a text");
  require(read.uploadPolicy ==
              (record.uploadPolicy.empty() ? "dialog" : valid_utf8(record.uploadPolicy)),
          "the policy");
  require(read.hangDurationMs == record.hangDurationMs, "a signed number");
  require(read.retryCount == record.retryCount, "a short number");
  require(read.ownerPid == record.ownerPid, "an unsigned number");
  for (std::string& text : record.attachments) text = valid_utf8(text);
  for (auto& [name, text] : record.attributes) text = valid_utf8(text);
  require(read.attachments == record.attachments, "a list");
  require(read.attributes == record.attributes, "a table");
}

}  // namespace
}  // namespace wrenfall

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  wrenfall::read_any_text({reinterpret_cast<const char*>(data), size});
  FuzzedDataProvider input(data, size);
  wrenfall::write_any_fields(input);
  return 0;
}
