#include <gtest/gtest.h>

#include <sstream>

#include "report/crash_signature.h"
#include "report/structured_report_json.h"
#include "report/structured_report_xml.h"
#include "support/json_text.h"

namespace wrenfall {
namespace {

std::string xml(const StructuredReport& report) {
  std::ostringstream stream;
  write_structured_report_xml(report, stream);
  return stream.str();
}

std::string json(const StructuredReport& report) {
  std::ostringstream stream;
  write_structured_report_json(report, stream);
  return stream.str();
}

TEST(StructuredReport, EmptyXml) {
  EXPECT_EQ(
      xml({}),
      "<report>\n    <platform></platform>\n    <os></os>\n    <process>\n"
      "        <exception>\n            <code></code>\n            <explanation></explanation>\n"
      "        </exception>\n        <modules numloaded=\"0\">\n        </modules>\n"
      "        <threads count=\"0\">\n        </threads>\n    </process>\n</report>\n");
}

TEST(StructuredReport, SectionsSplitTheirOwnEndMark) {
  const struct {
    const char* function;
    const char* expected;
  } rows[] = {
      {"f<T> & \"g\"", "<![CDATA[f<T> & \"g\"]]>"},
      {"]]>", "<![CDATA[]]]]><![CDATA[>]]>"},
      {"a]]>]]>b", "<![CDATA[a]]]]><![CDATA[>]]]]><![CDATA[>b]]>"},
      {"]]]>", "<![CDATA[]]]]]><![CDATA[>]]>"},
  };
  for (const auto& row : rows) {
    StructuredReport report;
    report.threads.push_back({"t", false, {{row.function, "", 0, "", 0}}});
    EXPECT_NE(xml(report).find("<symbol>" + std::string(row.expected) + "</symbol>"),
              std::string::npos)
        << row.function;
  }
}

TEST(StructuredReport, JsonReadsBackWhateverTheTexts) {
  for (const std::string text :
       {"", "plain", "\"quoted\\", "line\nbreak\ttab", "\x7F", "ü中", "\x01\x1F"}) {
    StructuredReport report;
    report.os = text;
    report.registers = {{text, "first"}, {text, text}};
    report.threads.push_back({text, true, {{text, text, 0xFFFFFFFE, text, ~uint64_t{0}}}});
    report.modules.push_back({text, text, 1, ~uint64_t{0}, text, text});
    const auto parsed = parse_json(json(report));
    ASSERT_TRUE(parsed.is_object()) << text;
    EXPECT_EQ(parsed["os"], text);
    EXPECT_EQ(parsed["exception"]["registers"][text], text);
    EXPECT_EQ(parsed["threads"][0]["frames"][0]["function"], text);
    EXPECT_EQ(parsed["threads"][0]["frames"][0]["line"], -2);
    EXPECT_EQ(parsed["threads"][0]["frames"][0]["address"], "ffffffffffffffff");
    EXPECT_EQ(parsed["modules"][0]["size"], ~uint64_t{0});
    // The same text as the JSON library's own.
    EXPECT_EQ(json(report), json_text(parsed, 2)) << text;
  }
  StructuredReport report;
  report.platform = "a\xFF";
  EXPECT_EQ(parse_json(json(report))["platform"], "a\xEF\xBF\xBD");
  EXPECT_EQ(json({}), json_text(parse_json(json({})), 2));
}

TEST(StructuredReport, SignatureIsOfTheFirstCrashingThread) {
  const ReportFrame f{"f", "a", 12, "", 0};
  const ReportFrame g{"g", "", 0xFFFFFFFF, "m", 1};
  const struct {
    std::vector<ReportThread> threads;
    const char* expected;
  } rows[] = {
      {{}, ""},
      {{{"t", false, {f}}}, ""},
      {{{"t", true, {}}, {"u", true, {f}}}, ""},
      {{{"t", false, {g}}, {"u", true, {f}}, {"v", true, {g}}}, "f|a|12"},
      {{{"t", true, {f, g}}}, "f|a|12\ng||-1"},
  };
  for (const auto& row : rows) {
    StructuredReport report;
    report.threads = row.threads;
    EXPECT_EQ(crash_signature(report), row.expected);
  }
}

}  // namespace
}  // namespace wrenfall
