#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <tuple>

#include "ctl/stack_output.h"
#include "image_builder.h"
#include "minidump_builder.h"
#include "stack/address_space.h"
#include "stack/symbol_folders.h"

namespace wrenfall::stack {
namespace {

using namespace minidump;

TEST(MemoryMap, ReadsWhatTheDumpHolds) {
  const std::string file = "0123456789abcdef";
  const DumpBytes dump(reader_of(file), file.size());
  // Out of order, overlapping, beyond the file, and around the end of the address space.
  const MemoryMap map(dump, {{108, 4, 8},
                             {100, 8, 0},
                             {104, 2, 0},
                             {106, 4, 6},
                             {200, 4, 13},
                             {300, UINT64_MAX, 1},
                             {UINT64_MAX - 1, 4, 0}});
  const std::tuple<uint64_t, size_t, std::string> rows[] = {
      {100, 12, "0123456789ab"},
      {100, 16, "0123456789ab"},
      {105, 2, "56"},
      {111, 1, "b"},
      {99, 4, ""},
      {112, 4, ""},
      {200, 1, ""},
      {UINT64_MAX, 4, ""},
  };
  for (const auto& [address, size, expected] : rows) {
    std::string read(size, '?');
    read.resize(map.read(address, read.data(), size));
    EXPECT_EQ(read, expected) << address;
  }
}

MinidumpBuilder sample() {
  MinidumpBuilder builder;
  builder.crash_code = 0xC0000005;
  builder.threads = {77, 80};
  builder.thread_name = u"m\u00FC\xD83D\xDE00\xD800";
  builder.modules = {{0x140000000, u"C:\\dir\\b.exe"}, {0x10000, u"a.dll"}, {0x12000, u"no.dll"}};
  builder.with_memory = true;
  return builder;
}

TEST(DumpSnapshot, HoldsWhatAWalkNeeds) {
  const std::string bytes = sample().build();
  const auto snapshot = read_snapshot(DumpBytes(reader_of(bytes), bytes.size()));
  ASSERT_TRUE(snapshot);
  EXPECT_TRUE(snapshot->warnings.empty());
  ASSERT_EQ(snapshot->threads.size(), 2u);
  EXPECT_EQ(snapshot->thread_of_id(77)->name, "m\xC3\xBC\xF0\x9F\x98\x80\xEF\xBF\xBD");
  ASSERT_TRUE(snapshot->exception);
  EXPECT_EQ(snapshot->exception->thread_id, 77u);
  // The third begins in the second.
  ASSERT_EQ(snapshot->modules.size(), 2u);
  const DumpModule* const found = snapshot->module_at(0x140002FFF);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(std::tie(found->version, found->time_stamp),
            std::make_tuple(std::string("1.2.3.4"), uint32_t{5}));
  EXPECT_EQ(found->name(), "b.exe");
  EXPECT_EQ(snapshot->module_at(0x140003000), nullptr);
  EXPECT_EQ(snapshot->module_at(0xFFFF), nullptr);
}

TEST(DumpSnapshot, HoldsSomeNamesOnly) {
  MinidumpBuilder builder;
  builder.threads.resize(5000);
  for (uint32_t i = 0; i < 5000; ++i) builder.threads[i] = i;
  builder.thread_name = std::u16string(2048, u'n');
  builder.all_have_the_name = true;
  const std::string bytes = builder.build();
  const auto snapshot = read_snapshot(DumpBytes(reader_of(bytes), bytes.size()));
  ASSERT_TRUE(snapshot);
  EXPECT_FALSE(snapshot->threads[4095].name.empty());
  EXPECT_TRUE(snapshot->threads[4096].name.empty());
}

TEST(DumpSnapshot, LosesOnlyWhatIsDamaged) {
  MinidumpBuilder builder = sample();
  const std::string whole = builder.build();
  const size_t directory = builder.offset("directory");
  // What is changed, to which value; how many threads and modules are left; a part of the warning.
  const std::tuple<size_t, uint32_t, size_t, size_t, const char*> rows[] = {
      {builder.offset("module count"), 5000, 2, 0, "modules is damaged"},
      {builder.offset("thread count"), UINT32_MAX, 0, 2, "threads is damaged"},
      {builder.offset("memory"), 3, 2, 2, "memory is damaged"},
      {directory + 4, 12, 2, 2, "exception is damaged"},
      {directory + 12, 99, 0, 2, "no list of threads"},
      {directory + 3 * 12 + 8, 0x7FFFFFFF, 2, 0, "cut short"},
  };
  for (const auto& [offset, value, threads, modules, warning] : rows) {
    const std::string bytes = with32(whole, offset, value);
    const auto snapshot = read_snapshot(DumpBytes(reader_of(bytes), bytes.size()));
    ASSERT_TRUE(snapshot) << warning;
    EXPECT_EQ(snapshot->threads.size(), threads) << warning;
    EXPECT_EQ(snapshot->modules.size(), modules) << warning;
    ASSERT_FALSE(snapshot->warnings.empty()) << warning;
    EXPECT_NE(snapshot->warnings.front().find(warning), std::string::npos)
        << snapshot->warnings.front();
  }
}

TEST(AddressSpace, TakesCodeAndFunctionsOfTheModulesFile) {
  const std::string calls = "\x90\x90\xE8\1\2\3\4\x90\xFF\x54\x24\x08\x90";
  std::string image = build_image(5, calls, {{0x1000, 0x1007, 0x2030}, {0x100A, 0x1012, 0x2040}});
  // Unwind data behind the table: plain, and one that is chained to itself behind three codes.
  image.replace(0x530, 4, std::string("\1\0\0\0", 4));
  image.replace(0x540, 4, std::string("\x21\0\3\0", 4));
  image.replace(0x540 + 12 + 8, 2, "\x40\x20");
  const uint64_t base = 0x140000000;
  // The stack at 0x1000: words beside code, in the middle of an instruction, and behind the two calls.
  const uint64_t words[] = {base + 0x2000, 0x1005, base + 0x1005, base + 0x100C, base + 0x1007};
  std::string dump(reinterpret_cast<const char*>(words), sizeof words);
  DumpSnapshot snapshot;
  snapshot.modules = {{base, 0x3000, 5, "b.exe", ""}, {base + 0x3000, 0x1000, 5, "c.dll", ""}};
  snapshot.memory = {{0x1000, dump.size(), 0}};
  const DumpBytes bytes(reader_of(dump), dump.size());
  int searches = 0;
  AddressSpace memory(snapshot, bytes, [&](const DumpModule& module) {
    ++searches;
    return module.path == "b.exe"
               ? ImageFile::open(reader_of(image), image.size(), ImageLayout::kFile)
               : nullptr;
  });
  char code[4] = {};
  EXPECT_EQ(memory.read(base + 0x1000, code, 4), 4u);
  EXPECT_EQ(std::string(code, 4), calls.substr(0, 4));
  EXPECT_EQ(memory.read(base + 0x1FFE, code, 4), 4u);  // into the next section
  EXPECT_EQ(memory.read(base, code, 4), 0u);           // headers are no part of it
  ASSERT_NE(memory.function_at(base + 0x1006), nullptr);
  EXPECT_EQ(memory.function_at(base + 0x1006)->unwind_data, 0x2030u);
  EXPECT_EQ(memory.function_at(base + 0x1007), nullptr);
  EXPECT_EQ(memory.function_at(base + 0x100A), nullptr);
  EXPECT_TRUE(memory.can_unwind(base));
  EXPECT_FALSE(memory.can_unwind(base + 0x3000));
  EXPECT_FALSE(memory.can_unwind(0x1000));
  const auto first = memory.find_return_address(0x1000, 0x1028);
  ASSERT_TRUE(first);
  EXPECT_EQ(std::tie(first->place, first->value), std::make_tuple(uint64_t{0x1018}, base + 0x100C));
  const auto second = memory.find_return_address(0x1020, UINT64_MAX);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->value, base + 0x1007);
  EXPECT_FALSE(memory.find_return_address(0x1020, 0x1027));
  EXPECT_EQ(searches, 2);
  const auto file = ImageFile::open(reader_of(image), image.size(), ImageLayout::kFile);
  ASSERT_TRUE(file && file->debug_link());
  EXPECT_EQ(file->debug_link()->file, "b.debug");
}

TEST(AddressSpace, LeavesOutWhatHasNoRoom) {
  const std::string image = build_image(5, "", {{0x1000, 0x1007, 0x2030}});
  std::string larger = build_image(5, "", {{0x1000, 0x1007, 0x2030}, {0x1007, 0x1009, 0x2030}});
  const std::string dump = "?";
  const DumpBytes bytes(reader_of(dump), dump.size());
  DumpSnapshot snapshot;
  for (uint64_t base = 0x10000; base < 0x50000; base += 0x10000) {
    snapshot.modules.push_back({base, 0x3000, 5, "a.dll", ""});
  }
  int searches = 0;
  const auto find = [&](const DumpModule& module) {
    ++searches;
    const std::string& file = module.base == 0x20000 ? larger : image;
    return ImageFile::open(reader_of(file), file.size(), ImageLayout::kFile);
  };
  AddressSpace memory(snapshot, bytes, find, 30);  // entries of 12 bytes
  for (int round = 0; round < 2; ++round) {
    for (const auto& [base, fits] : {std::pair<uint64_t, bool>{0x10000, true},
                                     {0x20000, false},
                                     {0x30000, true},
                                     {0x40000, false}}) {
      EXPECT_EQ(memory.can_unwind(base), fits) << base;
    }
  }
  EXPECT_EQ(memory.left_out(), (std::set<uint64_t>{0x20000, 0x40000}));
  EXPECT_EQ(searches, 4);
  // A table ends where the bytes of its section do, 0x100 of them, whatever its header says.
  larger = with32(larger, 0x98 + 112 + 28, 0x1000);
  EXPECT_EQ(find(snapshot.modules[1])->table_bytes(), 0x100u / 12 * 12);
}

TEST(SymbolFolders, NeverLeadToAnotherMachine) {
  const std::tuple<const char*, bool> rows[] = {
      {"C:\\a\\b.exe", true},
      {"z:\\b.exe", true},
      {"\\\\server\\share\\b.exe", false},
      {"C:b.exe", false},
      {"\\\\?\\UNC\\s\\b.exe", false},
      {"//server/b.exe", false},
      {"b.exe", false},
      {"", false},
  };
  for (const auto& [path, local] : rows) {
    EXPECT_EQ(is_on_a_drive(path), local) << path;
    DumpModule module;
    module.path = path;
    const size_t expected = *path == '\0' || std::string(path) == "C:b.exe" ? 0 : local ? 3 : 2;
    EXPECT_EQ(places_of_image(module, {"x", "y"}).size(), expected) << path;
  }
  EXPECT_EQ(split_folders(";a;srv*c*d;b;").size(), 2u);
}

TEST(DebugLink, NamesAFileByItsContent) {
  const std::string file = "123456789";
  EXPECT_EQ(link_checksum(reader_of(file), file.size()), 0xCBF43926u);
  const std::string sum = "\x26\x39\xF4\xCB";
  const std::tuple<std::string, const char*> rows[] = {
      {std::string("b.debug\0", 8) + sum, "b.debug"},
      {std::string("b.exe.debug\0", 12) + sum, "b.exe.debug"},
      {std::string("b.dbg\0\0\0", 8) + sum, "b.dbg"},
      {std::string("b.dbg\0", 6) + sum, nullptr},
      {std::string("..\\b.d\0", 8) + sum, nullptr},
      {std::string(4, '\0') + sum, nullptr},
      {"b.debug", nullptr},
  };
  for (const auto& [section, name] : rows) {
    const auto link = parse_debug_link(section);
    ASSERT_EQ(link.has_value(), name != nullptr) << section;
    if (!link) continue;
    EXPECT_EQ(link->file, name);
    EXPECT_EQ(link->checksum, 0xCBF43926u);
    const auto places = places_of_debug_file(std::filesystem::path("d") / "b.exe", *link, {"x"});
    ASSERT_EQ(places.size(), 2u);
    EXPECT_EQ(places.back(), std::filesystem::path("d") / name);
  }
}

TEST(StackOutput, SaysWhatIsKnownOfEachFrame) {
  StackReport report;
  ThreadStack thread;
  thread.id = 7;
  thread.name = "a\x1B[2J";
  StackFrame frame;
  frame.address = 0x140001234;
  thread.frames.push_back(frame);
  frame.module = "b.exe";
  frame.offset = 0x1234;
  frame.searched = true;
  thread.frames.push_back(frame);
  frame.function = "f";
  frame.function_offset = 4;
  frame.file = "b.c";
  frame.line = 9;
  frame.is_inline = true;
  thread.frames.push_back(frame);
  report.threads = {thread};
  const std::string text = ctl::stack_text(report);
  for (const char* part : {"Thread 7 a\\u001b[2J\n", "  0            0x0000000140001234",
                           "searched  b.exe+0x1234", "inline    b.exe!f ", "b.c:9\n"}) {
    EXPECT_NE(text.find(part), std::string::npos) << text;
  }
  const auto frames = ctl::stack_json(report)["threads"][0]["frames"];
  EXPECT_EQ(frames[0]["offset"], "");
  EXPECT_EQ(frames[1]["functionOffset"], "");
  EXPECT_EQ(frames[2]["functionOffset"], "0x4");
}

}  // namespace
}  // namespace wrenfall::stack
