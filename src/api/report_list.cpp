#include <wrenfall/wrenfall.h>

#include <memory>
#include <string>
#include <vector>

#include "api/boundary.h"
#include "api/state.h"
#include "report/store/crash_data.h"
#include "report/store/report_store.h"
#include "support/files.h"
#include "support/text.h"

// Reports at one moment: two sequences of the same length.
struct wrenfall_report_list {
  std::vector<std::string> folders;
  std::vector<std::string> records;
};

using namespace wrenfall;

wrenfall_report_list* wrenfall_pending_reports(void) {
  std::unique_ptr<wrenfall_report_list> list;
  with_state(WRENFALL_ERROR_FILE, [&list](State& state) -> wrenfall_result {
    list = std::make_unique<wrenfall_report_list>();
    for (const std::filesystem::path& folder : pending_report_folders(state.store_dir)) {
      std::string record;
      if (!read_file(folder / kCrashDataFile, record)) continue;
      list->folders.push_back(path_to_utf8(folder));
      list->records.push_back(std::move(record));
    }
    return WRENFALL_OK;
  });
  return list.release();
}

uint32_t wrenfall_report_list_count(const wrenfall_report_list* list) {
  return list == nullptr ? 0 : static_cast<uint32_t>(list->folders.size());
}

const char* wrenfall_report_list_folder(const wrenfall_report_list* list, uint32_t index) {
  return index < wrenfall_report_list_count(list) ? list->folders[index].c_str() : nullptr;
}

const char* wrenfall_report_list_json(const wrenfall_report_list* list, uint32_t index) {
  return index < wrenfall_report_list_count(list) ? list->records[index].c_str() : nullptr;
}

void wrenfall_report_list_free(wrenfall_report_list* list) { delete list; }
