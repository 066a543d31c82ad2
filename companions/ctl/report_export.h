#ifndef WRENFALL_COMPANIONS_CTL_REPORT_EXPORT_H_
#define WRENFALL_COMPANIONS_CTL_REPORT_EXPORT_H_

#include <wrenfall/wrenfall.h>

#include <cstddef>
#include <filesystem>
#include <string>

namespace wrenfall::ctl {

struct ExportOutcome {
  wrenfall_result result = WRENFALL_OK;
  std::string error;  // why it failed, a sentence
  size_t files = 0;   // how many were packed
};

// Packs the files of a report folder, its record and its result among them, into a ZIP file. A file that
// is there already is replaced when `replace` says so, and only by a complete one. Nothing else may send
// or delete the report meanwhile. Throws DirectoryIterationError, and bad_alloc where there is no memory
// for a file.
ExportOutcome export_report(const std::filesystem::path& folder,
                            const std::filesystem::path& archive, bool replace);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_REPORT_EXPORT_H_
