// The service's answer to the call that commits an upload.
#include "support/json_text.h"
#include "tests/fuzz/service_answer_fuzz.h"

namespace wrenfall {
namespace {

constexpr const char* kIds[] = {"stackKeyId", "crashId", "messageId"};

bool has_id_that_is_no_number(const nlohmann::json& answer) {
  if (!answer.is_object()) return false;
  for (const char* const key : kIds) {
    const auto id = answer.find(key);
    if (id != answer.end() && !id->is_number()) return true;
  }
  return false;
}

void require_ids(const nlohmann::json& answer, const UploadResult& outcome) {
  const int64_t ids[] = {outcome.stack_key_id, outcome.crash_id, outcome.message_id};
  for (size_t i = 0; i < std::size(kIds); ++i) {
    const auto id = answer.find(kIds[i]);
    int64_t expected = id == answer.end() ? 0 : json_integer(*id).value_or(0);
    if (id != answer.end() && id->is_number_unsigned()) expected = id->get<int64_t>();
    require(ids[i] == expected, "an id is taken as it is");
  }
}

}  // namespace
}  // namespace wrenfall

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wrenfall;
  const HttpResponse response = answer_from(data, size);
  const nlohmann::json answer = parse_json(response.body);
  UploadResult outcome;
  const bool committed = parse_commit_response(response, outcome);
  require(committed ==
              (response.status == 200 && says_success(answer) && !has_id_that_is_no_number(answer)),
          "nothing but success is a success");
  if (!committed) {
    require_failure(outcome, response);
  } else {
    require(outcome.result == WRENFALL_OK, "the result of a success");
    require_ids(answer, outcome);
  }
  return 0;
}
