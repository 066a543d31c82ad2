// An answer of the service, to the first call of an upload and to the one that commits it.
#include "support/json_text.h"
#include "tests/fuzz/property.h"
#include "upload/retry_after.h"
#include "upload/service_responses.h"

namespace wrenfall {
namespace {

// The first byte chooses a status, most often 200; the rest is the body.
HttpResponse answer_from(const uint8_t* data, size_t size) {
  static constexpr int32_t kStatuses[] = {200, 201, 204, 302, 400, 404, 413, 429, 500, 503, 599};
  const size_t choice = size == 0 ? 0 : data[0] - size_t{'0'};
  HttpResponse response;
  response.result = WRENFALL_OK;
  response.status = choice < std::size(kStatuses) ? kStatuses[choice] : 200;
  if (size > 1) response.body.assign(reinterpret_cast<const char*>(data) + 1, size - 1);
  return response;
}

// Where the upload cannot go on, the outcome says why.
void require_failure(const UploadResult& outcome, const HttpResponse& response) {
  require(outcome.result == WRENFALL_ERROR_REJECTED || outcome.result == WRENFALL_ERROR_SERVICE,
          "a refusal is the service's");
  require(!outcome.error.empty(), "a refusal has a text");
  require(outcome.http_status == response.status, "a refusal has the status");
}

bool has_id_that_is_no_number(const nlohmann::json& answer) {
  for (const char* const key : {"stackKeyId", "crashId", "messageId"}) {
    const auto id = answer.find(key);
    if (id != answer.end() && !id->is_number()) return true;
  }
  return false;
}

void read_answer(const HttpResponse& response) {
  const int64_t wait = parse_retry_after(response.body, 1'800'000'000);
  require(wait >= 0 && wait <= 86400, "no answer makes a report wait for more than a day");

  const nlohmann::json answer = parse_json(response.body);
  const bool succeeds = response.status == 200 && answer.is_object() &&
                        answer.value("/status"_json_pointer, nlohmann::json()) == "success";

  UploadResult outcome;
  std::string location = "unchanged";
  const bool goes_on = parse_upload_location_response(response, location, outcome);
  require(!goes_on || (succeeds && answer.contains("url")), "only a success goes on");
  require(location == (goes_on ? answer["url"] : "unchanged"), "the location is taken as it is");
  const bool is_one_line = std::none_of(location.begin(), location.end(),
                                        [](unsigned char c) { return c < 0x20 || c == 0x7F; });
  require(is_one_line, "a location cannot cut or split the next request");
  if (!goes_on) require_failure(outcome, response);

  outcome = {};
  const bool committed = parse_commit_response(response, outcome);
  require(committed == (succeeds && !has_id_that_is_no_number(answer)),
          "nothing but success is a success");
  if (!committed) require_failure(outcome, response);
  require(!committed || outcome.result == WRENFALL_OK, "the result of a success");
}

}  // namespace
}  // namespace wrenfall

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  wrenfall::read_answer(wrenfall::answer_from(data, size));
  return 0;
}
