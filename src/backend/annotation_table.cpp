#include "backend/annotation_table.h"

#include <client/annotation.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>

#include "backend/annotation_keys.h"

namespace wrenfall {
namespace {

constexpr size_t kValueCapacity = 4096;
constexpr size_t kLongValueCapacity = 20480;

size_t value_capacity(const std::string& key) {
  return key == annotation::kDescription || key == annotation::kNotes ? kLongValueCapacity
                                                                      : kValueCapacity;
}

}  // namespace

class AnnotationHolder {
 public:
  explicit AnnotationHolder(const std::string& key)
      : capacity_(value_capacity(key)),
        value_(std::make_unique<char[]>(capacity_)),
        annotation_(crashpad::Annotation::Type::kString, name_, value_.get()) {
    // The rest of the name stays zero: the handler reads the whole buffer.
    std::memcpy(name_, key.data(), std::min(key.size(), sizeof name_ - 1));
  }
  AnnotationHolder(const AnnotationHolder&) = delete;
  AnnotationHolder& operator=(const AnnotationHolder&) = delete;

  // A table takes the holder over from whichever had it; from then on only that table's calls
  // count.
  void take(const AnnotationTable* owner) {
    owner_ = owner;
    annotation_.Clear();
  }

  void release(const AnnotationTable* owner) {
    if (owner_ != owner) return;
    annotation_.Clear();
    owner_ = nullptr;
  }

  void set(const AnnotationTable* owner, const std::string& value) {
    if (owner_ != owner) return;
    if (value.empty()) {
      annotation_.Clear();
      return;
    }
    const size_t size = std::min(value.size(), capacity_);
    std::memcpy(value_.get(), value.data(), size);
    annotation_.SetSize(static_cast<uint32_t>(size));
  }

 private:
  const size_t capacity_;
  const std::unique_ptr<char[]> value_;
  char name_[crashpad::Annotation::kNameMaxLength] = {};
  crashpad::Annotation annotation_;
  const AnnotationTable* owner_ = nullptr;
};

namespace {

// Every holder that a key ever had. Kept until the process ends, past the destruction of static
// objects: crashes happen then too.
struct HolderPool {
  static HolderPool& instance() {
    static HolderPool& pool = *new HolderPool;
    return pool;
  }

  std::mutex mutex;  // guards everything about annotations, the holders' values included
  std::map<std::string, std::unique_ptr<AnnotationHolder>> holders;
};

}  // namespace

AnnotationTable::~AnnotationTable() {
  const std::lock_guard<std::mutex> lock(HolderPool::instance().mutex);
  for (const auto& [key, holder] : holders_) holder->release(this);
}

void AnnotationTable::set(const std::string& key, const std::string& value) {
  HolderPool& pool = HolderPool::instance();
  const std::lock_guard<std::mutex> lock(pool.mutex);
  auto found = holders_.find(key);
  if (found == holders_.end()) {
    if (value.empty()) return;
    auto& holder = pool.holders[key];
    if (!holder) holder = std::make_unique<AnnotationHolder>(key);
    found = holders_.emplace(key, holder.get()).first;
    holder->take(this);
  }
  found->second->set(this, value);
}

}  // namespace wrenfall
