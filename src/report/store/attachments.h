#ifndef WRENFALL_REPORT_STORE_ATTACHMENTS_H_
#define WRENFALL_REPORT_STORE_ATTACHMENTS_H_

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "support/logger.h"

namespace wrenfall {

// Gives the attachments of one report folder their names.
class AttachmentNames {
 public:
  // `is_taken` says which names are in use besides the reserved ones.
  explicit AttachmentNames(std::function<bool(const std::string&)> is_taken)
      : is_taken_(std::move(is_taken)) {}

  // The file's own name, or with the first number from 2 before the extension that makes it free:
  // "log.txt", "log (2).txt". Characters and endings that would make the system put the file
  // elsewhere are replaced or left out. A number is tried once only, so that many files of one name
  // take linear time.
  std::string free_name(std::string_view name);

 private:
  const std::function<bool(const std::string&)> is_taken_;
  std::map<std::string, unsigned> next_numbers_;  // by the name in lower case
};

// What becomes of a second attachment of the same name.
enum class SameName { kReplace, kAddNumber };

// Copies files into a report folder and returns the names of the copies that are there. A file is
// copied beside and put in place only when it is complete, so one that cannot be copied costs a
// warning and nothing else. No file that the library itself wrote there is ever replaced. A name
// that an earlier call gave, which was cut off, is given again, and its file replaced. `written` names
// further files that the library wrote into this folder. Where a file is there but cannot be copied,
// `wait_for_release` is called, at most once, and every such file copied again after it.
std::vector<std::string> copy_attachments(const std::filesystem::path& folder,
                                          const std::vector<std::string>& paths, SameName rule,
                                          Logger& logger,
                                          const std::vector<std::string>& written = {},
                                          std::function<void()> wait_for_release = nullptr);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_ATTACHMENTS_H_
