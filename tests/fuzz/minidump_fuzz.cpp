// Reads arbitrary bytes as a minidump, and checks that a built one is read back.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>

#include "backend/breadcrumb_layout.h"
#include "minidump/minidump_reader.h"
#include "monitor/record_from_annotations.h"
#include "stack/address_space.h"
#include "tests/companions/image_builder.h"
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

// What a walk over the dump's stacks asks for. `image` is taken for the file of each module.
void look_at_stacks(const std::string& dump, const std::string& image) {
  const DumpBytes bytes(reader_of(dump), dump.size());
  const auto snapshot = read_snapshot(bytes);
  if (!snapshot) return;
  uint64_t end = 0;
  for (const DumpModule& module : snapshot->modules) {
    require(module.base >= end, "modules in order, without overlap");
    end = module.base + module.size;
  }
  stack::AddressSpace memory(*snapshot, bytes, [&image](const DumpModule&) {
    return stack::ImageFile::open(reader_of(image), image.size(), stack::ImageLayout::kFile);
  });
  if (const auto file =
          stack::ImageFile::open(reader_of(image), image.size(), stack::ImageLayout::kFile)) {
    const auto link = file->debug_link();
    require(!link || link->file.find('/') == std::string::npos, "a name without a folder");
  }
  std::vector<uint64_t> places = {0, 0x1000, 0x2004, ~uint64_t{0} - 3};
  for (const DumpModule& module : snapshot->modules) {
    places.insert(places.end(), {module.base, module.base + 0x1010, module.base + module.size - 1});
  }
  places.resize(std::min<size_t>(places.size(), 64));
  for (const uint64_t place : places) {
    std::array<uint8_t, 64> read{};
    require(memory.read(place, read.data(), read.size()) <= read.size(), "no more than is asked");
    const DumpModule* const module = snapshot->module_at(place);
    require((module == nullptr ? 0 : module->base) == memory.module_base(place), "one module");
    const stack::FunctionEntry* const function = memory.function_at(place);
    require(function == nullptr ||
                (place - module->base >= function->begin && place - module->base < function->end),
            "the function holds the place");
    const auto found = memory.find_return_address(place, place + 0x400);
    require(!found || memory.can_unwind(found->value), "a return address of a known module");
  }
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
  if (input.ConsumeBool()) {
    builder.threads = {77, 80};
    builder.thread_name = u"main";
    builder.modules = {{0x2000, u"a.dll"}, {0x140000000, u"C:\\b.exe"}};
  }
  const std::string image =
      stack::build_image(5, "\xE8\x01\x02\x03\x04\x90", {{0x1000, 0x1010, 0x2040}});
  const std::string wrong_image =
      with32(image, input.ConsumeIntegral<uint16_t>() % 0x500, input.ConsumeIntegral<uint32_t>());
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
  const std::string changed = with32(dump, changed_at % (dump.size() - 3), change);
  read_and_record(changed);
  look_at_stacks(changed, wrong_image);
  dump.resize(changed_at % dump.size());
  read_and_record(dump);
  look_at_stacks(dump, image);
}

}  // namespace
}  // namespace wrenfall

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  wrenfall::read_and_record(bytes);
  wrenfall::look_at_stacks(bytes, bytes);
  FuzzedDataProvider input(data, size);
  wrenfall::build_and_read(input);
  return 0;
}
