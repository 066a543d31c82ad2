#include "stack/module_symbols_win.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <utility>

#include "common/shared_file.h"
#include "stack/symbol_folders.h"
#include "support/files.h"
#include "support/text.h"

namespace wrenfall::stack {

namespace fs = std::filesystem;

namespace {

using minidump::DumpModule;

constexpr ULONG kMostNameUnits = 1024;
constexpr DWORD kMostInlined = 64;

// A dump can name more than any file has, and Wine's library writes a name into a buffer of fixed size
// without a look at its length.
constexpr size_t kMostFileNameUnits = 255;

// A symbol with room for its name.
struct Symbol {
  Symbol() {
    info()->SizeOfStruct = sizeof(SYMBOL_INFOW);
    info()->MaxNameLen = kMostNameUnits;
  }
  SYMBOL_INFOW* info() { return reinterpret_cast<SYMBOL_INFOW*>(bytes); }
  std::string name() { return wide_to_utf8({info()->Name, wcsnlen(info()->Name, kMostNameUnits)}); }

  alignas(SYMBOL_INFOW) char bytes[sizeof(SYMBOL_INFOW) + kMostNameUnits * sizeof(wchar_t)] = {};
};

// Null when it is no such file, or none of a disk.
std::unique_ptr<ImageFile> open_image(const fs::path& path) {
  if (!is_file(path) || !is_disk_file(path)) return nullptr;
  const auto file = std::make_shared<const SharedFile>(path);
  if (!file->is_open()) return nullptr;
  return ImageFile::open([file](uint64_t offset, void* buffer,
                                size_t size) { return file->read_at(offset, buffer, size); },
                         file->size(), ImageLayout::kFile);
}

std::unique_ptr<ImageFile> open_image_of(const DumpModule& module, const fs::path& path) {
  auto image = open_image(path);
  const bool same_build =
      image && image->time_stamp() == module.time_stamp && image->size() == module.size;
  return same_build ? std::move(image) : nullptr;
}

std::wstring environment_path() {
  const wchar_t* const set = _wgetenv(L"_NT_SYMBOL_PATH");
  return set == nullptr ? L"" : set;
}

void set_line(const IMAGEHLP_LINEW64& line, StackFrame& frame) {
  frame.file = line.FileName == nullptr ? "" : wide_to_utf8(line.FileName);
  frame.line = line.LineNumber;
}

SymbolKind kind_of_type(SYM_TYPE type) {
  switch (type) {
    case SymPdb:
    case SymDia:
    case SymCv:
    case SymCoff:
    case SymSym:
      return SymbolKind::kFull;
    case SymExport:
      return SymbolKind::kExports;
    default:
      return SymbolKind::kNone;
  }
}

}  // namespace

ModuleSymbols::ModuleSymbols(const DebugHelp& debug_help, HANDLE process,
                             std::vector<fs::path> folders)
    : debug_help_(debug_help), process_(process), folders_(std::move(folders)) {
  // For a null path, unlike an empty one, the library would look into the current folder.
  std::wstring path;
  for (const fs::path& folder : folders_) path += folder.wstring() + L";";
  path += environment_path();
  for (fs::path& folder : split_folders(wide_to_utf8(environment_path()))) {
    folders_.push_back(std::move(folder));
  }
  if (!debug_help_.is_usable) return;
  debug_help_.set_options(SYMOPT_UNDNAME | SYMOPT_LOAD_LINES | SYMOPT_NO_PROMPTS |
                          SYMOPT_FAIL_CRITICAL_ERRORS);
  initialized_ = debug_help_.initialize(process_, path.c_str(), FALSE) != FALSE;
}

ModuleSymbols::~ModuleSymbols() {
  if (initialized_) debug_help_.clean_up(process_);
}

std::unique_ptr<ImageFile> ModuleSymbols::find_image(const DumpModule& module) {
  std::vector<fs::path> places = places_of_image(module, folders_);
  for (size_t i = 0; i <= places.size(); ++i) {
    const fs::path place = i < places.size() ? places[i] : search_servers(module);
    if (place.empty()) continue;
    auto image = open_image_of(module, place);
    if (!image) continue;
    images_[module.base] = place;
    return image;
  }
  return nullptr;
}

// The module's file on the servers of the symbol path; empty when it is not there.
fs::path ModuleSymbols::search_servers(const DumpModule& module) {
  const std::wstring name = utf8_to_wide(module.name());
  if (!initialized_ || name.empty() || name.size() > kMostFileNameUnits) return {};
  DWORD time_stamp = module.time_stamp;
  wchar_t found[MAX_PATH + 1] = {};
  if (!debug_help_.find_file(process_, nullptr, name.c_str(), &time_stamp, module.size, 0,
                             SSRVOPT_DWORDPTR, found, nullptr, nullptr)) {
    return {};
  }
  return found;
}

// Wine reads the debug information of MinGW's programs, but does not look for it in other files. Empty
// when there is none.
fs::path ModuleSymbols::find_debug_file(const fs::path& image) const {
  const auto opened = open_image(image);
  const auto link = opened ? opened->debug_link() : std::nullopt;
  if (!link) return {};
  for (const fs::path& place : places_of_debug_file(image, *link, folders_)) {
    if (!is_file(place) || !is_disk_file(place)) continue;
    const SharedFile file(place);
    const auto read = [&file](uint64_t offset, void* buffer, size_t size) {
      return file.read_at(offset, buffer, size);
    };
    if (file.is_open() && link_checksum(read, file.size()) == link->checksum) return place;
  }
  return {};
}

SymbolKind ModuleSymbols::load(const DumpModule& module) {
  const auto image = images_.find(module.base);
  if (!initialized_ || image == images_.end()) return SymbolKind::kNone;
  const fs::path debug_file = find_debug_file(image->second);
  if (!debug_file.empty()) {
    if (load_from(module, debug_file) == SymbolKind::kFull) return SymbolKind::kFull;
    debug_help_.unload_module(process_, module.base);
  }
  return load_from(module, image->second);
}

SymbolKind ModuleSymbols::load_from(const DumpModule& module, const fs::path& file) {
  if (debug_help_.load_module(process_, nullptr, file.c_str(), nullptr, module.base, module.size,
                              nullptr, 0) == 0) {
    return SymbolKind::kNone;
  }
  IMAGEHLP_MODULEW64 info{};
  info.SizeOfStruct = sizeof info;
  if (!debug_help_.module_info(process_, module.base, &info)) return SymbolKind::kNone;
  const SymbolKind kind = kind_of_type(info.SymType);
  if (!info.PdbUnmatched && !info.DbgUnmatched) return kind;
  unmatched_.insert(module.name());
  if (kind != SymbolKind::kFull) return kind;
  // The debug information of another build gives other functions' names.
  debug_help_.unload_module(process_, module.base);
  return SymbolKind::kNone;
}

void ModuleSymbols::describe(const DumpModule& module, uint64_t lookup,
                             const FunctionEntry* function, const StackFrame& frame,
                             std::vector<StackFrame>& frames) {
  const auto [known, is_new] = kinds_.try_emplace(module.base, SymbolKind::kNone);
  if (is_new) known->second = load(module);
  StackFrame outermost = frame;
  Symbol symbol;
  DWORD64 distance = 0;
  // With exports alone the nearest one need not be of this function.
  if (known->second != SymbolKind::kNone &&
      debug_help_.symbol_at(process_, lookup, &distance, symbol.info()) &&
      (known->second == SymbolKind::kFull ||
       (function != nullptr && lookup - distance >= module.base + function->begin))) {
    outermost.function = symbol.name();
    outermost.function_offset = frame.address - (lookup - distance);
  }
  if (known->second == SymbolKind::kFull) {
    IMAGEHLP_LINEW64 line{};
    line.SizeOfStruct = sizeof line;
    DWORD columns = 0;
    if (debug_help_.line_at(process_, lookup, &columns, &line)) set_line(line, outermost);
    if (debug_help_.knows_inline_frames()) name_inlined(lookup, frame, frames, outermost);
  }
  frames.push_back(std::move(outermost));
}

// Each function that is inlined at an address has a context, a number; the innermost has the first. The
// function that they are inlined into has the one behind them.
void ModuleSymbols::name_inlined(uint64_t lookup, const StackFrame& frame,
                                 std::vector<StackFrame>& frames, StackFrame& outermost) {
  const DWORD count = std::min(debug_help_.inline_count(process_, lookup), kMostInlined);
  DWORD context = 0;
  DWORD index = 0;
  if (count == 0 ||
      !debug_help_.inline_trace(process_, lookup, 0, lookup, lookup, &context, &index)) {
    return;
  }
  for (DWORD i = 0; i <= count; ++i) {
    StackFrame inlined = frame;
    StackFrame& described = i < count ? inlined : outermost;
    IMAGEHLP_LINEW64 line{};
    line.SizeOfStruct = sizeof line;
    DWORD columns = 0;
    if (debug_help_.inline_line(process_, lookup, context + i, 0, &columns, &line)) {
      set_line(line, described);
    }
    Symbol symbol;
    DWORD64 distance = 0;
    if (i == count ||
        !debug_help_.inline_symbol(process_, lookup, context + i, &distance, symbol.info())) {
      continue;
    }
    inlined.function = symbol.name();
    inlined.function_offset = distance;
    inlined.is_inline = true;
    frames.push_back(std::move(inlined));
  }
}

SymbolKind ModuleSymbols::kind_of(const DumpModule& module) const {
  const auto found = kinds_.find(module.base);
  return found == kinds_.end() ? SymbolKind::kNotLookedUp : found->second;
}

}  // namespace wrenfall::stack
