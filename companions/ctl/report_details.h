#ifndef WRENFALL_COMPANIONS_CTL_REPORT_DETAILS_H_
#define WRENFALL_COMPANIONS_CTL_REPORT_DETAILS_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "ctl/store_scan.h"
#include "minidump/minidump_reader.h"

namespace wrenfall::ctl {

// Everything that the tool shows of one report.
struct ReportDetails {
  struct File {
    std::string name;
    uint64_t size = 0;
  };

  ReportSummary summary;
  std::vector<File> files;  // in the order of their names
  bool has_dump = false;
  std::optional<minidump::DumpFacts> dump;  // empty when there is none, or it cannot be read
};

// Nothing when there is no such folder.
std::optional<ReportDetails> read_report_details(const std::filesystem::path& folder);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_REPORT_DETAILS_H_
