// The URLs of the calls to the service.
#include "upload/service_urls.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstring>
#include <string_view>

#include "tests/fuzz/property.h"

namespace wrenfall {
namespace {

// What RFC 3986 has in a URL, its parts' own rules aside.
bool is_url_character(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         (c != '\0' && std::strchr("-._~:/?#[]@!$&'()*+,;=%", c) != nullptr);
}

void require_url(const std::string& url) {
  for (size_t i = 0; i < url.size(); ++i) {
    require(is_url_character(url[i]), "a URL holds its own characters alone");
    if (url[i] != '%') continue;
    const auto is_hex = [&url](size_t at) {
      return at < url.size() && std::isxdigit(url[at]) != 0;
    };
    require(is_hex(i + 1) && is_hex(i + 2), "a percent sign begins an escape");
  }
}

// The value of the first parameter of the name, decoded.
std::string parameter(const std::string& url, const std::string& name) {
  const size_t question = url.find('?');
  size_t at = url.find(name + "=", question);
  require(at != std::string::npos && (url[at - 1] == '?' || url[at - 1] == '&'), "a parameter");
  std::string value;
  for (at += name.size() + 1; at < url.size() && url[at] != '&'; ++at) {
    if (url[at] == '%') {
      value += static_cast<char>(std::stoi(url.substr(at + 1, 2), nullptr, 16));
      at += 2;
    } else {
      value += url[at];
    }
  }
  return value;
}

bool ends_with(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// Texts of the kind that the values which go in as they are have.
std::string plain_text(FuzzedDataProvider& input, std::string_view alphabet) {
  std::string text = input.ConsumeRandomLengthString(40);
  for (char& c : text) c = alphabet[static_cast<unsigned char>(c) % alphabet.size()];
  return text;
}

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kNames = "abcdefghijklmnopqrstuvwxyz0123456789-";

}  // namespace
}  // namespace wrenfall

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wrenfall;
  FuzzedDataProvider input(data, size);
  CrashData record;
  record.database = plain_text(input, kNames);
  record.crashTypeId = plain_text(input, kDigits);
  if (input.ConsumeBool()) record.crashTime = "2026-01-31T23:59:59Z";
  const std::string location =
      "https://" + plain_text(input, kNames) + "/" + plain_text(input, kNames);
  const auto archive_size = input.ConsumeIntegral<uint64_t>();
  record.appName = input.ConsumeRandomLengthString();
  record.appVersion = input.ConsumeRemainingBytesAsString();
  const std::string md5(32, 'a');

  const std::string first = build_upload_url_request(record, archive_size);
  const std::string commit = build_commit_url(record, location, md5);
  const std::string host = "https://" + record.database + WRENFALL_SERVICE_DOMAIN + "/api/";
  for (const std::string& url : {first, commit}) {
    require_url(url);
    require(url.compare(0, host.size(), host) == 0, "no value changes the host");
    require(url.find('#') == std::string::npos, "no value begins a fragment");
    require(parameter(url, "appName") == record.appName, "the name comes back to the byte");
    require(parameter(url, "appVersion") == record.appVersion, "the version too");
    require(parameter(url, "crashTypeId") == record.crashTypeId, "no value hides another");
  }
  require(ends_with(first, "&crashPostSize=" + std::to_string(archive_size)), "the size");
  require(parameter(commit, "s3Key") == location, "the location");
  require(parameter(commit, "md5") == md5, "the digest");
  return 0;
}
