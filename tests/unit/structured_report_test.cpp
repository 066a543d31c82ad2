#include <gtest/gtest.h>

#include "report/crash_signature.h"
#include "report/structured_report_xml.h"

namespace wrenfall {
namespace {

TEST(StructuredReport, NamesTheFirstCrashingThread) {
  const ReportFrame f{"f", "a", 12, "", 0};
  const ReportFrame g{"g", "", 0xFFFFFFFF, "m", 1};
  const struct {
    std::vector<ReportThread> threads;
    const char* signature;
    bool has_function;
  } rows[] = {
      {{}, "", false},
      {{{"t", false, {f}}}, "", false},
      // The signature is of the first thread, whether it has frames or not.
      {{{"t", true, {}}, {"u", true, {f}}}, "", true},
      {{{"t", false, {g}}, {"u", true, {f}}, {"v", true, {g}}}, "f|a|12", true},
      {{{"t", true, {f, g}}}, "f|a|12\ng||-1", true},
  };
  for (const auto& row : rows) {
    StructuredReport report;
    report.threads = row.threads;
    EXPECT_EQ(crash_signature(report), row.signature);
    EXPECT_EQ(structured_report_xml(report).find("<func><![CDATA[f]]></func>") != std::string::npos,
              row.has_function);
  }
}

}  // namespace
}  // namespace wrenfall
