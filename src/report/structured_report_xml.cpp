#include "report/structured_report_xml.h"

#include <ostream>
#include <string>
#include <string_view>

#include "support/encoding.h"

namespace wrenfall {
namespace {

std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

// One line: an element that holds text, after the blanks of its level.
void element(std::ostream& stream, std::string_view indent, std::string_view name,
             std::string_view text) {
  stream << indent << '<' << name << '>' << text << "</" << name << ">\n";
}

// A section cannot hold its own end mark; text with one goes on in a second section.
std::string cdata(std::string_view text) {
  static constexpr std::string_view kEnd = "]]>";
  static constexpr std::string_view kSplitEnd = "]]]]><![CDATA[>";
  std::string section = "<![CDATA[";
  for (size_t at = text.find(kEnd); at != std::string_view::npos; at = text.find(kEnd)) {
    section.append(text.substr(0, at)).append(kSplitEnd);
    text.remove_prefix(at + kEnd.size());
  }
  return section.append(text).append(kEnd);
}

std::string line_text(const ReportFrame& frame) { return std::to_string(signed_line(frame.line)); }

constexpr std::string_view kExceptionIndent = "            ";
constexpr std::string_view kRegisterIndent = "                ";
constexpr std::string_view kModuleIndent = "                ";
constexpr std::string_view kFrameIndent = "                    ";

void write_exception(const StructuredReport& report, std::ostream& stream) {
  stream << "        <exception>\n";
  element(stream, kExceptionIndent, "code", escaped(report.exception_code));
  element(stream, kExceptionIndent, "explanation", escaped(report.exception_explanation));
  const ReportThread* const thread = crashing_thread(report);
  if (thread != nullptr && !thread->frames.empty()) {
    const ReportFrame& frame = thread->frames.front();
    element(stream, kExceptionIndent, "func", cdata(frame.function));
    element(stream, kExceptionIndent, "file", escaped(frame.file));
    element(stream, kExceptionIndent, "line", line_text(frame));
  }
  if (!report.registers.empty()) {
    stream << kExceptionIndent << "<registers>\n";
    for (const auto& [name, value] : report.registers) {
      element(stream, kRegisterIndent, name, escaped(value));
    }
    stream << kExceptionIndent << "</registers>\n";
  }
  stream << "        </exception>\n";
}

void write_module(const ReportModule& module, size_t order, std::ostream& stream) {
  stream << "            <module>\n";
  element(stream, kModuleIndent, "name", escaped(module.name));
  element(stream, kModuleIndent, "order", std::to_string(order));
  element(stream, kModuleIndent, "address",
          hex_address(module.base) + "-" + hex_address(module.base + module.size));
  element(stream, kModuleIndent, "path", escaped(module.path));
  element(stream, kModuleIndent, "symbolsloaded", "deferred");
  element(stream, kModuleIndent, "fileversion", escaped(module.fileVersion));
  element(stream, kModuleIndent, "productversion", escaped(module.productVersion));
  element(stream, kModuleIndent, "checksum", "00000000");
  stream << kModuleIndent << "<timedatestamp/>\n            </module>\n";
}

void write_frame(const ReportFrame& frame, std::ostream& stream) {
  stream << "                <frame>\n";
  element(stream, kFrameIndent, "symbol", cdata(frame.function));
  element(stream, kFrameIndent, "file", escaped(frame.file));
  element(stream, kFrameIndent, "line", line_text(frame));
  if (!frame.module.empty()) element(stream, kFrameIndent, "module", escaped(frame.module));
  if (frame.address != 0) element(stream, kFrameIndent, "address", hex_address(frame.address));
  stream << "                </frame>\n";
}

// More than one thread may be marked crashing; each is then.
void write_thread(const ReportThread& thread, std::ostream& stream) {
  const char* const crashing = thread.crashing ? "yes" : "no";
  stream << "            <thread id=\"" << escaped(thread.name) << "\" current=\"" << crashing
         << "\" event=\"" << crashing << "\" framecount=\"" << std::to_string(thread.frames.size())
         << "\">\n";
  for (const ReportFrame& frame : thread.frames) write_frame(frame, stream);
  stream << "            </thread>\n";
}

}  // namespace

void write_structured_report_xml(const StructuredReport& report, std::ostream& stream) {
  stream << "<report>\n";
  element(stream, "    ", "platform", escaped(report.platform));
  element(stream, "    ", "os", escaped(report.os));
  stream << "    <process>\n";
  write_exception(report, stream);
  stream << "        <modules numloaded=\"" << std::to_string(report.modules.size()) << "\">\n";
  size_t order = 0;
  for (const ReportModule& module : report.modules) write_module(module, ++order, stream);
  stream << "        </modules>\n        <threads count=\"" << std::to_string(report.threads.size())
         << "\">\n";
  for (const ReportThread& thread : report.threads) write_thread(thread, stream);
  stream << "        </threads>\n    </process>\n</report>\n";
}

}  // namespace wrenfall
