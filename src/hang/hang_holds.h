#ifndef WRENFALL_HANG_HANG_HOLDS_H_
#define WRENFALL_HANG_HANG_HOLDS_H_

#include <atomic>
#include <cstdint>
#include <functional>

namespace wrenfall {

// Counts the pauses of hang detection that are in force. Any thread may call any operation.
class HangPauses {
 public:
  void pause() { ++count_; }

  // False, and nothing changes, when no pause is in force.
  bool resume();

  bool any() const { return count_ != 0; }

 private:
  std::atomic<uint32_t> count_{0};
};

// Whether a debugger is attached to this process.
bool is_debugger_attached();

// What keeps the watchdog from finding hangs for a while. Both are optional.
struct HangHolds {
  const HangPauses* pauses = nullptr;       // not owned, outlives the watchdog
  std::function<bool()> debugger_attached;  // given when hangs under a debugger are ignored
};

}  // namespace wrenfall

#endif  // WRENFALL_HANG_HANG_HOLDS_H_
