#ifndef WRENFALL_REPORT_STRUCTURED_REPORT_H_
#define WRENFALL_REPORT_STRUCTURED_REPORT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace wrenfall {

// A report of crash facts that the host has collected itself. Plain values; texts are UTF-8 as the
// host gave them.

struct ReportFrame {
  std::string function;
  std::string file;
  uint32_t line = 0;
  std::string module;
  uint64_t address = 0;  // 0 is unknown
};

struct ReportThread {
  std::string name;
  bool crashing = false;
  std::vector<ReportFrame> frames;  // innermost first
};

struct ReportModule {
  std::string name;
  std::string path;
  uint64_t base = 0;
  uint64_t size = 0;
  std::string fileVersion;
  std::string productVersion;
};

struct StructuredReport {
  uint32_t format = 0;
  std::string platform;
  std::string os;
  std::string exception_code;
  std::string exception_explanation;
  std::vector<std::pair<std::string, std::string>> registers;
  std::vector<ReportThread> threads;
  std::vector<ReportModule> modules;
  std::vector<std::string> attachments;  // paths
};

// The first thread that is marked crashing; null when there is none.
const ReportThread* crashing_thread(const StructuredReport& report);

// About as many bytes as the report takes as JSON or XML, so that its text need not grow piece by
// piece.
size_t estimated_text_size(const StructuredReport& report);

// A line as the reports write it: signed, so that a host's negative number keeps its sign.
inline int32_t signed_line(uint32_t line) { return static_cast<int32_t>(line); }

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STRUCTURED_REPORT_H_
