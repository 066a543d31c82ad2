#include "report/breadcrumb_file.h"

#include <cstdio>

#include "report/store/layout.h"
#include "support/clock.h"
#include "support/files.h"
#include "support/json_text.h"
#include "support/log_line.h"
#include "support/text.h"

namespace wrenfall {
namespace {

// "2026-01-31T23:59:59.123Z"
std::string time_text(int64_t time_ms) {
  char milliseconds[16];
  std::snprintf(milliseconds, sizeof milliseconds, ".%03dZ", static_cast<int>(time_ms % 1000));
  std::string text = iso_text(utc_time(time_ms / 1000));
  text.pop_back();
  return text + milliseconds;
}

}  // namespace

std::vector<std::string> write_breadcrumbs(const std::filesystem::path& folder,
                                           const std::vector<Breadcrumb>& breadcrumbs,
                                           Logger& logger) {
  if (breadcrumbs.empty()) return {};
  nlohmann::json list = nlohmann::json::array();
  for (const Breadcrumb& one : breadcrumbs) {
    list.push_back({{"time", time_text(one.time_ms)},
                    {"level", log_level_name(one.level)},
                    {"threadId", one.thread_id},
                    {"category", one.category},
                    {"message", one.message}});
  }
  if (write_file_atomic(folder / kBreadcrumbsFile, json_text(list))) return {kBreadcrumbsFile};
  logger.error("Breadcrumbs not written: %s", path_to_utf8(folder).c_str());
  return {};
}

}  // namespace wrenfall
