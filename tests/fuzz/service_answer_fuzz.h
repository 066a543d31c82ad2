#ifndef WRENFALL_TESTS_FUZZ_SERVICE_ANSWER_FUZZ_H_
#define WRENFALL_TESTS_FUZZ_SERVICE_ANSWER_FUZZ_H_

#include <nlohmann/json.hpp>
#include <string>

#include "tests/fuzz/property.h"
#include "upload/service_responses.h"

namespace wrenfall {

// The first byte chooses a status, most often 200; the rest is the body.
inline HttpResponse answer_from(const uint8_t* data, size_t size) {
  static constexpr int32_t kStatuses[] = {200, 201, 204, 302, 400, 404, 413, 429, 500, 503, 599};
  const size_t choice = size == 0 ? 0 : data[0] - size_t{'0'};
  HttpResponse response;
  response.result = WRENFALL_OK;
  response.status = choice < std::size(kStatuses) ? kStatuses[choice] : 200;
  if (size > 1) response.body.assign(reinterpret_cast<const char*>(data) + 1, size - 1);
  return response;
}

// Where the upload cannot go on, the outcome says why.
inline void require_failure(const UploadResult& outcome, const HttpResponse& response) {
  require(outcome.result == WRENFALL_ERROR_REJECTED || outcome.result == WRENFALL_ERROR_SERVICE,
          "a refusal is the service's");
  require(!outcome.error.empty(), "a refusal has a text");
  require(outcome.http_status == response.status, "a refusal has the status");
}

inline bool says_success(const nlohmann::json& answer) {
  const auto status = answer.is_object() ? answer.find("status") : answer.end();
  return status != answer.end() && *status == "success";
}

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_FUZZ_SERVICE_ANSWER_FUZZ_H_
