#include <wrenfall/wrenfall.h>

#include <memory>
#include <string>
#include <vector>

#include "api/boundary.h"
#include "api/state.h"
#include "report/store/crash_data.h"
#include "report/store/layout.h"
#include "support/files.h"
#include "support/text.h"

// Reports at one moment.
struct wrenfall_report_list {
  struct Entry {
    std::string folder;
    std::string record;
  };
  std::vector<Entry> entries;
};

using namespace wrenfall;

wrenfall_report_list* wrenfall_pending_reports(void) {
  std::unique_ptr<wrenfall_report_list> complete;
  with_state(WRENFALL_ERROR_FILE, [&complete](State& state) -> wrenfall_result {
    auto list = std::make_unique<wrenfall_report_list>();
    for (const std::filesystem::path& folder : state.pending_reports.list()) {
      std::string record;
      if (!read_file(folder / kCrashDataFile, record, kMaxRecordBytes)) continue;
      list->entries.push_back({path_to_utf8(folder), std::move(record)});
    }
    complete = std::move(list);
    return WRENFALL_OK;
  });
  return complete.release();
}

uint32_t wrenfall_report_list_count(const wrenfall_report_list* list) {
  return list == nullptr ? 0 : static_cast<uint32_t>(list->entries.size());
}

const char* wrenfall_report_list_folder(const wrenfall_report_list* list, uint32_t index) {
  return index < wrenfall_report_list_count(list) ? list->entries[index].folder.c_str() : nullptr;
}

const char* wrenfall_report_list_json(const wrenfall_report_list* list, uint32_t index) {
  return index < wrenfall_report_list_count(list) ? list->entries[index].record.c_str() : nullptr;
}

void wrenfall_report_list_free(wrenfall_report_list* list) { delete list; }
