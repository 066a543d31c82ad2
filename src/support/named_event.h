#ifndef WRENFALL_SUPPORT_NAMED_EVENT_H_
#define WRENFALL_SUPPORT_NAMED_EVENT_H_

#include <memory>
#include <string>

namespace wrenfall {

// An event that another process of the same session can find by its name and wait for. Once set it stays
// set until it is reset. It exists as long as somebody has it open. One that exists already is not used,
// since any process may have made it, and set it. Where the event cannot be made, setting and resetting it
// do nothing.
class NamedEvent {
 public:
  // `name` is ASCII and has no backslash.
  explicit NamedEvent(const std::string& name);

  bool is_made() const;
  void set();
  void reset();

 private:
  struct Closer {
    void operator()(void* event) const;
  };
  std::unique_ptr<void, Closer> event_;
};

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_NAMED_EVENT_H_
