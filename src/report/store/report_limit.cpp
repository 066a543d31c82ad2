#include "report/store/report_limit.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "report/store/folder_claim.h"
#include "report/store/json_fields.h"
#include "report/store/layout.h"
#include "support/clock.h"
#include "support/files.h"
#include "support/json_text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

constexpr uint64_t kMaxCountsBytes = uint64_t{1} << 16;

// Nothing when the file is there but cannot be read, because another program holds it for example.
std::optional<ReportCounts> read_counts(const fs::path& store) {
  const fs::path file = store / kReportLimitFile;
  ReportCounts counts;
  std::string text;
  if (!read_file(file, text, kMaxCountsBytes)) {
    if (is_held_file(file, kMaxCountsBytes)) return std::nullopt;
    return counts;
  }
  const nlohmann::json object = parse_json(text);
  if (!object.is_object()) return counts;
  if (const auto made = object.find("made"); made != object.end() && made->is_array()) {
    for (const nlohmann::json& time : *made) {
      if (const auto seconds = json_integer(time)) counts.made.push_back(*seconds);
    }
  }
  const JsonFieldReader read(object);
  read("dropped", counts.dropped);
  return counts;
}

bool write_counts(const fs::path& store, const ReportCounts& counts) {
  return write_file_atomic(store / kReportLimitFile,
                           json_text({{"made", counts.made}, {"dropped", counts.dropped}}));
}

}  // namespace

bool admit(ReportCounts& counts, const ReportLimit& limit, int64_t now) {
  if (!limit.any()) return true;
  std::vector<int64_t>& made = counts.made;
  for (int64_t& time : made) time = std::min(time, now);
  std::sort(made.begin(), made.end());
  const auto is_recent = [&](int64_t time) { return time > now - int64_t{limit.seconds}; };
  const auto recent = static_cast<size_t>(std::count_if(made.begin(), made.end(), is_recent));
  if (recent < std::min(limit.count, kMaxReportLimit)) {
    made.push_back(now);
    // Older ones than this caller's may count for another program of the store.
    if (made.size() > kMaxReportLimit) made.erase(made.begin());
    return true;
  }
  ++counts.dropped;
  return false;
}

Admission admit_report(const fs::path& store, const ReportLimit& limit) {
  Admission admission;
  if (!limit.any()) return admission;
  const FolderClaim turn(store / kReportLimitFile);
  auto counts = read_counts(store);
  if (!counts) return admission;
  const bool admitted = admit(*counts, limit, unix_now());
  const uint64_t dropped_before = admitted ? std::exchange(counts->dropped, 0) : 0;
  return write_counts(store, *counts) ? Admission{admitted, dropped_before} : admission;
}

void note_dropped(uint64_t dropped, CrashData& record) {
  if (dropped != 0) record.attributes[kDroppedAttribute] = std::to_string(dropped);
}

void give_back_dropped(const fs::path& store, uint64_t dropped) {
  if (dropped == 0) return;
  const FolderClaim turn(store / kReportLimitFile);
  auto counts = read_counts(store);
  if (!counts) return;
  counts->dropped += dropped;
  write_counts(store, *counts);
}

}  // namespace wrenfall
