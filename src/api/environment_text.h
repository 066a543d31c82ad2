#ifndef WRENFALL_API_ENVIRONMENT_TEXT_H_
#define WRENFALL_API_ENVIRONMENT_TEXT_H_

#include <atomic>
#include <cstdint>
#include <set>
#include <string>

namespace wrenfall {

// The environment as a C string that hosts read without a lock and may keep: each text that was
// handed out stays valid as long as this object. One thread at a time sets, any thread gets.
class EnvironmentText {
 public:
  EnvironmentText() : current_(address_of(*texts_.emplace().first)) {}

  void set(const std::string& value) {
    const auto [text, is_new] = texts_.insert(value);
    const uintptr_t address = address_of(*text);
    if ((current_ & ~kHandedOut) == address) return;
    // A text that is still here without being the current one was handed out.
    const uintptr_t previous = current_.exchange(is_new ? address : address | kHandedOut);
    if ((previous & kHandedOut) == 0) texts_.erase(texts_.find(text_at(previous)));
  }

  const char* get() { return text_at(current_.fetch_or(kHandedOut)).c_str(); }

 private:
  // Marks an address; strings are aligned, so the lowest bit of theirs is free.
  static constexpr uintptr_t kHandedOut = 1;

  static uintptr_t address_of(const std::string& text) {
    return reinterpret_cast<uintptr_t>(&text);
  }
  static const std::string& text_at(uintptr_t marked) {
    return *reinterpret_cast<const std::string*>(marked & ~kHandedOut);
  }

  std::set<std::string> texts_;
  std::atomic<uintptr_t> current_;
};

}  // namespace wrenfall

#endif  // WRENFALL_API_ENVIRONMENT_TEXT_H_
