#include "stack/module_symbols_win.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace wrenfall::stack {
namespace {

// What the library under test is told of a module that it loads.
SYM_TYPE type;
BOOL pdb_unmatched;
BOOL dbg_unmatched;
int loaded;

// This program, as a dump of it would name it.
minidump::DumpModule own_module() {
  const auto base = reinterpret_cast<const unsigned char*>(GetModuleHandleW(nullptr));
  IMAGE_DOS_HEADER start{};
  IMAGE_NT_HEADERS headers{};
  std::memcpy(&start, base, sizeof start);
  std::memcpy(&headers, base + start.e_lfanew, sizeof headers);
  char path[MAX_PATH] = {};
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  return {reinterpret_cast<uintptr_t>(base), headers.OptionalHeader.SizeOfImage,
          headers.FileHeader.TimeDateStamp, path, ""};
}

// Does nothing but count, and knows one function.
void play_library(DebugHelp& library) {
  library.load_module = [](HANDLE, HANDLE, PCWSTR, PCWSTR, DWORD64 base, DWORD, PMODLOAD_DATA,
                           DWORD) -> DWORD64 {
    ++loaded;
    return base;
  };
  library.unload_module = [](HANDLE, DWORD64) -> BOOL {
    --loaded;
    return TRUE;
  };
  library.module_info = [](HANDLE, DWORD64, PIMAGEHLP_MODULEW64 info) -> BOOL {
    info->SymType = type;
    info->PdbUnmatched = pdb_unmatched;
    info->DbgUnmatched = dbg_unmatched;
    return TRUE;
  };
  library.symbol_at = [](HANDLE, DWORD64, PDWORD64 distance, PSYMBOL_INFOW symbol) -> BOOL {
    *distance = 0;
    symbol->Name[0] = L'f';
    return TRUE;
  };
  library.line_at = [](HANDLE, DWORD64, PDWORD, PIMAGEHLP_LINEW64) -> BOOL { return FALSE; };
  library.inline_count = nullptr;
}

TEST(ModuleSymbols, DebugInformationOfAnotherBuildIsNotUsed) {
  const struct {
    SYM_TYPE type;
    BOOL pdb_unmatched, dbg_unmatched;
    SymbolKind kind;
    const char* function;
    int loaded;
  } rows[] = {{SymPdb, FALSE, FALSE, SymbolKind::kFull, "f", 1},
              {SymPdb, TRUE, FALSE, SymbolKind::kNone, "", 0},
              {SymCv, FALSE, TRUE, SymbolKind::kNone, "", 0},
              // Exports are of the module itself.
              {SymExport, TRUE, FALSE, SymbolKind::kExports, "f", 1}};
  DebugHelp library;
  play_library(library);
  const minidump::DumpModule module = own_module();
  const FunctionEntry function{};
  for (const auto& row : rows) {
    type = row.type;
    pdb_unmatched = row.pdb_unmatched;
    dbg_unmatched = row.dbg_unmatched;
    loaded = 0;
    ModuleSymbols symbols(library, &loaded, {});
    ASSERT_NE(symbols.find_image(module), nullptr) << module.path;
    std::vector<StackFrame> frames;
    symbols.describe(module, module.base + 16, &function, {}, frames);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].function, row.function) << row.type;
    EXPECT_EQ(symbols.kind_of(module), row.kind) << row.type;
    EXPECT_EQ(symbols.unmatched().count(module.name()),
              row.pdb_unmatched || row.dbg_unmatched ? 1u : 0u);
    EXPECT_EQ(loaded, row.loaded) << row.type;
  }
}

}  // namespace
}  // namespace wrenfall::stack
