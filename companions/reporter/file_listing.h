#ifndef WRENFALL_COMPANIONS_REPORTER_FILE_LISTING_H_
#define WRENFALL_COMPANIONS_REPORTER_FILE_LISTING_H_

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "report/store/crash_data.h"

namespace wrenfall::reporter {

struct ListedFile {
  std::string name;
  uint64_t bytes = 0;
  // Whether the user may leave the file out. The dump and what the library itself wrote is always sent;
  // the dump has the breadcrumbs, too.
  bool is_optional = false;
  bool is_wanted = true;
};

// The files of a report folder that an upload packs, in the order of their names. Empty when the
// folder cannot be read. The record is the report's: it names the dump, and what the host attached.
std::vector<ListedFile> list_files_to_send(const std::filesystem::path& folder,
                                           const CrashData& record);

// The files that are there now. One that was listed before as not wanted is still not wanted.
std::vector<ListedFile> list_again(const std::vector<ListedFile>& before,
                                   const std::filesystem::path& folder, const CrashData& record);

// Of the files that are wanted.
uint64_t total_size(const std::vector<ListedFile>& files);

// Whether the file may be opened by the program that is registered for its type. For a type that runs
// something itself, and for unknown ones, its folder is shown instead.
bool is_safe_to_open(const std::string& name);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_FILE_LISTING_H_
