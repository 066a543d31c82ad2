#include "report/structured_report_json.h"

#include <map>
#include <ostream>
#include <string>
#include <string_view>

#include "support/encoding.h"
#include "support/json_text.h"
#include "support/text_sink.h"

namespace wrenfall {
namespace {

constexpr int kSchemaVersion = 1;

// Writes a quoted JSON string. Plain ASCII, which is nearly all there is, goes without a detour
// through the JSON library.
void write_quoted(std::string_view text, TextSink& sink) {
  for (const char c : text) {
    if (c < 0x20 || c > 0x7E || c == '"' || c == '\\') {
      sink << json_text(std::string(text));
      return;
    }
  }
  sink << '"' << text << '"';
}

// Writes a list with one item a line: nothing between the brackets when there is none.
class Items {
 public:
  Items(TextSink& sink, char open, char close, std::string_view indent)
      : sink_(sink), close_(close), indent_(indent) {
    sink_ << open;
  }

  // To be called before each item.
  void next() {
    sink_ << (empty_ ? "\n" : ",\n") << indent_ << "  ";
    empty_ = false;
  }

  // To be called after the last.
  void end() {
    if (!empty_) sink_ << '\n' << indent_;
    sink_ << close_;
  }

 private:
  TextSink& sink_;
  const char close_;
  const std::string_view indent_;
  bool empty_ = true;
};

// A member of an object that is a text.
void text_member(TextSink& sink, Items& items, std::string_view key, std::string_view text) {
  items.next();
  sink << '"' << key << "\": ";
  write_quoted(text, sink);
}

// A member of an object, with its value as JSON text.
void member(TextSink& sink, Items& items, std::string_view key, std::string_view value) {
  items.next();
  sink << '"' << key << "\": " << value;
}

void write_exception(const StructuredReport& report, TextSink& sink) {
  Items members(sink, '{', '}', "  ");
  text_member(sink, members, "code", report.exception_code);
  text_member(sink, members, "explanation", report.exception_explanation);
  member(sink, members, "registers", "");
  std::map<std::string, std::string> registers;
  for (const auto& [name, value] : report.registers) registers[valid_utf8(name)] = value;
  Items values(sink, '{', '}', "    ");
  for (const auto& [name, value] : registers) {
    values.next();
    write_quoted(name, sink);
    sink << ": ";
    write_quoted(value, sink);
  }
  values.end();
  members.end();
}

void write_module(const ReportModule& module, TextSink& sink) {
  Items members(sink, '{', '}', "    ");
  text_member(sink, members, "base", hex_address(module.base));
  text_member(sink, members, "fileVersion", module.fileVersion);
  text_member(sink, members, "name", module.name);
  text_member(sink, members, "path", module.path);
  text_member(sink, members, "productVersion", module.productVersion);
  member(sink, members, "size", std::to_string(module.size));
  members.end();
}

void write_frame(const ReportFrame& frame, TextSink& sink) {
  Items members(sink, '{', '}', "        ");
  const HexDigits digits = hex_digits(frame.address);
  text_member(sink, members, "address",
              std::string_view(digits.data(), frame.address == 0 ? 0 : digits.size()));
  text_member(sink, members, "file", frame.file);
  text_member(sink, members, "function", frame.function);
  member(sink, members, "line", std::to_string(signed_line(frame.line)));
  text_member(sink, members, "module", frame.module);
  members.end();
}

void write_thread(const ReportThread& thread, TextSink& sink) {
  Items members(sink, '{', '}', "    ");
  member(sink, members, "crashing", thread.crashing ? "true" : "false");
  member(sink, members, "frames", "");
  Items frames(sink, '[', ']', "      ");
  for (const ReportFrame& frame : thread.frames) {
    frames.next();
    write_frame(frame, sink);
  }
  frames.end();
  text_member(sink, members, "name", thread.name);
  members.end();
}

template <typename Item>
void write_array(const std::vector<Item>& items, void (*write)(const Item&, TextSink&),
                 TextSink& sink) {
  Items array(sink, '[', ']', "  ");
  for (const Item& item : items) {
    array.next();
    write(item, sink);
  }
  array.end();
}

}  // namespace

void write_structured_report_json(const StructuredReport& report, std::ostream& stream) {
  TextSink sink(stream);
  Items members(sink, '{', '}', "");
  member(sink, members, "exception", "");
  write_exception(report, sink);
  member(sink, members, "modules", "");
  write_array(report.modules, write_module, sink);
  text_member(sink, members, "os", report.os);
  text_member(sink, members, "platform", report.platform);
  member(sink, members, "schemaVersion", std::to_string(kSchemaVersion));
  member(sink, members, "threads", "");
  write_array(report.threads, write_thread, sink);
  members.end();
}

}  // namespace wrenfall
