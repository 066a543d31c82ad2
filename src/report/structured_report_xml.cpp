#include "report/structured_report_xml.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <string_view>

#include "support/encoding.h"
#include "support/text_sink.h"

namespace wrenfall {
namespace {

// Texts that are put into the document in a form of their own.
struct Escaped {
  std::string_view text;
};
struct Cdata {
  std::string_view text;
};

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

TextSink& operator<<(TextSink& sink, Escaped escaped) {
  const std::string_view text = escaped.text;
  size_t copied = 0;
  for (size_t at = 0; at < text.size(); ++at) {
    if (!is_special(text[at])) continue;
    sink << text.substr(copied, at - copied) << entity(text[at]);
    copied = at + 1;
  }
  return sink << text.substr(copied);
}

// A section cannot hold its own end mark; text with one goes on in a second section.
TextSink& operator<<(TextSink& sink, Cdata cdata) {
  static constexpr std::string_view kEnd = "]]>";
  static constexpr std::string_view kSplitEnd = "]]]]><![CDATA[>";
  std::string_view text = cdata.text;
  sink << "<![CDATA[";
  for (size_t at = 0; (at = text.find(kEnd)) != std::string_view::npos;) {
    sink << text.substr(0, at) << kSplitEnd;
    text.remove_prefix(at + kEnd.size());
  }
  return sink << text << kEnd;
}

// One line: an element that holds text, after the blanks of its level.
template <typename Text>
void element(TextSink& sink, std::string_view indent, std::string_view name, const Text& text) {
  sink << indent << '<' << name << '>' << text << "</" << name << ">\n";
}

std::string line_text(const ReportFrame& frame) { return std::to_string(signed_line(frame.line)); }

constexpr std::string_view kExceptionIndent = "            ";
constexpr std::string_view kRegisterIndent = "                ";
constexpr std::string_view kModuleIndent = "                ";
constexpr std::string_view kFrameIndent = "                    ";

void write_exception(const StructuredReport& report, TextSink& sink) {
  sink << "        <exception>\n";
  element(sink, kExceptionIndent, "code", Escaped{report.exception_code});
  element(sink, kExceptionIndent, "explanation", Escaped{report.exception_explanation});
  const auto crashed = std::find_if(
      report.threads.begin(), report.threads.end(),
      [](const ReportThread& thread) { return thread.crashing && !thread.frames.empty(); });
  if (crashed != report.threads.end()) {
    const ReportFrame& frame = crashed->frames.front();
    element(sink, kExceptionIndent, "func", Cdata{frame.function});
    element(sink, kExceptionIndent, "file", Escaped{frame.file});
    element(sink, kExceptionIndent, "line", line_text(frame));
  }
  if (!report.registers.empty()) {
    sink << kExceptionIndent << "<registers>\n";
    for (const auto& [name, value] : report.registers) {
      element(sink, kRegisterIndent, name, Escaped{value});
    }
    sink << kExceptionIndent << "</registers>\n";
  }
  sink << "        </exception>\n";
}

void write_module(const ReportModule& module, size_t order, TextSink& sink) {
  sink << "            <module>\n";
  element(sink, kModuleIndent, "name", Escaped{module.name});
  element(sink, kModuleIndent, "order", std::to_string(order));
  element(sink, kModuleIndent, "address",
          hex_address(module.base) + "-" + hex_address(module.base + module.size));
  element(sink, kModuleIndent, "path", Escaped{module.path});
  element(sink, kModuleIndent, "symbolsloaded", "deferred");
  element(sink, kModuleIndent, "fileversion", Escaped{module.fileVersion});
  element(sink, kModuleIndent, "productversion", Escaped{module.productVersion});
  element(sink, kModuleIndent, "checksum", "00000000");
  sink << kModuleIndent << "<timedatestamp/>\n            </module>\n";
}

void write_frame(const ReportFrame& frame, TextSink& sink) {
  sink << "                <frame>\n";
  element(sink, kFrameIndent, "symbol", Cdata{frame.function});
  element(sink, kFrameIndent, "file", Escaped{frame.file});
  element(sink, kFrameIndent, "line", line_text(frame));
  if (!frame.module.empty()) element(sink, kFrameIndent, "module", Escaped{frame.module});
  if (frame.address != 0) {
    const HexDigits digits = hex_digits(frame.address);
    element(sink, kFrameIndent, "address", std::string_view(digits.data(), digits.size()));
  }
  sink << "                </frame>\n";
}

// More than one thread may be marked crashing; each is then.
void write_thread(const ReportThread& thread, TextSink& sink) {
  const char* const crashing = thread.crashing ? "yes" : "no";
  sink << "            <thread id=\"" << Escaped{thread.name} << "\" current=\"" << crashing
       << "\" event=\"" << crashing << "\" framecount=\"" << std::to_string(thread.frames.size())
       << "\">\n";
  for (const ReportFrame& frame : thread.frames) write_frame(frame, sink);
  sink << "            </thread>\n";
}

}  // namespace

void write_structured_report_xml(const StructuredReport& report, std::ostream& stream) {
  TextSink sink(stream);
  sink << "<report>\n";
  element(sink, "    ", "platform", Escaped{report.platform});
  element(sink, "    ", "os", Escaped{report.os});
  sink << "    <process>\n";
  write_exception(report, sink);
  sink << "        <modules numloaded=\"" << std::to_string(report.modules.size()) << "\">\n";
  size_t order = 0;
  for (const ReportModule& module : report.modules) write_module(module, ++order, sink);
  sink << "        </modules>\n        <threads count=\"" << std::to_string(report.threads.size())
       << "\">\n";
  for (const ReportThread& thread : report.threads) write_thread(thread, sink);
  sink << "        </threads>\n    </process>\n</report>\n";
}

}  // namespace wrenfall
