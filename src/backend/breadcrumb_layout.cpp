#include "backend/breadcrumb_layout.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

namespace wrenfall {
namespace {

using namespace breadcrumb_layout;

constexpr size_t kWordBytes = sizeof(uint64_t);
// 9999-12-31, the last day that has a date of the usual form.
constexpr uint64_t kLastTimeMs = 253402300799999;
constexpr uint64_t kLevels = 4;

uint64_t word_at(const std::string& page, size_t word) {
  uint64_t value = 0;
  std::memcpy(&value, page.data() + word * kWordBytes, kWordBytes);
  return value;
}

// Nothing when the slot does not hold a whole breadcrumb.
std::optional<Breadcrumb> read_slot(const std::string& page, size_t slot) {
  const uint64_t sizes = word_at(page, slot + kSlotSizes);
  const size_t category_bytes = sizes >> 40 & 0xFF;
  const size_t message_bytes = sizes >> 48;
  const uint64_t level = sizes >> 32 & 0xFF;
  const uint64_t time = word_at(page, slot + kSlotTime);
  if (word_at(page, slot + kSlotDone) != word_at(page, slot + kSlotBegun) ||
      category_bytes > kCategoryBytes || message_bytes > kMessageBytes || level >= kLevels ||
      time > kLastTimeMs) {
    return std::nullopt;
  }
  Breadcrumb breadcrumb;
  breadcrumb.time_ms = static_cast<int64_t>(time);
  breadcrumb.level = static_cast<int32_t>(level);
  breadcrumb.thread_id = static_cast<uint32_t>(sizes);
  breadcrumb.category.assign(page, (slot + kSlotCategory) * kWordBytes, category_bytes);
  breadcrumb.message.assign(page, (slot + kSlotMessage) * kWordBytes, message_bytes);
  return breadcrumb;
}

using Numbered = std::pair<uint64_t, Breadcrumb>;

void read_page(const std::string& page, std::vector<Numbered>& found) {
  for (size_t slot = kHeadWords; (slot + kSlotWords) * kWordBytes <= page.size();
       slot += kSlotWords) {
    const uint64_t number = word_at(page, slot + kSlotDone);
    if (number == 0) continue;
    if (auto breadcrumb = read_slot(page, slot)) found.emplace_back(number, std::move(*breadcrumb));
  }
}

}  // namespace

std::vector<Breadcrumb> breadcrumbs_in(const std::map<std::string, std::string>& annotations) {
  std::vector<Numbered> found;
  size_t wanted = kMaxBreadcrumbs;
  uint64_t first = 0;
  for (size_t i = 0; i < kMaxPages; ++i) {
    const auto page = annotations.find(kKeyPrefix + std::to_string(i));
    if (page == annotations.end() || page->second.size() < kHeadWords * kWordBytes ||
        word_at(page->second, kHeadMagic) != kMagic) {
      continue;
    }
    wanted = std::min<uint64_t>(wanted, word_at(page->second, kHeadWanted));
    first = std::max(first, word_at(page->second, kHeadFirst));
    read_page(page->second, found);
  }
  std::sort(found.begin(), found.end(),
            [](const Numbered& a, const Numbered& b) { return a.first < b.first; });
  std::vector<Breadcrumb> breadcrumbs;
  for (auto& [number, breadcrumb] : found) {
    if (number >= first) breadcrumbs.push_back(std::move(breadcrumb));
  }
  if (breadcrumbs.size() > wanted) {
    breadcrumbs.erase(breadcrumbs.begin(), breadcrumbs.end() - static_cast<std::ptrdiff_t>(wanted));
  }
  return breadcrumbs;
}

}  // namespace wrenfall
