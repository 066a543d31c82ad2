#include "report/structured_report_xml.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "support/encoding.h"
#include "support/text.h"

namespace wrenfall {
namespace {

bool is_special(char c) { return c == '&' || c == '<' || c == '>' || c == '"'; }

std::string_view entity(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    default:
      return "&quot;";
  }
}

void append_escaped(std::string_view text, std::string& out) {
  size_t copied = 0;
  for (size_t at = 0; at < text.size(); ++at) {
    if (!is_special(text[at])) continue;
    out.append(text, copied, at - copied).append(entity(text[at]));
    copied = at + 1;
  }
  append_pieces(out, text.substr(copied));
}

// A CDATA section cannot contain its own end mark; a text with one is split over two sections.
void append_cdata(std::string_view text, std::string& out) {
  static constexpr std::string_view kEnd = "]]>";
  static constexpr std::string_view kSplitEnd = "]]]]><![CDATA[>";
  append_pieces(out, "<![CDATA[");
  for (size_t at = 0; (at = text.find(kEnd)) != std::string_view::npos;) {
    out.append(text, 0, at).append(kSplitEnd);
    text.remove_prefix(at + kEnd.size());
  }
  append_pieces(out, text, kEnd);
}

// One line: an element that holds text, after the blanks of its level.
void append_element(std::string_view indent, std::string_view name, std::string_view text,
                    std::string& out, void (*append)(std::string_view, std::string&)) {
  append_pieces(out, indent, "<", name, ">");
  append(text, out);
  append_pieces(out, "</", name, ">\n");
}

void element(std::string_view indent, std::string_view name, std::string_view text,
             std::string& out) {
  append_element(indent, name, text, out, append_escaped);
}

void cdata_element(std::string_view indent, std::string_view name, std::string_view text,
                   std::string& out) {
  append_element(indent, name, text, out, append_cdata);
}

std::string line_text(const ReportFrame& frame) { return std::to_string(signed_line(frame.line)); }

constexpr std::string_view kExceptionIndent = "            ";
constexpr std::string_view kRegisterIndent = "                ";
constexpr std::string_view kModuleIndent = "                ";
constexpr std::string_view kFrameIndent = "                    ";

void append_exception(const StructuredReport& report, std::string& out) {
  out += "        <exception>\n";
  element(kExceptionIndent, "code", report.exception_code, out);
  element(kExceptionIndent, "explanation", report.exception_explanation, out);
  const auto crashed = std::find_if(
      report.threads.begin(), report.threads.end(),
      [](const ReportThread& thread) { return thread.crashing && !thread.frames.empty(); });
  if (crashed != report.threads.end()) {
    const ReportFrame& frame = crashed->frames.front();
    cdata_element(kExceptionIndent, "func", frame.function, out);
    element(kExceptionIndent, "file", frame.file, out);
    element(kExceptionIndent, "line", line_text(frame), out);
  }
  if (!report.registers.empty()) {
    out.append(kExceptionIndent).append("<registers>\n");
    for (const auto& [name, value] : report.registers) element(kRegisterIndent, name, value, out);
    out.append(kExceptionIndent).append("</registers>\n");
  }
  out += "        </exception>\n";
}

void append_module(const ReportModule& module, size_t order, std::string& out) {
  out += "            <module>\n";
  element(kModuleIndent, "name", module.name, out);
  element(kModuleIndent, "order", std::to_string(order), out);
  element(kModuleIndent, "address",
          hex_address(module.base) + "-" + hex_address(module.base + module.size), out);
  element(kModuleIndent, "path", module.path, out);
  element(kModuleIndent, "symbolsloaded", "deferred", out);
  element(kModuleIndent, "fileversion", module.fileVersion, out);
  element(kModuleIndent, "productversion", module.productVersion, out);
  element(kModuleIndent, "checksum", "00000000", out);
  out.append(kModuleIndent).append("<timedatestamp/>\n            </module>\n");
}

void append_frame(const ReportFrame& frame, std::string& out) {
  out += "                <frame>\n";
  cdata_element(kFrameIndent, "symbol", frame.function, out);
  element(kFrameIndent, "file", frame.file, out);
  element(kFrameIndent, "line", line_text(frame), out);
  if (!frame.module.empty()) element(kFrameIndent, "module", frame.module, out);
  if (frame.address != 0) element(kFrameIndent, "address", hex_address(frame.address), out);
  out += "                </frame>\n";
}

// The host may mark several threads as crashing; the XML marks each of them.
void append_thread(const ReportThread& thread, std::string& out) {
  const char* const crashing = thread.crashing ? "yes" : "no";
  out += "            <thread id=\"";
  append_escaped(thread.name, out);
  out.append("\" current=\"").append(crashing).append("\" event=\"").append(crashing);
  out.append("\" framecount=\"").append(std::to_string(thread.frames.size())).append("\">\n");
  for (const ReportFrame& frame : thread.frames) append_frame(frame, out);
  out += "            </thread>\n";
}

}  // namespace

std::string structured_report_xml(const StructuredReport& report) {
  std::string out;
  out.reserve(estimated_text_size(report));
  out += "<report>\n";
  element("    ", "platform", report.platform, out);
  element("    ", "os", report.os, out);
  out += "    <process>\n";
  append_exception(report, out);
  out += "        <modules numloaded=\"" + std::to_string(report.modules.size()) + "\">\n";
  size_t order = 0;
  for (const ReportModule& module : report.modules) append_module(module, ++order, out);
  out += "        </modules>\n        <threads count=\"" + std::to_string(report.threads.size()) +
         "\">\n";
  for (const ReportThread& thread : report.threads) append_thread(thread, out);
  out += "        </threads>\n    </process>\n</report>\n";
  return out;
}

}  // namespace wrenfall
