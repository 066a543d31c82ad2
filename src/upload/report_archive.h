#ifndef WRENFALL_UPLOAD_REPORT_ARCHIVE_H_
#define WRENFALL_UPLOAD_REPORT_ARCHIVE_H_

#include <filesystem>

namespace wrenfall {

// Packs the files of a report folder that are to be sent into a flat ZIP archive, in the order of
// their names. Each file is held in memory while it is packed. True when the archive is complete;
// after a failure a partial file may stay behind. Throws DirectoryIterationError.
bool write_report_archive(const std::filesystem::path& folder,
                          const std::filesystem::path& archive_path);

}  // namespace wrenfall

#endif  // WRENFALL_UPLOAD_REPORT_ARCHIVE_H_
