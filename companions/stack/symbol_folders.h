#ifndef WRENFALL_COMPANIONS_STACK_SYMBOL_FOLDERS_H_
#define WRENFALL_COMPANIONS_STACK_SYMBOL_FOLDERS_H_

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "minidump/dump_snapshot.h"
#include "stack/debug_link.h"

namespace wrenfall::stack {

// The folders of "DIR;DIR", absolute. Empty entries are left out, and so are servers of a symbol path, which
// are written with stars.
std::vector<std::filesystem::path> split_folders(std::string_view text);

// Whether a path is on a drive of this machine: "C:\...". The maker of a dump chose the paths in it, and
// to open a file of another machine would tell that machine who looks at the dump.
bool is_on_a_drive(std::string_view path);

// Where the file of a module may lie: in the folders, or where it was on the machine of the crash.
std::vector<std::filesystem::path> places_of_image(
    const minidump::DumpModule& module, const std::vector<std::filesystem::path>& folders);

// Where the file may lie that a module's debug link names: in the folders, or beside the module's file.
std::vector<std::filesystem::path> places_of_debug_file(
    const std::filesystem::path& image, const DebugLink& link,
    const std::vector<std::filesystem::path>& folders);

}  // namespace wrenfall::stack

#endif  // WRENFALL_COMPANIONS_STACK_SYMBOL_FOLDERS_H_
