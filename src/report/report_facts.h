#ifndef WRENFALL_REPORT_REPORT_FACTS_H_
#define WRENFALL_REPORT_REPORT_FACTS_H_

#include <wrenfall/wrenfall.h>

#include <cstdint>
#include <string>
#include <unordered_map>

namespace wrenfall {

// The facts that travel with every report of a process, whoever makes it. Texts are UTF-8.
struct ReportFacts {
  std::string database;
  std::string application;
  std::string version;
  std::string key;
  std::string user;
  std::string email;
  std::string user_description;
  std::string notes;
  std::string environment;
  std::unordered_map<std::string, std::string> attributes;
  std::string capture_backend = "none";
  uint32_t upload_policy = WRENFALL_UPLOAD_DIALOG;  // as the library was started
  bool quiet = false;                               // as it was last set
  bool open_support_url = true;
  std::string theme_dir;
};

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_REPORT_FACTS_H_
