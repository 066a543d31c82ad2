#ifndef WRENFALL_SUPPORT_FILES_H_
#define WRENFALL_SUPPORT_FILES_H_

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wrenfall {

// Listing a directory broke off in the middle. Unlike other file errors this one is meant to reach
// the caller of the exported function as an exception.
class DirectoryIterationError : public std::filesystem::filesystem_error {
 public:
  DirectoryIterationError(const std::filesystem::path& directory, std::error_code error)
      : filesystem_error("directory_iterator::operator++", directory, error) {}
};

// All functions here take paths of any length.

// Reads a whole file; false when it cannot be opened or read, or is larger than `max_bytes`. Waits
// for a moment where another program has it open without sharing. Never keeps another process from
// replacing or removing the file meanwhile. Throws bad_alloc where there is no memory for the file.
bool read_file(const std::filesystem::path& path, std::string& bytes,
               uint64_t max_bytes = std::numeric_limits<uint64_t>::max());

// Whether there is a file of at most that size that cannot be read: another program holds it.
bool is_held_file(const std::filesystem::path& path, uint64_t max_bytes);

// What is added to a file's name while it is being written.
inline constexpr char kTemporarySuffix[] = ".tmp";

// Replaces a file as a whole through "<path>.tmp", so that no reader ever sees a part of it.
// Missing parent folders are created. Where another program keeps the file from being replaced, the
// bytes are copied over it. False when they could not be written.
bool write_file_atomic(const std::filesystem::path& path, std::string_view bytes);

// Appends in one write, creating the file when needed; other processes may read and append
// meanwhile.
bool append_to_file(const std::filesystem::path& path, std::string_view bytes);

// Opens for binary writing, truncating; null when that fails. The caller closes.
std::FILE* open_for_writing(const std::filesystem::path& path);

// The direct entries of a folder, in no particular order; empty when it cannot be opened;
// `opened`, where given, says whether it was. Throws DirectoryIterationError.
std::vector<std::filesystem::path> list_folder(const std::filesystem::path& folder,
                                               bool* opened = nullptr);

// Whether there is an entry of the name at all, and whether it is of that kind. False when it
// cannot be queried.
bool path_exists(const std::filesystem::path& path);
bool is_file(const std::filesystem::path& path);
bool is_folder(const std::filesystem::path& path);

// Whether the entry, or what it leads to as a link, is a file on a disk: no device, pipe, folder or
// link that leads nowhere. A file that cannot be looked at counts as one.
bool is_disk_file(const std::filesystem::path& path);

// Whether both names lead to the same file or folder, by the rules of the file system. False when
// either cannot be opened.
bool is_same_entry(const std::filesystem::path& a, const std::filesystem::path& b);

// Whether the entry is a symbolic link or a junction, which leads elsewhere. A file in the cloud or of
// a deduplicated volume is none, although the system keeps it in a similar way.
bool is_link(const std::filesystem::path& path);

// The last write of a regular file in 100 ns units of the system; only good for comparison with
// another, and with this moment.
std::optional<int64_t> file_write_time(const std::filesystem::path& path);
std::optional<int64_t> folder_write_time(const std::filesystem::path& path);  // of a folder
int64_t file_time_now();

// How long ago the last write of a regular file was. A time to come counts like one that is past:
// the clock was set back since.
std::optional<std::chrono::seconds> age_of_file(const std::filesystem::path& path);

// The size in bytes; nothing when it cannot be read.
std::optional<uint64_t> size_of_file(const std::filesystem::path& path);

// Makes a folder, and those above it that are missing. Whether there is such a folder then.
bool create_folders(const std::filesystem::path& path);

// How many bytes can still be written to the volume of a folder; nothing when that is unknown.
std::optional<uint64_t> free_space(const std::filesystem::path& folder);

// Renames a file, replacing the target in one step. Waits for a fraction of a second while another
// process has the target open.
bool replace_file(const std::filesystem::path& from, const std::filesystem::path& to);

// Copies a file, replacing the target.
bool copy_file_over(const std::filesystem::path& from, const std::filesystem::path& to);

// Makes a file writable, and this moment the time of its last write: a copy has both from its source.
void reset_copied_attributes(const std::filesystem::path& copy);

// Removes a file. True when nothing of the name is there any more.
bool remove_file(const std::filesystem::path& path);

// Removes a file, read-only or not, or a folder with its contents; of a link the link alone, not
// what it leads to. True when nothing of the name is there any more.
bool remove_entry(const std::filesystem::path& path);

// The same for what is a folder.
bool remove_folder(const std::filesystem::path& folder);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_FILES_H_
