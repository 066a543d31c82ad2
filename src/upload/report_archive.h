#ifndef WRENFALL_UPLOAD_REPORT_ARCHIVE_H_
#define WRENFALL_UPLOAD_REPORT_ARCHIVE_H_

#include <filesystem>
#include <string>
#include <vector>

namespace wrenfall {

inline constexpr char kArchiveFile[] = "WrenfallCrash.zip";

// Packs the regular files that lie directly in the folder, but those of the excluded names
// (compared byte for byte), into a flat ZIP archive, in the order of their names. Each file is held
// in memory while it is packed. True when the archive is complete; after a failure a partial file
// may stay behind. Throws DirectoryIterationError.
bool write_report_archive(const std::filesystem::path& folder,
                          const std::filesystem::path& archive_path,
                          const std::vector<std::string>& excluded_names);

}  // namespace wrenfall

#endif  // WRENFALL_UPLOAD_REPORT_ARCHIVE_H_
