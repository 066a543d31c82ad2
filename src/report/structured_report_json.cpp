#include "report/structured_report_json.h"

#include <algorithm>
#include <map>
#include <string>
#include <string_view>

#include "support/encoding.h"
#include "support/json_text.h"

namespace wrenfall {
namespace {

constexpr int kSchemaVersion = 1;

// Whether JSON has the text as it is between its quotes.
bool is_plain(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c >= 0x20 && c <= 0x7E && c != '"' && c != '\\'; });
}

// Appends a quoted JSON string. Nearly all texts are plain ASCII and are appended directly; the
// JSON library escapes the others.
void append_quoted(std::string_view text, std::string& out) {
  if (is_plain(text)) {
    out += '"';
    out.append(text);
    out += '"';
  } else {
    out += json_text(std::string(text));
  }
}

// `before` is what comes before the value: its key, and the end of the line above.
void append_text(std::string_view before, std::string_view text, std::string& out) {
  out.append(before);
  append_quoted(text, out);
}

// Appends a list with one item a line, from its opening to its closing bracket: nothing between the
// brackets when it has no items. `separator` is what comes between two items, a comma and the
// blanks of the second one's line; the closing bracket is indented by two blanks less.
template <typename Items, typename Append>
void append_items(const Items& items, std::string_view brackets, std::string_view separator,
                  std::string& out, Append append) {
  out += brackets.front();
  std::string_view before = separator.substr(1);
  for (const auto& item : items) {
    out.append(before);
    append(item, out);
    before = separator;
  }
  if (!items.empty()) out.append(separator, 1, separator.size() - 3);
  out += brackets.back();
}

void append_exception(const StructuredReport& report, std::string& out) {
  append_text("{\n    \"code\": ", report.exception_code, out);
  append_text(",\n    \"explanation\": ", report.exception_explanation, out);
  out += ",\n    \"registers\": ";
  std::map<std::string, std::string> registers;
  for (const auto& [name, value] : report.registers) registers[valid_utf8(name)] = value;
  append_items(registers, "{}", ",\n      ", out, [](const auto& named_value, std::string& text) {
    append_quoted(named_value.first, text);
    append_text(": ", named_value.second, text);
  });
  out += "\n  }";
}

void append_module(const ReportModule& module, std::string& out) {
  out += "{\n      \"base\": \"";
  append_hex_address(module.base, out);
  append_text("\",\n      \"fileVersion\": ", module.fileVersion, out);
  append_text(",\n      \"name\": ", module.name, out);
  append_text(",\n      \"path\": ", module.path, out);
  append_text(",\n      \"productVersion\": ", module.productVersion, out);
  out += ",\n      \"size\": ";
  append_decimal(module.size, out);
  out += "\n    }";
}

void append_frame(const ReportFrame& frame, std::string& out) {
  out += "{\n          \"address\": \"";
  if (frame.address != 0) append_hex_address(frame.address, out);
  append_text("\",\n          \"file\": ", frame.file, out);
  append_text(",\n          \"function\": ", frame.function, out);
  out += ",\n          \"line\": ";
  append_decimal(signed_line(frame.line), out);
  append_text(",\n          \"module\": ", frame.module, out);
  out += "\n        }";
}

void append_thread(const ReportThread& thread, std::string& out) {
  out += "{\n      \"crashing\": ";
  out += thread.crashing ? "true" : "false";
  out += ",\n      \"frames\": ";
  append_items(thread.frames, "[]", ",\n        ", out, append_frame);
  append_text(",\n      \"name\": ", thread.name, out);
  out += "\n    }";
}

}  // namespace

std::string structured_report_json(const StructuredReport& report) {
  std::string out;
  out.reserve(estimated_text_size(report));
  out += "{\n  \"exception\": ";
  append_exception(report, out);
  out += ",\n  \"modules\": ";
  append_items(report.modules, "[]", ",\n    ", out, append_module);
  append_text(",\n  \"os\": ", report.os, out);
  append_text(",\n  \"platform\": ", report.platform, out);
  out += ",\n  \"schemaVersion\": ";
  append_decimal(kSchemaVersion, out);
  out += ",\n  \"threads\": ";
  append_items(report.threads, "[]", ",\n    ", out, append_thread);
  out += "\n}";
  return out;
}

}  // namespace wrenfall
