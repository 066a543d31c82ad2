#include "backend/annotation_table.h"

#include <client/annotation.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "backend/annotation_keys.h"

namespace wrenfall {
namespace {

// The handler reads this many bytes at a name's address.
constexpr size_t kNameBytes = 256;

size_t value_capacity(const std::string& key) {
  return key == annotation::kDescription || key == annotation::kNotes ? annotation::kLongValueBytes
                                                                      : annotation::kValueBytes;
}

// Whether the annotation says what one dump is of.
bool is_of_one_dump(const std::string& key) {
  for (const char* const one :
       {annotation::kReportKind, annotation::kThreadId, annotation::kHangThread,
        annotation::kHangThreadId, annotation::kHangDurationMs, annotation::kHangPolicy}) {
    if (key == one) return true;
  }
  return false;
}

// One live annotation. The handler reads its name and value at their addresses in the dying process.
class Holder {
 public:
  explicit Holder(const std::string& key)
      : capacity_(value_capacity(key)),
        value_(std::make_unique<char[]>(capacity_)),
        annotation_(crashpad::Annotation::Type::kString, name_, value_.get()) {
    rename(key);
  }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

  // Only while no value is set.
  void rename(const std::string& key) {
    // The rest of the name stays zero: the handler reads the whole buffer.
    std::memset(name_, 0, sizeof name_);
    std::memcpy(name_, key.data(), std::min(key.size(), sizeof name_ - 1));
  }

  void set(const std::string& value) {
    annotation_.Clear();
    is_set_ = !value.empty();
    if (!is_set_) return;
    // The handler may read the annotation between any two of these steps, so the order counts.
    std::atomic_signal_fence(std::memory_order_seq_cst);
    const size_t size = std::min(value.size(), capacity_);
    std::memcpy(value_.get(), value.data(), size);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    annotation_.SetSize(static_cast<uint32_t>(size));
  }

  bool is_set() const { return is_set_; }

  // Keeps the value for make_change(). Clearing needs no memory.
  void put_off(const std::string& value) {
    next_ = value;
    has_next_ = true;
  }
  void make_change() {
    if (has_next_) set(next_);
    has_next_ = false;
  }

 private:
  const size_t capacity_;
  const std::unique_ptr<char[]> value_;
  char name_[kNameBytes];
  crashpad::Annotation annotation_;
  bool is_set_ = false;
  std::string next_;
  bool has_next_ = false;
};

bool is_attribute(const std::string& key) {
  return key.compare(0, std::strlen(annotation::kAttributePrefix), annotation::kAttributePrefix) ==
         0;
}

// All annotations that were ever made, by their present keys. Never destroyed, because crashes happen
// after the destruction of static objects too.
class HolderPool {
 public:
  static HolderPool& instance() {
    static HolderPool& pool = *new HolderPool;
    return pool;
  }

  std::mutex& mutex() { return mutex_; }

  // The members that follow are called with the mutex held.

  // Makes a new table the newest one; it has no values.
  uint64_t begin_generation() {
    clear();
    return ++generation_;
  }

  bool is_newest(uint64_t generation) const { return generation == generation_; }

  // By the place where it was the last time, unless that may belong to another key by now.
  Holder* find(const std::string& key, const AnnotationPlace& place) {
    if (place.holder != nullptr && place.renames == renames_) {
      return static_cast<Holder*>(place.holder);
    }
    const auto found = holders_.find(key);
    return found == holders_.end() ? nullptr : found->second.get();
  }

  AnnotationPlace place_of(Holder& holder) const { return {&holder, renames_}; }

  Holder& make(const std::string& key) {
    if (is_attribute(key) && holders_.size() >= kReuseFrom) {
      if (Holder* const reused = reuse_attribute(key)) return *reused;
    }
    return *(holders_[key] = std::make_unique<Holder>(key));
  }

  void clear() {
    for (const auto& [key, holder] : holders_) set(key, *holder, {});
  }

  void set(const std::string& key, Holder& holder, const std::string& value) const {
    if (held_dump_ != 0 && is_of_one_dump(key)) {
      holder.put_off(value);
    } else {
      holder.set(value);
    }
  }

  uint64_t hold_dump() {
    make_changes();
    return held_dump_ = ++last_dump_;
  }

  void release_dump(uint64_t dump) {
    if (dump != held_dump_) return;
    held_dump_ = 0;
    make_changes();
  }

 private:
  // Well below the number that the handler reads, and above the number of values that can be set at
  // one time.
  static constexpr size_t kReuseFrom = 150;

  void make_changes() {
    for (const auto& [key, holder] : holders_) holder->make_change();
  }

  Holder* reuse_attribute(const std::string& key) {
    const auto unused = std::find_if(holders_.begin(), holders_.end(), [](const auto& entry) {
      return is_attribute(entry.first) && !entry.second->is_set();
    });
    if (unused == holders_.end()) return nullptr;
    // Copied first: when this runs out of memory, the pool is still unchanged. A holder must not get
    // lost, because the handler reads all of them.
    std::string name = key;
    auto node = holders_.extract(unused);
    node.key().swap(name);
    node.mapped()->rename(key);
    ++renames_;
    return holders_.insert(std::move(node)).position->second.get();
  }

  std::mutex mutex_;
  std::unordered_map<std::string, std::unique_ptr<Holder>> holders_;
  uint64_t generation_ = 0;
  uint64_t renames_ = 0;
  uint64_t last_dump_ = 0;
  uint64_t held_dump_ = 0;  // 0 for none
};

uint64_t begin_generation() {
  const std::lock_guard<std::mutex> lock(HolderPool::instance().mutex());
  return HolderPool::instance().begin_generation();
}

}  // namespace

AnnotationTable::AnnotationTable() : generation_(begin_generation()) {}

// NOLINTNEXTLINE(readability-make-member-function-const)
void AnnotationTable::clear() {
  HolderPool& pool = HolderPool::instance();
  const std::lock_guard<std::mutex> lock(pool.mutex());
  if (pool.is_newest(generation_)) pool.clear();
}

// NOLINTNEXTLINE(readability-make-member-function-const)
void AnnotationTable::set(const std::string& key, const std::string& value,
                          AnnotationPlace& place) {
  HolderPool& pool = HolderPool::instance();
  const std::lock_guard<std::mutex> lock(pool.mutex());
  if (!pool.is_newest(generation_)) return;
  Holder* holder = pool.find(key, place);
  if (holder == nullptr) {
    if (value.empty()) return;
    holder = &pool.make(key);
  }
  place = pool.place_of(*holder);
  pool.set(key, *holder, value);
}

uint64_t AnnotationTable::hold_dump() {
  HolderPool& pool = HolderPool::instance();
  const std::lock_guard<std::mutex> lock(pool.mutex());
  return pool.hold_dump();
}

void AnnotationTable::release_dump(uint64_t dump) {
  HolderPool& pool = HolderPool::instance();
  const std::lock_guard<std::mutex> lock(pool.mutex());
  pool.release_dump(dump);
}

}  // namespace wrenfall
