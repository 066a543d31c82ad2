#ifndef WRENFALL_UPLOAD_REPORT_ARCHIVE_H_
#define WRENFALL_UPLOAD_REPORT_ARCHIVE_H_

#include <filesystem>
#include <vector>

#include "support/logger.h"

namespace wrenfall {

// Packs the files of a report folder that are to be sent into a flat ZIP archive, in the order of
// their names. Each file is held in memory while it is packed. What looks like a file and is none is
// left out with a warning; a file that another program holds is waited for, up to 3 s. True when the
// archive is complete; after a failure a partial file may stay behind. Throws
// DirectoryIterationError, and bad_alloc where there is no memory.
bool write_report_archive(const std::filesystem::path& folder,
                          const std::filesystem::path& archive_path, Logger& logger);

// Packs files, each under its name alone, in this order. Otherwise as above.
bool write_archive(const std::vector<std::filesystem::path>& files,
                   const std::filesystem::path& archive_path);

}  // namespace wrenfall

#endif  // WRENFALL_UPLOAD_REPORT_ARCHIVE_H_
