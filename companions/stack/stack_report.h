#ifndef WRENFALL_COMPANIONS_STACK_STACK_REPORT_H_
#define WRENFALL_COMPANIONS_STACK_STACK_REPORT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace wrenfall::stack {

// What there is to say about one call on a stack. Texts are UTF-8, and empty when they are unknown.
struct StackFrame {
  uint64_t address =
      0;  // where the code goes on after the call; of the innermost frame, where it is
  uint64_t offset = 0;  // from the start of the module
  std::string module;   // the name of its file; empty when the address lies in no module
  std::string function;
  uint64_t function_offset = 0;  // from the start of the function
  std::string file;
  uint32_t line = 0;
  bool is_inline = false;  // inlined into the next frame that is not; both have one address
  bool searched = false;   // found by a search of the stack; frames before it may be missing
};

struct ThreadStack {
  uint32_t id = 0;
  std::string name;
  bool is_shown = false;           // the thread that the report is about
  bool truncated = false;          // there are more frames
  std::vector<StackFrame> frames;  // the innermost first
};

// How much the symbols of a module tell.
enum class SymbolKind { kNotLookedUp, kNone, kExports, kFull };

struct StackModule {
  std::string name;
  std::string path;
  uint64_t base = 0;
  uint32_t size = 0;
  std::string version;
  SymbolKind symbols = SymbolKind::kNotLookedUp;
};

struct StackReport {
  struct Exception {
    uint32_t code = 0;
    uint64_t address = 0;
    uint32_t thread_id = 0;
  };

  std::string dump;                    // the path of its file
  std::optional<Exception> exception;  // nothing for a hang or a capture
  std::vector<ThreadStack> threads;
  std::vector<StackModule> modules;
  std::vector<std::string> warnings;  // one sentence each
};

}  // namespace wrenfall::stack

#endif  // WRENFALL_COMPANIONS_STACK_STACK_REPORT_H_
