#ifndef WRENFALL_COMPANIONS_REPORTER_FILE_LISTING_H_
#define WRENFALL_COMPANIONS_REPORTER_FILE_LISTING_H_

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace wrenfall::reporter {

struct ListedFile {
  std::string name;
  uint64_t bytes = 0;
};

// The files of a report folder that an upload packs, in the order of their names. Empty when the
// folder cannot be read.
std::vector<ListedFile> list_files_to_send(const std::filesystem::path& folder);

uint64_t total_size(const std::vector<ListedFile>& files);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_FILE_LISTING_H_
