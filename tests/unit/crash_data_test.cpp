#include "report/store/crash_data.h"

#include <gtest/gtest.h>

#include <functional>

#include "report/store/layout.h"
#include "report/store/report_result.h"
#include "support/json_text.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

// Every text of the record by its key.
const std::pair<const char*, std::string CrashData::*> kTexts[] = {
#define TEXT(name) \
  { #name, &CrashData::name }
    TEXT(database),
    TEXT(appName),
    TEXT(appVersion),
    TEXT(crashTypeId),
    TEXT(key),
    TEXT(user),
    TEXT(email),
    TEXT(userDescription),
    TEXT(notes),
    TEXT(environment),
    TEXT(captureBackend),
    TEXT(reportKind),
    TEXT(dumpFile),
    TEXT(dumpType),
    TEXT(dumpFormat),
    TEXT(crashpadReportId),
    TEXT(crashTime),
    TEXT(signalOrExceptionCode),
    TEXT(platform),
    TEXT(arch),
    TEXT(osVersion),
    TEXT(crashSignature),
    TEXT(crashSignatureHash),
    TEXT(uploadPolicy),
    TEXT(themeDir),
    TEXT(locale),
    TEXT(sdkVersion),
    TEXT(monitorVersion)
#undef TEXT
};

// Every field away from its default, and no two texts alike.
CrashData full_record() {
  CrashData data;
  for (const auto& [key, field] : kTexts) data.*field = std::string(key) + "\n\"\\ é試😀";
  data.schemaVersion = 3;
  data.attributes = {{"b", "2"}, {"", "no name"}, {"B", ""}, {"é", "ü"}};
  data.attachments = {"z", "a", "", "z"};
  data.hangDurationMs = INT64_MIN;
  data.openSupportUrl = false;
  data.retryCount = INT32_MIN;
  data.ownerPid = UINT64_MAX;
  data.processId = UINT64_MAX - 1;
  return data;
}

void expect_equal(const CrashData& a, const CrashData& b) {
  for (const auto& [key, field] : kTexts) EXPECT_EQ(a.*field, b.*field) << key;
  EXPECT_EQ(a.schemaVersion, b.schemaVersion);
  EXPECT_EQ(a.attributes, b.attributes);
  EXPECT_EQ(a.attachments, b.attachments);
  EXPECT_EQ(a.hangDurationMs, b.hangDurationMs);
  EXPECT_EQ(a.openSupportUrl, b.openSupportUrl);
  EXPECT_EQ(a.retryCount, b.retryCount);
  EXPECT_EQ(a.ownerPid, b.ownerPid);
  EXPECT_EQ(a.processId, b.processId);
}

TEST(CrashData, TextHasEveryMemberSortedAndIndented) {
  CrashData data;
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
  data.attributes = {{"b", "é"}, {"B", ""}};
  data.attachments = {"z", "a"};
  for (const auto& [key, field] : kTexts) {
    data.*field = std::string(key) + " é\\";
    members[key] = "\"" + std::string(key) + " é\\\\\"";
  }
  ASSERT_EQ(members.size(), 37u);
  std::string expected;
  for (const auto& [key, value] : members) {
    expected += (expected.empty() ? "{\n  \"" : ",\n  \"") + key + "\": " + value;
  }
  const TempDir dir;
  ASSERT_TRUE(save(dir.path(), data));
  EXPECT_EQ(file_text(dir / "WrenfallCrashData.json"), expected + "\n}");
  CrashData loaded = full_record();
  ASSERT_TRUE(load(dir.path(), loaded));
  expect_equal(loaded, data);
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
  const auto nothing = [](CrashData&) {};
  // The text, and how the record then differs from the default.
  const std::pair<const char*, std::function<void(CrashData&)>> cases[] = {
      {"{}", nothing},
      {R"({"retryCount":"1","schemaVersion":null,"hangDurationMs":[1],"ownerPid":{}})", nothing},
      {R"({"retryCount":true})", [](CrashData& d) { d.retryCount = 1; }},
      {R"({"schemaVersion":false})", [](CrashData& d) { d.schemaVersion = 0; }},
      {R"({"schemaVersion":99})", [](CrashData& d) { d.schemaVersion = 99; }},
      {R"({"retryCount":2.9})", [](CrashData& d) { d.retryCount = 2; }},
      {R"({"hangDurationMs":-2.9})", [](CrashData& d) { d.hangDurationMs = -2; }},
      {R"({"ownerPid":true})", [](CrashData& d) { d.ownerPid = 1; }},
      {R"({"processId":12.5})", [](CrashData& d) { d.processId = 12; }},
      {R"({"ownerPid":1.5e19})", [](CrashData& d) { d.ownerPid = 15000000000000000000u; }},
      // Numbers that do not fit.
      {R"({"ownerPid":-1,"processId":-0.5e10})", nothing},
      {R"({"ownerPid":18446744073709551616,"processId":1e300})", nothing},
      {R"({"retryCount":2147483648,"schemaVersion":-2147483649})", nothing},
      {R"({"hangDurationMs":9223372036854775808,"retryCount":1e300})", nothing},
      {R"({"openSupportUrl":null})", nothing},
      {R"({"openSupportUrl":0})", nothing},
      {R"({"openSupportUrl":"false"})", nothing},
      {R"({"openSupportUrl":false})", [](CrashData& d) { d.openSupportUrl = false; }},
      {R"({"appName":5,"user":true,"key":null,"notes":{},"email":["e"]})", nothing},
      {R"({"uploadPolicy":""})", nothing},
      {R"({"uploadPolicy":7})", nothing},
      {R"({"attributes":{"a":"1","b":2,"c":null,"d":{"e":"f"}}})",
       [](CrashData& d) {
         d.attributes = {{"a", "1"}};
       }},
      {R"({"attributes":["a"],"attachments":{"a":"b"}})", nothing},
      {R"({"attributes":"a","attachments":"b"})", nothing},
      {R"({"attachments":["b",1,"a",null,["c"]]})",
       [](CrashData& d) {
         d.attachments = {"b", "a"};
       }},
      {R"({"AppName":"x","unknown":1,"user":"u"})", [](CrashData& d) { d.user = "u"; }}};
  for (const auto& [text, change] : cases) {
    SCOPED_TRACE(text);
    CrashData expected;
    change(expected);
    CrashData data = full_record();
    ASSERT_TRUE(parse(text, data));
    expect_equal(data, expected);
  }
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
    CrashData data = full_record();
    EXPECT_FALSE(load(dir / name, data)) << name;
    expect_equal(data, full_record());
  }
  EXPECT_FALSE(save(dir / "file", CrashData())) << "a file has the folder's name";
  EXPECT_FALSE(save(dir / "folder", CrashData()));
}

TEST(ReportResult, NamesTheOutcome) {
  const std::pair<wrenfall_result, std::string> rows[] = {
      {WRENFALL_OK,
       R"(0,"httpStatus":7,"infoUrl":"i","schemaVersion":2,"stackKeyId":-9,"status":"uploaded"})"},
      {WRENFALL_ERROR_REJECTED,
       R"(12,"httpStatus":7,"infoUrl":"i","schemaVersion":2,"stackKeyId":-9,"status":"rejected"})"},
      {WRENFALL_ERROR_SERVICE,
       R"(11,"httpStatus":7,"infoUrl":"i","schemaVersion":2,"stackKeyId":-9,"status":"failed"})"}};
  for (const auto& [result, text] : rows) {
    const TempDir dir;
    UploadResult upload;
    upload.result = result;
    upload.http_status = 7;
    upload.crash_id = 8;
    upload.stack_key_id = -9;
    upload.info_url = "i";
    ASSERT_TRUE(write_result(dir.path(), make_report_result(upload)));
    EXPECT_EQ(file_text(dir / kResultFile),
              R"({"cancelled":false,"crashId":8,"errorCode":)" + text);
  }
}

}  // namespace
}  // namespace wrenfall
