#include "report/structured_report_json.h"

#include <map>
#include <ostream>
#include <string>
#include <string_view>

#include "support/encoding.h"
#include "support/json_text.h"

namespace wrenfall {
namespace {

constexpr int kSchemaVersion = 1;

// A quoted JSON string. Plain ASCII, which is nearly all there is, goes without a detour through
// the JSON library.
std::string quoted(const std::string& text) {
  for (const char c : text) {
    if (c < 0x20 || c > 0x7E || c == '"' || c == '\\') return json_text(text);
  }
  return '"' + text + '"';
}

// Writes a list with one item a line: nothing between the brackets when there is none.
class Items {
 public:
  Items(std::ostream& stream, char open, char close, std::string_view indent)
      : stream_(stream), close_(close), indent_(indent) {
    stream_ << open;
  }

  // To be called before each item.
  void next() {
    stream_ << (empty_ ? "\n" : ",\n") << indent_ << "  ";
    empty_ = false;
  }

  // To be called after the last.
  void end() {
    if (!empty_) stream_ << '\n' << indent_;
    stream_ << close_;
  }

 private:
  std::ostream& stream_;
  const char close_;
  const std::string_view indent_;
  bool empty_ = true;
};

// A member of an object, with its value as JSON text.
void member(std::ostream& stream, Items& items, std::string_view key, std::string_view value) {
  items.next();
  stream << '"' << key << "\": " << value;
}

void write_exception(const StructuredReport& report, std::ostream& stream) {
  Items members(stream, '{', '}', "  ");
  member(stream, members, "code", quoted(report.exception_code));
  member(stream, members, "explanation", quoted(report.exception_explanation));
  member(stream, members, "registers", "");
  std::map<std::string, std::string> registers;
  for (const auto& [name, value] : report.registers) registers[valid_utf8(name)] = value;
  Items values(stream, '{', '}', "    ");
  for (const auto& [name, value] : registers) {
    values.next();
    stream << quoted(name) << ": " << quoted(value);
  }
  values.end();
  members.end();
}

void write_module(const ReportModule& module, std::ostream& stream) {
  Items members(stream, '{', '}', "    ");
  member(stream, members, "base", quoted(hex_address(module.base)));
  member(stream, members, "fileVersion", quoted(module.fileVersion));
  member(stream, members, "name", quoted(module.name));
  member(stream, members, "path", quoted(module.path));
  member(stream, members, "productVersion", quoted(module.productVersion));
  member(stream, members, "size", std::to_string(module.size));
  members.end();
}

void write_frame(const ReportFrame& frame, std::ostream& stream) {
  Items members(stream, '{', '}', "        ");
  member(stream, members, "address", quoted(frame.address == 0 ? "" : hex_address(frame.address)));
  member(stream, members, "file", quoted(frame.file));
  member(stream, members, "function", quoted(frame.function));
  member(stream, members, "line", std::to_string(signed_line(frame.line)));
  member(stream, members, "module", quoted(frame.module));
  members.end();
}

void write_thread(const ReportThread& thread, std::ostream& stream) {
  Items members(stream, '{', '}', "    ");
  member(stream, members, "crashing", thread.crashing ? "true" : "false");
  member(stream, members, "frames", "");
  Items frames(stream, '[', ']', "      ");
  for (const ReportFrame& frame : thread.frames) {
    frames.next();
    write_frame(frame, stream);
  }
  frames.end();
  member(stream, members, "name", quoted(thread.name));
  members.end();
}

template <typename Item>
void write_array(const std::vector<Item>& items, void (*write)(const Item&, std::ostream&),
                 std::ostream& stream) {
  Items array(stream, '[', ']', "  ");
  for (const Item& item : items) {
    array.next();
    write(item, stream);
  }
  array.end();
}

}  // namespace

void write_structured_report_json(const StructuredReport& report, std::ostream& stream) {
  Items members(stream, '{', '}', "");
  member(stream, members, "exception", "");
  write_exception(report, stream);
  member(stream, members, "modules", "");
  write_array(report.modules, write_module, stream);
  member(stream, members, "os", quoted(report.os));
  member(stream, members, "platform", quoted(report.platform));
  member(stream, members, "schemaVersion", std::to_string(kSchemaVersion));
  member(stream, members, "threads", "");
  write_array(report.threads, write_thread, stream);
  members.end();
}

}  // namespace wrenfall
