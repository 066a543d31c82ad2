#include "report/structured_report_json.h"

#include <map>
#include <string>
#include <string_view>

#include "support/encoding.h"
#include "support/json_text.h"
#include "support/text.h"

namespace wrenfall {
namespace {

constexpr int kSchemaVersion = 1;

// Appends a quoted JSON string. Nearly all texts are plain ASCII and are appended directly; the
// JSON library escapes the others.
void append_quoted(std::string_view text, std::string& out) {
  for (const char c : text) {
    if (c < 0x20 || c > 0x7E || c == '"' || c == '\\') {
      out += json_text(std::string(text));
      return;
    }
  }
  append_pieces(out, "\"", text, "\"");
}

// Appends a list with one item a line, from its opening to its closing bracket: nothing between the
// brackets when it has no items.
class Items {
 public:
  Items(std::string& out, char open, char close, std::string_view indent)
      : out_(out), close_(close), indent_(indent) {
    out_ += open;
  }

  // To be called before each item.
  void next() {
    append_pieces(out_, empty_ ? "\n" : ",\n", indent_, "  ");
    empty_ = false;
  }

  // An item that is a member of an object, up to its value.
  void member(std::string_view key) {
    next();
    append_pieces(out_, "\"", key, "\": ");
  }
  void text_member(std::string_view key, std::string_view text) {
    member(key);
    append_quoted(text, out_);
  }

  // To be called after the last.
  void end() {
    if (!empty_) out_.append(1, '\n').append(indent_);
    out_ += close_;
  }

 private:
  std::string& out_;
  const char close_;
  const std::string_view indent_;
  bool empty_ = true;
};

void append_exception(const StructuredReport& report, std::string& out) {
  Items members(out, '{', '}', "  ");
  members.text_member("code", report.exception_code);
  members.text_member("explanation", report.exception_explanation);
  members.member("registers");
  std::map<std::string, std::string> registers;
  for (const auto& [name, value] : report.registers) registers[valid_utf8(name)] = value;
  Items values(out, '{', '}', "    ");
  for (const auto& [name, value] : registers) {
    values.next();
    append_quoted(name, out);
    out += ": ";
    append_quoted(value, out);
  }
  values.end();
  members.end();
}

void append_module(const ReportModule& module, std::string& out) {
  Items members(out, '{', '}', "    ");
  members.text_member("base", hex_address(module.base));
  members.text_member("fileVersion", module.fileVersion);
  members.text_member("name", module.name);
  members.text_member("path", module.path);
  members.text_member("productVersion", module.productVersion);
  members.member("size");
  out += std::to_string(module.size);
  members.end();
}

void append_frame(const ReportFrame& frame, std::string& out) {
  Items members(out, '{', '}', "        ");
  members.member("address");
  out += '"';
  if (frame.address != 0) append_hex_address(frame.address, out);
  out += '"';
  members.text_member("file", frame.file);
  members.text_member("function", frame.function);
  members.member("line");
  out += std::to_string(signed_line(frame.line));
  members.text_member("module", frame.module);
  members.end();
}

template <typename Item>
void append_array(const std::vector<Item>& items, void (*append)(const Item&, std::string&),
                  std::string_view indent, std::string& out) {
  Items array(out, '[', ']', indent);
  for (const Item& item : items) {
    array.next();
    append(item, out);
  }
  array.end();
}

void append_thread(const ReportThread& thread, std::string& out) {
  Items members(out, '{', '}', "    ");
  members.member("crashing");
  out += thread.crashing ? "true" : "false";
  members.member("frames");
  append_array(thread.frames, append_frame, "      ", out);
  members.text_member("name", thread.name);
  members.end();
}

}  // namespace

std::string structured_report_json(const StructuredReport& report) {
  std::string out;
  out.reserve(estimated_text_size(report));
  Items members(out, '{', '}', "");
  members.member("exception");
  append_exception(report, out);
  members.member("modules");
  append_array(report.modules, append_module, "  ", out);
  members.text_member("os", report.os);
  members.text_member("platform", report.platform);
  members.member("schemaVersion");
  out += std::to_string(kSchemaVersion);
  members.member("threads");
  append_array(report.threads, append_thread, "  ", out);
  members.end();
  return out;
}

}  // namespace wrenfall
