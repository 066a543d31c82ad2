#ifndef WRENFALL_FALLBACK_CLIENT_CRASHPAD_INFO_H_
#define WRENFALL_FALLBACK_CLIENT_CRASHPAD_INFO_H_

#include <util/misc/tri_state.h>

#include <atomic>
#include <cstdint>

namespace crashpad {

// Options that may change while the handler runs; a change takes effect with the next dump. There is one
// object for the process, which is never destroyed. Any thread may use it.
class CrashpadInfo {
 public:
  static CrashpadInfo* GetCrashpadInfo();

  constexpr CrashpadInfo() = default;
  CrashpadInfo(const CrashpadInfo&) = delete;
  CrashpadInfo& operator=(const CrashpadInfo&) = delete;

  // Whether small dumps contain the memory that registers and stacks point to. `limit` (in bytes) is
  // kept but has no effect, because the system's dump writer has a limit of its own.
  void set_gather_indirectly_referenced_memory(TriState gather, uint32_t limit) {
    indirect_memory_limit_.store(limit);
    gather_indirect_memory_.store(gather);
  }

  TriState gather_indirectly_referenced_memory() const { return gather_indirect_memory_.load(); }
  uint32_t indirectly_referenced_memory_cap() const { return indirect_memory_limit_.load(); }

 private:
  std::atomic<TriState> gather_indirect_memory_{TriState::kUnset};
  std::atomic<uint32_t> indirect_memory_limit_{0};
};

}  // namespace crashpad

#endif  // WRENFALL_FALLBACK_CLIENT_CRASHPAD_INFO_H_
