#include "upload/service_responses.h"

#include <algorithm>

#include "support/json_text.h"
#include "support/text.h"

namespace wrenfall {
namespace {

using nlohmann::json;

constexpr int32_t kHttpOk = 200;
constexpr int32_t kHttpBadRequest = 400;
constexpr int32_t kHttpPayloadTooLarge = 413;

bool fail(UploadResult& outcome, wrenfall_result result, std::string error) {
  outcome.result = result;
  outcome.error = std::move(error);
  return false;
}

bool fail_transport(UploadResult& outcome, const char* call, const HttpResponse& response) {
  return fail(outcome, WRENFALL_ERROR_TRANSPORT, std::string(call) + ": " + response.error);
}

// As much of what the service answered as error texts and log lines quote; whole characters of UTF-8.
std::string excerpt(const std::string& answer) {
  constexpr size_t kMaxQuotedBytes = 4096;
  return std::string(cut_utf8(answer, kMaxQuotedBytes));
}

std::string status_and_body(const HttpResponse& response) {
  return std::to_string(response.status) + ": " + excerpt(response.body);
}

// A string member of an object; `fallback` when it is missing or of another type.
std::string string_member(const json& object, const char* key, const char* fallback) {
  const auto member = object.find(key);
  return member != object.end() && member->is_string() ? member->get<std::string>() : fallback;
}

// A control character would cut a URL, or begin another header.
bool is_usable(const std::string& url) {
  return std::none_of(url.begin(), url.end(),
                      [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
}

void read_id(const json& object, const char* key, int64_t& id) {
  const auto member = object.find(key);
  if (member == object.end()) return;
  // The JSON library's conversion takes every integer as it is, one above 2^63-1 as its bit pattern,
  // and raises its type error for everything but a number. It leaves a floating-point number beyond
  // the target's range undefined: one that does not fit counts as no id.
  id = member->is_number_float() ? json_integer(*member).value_or(0) : member->get<int64_t>();
}

}  // namespace

bool parse_upload_location_response(const HttpResponse& response, std::string& upload_url,
                                    UploadResult& outcome) {
  outcome.http_status = response.status;
  if (response.result != WRENFALL_OK) return fail_transport(outcome, "getCrashUploadUrl", response);
  if (response.status == kHttpTooManyRequests) {
    return fail(outcome, WRENFALL_ERROR_REJECTED, "getCrashUploadUrl: rate limited");
  }
  if (response.status != kHttpOk || response.body.empty()) {
    const bool refused =
        response.status == kHttpBadRequest || response.status == kHttpPayloadTooLarge;
    return fail(outcome, refused ? WRENFALL_ERROR_REJECTED : WRENFALL_ERROR_SERVICE,
                "getCrashUploadUrl returned " + status_and_body(response));
  }
  const json answer = parse_json(response.body);
  if (answer.is_object() && string_member(answer, "status", "failure") == "success") {
    const auto url = answer.find("url");
    if (url != answer.end() && url->is_string() && is_usable(url->get_ref<const std::string&>())) {
      upload_url = url->get<std::string>();
      return true;
    }
  }
  return fail(outcome, WRENFALL_ERROR_REJECTED,
              "getCrashUploadUrl rejected the report: " + excerpt(response.body));
}

bool parse_put_response(const HttpResponse& response, UploadResult& outcome) {
  outcome.http_status = response.status;
  if (response.result != WRENFALL_OK) return fail_transport(outcome, "PUT", response);
  if (response.status == kHttpOk) return true;
  return fail(outcome, WRENFALL_ERROR_SERVICE, "PUT returned " + status_and_body(response));
}

bool parse_commit_response(const HttpResponse& response, UploadResult& outcome) {
  outcome.http_status = response.status;
  if (response.result != WRENFALL_OK) return fail_transport(outcome, "commit", response);
  if (response.status != kHttpOk) {
    return fail(outcome, WRENFALL_ERROR_SERVICE, "commit returned " + status_and_body(response));
  }
  const json answer = parse_json(response.body);
  if (answer.is_discarded()) {
    return fail(outcome, WRENFALL_ERROR_SERVICE,
                "commit response is not JSON: " + excerpt(response.body));
  }
  if (answer.is_object()) {
    outcome.status = string_member(answer, "status", "");
    try {
      read_id(answer, "stackKeyId", outcome.stack_key_id);
      read_id(answer, "crashId", outcome.crash_id);
      read_id(answer, "messageId", outcome.message_id);
    } catch (const json::type_error& error) {
      // Nothing else in the answer counts then.
      outcome = {};
      outcome.http_status = response.status;
      return fail(outcome, WRENFALL_ERROR_SERVICE, error.what());
    }
    outcome.info_url = string_member(answer, "infoUrl", "");
  }
  if (outcome.status != "success") {
    return fail(outcome, WRENFALL_ERROR_SERVICE, "commit status: " + excerpt(outcome.status));
  }
  outcome.result = WRENFALL_OK;
  return true;
}

}  // namespace wrenfall
