#ifndef WRENFALL_API_ENVIRONMENT_TEXT_H_
#define WRENFALL_API_ENVIRONMENT_TEXT_H_

#include <atomic>
#include <set>
#include <string>

namespace wrenfall {

// The environment as a C string that hosts read without a lock and may keep: each text that was ever
// set stays valid as long as this object. One thread at a time sets.
class EnvironmentText {
 public:
  void set(const std::string& value) { current_ = texts_.insert(value).first->c_str(); }
  const char* get() const { return current_; }

 private:
  std::set<std::string> texts_;
  std::atomic<const char*> current_{""};
};

}  // namespace wrenfall

#endif  // WRENFALL_API_ENVIRONMENT_TEXT_H_
