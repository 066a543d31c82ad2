// The service's answer to the first call of an upload.
#include "support/json_text.h"
#include "tests/fuzz/service_answer_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wrenfall;
  const HttpResponse response = answer_from(data, size);
  UploadResult outcome;
  std::string location = "unchanged";
  const bool goes_on = parse_upload_location_response(response, location, outcome);
  const nlohmann::json answer = parse_json(response.body);
  const auto url = answer.is_object() ? answer.find("url") : answer.end();
  const bool names_location = url != answer.end() && url->is_string();
  require(goes_on == (response.status == 200 && says_success(answer) && names_location),
          "the upload goes on with a location alone");
  if (goes_on) {
    require(location == url->get<std::string>(), "the location is taken as it is");
  } else {
    require(location == "unchanged", "no location comes of a refusal");
    require_failure(outcome, response);
  }
  return 0;
}
