// What goes over the wire: URLs and forms.
#include <gtest/gtest.h>

#include <set>

#include "upload/http_client.h"
#include "upload/multipart_form.h"
#include "upload/service_urls.h"

namespace wrenfall {
namespace {

const std::string kHost = std::string("https://my db") + WRENFALL_SERVICE_DOMAIN;

CrashData record() {
  CrashData data;
  data.database = "my db";
  data.appName = "My App/2";
  data.appVersion = "1.0+é&";
  data.crashTypeId = "7&x y";
  return data;
}

TEST(ServiceUrls, OnlyNameAndVersionAreEncoded) {
  CrashData data = record();
  EXPECT_EQ(build_upload_url_request(data, 18446744073709551615u),
            kHost +
                "/api/getCrashUploadUrl?appName=My%20App%2F2&appVersion=1.0%2B%C3%A9%26"
                "&crashTypeId=7&x y&crashPostSize=18446744073709551615");
  EXPECT_EQ(build_commit_url(data, "https://b/k?a=b&c=d e", "00ff"),
            kHost +
                "/api/commitS3CrashUpload?appName=My%20App%2F2&appVersion=1.0%2B%C3%A9%26"
                "&s3Key=https://b/k?a=b&c=d e&md5=00ff&crashTypeId=7&x y");
  data.crashTime = "2026-01-31T23:59:59Z";
  EXPECT_EQ(build_commit_url(data, "u", "m"),
            kHost +
                "/api/commitS3CrashUpload?appName=My%20App%2F2&appVersion=1.0%2B%C3%A9%26"
                "&s3Key=u&md5=m&crashTypeId=7&x y&crashTime=2026-01-31T23:59:59Z");
}

TEST(UserAgent, NamesTheVersion) { EXPECT_EQ(make_user_agent(), "Wrenfall/9.0.0-dev"); }

TEST(MultipartForm, HasTheseBytes) {
  MultipartForm form("B");
  EXPECT_EQ(form.content_type(), "multipart/form-data; boundary=B");
  EXPECT_EQ(form.body(), "--B--\r\n");
  form.add("user", "Jane \"é\"\r\n--B--\r\n");
  form.add("empty", "");
  form.add("user", std::string("\0z", 2));
  EXPECT_EQ(form.body(), std::string("--B\r\n"
                                     "Content-Disposition: form-data; name=\"user\"\r\n\r\n"
                                     "Jane \"é\"\r\n--B--\r\n\r\n"
                                     "--B\r\n"
                                     "Content-Disposition: form-data; name=\"empty\"\r\n\r\n"
                                     "\r\n"
                                     "--B\r\n"
                                     "Content-Disposition: form-data; name=\"user\"\r\n\r\n") +
                             std::string("\0z", 2) + "\r\n--B--\r\n");
}

TEST(MultipartForm, BoundariesAreFreshAndUseTheWholeAlphabet) {
  const std::string head = "multipart/form-data; boundary=----WrenfallFormBoundary";
  const std::string alphabet = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  std::set<std::string> seen;
  std::set<char> used;
  // Each of the 62 characters is missing from 200 boundaries of 16 with a probability of 2e-23.
  for (int i = 0; i < 200; ++i) {
    const std::string type = MultipartForm::create().content_type();
    ASSERT_EQ(type.substr(0, head.size()), head);
    const std::string drawn = type.substr(head.size());
    ASSERT_EQ(drawn.size(), 16u) << type;
    ASSERT_EQ(drawn.find_first_not_of(alphabet), std::string::npos) << type;
    ASSERT_TRUE(seen.insert(drawn).second) << "twice: " << type;
    used.insert(drawn.begin(), drawn.end());
  }
  EXPECT_EQ(used.size(), alphabet.size());
}

}  // namespace
}  // namespace wrenfall
