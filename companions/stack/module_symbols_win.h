#ifndef WRENFALL_COMPANIONS_STACK_MODULE_SYMBOLS_WIN_H_
#define WRENFALL_COMPANIONS_STACK_MODULE_SYMBOLS_WIN_H_

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "minidump/dump_snapshot.h"
#include "stack/debug_help_win.h"
#include "stack/image_file.h"
#include "stack/stack_report.h"

namespace wrenfall::stack {

// The files of a dump's modules, and the names and lines of their code. Only files of the same build as the
// module that crashed are used. Looks into the given folders, the symbol path of the environment
// (_NT_SYMBOL_PATH), and where the files were on the machine of the crash. One object at a time.
class ModuleSymbols {
 public:
  // The library's functions know the process of the dump by `process`. `debug_help` must outlive this
  // object. There are neither names nor lines when the system's library is not usable.
  ModuleSymbols(const DebugHelp& debug_help, HANDLE process,
                std::vector<std::filesystem::path> folders);
  ~ModuleSymbols();
  ModuleSymbols(const ModuleSymbols&) = delete;
  ModuleSymbols& operator=(const ModuleSymbols&) = delete;

  // Null when the file is not at hand.
  std::unique_ptr<ImageFile> find_image(const minidump::DumpModule& module);

  // Adds what the code at `lookup` is, the innermost inlined function first. All the frames get the place
  // of `frame`. `function` is the entry of the address in the module's table, or null.
  void describe(const minidump::DumpModule& module, uint64_t lookup, const FunctionEntry* function,
                const StackFrame& frame, std::vector<StackFrame>& frames);

  SymbolKind kind_of(const minidump::DumpModule& module) const;

  // The names of the modules for which only debug information of another build was found so far.
  const std::set<std::string>& unmatched() const { return unmatched_; }

 private:
  std::filesystem::path search_servers(const minidump::DumpModule& module);
  std::filesystem::path find_debug_file(const std::filesystem::path& image) const;
  SymbolKind load(const minidump::DumpModule& module);
  SymbolKind load_from(const minidump::DumpModule& module, const std::filesystem::path& file);
  void name_inlined(uint64_t lookup, const StackFrame& frame, std::vector<StackFrame>& frames,
                    StackFrame& outermost);

  const DebugHelp& debug_help_;
  const HANDLE process_;
  std::vector<std::filesystem::path> folders_;  // those of the environment come last
  bool initialized_ = false;
  std::map<uint64_t, std::filesystem::path> images_;  // by the module's base
  std::map<uint64_t, SymbolKind> kinds_;              // of modules whose symbols were looked for
  std::set<std::string> unmatched_;
};

}  // namespace wrenfall::stack

#endif  // WRENFALL_COMPANIONS_STACK_MODULE_SYMBOLS_WIN_H_
