#ifndef WRENFALL_REPORT_STORE_LAYOUT_H_
#define WRENFALL_REPORT_STORE_LAYOUT_H_

// The main file of a report, by its kind: beside the record the one file that a report folder
// always holds.
namespace wrenfall {

inline constexpr char kReportDumpFile[] = "minidump.dmp";
inline constexpr char kStructuredJsonFile[] = "wfCrashReport.json";
inline constexpr char kStructuredXmlFile[] = "wfCrashReport.xml";
inline constexpr char kFeedbackFile[] = "feedback.json";
inline constexpr char kAsanReportFile[] = "wfAsanReport.xml";

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_LAYOUT_H_
