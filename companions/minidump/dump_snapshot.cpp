#include "minidump/dump_snapshot.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "minidump/list_stream.h"
#include "minidump/stream_directory.h"

namespace wrenfall::minidump {
namespace {

// Far more than any process has; they bound what a damaged dump can cost.
constexpr uint64_t kMaxThreads = 16384;
constexpr uint64_t kMaxModules = 4096;
constexpr uint32_t kMaxNameBytes = 4096;
constexpr uint32_t kMaxAllNameBytes = 16 * 1024 * 1024;

constexpr size_t kThreadBytes = 48;            // MINIDUMP_THREAD
constexpr size_t kModuleBytes = 108;           // MINIDUMP_MODULE
constexpr size_t kThreadNameBytes = 12;        // MINIDUMP_THREAD_NAME
constexpr uint32_t kVersionMark = 0xFEEF04BD;  // VS_FIXEDFILEINFO
constexpr uint16_t kAmd64 = 9;                 // PROCESSOR_ARCHITECTURE_AMD64

void append_utf8(uint32_t code, std::string& text) {
  if (code < 0x80) {
    text += static_cast<char>(code);
    return;
  }
  const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  static constexpr uint32_t kFirst[] = {0, 0xC0, 0xE0, 0xF0};
  text += static_cast<char>(kFirst[more] | code >> (6 * more));
  for (int i = more - 1; i >= 0; --i) {
    text += static_cast<char>(0x80 | (code >> (6 * i) & 0x3F));
  }
}

// Half a surrogate pair becomes U+FFFD.
std::string utf16_to_utf8(const std::vector<uint8_t>& bytes) {
  std::string text;
  const auto unit_at = [&bytes](size_t i) {
    return i + 1 < bytes.size() ? static_cast<uint32_t>(bytes[i] | bytes[i + 1] << 8) : 0u;
  };
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    uint32_t code = unit_at(i);
    const uint32_t next = unit_at(i + 2);
    if (code >= 0xD800 && code < 0xDC00 && next >= 0xDC00 && next < 0xE000) {
      code = 0x10000 + ((code - 0xD800) << 10) + (next - 0xDC00);
      i += 2;
    } else if (code >= 0xD800 && code < 0xE000) {
      code = 0xFFFD;
    }
    append_utf8(code, text);
  }
  return text;
}

std::string version_text(const uint8_t* module) {
  if (u32_at(module, 24) != kVersionMark) return {};
  const uint32_t high = u32_at(module, 32);
  const uint32_t low = u32_at(module, 36);
  return std::to_string(high >> 16) + "." + std::to_string(high & 0xFFFF) + "." +
         std::to_string(low >> 16) + "." + std::to_string(low & 0xFFFF);
}

class SnapshotReader {
 public:
  SnapshotReader(const DumpBytes& dump, const StreamDirectory& directory)
      : dump_(dump), directory_(directory) {}

  DumpSnapshot read() {
    if (directory_.left_out)
      warn("A stream lies beyond the end of the file: the dump was cut short.");
    read_processor();
    read_exception();
    read_list(kThreadList, kThreadBytes, kMaxThreads, "threads",
              [this](const uint8_t* entry) { add_thread(entry); });
    if (directory_.find(kThreadNames) != nullptr) read_names();
    read_list(kModuleList, kModuleBytes, kMaxModules, "modules",
              [this](const uint8_t* entry) { add_module(entry); });
    make_disjoint(snapshot_.modules);
    read_memory();
    return std::move(snapshot_);
  }

 private:
  void warn(std::string text) { snapshot_.warnings.push_back(std::move(text)); }

  // A MINIDUMP_STRING: the number of bytes, and UTF-16 text. Empty when it is damaged, and where the names
  // so far are too long together: all may lie in the same bytes of the dump.
  std::string read_name(uint64_t rva) {
    std::array<uint8_t, 4> head{};
    if (!dump_.read(rva, head.data(), head.size())) return {};
    const uint32_t size = u32_at(head.data(), 0);
    if (size == 0 || size > kMaxNameBytes || size > name_bytes_left_) return {};
    std::vector<uint8_t> bytes(size);
    if (!dump_.read(rva + head.size(), bytes.data(), bytes.size())) return {};
    name_bytes_left_ -= size;
    return utf16_to_utf8(bytes);
  }

  template <typename Use>
  void read_list(uint32_t type, size_t entry_bytes, uint64_t limit, const std::string& what,
                 Use use) {
    const Stream* const stream = directory_.find(type);
    if (stream == nullptr) return warn("The dump has no list of " + what + ".");
    auto list = find_list(dump_, stream->place, entry_bytes);
    if (list) {
      list->count = std::min(list->count, limit);
      const auto keep_on = [&use](const uint8_t* entry) {
        use(entry);
        return true;
      };
      if (for_each_entry(dump_, *list, entry_bytes, keep_on)) return;
    }
    warn("The dump's list of " + what + " is damaged.");
  }

  void read_processor() {
    const Stream* const stream = directory_.find(kSystemInfo);
    std::array<uint8_t, 2> head{};
    if (stream == nullptr || !dump_.read(stream->place, head)) return;
    snapshot_.is_x64 = (head[0] | head[1] << 8) == kAmd64;
  }

  // MINIDUMP_EXCEPTION_STREAM: the thread's id, a filler, the exception's record of 152 bytes, the
  // location of the registers.
  void read_exception() {
    const Stream* const stream = directory_.find(kException);
    if (stream == nullptr) return;
    std::array<uint8_t, 168> bytes{};
    if (!dump_.read(stream->place, bytes)) return warn("The dump's exception is damaged.");
    snapshot_.exception = {u32_at(bytes.data(), 0), u32_at(bytes.data(), 8),
                           u64_at(bytes.data(), 24), location_at(bytes.data(), 160)};
  }

  void add_thread(const uint8_t* entry) {
    const DumpLocation stack = location_at(entry, 32);
    snapshot_.threads.push_back(
        {u32_at(entry, 0), "", {u64_at(entry, 24), stack.size, stack.rva}, location_at(entry, 40)});
  }

  // A name's place is a 64-bit number, which follows the thread's id without a gap.
  void read_names() {
    std::map<uint32_t, std::string> names;
    read_list(kThreadNames, kThreadNameBytes, kMaxThreads, "thread names",
              [this, &names](const uint8_t* entry) {
                names[u32_at(entry, 0)] = read_name(u64_at(entry, 4));
              });
    for (DumpThread& thread : snapshot_.threads) {
      const auto found = names.find(thread.id);
      if (found != names.end()) thread.name = found->second;
    }
  }

  void add_module(const uint8_t* entry) {
    DumpModule module;
    module.base = u64_at(entry, 0);
    module.size = u32_at(entry, 8);
    module.time_stamp = u32_at(entry, 16);
    module.path = read_name(u32_at(entry, 20));
    module.version = version_text(entry);
    snapshot_.modules.push_back(std::move(module));
  }

  // Of two modules that overlap the one with the lower address stays.
  static void make_disjoint(std::vector<DumpModule>& modules) {
    std::stable_sort(modules.begin(), modules.end(),
                     [](const DumpModule& a, const DumpModule& b) { return a.base < b.base; });
    std::vector<DumpModule> disjoint;
    for (DumpModule& module : modules) {
      if (module.size == 0 || module.base + module.size < module.base) continue;
      if (!disjoint.empty() && disjoint.back().holds(module.base)) continue;
      disjoint.push_back(std::move(module));
    }
    modules = std::move(disjoint);
  }

  void read_memory() {
    bool damaged = false;
    snapshot_.memory = read_memory_ranges(dump_, directory_, damaged);
    if (damaged) warn("A list of the dump's memory is damaged.");
    // In a dump of all memory the stacks are in the lists alone, and have no place here.
    for (const DumpThread& thread : snapshot_.threads) {
      if (thread.stack.offset != 0) snapshot_.memory.push_back(thread.stack);
    }
  }

  const DumpBytes& dump_;
  const StreamDirectory& directory_;
  DumpSnapshot snapshot_;
  uint32_t name_bytes_left_ = kMaxAllNameBytes;
};

}  // namespace

std::string DumpModule::name() const {
  const size_t separator = path.find_last_of("\\/");
  return separator == std::string::npos ? path : path.substr(separator + 1);
}

const DumpModule* DumpSnapshot::module_at(uint64_t address) const {
  auto next = std::upper_bound(
      modules.begin(), modules.end(), address,
      [](uint64_t wanted, const DumpModule& module) { return wanted < module.base; });
  if (next == modules.begin()) return nullptr;
  --next;
  return next->holds(address) ? &*next : nullptr;
}

const DumpThread* DumpSnapshot::thread_of_id(uint32_t id) const {
  const auto found = std::find_if(threads.begin(), threads.end(),
                                  [id](const DumpThread& thread) { return thread.id == id; });
  return found == threads.end() ? nullptr : &*found;
}

std::optional<DumpSnapshot> read_snapshot(const DumpBytes& dump) {
  const auto directory = read_stream_directory(dump, CutStreams::kLeaveOut);
  if (!directory) return std::nullopt;
  return SnapshotReader(dump, *directory).read();
}

}  // namespace wrenfall::minidump
