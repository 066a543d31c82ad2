#include "report/structured_report_xml.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "support/encoding.h"

namespace wrenfall {
namespace {

constexpr bool is_markup(char c) { return c == '&' || c == '<' || c == '>' || c == '"'; }

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
    if (!is_markup(text[at])) continue;
    out.append(text, copied, at - copied).append(entity(text[at]));
    copied = at + 1;
  }
  out.append(text, copied);
}

// What a CDATA section holds. It cannot contain its own end mark; a text with one is split over two
// sections.
void append_cdata(std::string_view text, std::string& out) {
  static constexpr std::string_view kEnd = "]]>";
  static constexpr std::string_view kSplitEnd = "]]]]><![CDATA[>";
  for (size_t at = 0; (at = text.find(kEnd)) != std::string_view::npos;) {
    out.append(text, 0, at).append(kSplitEnd);
    text.remove_prefix(at + kEnd.size());
  }
  out.append(text);
}

// `start` and `end` are what is around the text: the tags, the blanks before a line and the end of it,
// the marks of a CDATA section. A report has many frames, so that what is constant between two texts is
// appended at once.
void element(std::string_view start, std::string_view text, std::string_view end,
             std::string& out) {
  out.append(start);
  append_escaped(text, out);
  out.append(end);
}

void cdata_element(std::string_view start, std::string_view text, std::string_view end,
                   std::string& out) {
  out.append(start);
  append_cdata(text, out);
  out.append(end);
}

void append_exception(const StructuredReport& report, std::string& out) {
  out += "        <exception>\n";
  element("            <code>", report.exception_code, "</code>\n", out);
  element("            <explanation>", report.exception_explanation, "</explanation>\n", out);
  const auto crashed = std::find_if(
      report.threads.begin(), report.threads.end(),
      [](const ReportThread& thread) { return thread.crashing && !thread.frames.empty(); });
  if (crashed != report.threads.end()) {
    const ReportFrame& frame = crashed->frames.front();
    cdata_element("            <func><![CDATA[", frame.function, "]]></func>\n            <file>",
                  out);
    element({}, frame.file, "</file>\n            <line>", out);
    append_decimal(signed_line(frame.line), out);
    out += "</line>\n";
  }
  if (!report.registers.empty()) {
    out += "            <registers>\n";
    for (const auto& [name, value] : report.registers) {
      element("                <" + name + ">", value, "</" + name + ">\n", out);
    }
    out += "            </registers>\n";
  }
  out += "        </exception>\n";
}

void append_module(const ReportModule& module, size_t order, std::string& out) {
  out += "            <module>\n";
  element("                <name>", module.name, "</name>\n", out);
  append_decimal(order, out.append("                <order>"));
  out += "</order>\n                <address>";
  append_hex_address(module.base, out);
  out += '-';
  append_hex_address(module.base + module.size, out);
  out += "</address>\n";
  element("                <path>", module.path, "</path>\n", out);
  out += "                <symbolsloaded>deferred</symbolsloaded>\n";
  element("                <fileversion>", module.fileVersion, "</fileversion>\n", out);
  element("                <productversion>", module.productVersion, "</productversion>\n", out);
  out += "                <checksum>00000000</checksum>\n";
  out += "                <timedatestamp/>\n            </module>\n";
}

void append_frame(const ReportFrame& frame, std::string& out) {
  cdata_element("                <frame>\n                    <symbol><![CDATA[", frame.function,
                "]]></symbol>\n                    <file>", out);
  element({}, frame.file, "</file>\n                    <line>", out);
  append_decimal(signed_line(frame.line), out);
  out += "</line>\n";
  if (!frame.module.empty()) {
    element("                    <module>", frame.module, "</module>\n", out);
  }
  if (frame.address != 0) {
    out += "                    <address>";
    append_hex_address(frame.address, out);
    out += "</address>\n";
  }
  out += "                </frame>\n";
}

// The host may mark several threads as crashing; the XML marks each of them.
void append_thread(const ReportThread& thread, std::string& out) {
  const char* const crashing = thread.crashing ? "yes" : "no";
  element("            <thread id=\"", thread.name, "\" current=\"", out);
  out.append(crashing).append("\" event=\"").append(crashing).append("\" framecount=\"");
  append_decimal(thread.frames.size(), out);
  out += "\">\n";
  for (const ReportFrame& frame : thread.frames) append_frame(frame, out);
  out += "            </thread>\n";
}

}  // namespace

std::string structured_report_xml(const StructuredReport& report) {
  std::string out;
  out.reserve(estimated_text_size(report));
  out += "<report>\n";
  element("    <platform>", report.platform, "</platform>\n", out);
  element("    <os>", report.os, "</os>\n", out);
  out += "    <process>\n";
  append_exception(report, out);
  out += "        <modules numloaded=\"";
  append_decimal(report.modules.size(), out);
  out += "\">\n";
  size_t order = 0;
  for (const ReportModule& module : report.modules) append_module(module, ++order, out);
  out += "        </modules>\n        <threads count=\"";
  append_decimal(report.threads.size(), out);
  out += "\">\n";
  for (const ReportThread& thread : report.threads) append_thread(thread, out);
  out += "        </threads>\n    </process>\n</report>\n";
  return out;
}

}  // namespace wrenfall
