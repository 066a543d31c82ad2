#ifndef WRENFALL_COMPANIONS_MONITOR_CLAIMED_DUMP_H_
#define WRENFALL_COMPANIONS_MONITOR_CLAIMED_DUMP_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>

#include "minidump/minidump_layout.h"

namespace wrenfall::monitor {

// A finished dump. While this object holds the file open, no other monitor can take it. The claim
// ends with the process too, so a dump that a killed monitor had claimed can be claimed again.
class ClaimedDump {
 public:
  enum class State {
    kClaimed,
    kBusy,    // being written, or opened by another program
    kGone,    // no file of the name
    kFailed,  // any other error
  };

  // Claims the file if it can; state() tells the result. The operations below need kClaimed.
  explicit ClaimedDump(const std::filesystem::path& path);

  State state() const { return state_; }
  uint32_t error() const { return error_; }  // the system's number for kBusy and kFailed

  uint64_t size() const;
  bool read_at(uint64_t offset, void* buffer, size_t size) const;
  // False, with error() set, when not all was written; the claim may be one for reading only.
  bool write_at(uint64_t offset, const void* data, size_t size);
  minidump::ReadAt reader() const;  // valid while this object exists

  // The time since the dump was last written; 0 when the system does not tell. A time of writing in
  // the future, which remains when the clock is set back, counts by its distance too.
  std::chrono::seconds age() const;

  // Renames the file, within its volume, and keeps it claimed. False, with error() set, when that
  // fails.
  bool move_to(const std::filesystem::path& target);

  // Lets others open the file again. Nothing but state() may be called afterwards.
  void release() { file_.reset(); }

 private:
  struct Closer {
    void operator()(void* file) const;
  };

  State state_ = State::kFailed;
  uint32_t error_ = 0;
  std::unique_ptr<void, Closer> file_;
};

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_CLAIMED_DUMP_H_
