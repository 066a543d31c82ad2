#include "report/store/crash_data.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

#include "report/store/layout.h"
#include "report/store/report_result.h"
#include "support/json_text.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

// The keys of the record's texts.
const char kTexts[] =
    "database appName appVersion crashTypeId key user email userDescription notes environment "
    "captureBackend reportKind dumpFile dumpType dumpFormat crashpadReportId crashTime "
    "signalOrExceptionCode platform arch osVersion crashSignature crashSignatureHash "
    "uploadPolicy themeDir locale sdkVersion monitorVersion";

CrashData other_record() {
  CrashData data;
  data.schemaVersion = 3;
  data.notes = data.uploadPolicy = "other";
  data.attributes = {{"b", "2"}, {"B", ""}};
  data.attachments = {"z"};
  data.openSupportUrl = false;
  data.ownerPid = UINT64_MAX;
  return data;
}

// Which member has which key is seen in the records that other programs read.
TEST(CrashData, TextHasEveryMemberSortedAndIndented) {
  std::map<std::string, std::string> members = {
      {"schemaVersion", "2"},
      {"hangDurationMs", "0"},
      {"openSupportUrl", "true"},
      {"retryCount", "0"},
      {"ownerPid", "0"},
      {"processId", "0"},
      {"quietMode", "false"},
      {"attributes", "{\n    \"B\": \"\",\n    \"b\": \"é\"\n  }"},
      {"attachments", "[\n    \"z\",\n    \"a\"\n  ]"}};
  std::istringstream keys(kTexts);
  for (std::string key; keys >> key;) members[key] = "\"" + key + " é\\\\\"";
  ASSERT_EQ(members.size(), 37u);
  std::string expected;
  for (const auto& [key, value] : members) {
    expected += (expected.empty() ? "{\n  \"" : ",\n  \"") + key + "\": " + value;
  }
  CrashData data;
  ASSERT_TRUE(parse(expected + "\n}", data));
  const TempDir dir;
  ASSERT_TRUE(save(dir.path(), data));
  EXPECT_EQ(file_text(dir / "WrenfallCrashData.json"), expected + "\n}");
  CrashData loaded = other_record();
  ASSERT_TRUE(load(dir.path(), loaded));
  EXPECT_EQ(serialize(loaded), expected + "\n}");
}

TEST(CrashData, QuietModeFollowsThePolicyAlone) {
  for (const std::string policy : {"quiet", "Quiet", "quiet ", "manual", "dialog"}) {
    const bool quiet = policy == "quiet";
    CrashData data;
    ASSERT_TRUE(parse("{\"quietMode\":" + std::string(quiet ? "false" : "true") +
                          ",\"uploadPolicy\":\"" + policy + "\"}",
                      data));
    EXPECT_EQ(data.uploadPolicy, policy);
    EXPECT_EQ(parse_json(serialize(data))["quietMode"], quiet) << policy;
  }
}

TEST(CrashData, MistypedMembersKeepTheirDefaults) {
  // The text, and a well-typed one of the same record.
  const std::pair<const char*, const char*> cases[] = {
      {R"({"retryCount":"1","schemaVersion":null,"hangDurationMs":[1],"ownerPid":{}})", "{}"},
      {R"({"retryCount":true,"schemaVersion":false})", R"({"retryCount":1,"schemaVersion":0})"},
      {R"({"retryCount":2.9,"hangDurationMs":-2.9})", R"({"retryCount":2,"hangDurationMs":-2})"},
      {R"({"ownerPid":true,"processId":12.5})", R"({"ownerPid":1,"processId":12})"},
      {R"({"ownerPid":1.5e19})", R"({"ownerPid":15000000000000000000})"},
      // Numbers that do not fit.
      {R"({"ownerPid":-1,"processId":-0.5e10})", "{}"},
      {R"({"ownerPid":18446744073709551616,"processId":1e300})", "{}"},
      {R"({"retryCount":2147483648,"schemaVersion":-2147483649})", "{}"},
      {R"({"hangDurationMs":9223372036854775808,"retryCount":1e300})", "{}"},
      {R"({"openSupportUrl":null})", "{}"},
      {R"({"openSupportUrl":"false"})", "{}"},
      {R"({"appName":5,"user":true,"key":null,"notes":{},"email":["e"]})", "{}"},
      {R"({"uploadPolicy":""})", "{}"},
      {R"({"attributes":{"a":"1","b":2,"c":null,"d":{"e":"f"}}})", R"({"attributes":{"a":"1"}})"},
      {R"({"attributes":["a"],"attachments":{"a":"b"}})", "{}"},
      {R"({"attachments":["b",1,"a",null,["c"]]})", R"({"attachments":["b","a"]})"},
      {R"({"AppName":"x","unknown":1,"user":"u"})", R"({"user":"u"})"}};
  for (const auto& [text, well_typed] : cases) {
    CrashData expected, data = other_record();
    ASSERT_TRUE(parse(well_typed, expected));
    ASSERT_TRUE(parse(text, data)) << text;
    EXPECT_EQ(serialize(data), serialize(expected)) << text;
  }
  CrashData data = other_record();
  ASSERT_TRUE(parse("{}", data));
  EXPECT_EQ(serialize(data), serialize(CrashData()));
  ASSERT_TRUE(parse(R"({"schemaVersion":99,"openSupportUrl":false})", data));
  EXPECT_EQ(data.schemaVersion, 99);
  EXPECT_FALSE(data.openSupportUrl);
}

TEST(CrashData, DeepNestingIsOnlyAMistypedMember) {
  const size_t depth = 200000;
  const std::string nested = std::string(depth, '[') + std::string(depth, ']');
  CrashData data;
  EXPECT_TRUE(parse("{\"attributes\":" + nested + ",\"user\":\"u\"}", data));
  EXPECT_EQ(data.user, "u");
  EXPECT_FALSE(parse(std::string(depth, '['), data));
}

TEST(CrashData, FoldersWithoutAReadableRecord) {
  const TempDir dir;
  put_file(dir / "file", "x");
  std::filesystem::create_directories(dir.path() / "folder" / kCrashDataFile);
  for (const char* name : {"missing", "file", "folder"}) {
    CrashData data = other_record();
    EXPECT_FALSE(load(dir / name, data)) << name;
    EXPECT_EQ(serialize(data), serialize(other_record()));
  }
  EXPECT_FALSE(save(dir / "file", CrashData())) << "a file has the folder's name";
  EXPECT_FALSE(save(dir / "folder", CrashData()));
}

TEST(ReportResult, NamesTheOutcome) {
  const std::tuple<wrenfall_result, std::string, std::string> rows[] = {
      {WRENFALL_OK, "0", "uploaded"},
      {WRENFALL_ERROR_REJECTED, "12", "rejected"},
      {WRENFALL_ERROR_SERVICE, "11", "failed"}};
  for (const auto& [result, code, status] : rows) {
    const TempDir dir;
    UploadResult upload;
    upload.result = result;
    upload.http_status = 7;
    upload.crash_id = 8;
    upload.stack_key_id = -9;
    upload.info_url = "i";
    ASSERT_TRUE(write_result(dir.path(), make_report_result(upload)));
    EXPECT_EQ(file_text(dir / kResultFile),
              R"({"cancelled":false,"crashId":8,"errorCode":)" + code +
                  R"(,"httpStatus":7,"infoUrl":"i","schemaVersion":2,"stackKeyId":-9,"status":")" +
                  status + "\"}");
  }
}

}  // namespace
}  // namespace wrenfall
