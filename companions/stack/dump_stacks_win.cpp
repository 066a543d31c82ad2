#include <windows.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>

#include "common/shared_file.h"
#include "minidump/dump_snapshot.h"
#include "stack/address_space.h"
#include "stack/debug_help_win.h"
#include "stack/dump_stacks.h"
#include "stack/module_symbols_win.h"
#include "stack/stack_walker_win.h"
#include "support/text.h"

namespace wrenfall::stack {
namespace {

using minidump::DumpBytes;
using minidump::DumpModule;
using minidump::DumpSnapshot;
using minidump::DumpThread;

// What the frames of all threads may take together. Threads may all have the same stack, and every frame
// has texts of its own.
constexpr size_t kMostFrameBytes = size_t{8} * 1024 * 1024;

size_t bytes_of(const StackFrame& frame) {
  return sizeof frame + frame.module.size() + frame.function.size() + frame.file.size();
}

class StackReader {
 public:
  StackReader(const StackRequest& request, const DumpSnapshot& snapshot, const DumpBytes& dump)
      : request_(request),
        snapshot_(snapshot),
        dump_(dump),
        memory_(snapshot, dump,
                [this](const DumpModule& module) { return symbols_.find_image(module); }),
        symbols_(debug_help_, &memory_, request.folders) {}

  StackReport read() {
    report_.dump = path_to_utf8(request_.dump);
    report_.warnings = snapshot_.warnings;
    if (snapshot_.exception && !snapshot_.exception->is_simulated()) {
      report_.exception = {snapshot_.exception->code, snapshot_.exception->address,
                           snapshot_.exception->thread_id};
    }
    if (!debug_help_.is_usable) {
      warn("dbghelp.dll cannot be used: there are only the innermost addresses.");
    }
    if (snapshot_.is_x64) {
      for (const DumpThread& thread : threads_to_read()) report_.threads.push_back(read(thread));
    } else {
      warn("The process was none for x64: its stacks cannot be read.");
    }
    for (const std::string& name : missing_) {
      warn("The file of " + name +
           " in the build that crashed was not found: its callers were searched for on the stack. "
           "--symbols names the folder of such files.");
    }
    for (const std::string& name : symbols_.unmatched()) {
      warn("The debug information that was found for " + name +
           " is of another build and was not used. --symbols names the folder of such files.");
    }
    if (frames_are_cut_) warn("There are too many frames: the last stacks are cut short.");
    if (!memory_.left_out().empty()) {
      warn("The files of " + std::to_string(memory_.left_out().size()) +
           " modules were not used: the function tables of all together are too large.");
    }
    list_modules();
    return std::move(report_);
  }

 private:
  void warn(std::string text) { report_.warnings.push_back(std::move(text)); }

  // The thread that the report is about comes first.
  std::vector<DumpThread> threads_to_read() {
    std::vector<DumpThread> threads;
    if (!snapshot_.exception) {
      warn("The dump does not say which thread it is of.");
    } else if (const DumpThread* thread = snapshot_.thread_of_id(shown_id())) {
      threads.push_back(*thread);
    } else {
      warn("The thread that the dump is of is not in its list of threads.");
      threads.emplace_back().id = shown_id();
    }
    for (const DumpThread& thread : snapshot_.threads) {
      const bool wanted = request_.all_threads || threads.empty();
      if (wanted && !is_shown(thread)) threads.push_back(thread);
    }
    return threads;
  }

  uint32_t shown_id() const { return snapshot_.exception->thread_id; }
  bool is_shown(const DumpThread& thread) const {
    return snapshot_.exception && thread.id == shown_id();
  }

  bool read_registers(const minidump::DumpLocation& place, CONTEXT& registers) const {
    return place.size >= sizeof registers && dump_.read(place.rva, &registers, sizeof registers);
  }

  ThreadStack read(const DumpThread& thread) {
    ThreadStack stack;
    stack.id = thread.id;
    stack.name = thread.name;
    stack.is_shown = is_shown(thread);
    if (is_full()) {
      stack.truncated = true;
      return stack;
    }
    CONTEXT registers{};
    // After a crash the thread's own registers are those of the crash's handling.
    if (!(stack.is_shown && read_registers(snapshot_.exception->registers, registers)) &&
        !read_registers(thread.registers, registers)) {
      warn("The registers of thread " + std::to_string(thread.id) + " are missing or damaged.");
      return stack;
    }
    const uint64_t stack_end =
        thread.stack.size == 0 ? UINT64_MAX : thread.stack.address + thread.stack.size;
    const Walk walk = walk_stack(debug_help_, memory_, registers, stack_end);
    stack.truncated = walk.truncated;
    for (const WalkedFrame& frame : walk.frames) {
      if (is_full()) {
        stack.truncated = true;
        break;
      }
      const size_t known = stack.frames.size();
      describe(frame, &frame == walk.frames.data(), stack.frames);
      for (size_t i = known; i < stack.frames.size(); ++i) {
        frame_bytes_ += bytes_of(stack.frames[i]);
      }
    }
    return stack;
  }

  // Asked before each thread and each frame: what comes behind is left out.
  bool is_full() {
    frames_are_cut_ = frame_bytes_ >= kMostFrameBytes;
    return frames_are_cut_;
  }

  void describe(const WalkedFrame& walked, bool innermost, std::vector<StackFrame>& frames) {
    StackFrame frame;
    frame.address = walked.address;
    frame.searched = walked.searched;
    const DumpModule* const module = snapshot_.module_at(walked.address);
    if (module == nullptr) {
      frames.push_back(std::move(frame));
      return;
    }
    frame.module = module->name();
    frame.offset = walked.address - module->base;
    if (!memory_.can_unwind(walked.address) && memory_.left_out().count(module->base) == 0) {
      missing_.insert(frame.module);
    }
    // A call can be the last thing that a function does: what is behind it belongs to the next one.
    const uint64_t lookup = innermost ? walked.address : walked.address - 1;
    symbols_.describe(*module, lookup, memory_.function_at(lookup), frame, frames);
  }

  void list_modules() {
    for (const DumpModule& module : snapshot_.modules) {
      report_.modules.push_back({module.name(), module.path, module.base, module.size,
                                 module.version, symbols_.kind_of(module)});
    }
  }

  const StackRequest& request_;
  const DumpSnapshot& snapshot_;
  const DumpBytes& dump_;
  const DebugHelp debug_help_;
  AddressSpace memory_;
  ModuleSymbols symbols_;
  StackReport report_;
  std::set<std::string> missing_;  // modules that frames lie in and whose files were not found
  size_t frame_bytes_ = 0;         // of all threads so far
  bool frames_are_cut_ = false;
};

}  // namespace

std::optional<StackReport> read_stacks(const StackRequest& request) {
  const SharedFile file(request.dump);
  if (!file.is_open()) return std::nullopt;
  const DumpBytes dump([&file](uint64_t offset, void* buffer,
                               size_t size) { return file.read_at(offset, buffer, size); },
                       file.size());
  const auto snapshot = minidump::read_snapshot(dump);
  if (!snapshot) return std::nullopt;
  return StackReader(request, *snapshot, dump).read();
}

}  // namespace wrenfall::stack
