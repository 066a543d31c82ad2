#include "ctl/stack_output.h"

#include <cstdio>
#include <utility>
#include <vector>

#include "ctl/output_text.h"
#include "support/encoding.h"

namespace wrenfall::ctl {
namespace {

using nlohmann::json;
using stack::StackFrame;
using stack::StackReport;
using stack::SymbolKind;
using stack::ThreadStack;

std::string short_hex(uint64_t number) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
  return text;
}

std::string address_text(uint64_t address) { return "0x" + hex_address(address); }

// "crashing_host.exe!crash_here+0x12", "ntdll.dll+0x1234", or an address in no module.
std::string place_text(const StackFrame& frame) {
  if (frame.module.empty()) return address_text(frame.address);
  if (frame.function.empty()) return frame.module + "+" + short_hex(frame.offset);
  return frame.module + "!" + frame.function +
         (frame.is_inline ? "" : "+" + short_hex(frame.function_offset));
}

std::string line_text(const StackFrame& frame) {
  if (frame.file.empty()) return {};
  return frame.file + (frame.line == 0 ? "" : ":" + std::to_string(frame.line));
}

std::string thread_text(const ThreadStack& thread) {
  std::string title = "Thread " + std::to_string(thread.id);
  if (!thread.name.empty()) title += " " + escape_for_terminal(thread.name);
  if (thread.is_shown) title += " (the report is about this one)";
  std::vector<std::vector<std::string>> rows;
  for (const StackFrame& frame : thread.frames) {
    const char* const note = frame.is_inline ? "inline" : frame.searched ? "searched" : "";
    rows.push_back({"  " + std::to_string(rows.size()), note,
                    escape_for_terminal(place_text(frame)), escape_for_terminal(line_text(frame))});
  }
  if (thread.truncated) rows.push_back({"  ...", "", "there are more calls", ""});
  return title + "\n" + (rows.empty() ? "  its calls cannot be told\n" : table(rows));
}

json frame_json(const StackFrame& frame) {
  return {{"module", frame.module},
          {"address", address_text(frame.address)},
          {"offset", frame.module.empty() ? "" : short_hex(frame.offset)},
          {"function", frame.function},
          {"functionOffset", frame.function.empty() ? "" : short_hex(frame.function_offset)},
          {"file", frame.file},
          {"line", frame.line},
          {"inline", frame.is_inline},
          {"scanned", frame.searched}};
}

const char* symbols_text(SymbolKind kind) {
  switch (kind) {
    case SymbolKind::kFull:
      return "full";
    case SymbolKind::kExports:
      return "exports";
    case SymbolKind::kNone:
      return "none";
    default:
      return "not looked up";
  }
}

}  // namespace

std::string stack_text(const StackReport& report) {
  std::string text;
  if (report.exception) {
    text += "Exception " + hex_code(report.exception->code) + " at " +
            address_text(report.exception->address) + "\n";
  }
  for (const ThreadStack& thread : report.threads) text += thread_text(thread);
  return text.empty() ? "no threads\n" : text;
}

std::string stack_warnings_text(const std::vector<std::string>& warnings) {
  std::string text;
  for (const std::string& warning : warnings) {
    text += "wrenfallctl: warning: " + escape_for_terminal(warning) + "\n";
  }
  return text;
}

json stack_json(const StackReport& report) {
  json document = {{"dump", report.dump}, {"exception", nullptr}, {"warnings", report.warnings}};
  if (report.exception) {
    document["exception"] = {{"code", hex_code(report.exception->code)},
                             {"address", address_text(report.exception->address)},
                             {"threadId", report.exception->thread_id}};
  }
  json& threads = document["threads"] = json::array();
  for (const ThreadStack& thread : report.threads) {
    json frames = json::array();
    for (const StackFrame& frame : thread.frames) frames.push_back(frame_json(frame));
    threads.push_back({{"id", thread.id},
                       {"name", thread.name},
                       {"crashed", thread.is_shown},
                       {"truncated", thread.truncated},
                       {"frames", std::move(frames)}});
  }
  json& modules = document["modules"] = json::array();
  for (const auto& module : report.modules) {
    modules.push_back({{"name", module.name},
                       {"path", module.path},
                       {"base", address_text(module.base)},
                       {"size", module.size},
                       {"version", module.version},
                       {"symbols", symbols_text(module.symbols)}});
  }
  return document;
}

}  // namespace wrenfall::ctl
