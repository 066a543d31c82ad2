#include "backend/breadcrumb_ring.h"

#include <client/annotation.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "support/clock.h"
#include "support/process.h"
#include "support/text.h"

namespace wrenfall {
namespace {

using namespace breadcrumb_layout;

constexpr size_t kWordBytes = sizeof(uint64_t);

// A page in the process's memory. The handler reads the whole buffer of the name.
struct Page {
  explicit Page(size_t number) {
    const std::string key = kKeyPrefix + std::to_string(number);
    std::memcpy(name, key.data(), std::min(key.size(), sizeof name - 1));
  }

  std::atomic<uint64_t> words[kPageWords] = {};
  char name[crashpad::Annotation::kNameMaxLength] = {};
  crashpad::Annotation annotation{crashpad::Annotation::Type::kString, name, words};
};
static_assert(sizeof(std::atomic<uint64_t>) == kWordBytes, "the handler reads plain words");

// What all rings of the process share. Pages are made when they are first needed and never destroyed.
struct Pool {
  std::mutex mutex;         // for the members up to the next comment
  uint64_t generation = 0;  // of the newest ring

  // Set before the first ring that needs the page is there, and then constant.
  std::array<Page*, kMaxPages> pages = {};
  // The number of the next breadcrumb. It never starts again, so what an earlier ring left is older
  // than all of a later one.
  std::atomic<uint64_t> next{1};

  static Pool& instance() {
    static Pool& pool = *new Pool;
    return pool;
  }
};

size_t pages_for(size_t slots) { return (slots + kSlotsOfPage - 1) / kSlotsOfPage; }

size_t page_bytes(size_t page, size_t slots) {
  const size_t held = std::min(kSlotsOfPage, slots - page * kSlotsOfPage);
  return (kHeadWords + held * kSlotWords) * kWordBytes;
}

// Takes the slot for the breadcrumb of that number. False when another thread is writing there, or has
// written a later one.
bool take(std::atomic<uint64_t>* slot, uint64_t number) {
  uint64_t begun = slot[kSlotBegun].load(std::memory_order_acquire);
  return slot[kSlotDone].load(std::memory_order_acquire) == begun && begun < number &&
         slot[kSlotBegun].compare_exchange_strong(begun, number);
}

// Overwrites the texts of all breadcrumbs with lower numbers, so that none is in a later dump. One that
// is being added at this moment may stay, but no longer counts.
void wipe(Pool& pool, uint64_t number) {
  for (Page* const page : pool.pages) {
    if (page == nullptr) continue;
    for (size_t i = 0; i < kSlotsOfPage; ++i) {
      std::atomic<uint64_t>* const slot = page->words + kHeadWords + i * kSlotWords;
      if (slot[kSlotBegun].load(std::memory_order_relaxed) == 0 || !take(slot, number)) continue;
      for (size_t word = kSlotTime; word < kSlotBegun; ++word) {
        slot[word].store(0, std::memory_order_release);
      }
      slot[kSlotDone].store(number, std::memory_order_release);
    }
  }
}

void clear_annotations(Pool& pool) {
  wipe(pool, pool.next.fetch_add(1));
  for (Page* const page : pool.pages) {
    if (page != nullptr) page->annotation.Clear();
  }
}

// Empties the pool for a ring of that size. The generation of the ring.
uint64_t begin_ring(size_t wanted, size_t slots) {
  Pool& pool = Pool::instance();
  const std::lock_guard<std::mutex> lock(pool.mutex);
  for (size_t i = 0; i < pages_for(slots); ++i) {
    if (pool.pages[i] == nullptr) pool.pages[i] = new Page(i);
  }
  clear_annotations(pool);
  for (size_t i = 0; i < pages_for(slots); ++i) {
    Page& page = *pool.pages[i];
    page.words[kHeadFirst] = pool.next.load();
    page.words[kHeadSlots] = slots;
    page.words[kHeadWanted] = wanted;
    page.words[kHeadMagic] = kMagic;
    page.annotation.SetSize(static_cast<uint32_t>(page_bytes(i, slots)));
  }
  return ++pool.generation;
}

// The words of a text, the last of them filled with zeros, from `first` on. How many there are. Stores
// that release are ordinary ones on this processor, and never come before the mark that the slot is
// being written.
void store_text(std::atomic<uint64_t>* first, std::string_view text) {
  for (size_t at = 0; at < text.size(); at += kWordBytes) {
    uint64_t word = 0;
    std::memcpy(&word, text.data() + at, std::min(kWordBytes, text.size() - at));
    first++->store(word, std::memory_order_release);
  }
}

}  // namespace

BreadcrumbRing::BreadcrumbRing(size_t wanted)
    : wanted_(wanted), slots_(wanted + kSpareSlots), generation_(begin_ring(wanted_, slots_)) {}

BreadcrumbRing::~BreadcrumbRing() {
  Pool& pool = Pool::instance();
  const std::lock_guard<std::mutex> lock(pool.mutex);
  if (generation_ == pool.generation) clear_annotations(pool);
}

std::atomic<uint64_t>* BreadcrumbRing::slot(uint64_t number) const {
  const size_t index = number % slots_;
  Page& page = *Pool::instance().pages[index / kSlotsOfPage];
  return page.words + kHeadWords + index % kSlotsOfPage * kSlotWords;
}

// NOLINTNEXTLINE(readability-make-member-function-const)
void BreadcrumbRing::add(wrenfall_log_level level, std::string_view category,
                         std::string_view message) {
  const bool known = level >= WRENFALL_LOG_DEBUG && level <= WRENFALL_LOG_ERROR;
  const auto number_of_level = static_cast<uint64_t>(known ? level : WRENFALL_LOG_INFO);
  category = cut_utf8(category, kCategoryBytes);
  message = cut_utf8(message, kMessageBytes);
  const auto time = static_cast<uint64_t>(unix_now_ms());
  const uint64_t sizes = current_thread_id() | number_of_level << 32 |
                         uint64_t{category.size()} << 40 | uint64_t{message.size()} << 48;
  for (size_t attempt = 0; attempt < slots_; ++attempt) {
    const uint64_t number = Pool::instance().next.fetch_add(1);
    std::atomic<uint64_t>* const words = slot(number);
    if (!take(words, number)) continue;
    words[kSlotTime].store(time, std::memory_order_release);
    words[kSlotSizes].store(sizes, std::memory_order_release);
    store_text(words + kSlotCategory, category);
    store_text(words + kSlotMessage, message);
    words[kSlotDone].store(number, std::memory_order_release);
    return;
  }
}

// NOLINTNEXTLINE(readability-make-member-function-const)
void BreadcrumbRing::clear() {
  Pool& pool = Pool::instance();
  // The first page is enough: the highest of the numbers counts.
  std::atomic<uint64_t>& first = pool.pages[0]->words[kHeadFirst];
  uint64_t held = first.load();
  const uint64_t cleared = pool.next.fetch_add(1);
  while (held <= cleared && !first.compare_exchange_weak(held, cleared + 1)) {
  }
  wipe(pool, cleared);
}

std::vector<Breadcrumb> BreadcrumbRing::read() const { return breadcrumbs_in(annotations()); }

std::map<std::string, std::string> BreadcrumbRing::annotations() const {
  std::map<std::string, std::string> pages;
  for (size_t i = 0; i < pages_for(slots_); ++i) {
    const Page& page = *Pool::instance().pages[i];
    std::string& bytes = pages[page.name];
    bytes.resize(page_bytes(i, slots_));
    for (size_t word = 0; word * kWordBytes < bytes.size(); ++word) {
      const uint64_t value = page.words[word].load(std::memory_order_acquire);
      std::memcpy(bytes.data() + word * kWordBytes, &value, kWordBytes);
    }
  }
  return pages;
}

}  // namespace wrenfall
