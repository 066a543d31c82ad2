#ifndef WRENFALL_REPORT_BREADCRUMB_FILE_H_
#define WRENFALL_REPORT_BREADCRUMB_FILE_H_

#include <filesystem>
#include <string>
#include <vector>

#include "backend/breadcrumb_layout.h"
#include "support/logger.h"

namespace wrenfall {

// Writes "breadcrumbs.json" into a report folder, as a whole: a compact JSON array, oldest first,
//
//   [{"category":"ui","level":"INFO","message":"opened","threadId":7,"time":"2026-01-31T23:59:59.123Z"}]
//
// Returns the names of the files written, for copy_attachments: none when there are no breadcrumbs, and
// none, with an error logged, when the file could not be written. A report without them is still one.
std::vector<std::string> write_breadcrumbs(const std::filesystem::path& folder,
                                           const std::vector<Breadcrumb>& breadcrumbs,
                                           Logger& logger);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_BREADCRUMB_FILE_H_
