#ifndef WRENFALL_COMPANIONS_CTL_FOLDER_ARGUMENT_H_
#define WRENFALL_COMPANIONS_CTL_FOLDER_ARGUMENT_H_

#include <filesystem>
#include <string>

namespace wrenfall::ctl {

// The report folder that an argument names.
struct FolderArgument {
  std::filesystem::path folder;  // absolute; there may be no such folder
  std::string error;             // why the argument fits more than one folder; else empty
};

// Finds the folder. With a store, an argument without a separator is the name of a folder in it, or
// the start of the name of exactly one of its folders; the library's own folders are left out.
// Everything else is a path. Throws DirectoryIterationError.
FolderArgument find_report_folder(const std::filesystem::path& store, std::string argument);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_FOLDER_ARGUMENT_H_
