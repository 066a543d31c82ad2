#ifndef WRENFALL_COMPANIONS_CTL_CTL_OPTIONS_H_
#define WRENFALL_COMPANIONS_CTL_CTL_OPTIONS_H_

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace wrenfall::ctl {

// What the user asked the tool to do.
struct CtlOptions {
  enum class Command { kList, kShow, kSend, kDiscard, kTail, kHelp, kVersion, kUnusable };

  Command command = Command::kUnusable;
  std::string error;        // why the arguments are unusable
  std::string store;        // --store, empty when not given
  std::string application;  // --app and --version; both or neither are given
  std::string version;
  std::vector<std::string> folders;
  bool all = false;
  bool json = false;
  bool progress = false;
  bool follow = false;
  uint64_t lines = 10;

  bool names_a_store() const { return !store.empty() || !application.empty(); }
};

// `arguments` in UTF-8, without the program's name.
CtlOptions parse_ctl_options(const std::vector<std::string>& arguments);

// The report folder that an argument names. A name without a separator is a folder in the store, if
// there is one. Everything else is a path; a relative one is not made absolute here.
std::filesystem::path report_folder_of(const std::filesystem::path& store, std::string argument);

// The text of --help.
extern const char kCtlHelp[];

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_CTL_OPTIONS_H_
