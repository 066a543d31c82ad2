#ifndef WRENFALL_TESTS_SUPPORT_FAKE_CRASHPAD_CLIENT_ANNOTATION_H_
#define WRENFALL_TESTS_SUPPORT_FAKE_CRASHPAD_CLIENT_ANNOTATION_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace crashpad {

// Takes the place of the real one in tests: it keeps every annotation that ever got a value in a
// list without removal, as the real one does, where the test can look at what a handler would read.
class Annotation {
 public:
  static constexpr size_t kNameMaxLength = 256;
  using ValueSizeType = uint32_t;
  enum class Type : uint16_t { kInvalid = 0, kString = 1 };

  Annotation(Type type, const char name[], void* value) : type_(type), name_(name), value_(value) {}
  Annotation(const Annotation&) = delete;
  Annotation& operator=(const Annotation&) = delete;

  void SetSize(ValueSizeType size) {
    if (!listed_) all().push_back(this);
    listed_ = true;
    size_ = size;
  }
  void Clear() { size_ = 0; }

  static std::vector<const Annotation*>& all() {
    static std::vector<const Annotation*> list;
    return list;
  }
  // The value of the live annotation of that name.
  static std::optional<std::string> live(const std::string& name) {
    for (const Annotation* annotation : all()) {
      if (annotation->size_ == 0 || annotation->type_ != Type::kString) continue;
      if (annotation->padded_name() != name + std::string(kNameMaxLength - name.size(), '\0'))
        continue;
      return std::string(static_cast<const char*>(annotation->value_), annotation->size_);
    }
    return std::nullopt;
  }

 private:
  // The handler reads the whole buffer.
  std::string padded_name() const { return {name_, kNameMaxLength}; }

  const Type type_;
  const char* const name_;
  void* const value_;
  ValueSizeType size_ = 0;
  bool listed_ = false;
};

}  // namespace crashpad

#endif  // WRENFALL_TESTS_SUPPORT_FAKE_CRASHPAD_CLIENT_ANNOTATION_H_
