// Reads arbitrary bytes as a minidump, and checks that a built one is read back.
#include <fuzzer/FuzzedDataProvider.h>

#include "backend/breadcrumb_layout.h"
#include "minidump/minidump_reader.h"
#include "monitor/record_from_annotations.h"
#include "tests/companions/minidump_builder.h"
#include "tests/fuzz/property.h"

namespace wrenfall {
namespace {

using namespace minidump;
using namespace monitor;

// The reader's own limit, which bounds what a damaged dump can cost.
constexpr size_t kMostTextBytes = size_t{16} * 1024 * 1024;

std::optional<DumpFacts> read_bytes(const std::string& dump) {
  return read_minidump(reader_of(dump), dump.size());
}

size_t text_bytes(const std::map<std::string, std::string>& texts) {
  size_t bytes = 0;
  for (const auto& [key, value] : texts) bytes += key.size() + value.size();
  return bytes;
}

void read_and_record(const std::string& dump) {
  const auto facts = read_bytes(dump);
  if (!facts) return;
  const DumpAnnotations& annotations = facts->annotations;
  require(text_bytes(annotations.startup) + text_bytes(annotations.live) <= kMostTextBytes,
          "no more text than the limit");
  require(annotations.report_id.empty() || annotations.report_id.size() == 36, "a UUID");
  for (const Breadcrumb& one : breadcrumbs_in(annotations.live)) {
    require(one.message.size() <= 256 && one.category.size() <= 32, "short breadcrumbs");
  }
  const CrashData record = record_from_annotations(*facts, {});
  with_thread(dump, 80, ShownContext::kThreadsOwn);
  require(record.reportKind != "crash" || !asks_for_termination(*facts), "only a hang may kill");
  CrashData read;
  require(parse(serialize(record), read), "every record can be read");
  require(serialize(read) == serialize(record), "a record survives being written and read");
}

void build_and_read(FuzzedDataProvider& input) {
  MinidumpBuilder builder;
  builder.time_stamp = input.ConsumeIntegral<uint32_t>();
  if (input.ConsumeBool()) builder.crash_code = input.ConsumeIntegral<uint32_t>();
  builder.with_memory = input.ConsumeBool();
  if (input.ConsumeBool()) builder.threads = {77, 80};
  const auto changed_at = input.ConsumeIntegral<uint16_t>();
  const auto change = input.ConsumeIntegral<uint32_t>();
  std::map<std::string, std::string> live;
  while (input.remaining_bytes() > 0 && live.size() < 50) {
    std::string key = input.ConsumeRandomLengthString(16);
    std::string value = input.ConsumeRandomLengthString(32);
    if (input.ConsumeBool()) {
      builder.startup[key] = value;
    } else {
      live.emplace(key, value);  // the first, which is the newest
      builder.live.emplace_back(std::move(key), std::move(value));
    }
  }
  std::string dump = builder.build();
  const auto facts = read_bytes(dump);
  require(facts.has_value(), "every dump that is whole can be read");
  require(facts->time_stamp == builder.time_stamp, "the time");
  require(facts->crash_code == builder.crash_code, "the exception");
  require(facts->annotations.startup == builder.startup, "the annotations from the start");
  require(facts->annotations.live == live, "the live annotations");
  read_and_record(with32(dump, changed_at % (dump.size() - 3), change));
  dump.resize(changed_at % dump.size());
  read_and_record(dump);
}

}  // namespace
}  // namespace wrenfall

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  wrenfall::read_and_record({reinterpret_cast<const char*>(data), size});
  FuzzedDataProvider input(data, size);
  wrenfall::build_and_read(input);
  return 0;
}
