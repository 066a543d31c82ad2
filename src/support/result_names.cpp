#include "support/result_names.h"

#include <algorithm>
#include <iterator>

namespace wrenfall {
namespace {

struct ResultText {
  wrenfall_result result;
  const char* name;
  const char* meaning;
};

constexpr ResultText kUnknown = {-1, "unknown result", ""};

constexpr ResultText kResults[] = {
    {WRENFALL_OK, "WRENFALL_OK", "success"},
    {WRENFALL_ERROR_INVALID_ARGUMENT, "WRENFALL_ERROR_INVALID_ARGUMENT",
     "something that is required is missing"},
    {WRENFALL_ERROR_ALREADY_INITIALIZED, "WRENFALL_ERROR_ALREADY_INITIALIZED",
     "the library is initialized already"},
    {WRENFALL_ERROR_NOT_INITIALIZED, "WRENFALL_ERROR_NOT_INITIALIZED",
     "the library is not initialized"},
    {WRENFALL_ERROR_MONITOR_NOT_FOUND, "WRENFALL_ERROR_MONITOR_NOT_FOUND",
     "WrenfallMonitor.exe was not found"},
    {WRENFALL_ERROR_HANDLER_START_FAILED, "WRENFALL_ERROR_HANDLER_START_FAILED",
     "the capture handler could not be started"},
    {WRENFALL_ERROR_REPORTER_NOT_FOUND, "WRENFALL_ERROR_REPORTER_NOT_FOUND",
     "WrenfallReporter.exe was not found"},
    {WRENFALL_ERROR_FILE, "WRENFALL_ERROR_FILE",
     "a file could not be read, written, copied or removed"},
    {WRENFALL_ERROR_LIMIT_REACHED, "WRENFALL_ERROR_LIMIT_REACHED", "a limit was reached"},
    {WRENFALL_ERROR_HANG_DETECTION_OFF, "WRENFALL_ERROR_HANG_DETECTION_OFF",
     "hang detection is not on"},
    {WRENFALL_ERROR_TRANSPORT, "WRENFALL_ERROR_TRANSPORT", "the service gave no answer"},
    {WRENFALL_ERROR_SERVICE, "WRENFALL_ERROR_SERVICE",
     "the service answered with a failure, or with something that cannot be used"},
    {WRENFALL_ERROR_REJECTED, "WRENFALL_ERROR_REJECTED",
     "the service rejected the report, or asked to slow down"},
    {WRENFALL_ERROR_NO_CONSENT, "WRENFALL_ERROR_NO_CONSENT", "the user has not agreed to sending"},
};

const ResultText& text_of(wrenfall_result result) {
  const auto* const found =
      std::find_if(std::begin(kResults), std::end(kResults),
                   [result](const ResultText& text) { return text.result == result; });
  return found == std::end(kResults) ? kUnknown : *found;
}

}  // namespace

const char* result_name(wrenfall_result result) { return text_of(result).name; }

const char* result_meaning(wrenfall_result result) { return text_of(result).meaning; }

std::string name_and_number(wrenfall_result result) {
  return std::string(result_name(result)) + " (" + std::to_string(result) + ")";
}

std::string describe_result(wrenfall_result result) {
  const std::string meaning = result_meaning(result);
  return meaning.empty() ? name_and_number(result) : name_and_number(result) + ": " + meaning;
}

}  // namespace wrenfall
