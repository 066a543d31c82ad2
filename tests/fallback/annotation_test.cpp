#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "common/client_protocol.h"
#include "common/command_line.h"
#include "handler/annotation_snapshot.h"

namespace {

using crashpad::internal::AnnotationImage;
using crashpad::internal::kMaxLiveAnnotations;
using crashpad::internal::LiveAnnotation;
using crashpad::internal::read_live_annotations;

// A client's memory, made of pieces at chosen addresses.
class FakeMemory {
 public:
  void put(uint64_t address, std::string bytes) { pieces_[address] = std::move(bytes); }
  template <typename Value>
  void put(uint64_t address, const Value& value) {
    put(address, std::string(reinterpret_cast<const char*>(&value), sizeof value));
  }
  bool read(uint64_t address, void* buffer, size_t size) const {
    auto piece = pieces_.upper_bound(address);
    if (piece == pieces_.begin()) return false;
    --piece;
    const uint64_t offset = address - piece->first;
    if (offset > piece->second.size() || size > piece->second.size() - offset) return false;
    std::memcpy(buffer, piece->second.data() + offset, size);
    return true;
  }
  std::vector<LiveAnnotation> snapshot(uint64_t head) const {
    return read_live_annotations(
        [this](uint64_t address, void* buffer, size_t size) { return read(address, buffer, size); },
        head);
  }

 private:
  std::map<uint64_t, std::string> pieces_;
};

constexpr uint64_t kHead = 0x1000;
constexpr uint64_t kEntry = 0x2000;
constexpr uint64_t kEnd = 0x3000;
constexpr uint64_t kName = 0x4000;
constexpr uint64_t kValue = 0x6000;

// One entry, then the end of the list.
FakeMemory one_entry(const AnnotationImage& image) {
  FakeMemory memory;
  memory.put(kHead, kEntry);
  memory.put(kEntry, image);
  memory.put(kEnd, AnnotationImage{});
  memory.put(kName, "name" + std::string(252, '\0'));
  memory.put(kName + 0x400, std::string(256, 'n'));
  // The last bytes of readable memory: the page ends with the name's NUL.
  memory.put(kName + 0x1000 - 6, std::string("brink", 6));
  memory.put(kValue, std::string(30000, 'v'));
  return memory;
}

TEST(AnnotationSnapshot, ToleratesGarbage) {
  const struct {
    const char* what;
    AnnotationImage image;
    std::string expected_name;  // Empty: the entry must be left out.
  } cases[] = {
      {"sound", {kEnd, kName, kValue, 5, 1, 0}, "name"},
      {"largest value", {kEnd, kName, kValue, 20480, 1, 0}, "name"},
      {"value too large", {kEnd, kName, kValue, 20481, 1, 0}, ""},
      {"value runs out of memory", {kEnd, kName, kValue + 9521, 20480, 1, 0}, ""},
      {"wild value", {kEnd, kName, UINT64_MAX, 5, 1, 0}, ""},
      {"null name", {kEnd, 0, kValue, 5, 1, 0}, ""},
      {"name without NUL", {kEnd, kName + 0x400, kValue, 5, 1, 0}, std::string(256, 'n')},
      {"name at the page's end", {kEnd, kName + 0x1000 - 6, kValue, 5, 1, 0}, "brink"},
      {"wild link", {0x666, kName, kValue, 5, 1, 0}, "name"},
      {"user's type", {kEnd, kName, kValue, 5, 0x8001, 0}, "name"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    const std::vector<LiveAnnotation> live = one_entry(test.image).snapshot(kHead);
    ASSERT_EQ(live.size(), test.expected_name.empty() ? 0u : 1u);
    if (live.empty()) continue;
    EXPECT_EQ(live[0].name, test.expected_name);
    EXPECT_EQ(live[0].type, test.image.type);
    EXPECT_EQ(live[0].value, std::string(test.image.size, 'v'));
  }
  EXPECT_TRUE(FakeMemory().snapshot(kHead).empty());
}

TEST(AnnotationSnapshot, ClearedEntriesCountTowardsTheLimit) {
  constexpr uint64_t kChain = 0x100000;
  FakeMemory memory = one_entry({kChain + 0x20, kName, kValue, 1, 1, 0});
  for (uint64_t i = 1; i <= 300; ++i) {
    // Every second one is cleared.
    memory.put(kChain + 0x20 * i, AnnotationImage{kChain + 0x20 * (i + 1), kName, kValue,
                                                  static_cast<uint32_t>(i % 2), 1, 0});
  }
  EXPECT_EQ(memory.snapshot(kHead).size(), 101u);
}

TEST(HandlerArguments, MalformedOnesAreRefused) {
  using crashpad::internal::parse_handler_arguments;
  const std::wstring database = L"--database=d", data = L"--initial-client-data=";
  const std::wstring nine = L"0x1,0xaf,0x3,0x4,0x5,0x6,0x7,0x8,0x9";
  const std::wstring sound = data + nine + L",0xffffffffffffffff";
  const std::pair<std::vector<std::wstring>, bool> rows[] = {
      {{database, sound}, true},
      {{sound, L"--other", database, L"--annotation=a=", L"--annotation==b=c"}, true},
      {{database}, false},
      {{sound}, false},
      {{L"--database=", sound}, false},
      {{database, sound, L"--annotation=a"}, false},
      {{database, data + nine}, false},
      {{database, sound + L",0x1"}, false},
      {{database, data + nine + L",0x10000000000000000"}, false},
      {{database, data + nine + L",0x0"}, false},
      {{database, data + nine + L",1"}, false},
      {{database, data + nine + L",0xg"}, false},
  };
  for (const auto& [arguments, usable] : rows) {
    const auto parsed = parse_handler_arguments(arguments);
    EXPECT_EQ(parsed.has_value(), usable) << testing::PrintToString(arguments);
    if (!parsed) continue;
    EXPECT_EQ(parsed->database, L"d");
    EXPECT_EQ(parsed->client_data.client_process, 0xAFu);
    EXPECT_EQ(parsed->client_data.wer_done, UINT64_MAX);
  }
}

}  // namespace
