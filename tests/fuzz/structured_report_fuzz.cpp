// A host's own report as JSON and as XML, read back by parsers from elsewhere.
#include "report/structured_report.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <map>
#include <sstream>

#include "report/structured_report_json.h"
#include "report/structured_report_xml.h"
#include "support/encoding.h"
#include "support/json_text.h"
#include "tests/fuzz/property.h"
#include "tests/fuzz/xml_tree.h"

namespace wrenfall {
namespace {

using nlohmann::json;

// Texts as hosts may give them, or such as an XML document can hold.
class Texts {
 public:
  Texts(FuzzedDataProvider& input, bool for_xml) : input_(input), for_xml_(for_xml) {}

  std::string any() {
    std::string text = input_.ConsumeRandomLengthString(24);
    if (!for_xml_) return text;
    for (char& c : text) {
      const auto byte = static_cast<unsigned char>(c);
      if (byte < 0x20 && c != '\n' && c != '\t') c = "&<>\"']["[byte % 7];
      if (byte >= 0x7F) c = ']';
    }
    return text.size() % 5 == 4 ? text + "é試" : text;  // letters of more than one byte
  }

  std::string register_name() {
    std::string name = "r" + input_.ConsumeRandomLengthString(4);
    if (!for_xml_) return name;
    for (char& c : name) c = static_cast<char>('a' + static_cast<unsigned char>(c) % 26);
    return name;
  }

 private:
  FuzzedDataProvider& input_;
  const bool for_xml_;
};

StructuredReport report_from(FuzzedDataProvider& input, bool for_xml) {
  Texts texts(input, for_xml);
  StructuredReport report;
  report.platform = texts.any();
  report.os = texts.any();
  report.exception_code = texts.any();
  report.exception_explanation = texts.any();
  while (input.remaining_bytes() > 0) {
    switch (input.ConsumeIntegralInRange(0, 3)) {
      case 0:
        report.registers.emplace_back(texts.register_name(), texts.any());
        break;
      case 1:
        report.threads.push_back({texts.any(), input.ConsumeBool(), {}});
        break;
      case 2:
        if (report.threads.empty()) break;
        report.threads.back().frames.push_back({texts.any(), texts.any(),
                                                input.ConsumeIntegral<uint32_t>(), texts.any(),
                                                input.ConsumeIntegral<uint64_t>()});
        break;
      default:
        report.modules.push_back({texts.any(), texts.any(), input.ConsumeIntegral<uint64_t>(),
                                  input.ConsumeIntegral<uint64_t>(), texts.any(), texts.any()});
    }
  }
  return report;
}

json expected_json(const StructuredReport& report) {
  json registers = json::object();
  for (const auto& [name, value] : report.registers)
    registers[valid_utf8(name)] = valid_utf8(value);
  json modules = json::array();
  for (const ReportModule& module : report.modules) {
    modules.push_back({{"base", hex_address(module.base)},
                       {"size", module.size},
                       {"name", valid_utf8(module.name)},
                       {"path", valid_utf8(module.path)},
                       {"fileVersion", valid_utf8(module.fileVersion)},
                       {"productVersion", valid_utf8(module.productVersion)}});
  }
  json threads = json::array();
  for (const ReportThread& thread : report.threads) {
    json frames = json::array();
    for (const ReportFrame& frame : thread.frames) {
      frames.push_back({{"function", valid_utf8(frame.function)},
                        {"file", valid_utf8(frame.file)},
                        {"line", signed_line(frame.line)},
                        {"module", valid_utf8(frame.module)},
                        {"address", frame.address == 0 ? "" : hex_address(frame.address)}});
    }
    threads.push_back({{"name", valid_utf8(thread.name)},
                       {"crashing", thread.crashing},
                       {"frames", std::move(frames)}});
  }
  return {{"schemaVersion", 1},
          {"platform", valid_utf8(report.platform)},
          {"os", valid_utf8(report.os)},
          {"exception",
           {{"code", valid_utf8(report.exception_code)},
            {"explanation", valid_utf8(report.exception_explanation)},
            {"registers", std::move(registers)}}},
          {"modules", std::move(modules)},
          {"threads", std::move(threads)}};
}

void require_texts(const XmlElement& element,
                   const std::vector<std::pair<const char*, std::string>>& texts) {
  for (const auto& [name, text] : texts) require(element.child(name).text == text, name);
}

void require_exception(const XmlElement& exception, const StructuredReport& report) {
  require_texts(exception,
                {{"code", report.exception_code}, {"explanation", report.exception_explanation}});
  const ReportThread* const thread = crashing_thread(report);
  if (thread != nullptr && !thread->frames.empty()) {
    const ReportFrame& frame = thread->frames.front();
    require_texts(exception, {{"func", frame.function},
                              {"file", frame.file},
                              {"line", std::to_string(signed_line(frame.line))}});
  }
  if (report.registers.empty()) return;
  const auto& registers = exception.child("registers").children;
  require(registers.size() == report.registers.size(), "as many registers");
  for (size_t i = 0; i < registers.size(); ++i) {
    require(registers[i].name == report.registers[i].first, "a register's name");
    require(registers[i].text == report.registers[i].second, "a register's value");
  }
}

void require_threads(const XmlElement& threads, const StructuredReport& report) {
  require(threads.children.size() == report.threads.size(), "as many threads");
  for (size_t i = 0; i < report.threads.size(); ++i) {
    const ReportThread& thread = report.threads[i];
    const XmlElement& written = threads.children[i];
    std::string name = thread.name;
    for (char& c : name) {
      if (c == '\n' || c == '\t') c = ' ';  // as every reader has line ends in attributes
    }
    require(written.attributes.at("id") == name, "a thread's name");
    require(written.attributes.at("current") == (thread.crashing ? "yes" : "no"), "crashing");
    require(written.children.size() == thread.frames.size(), "as many frames");
    for (size_t k = 0; k < thread.frames.size(); ++k) {
      const ReportFrame& frame = thread.frames[k];
      require_texts(written.children[k], {{"symbol", frame.function},
                                          {"file", frame.file},
                                          {"line", std::to_string(signed_line(frame.line))}});
      if (!frame.module.empty()) require_texts(written.children[k], {{"module", frame.module}});
      if (frame.address == 0) continue;
      require_texts(written.children[k], {{"address", hex_address(frame.address)}});
    }
  }
}

void require_modules(const XmlElement& modules, const StructuredReport& report) {
  require(modules.children.size() == report.modules.size(), "as many modules");
  for (size_t i = 0; i < report.modules.size(); ++i) {
    const ReportModule& module = report.modules[i];
    require_texts(modules.children[i], {{"name", module.name},
                                        {"order", std::to_string(i + 1)},
                                        {"path", module.path},
                                        {"fileversion", module.fileVersion},
                                        {"productversion", module.productVersion},
                                        {"address", hex_address(module.base) + "-" +
                                                        hex_address(module.base + module.size)}});
  }
}

std::string xml_of(const StructuredReport& report) {
  std::ostringstream stream;
  write_structured_report_xml(report, stream);
  return stream.str();
}

void write_any(const StructuredReport& report) {
  std::ostringstream stream;
  write_structured_report_json(report, stream);
  require(parse_json(stream.str()) == expected_json(report), "the JSON text reads back");
  // Parsers may refuse it, but must come to an end.
  parse_xml(xml_of(report));
}

void write_for_xml(const StructuredReport& report) {
  const auto root = parse_xml(xml_of(report));
  require(root.has_value() && root->name == "report", "a document of plain texts is well-formed");
  require_texts(*root, {{"platform", report.platform}, {"os", report.os}});
  const XmlElement& process = root->child("process");
  require_exception(process.child("exception"), report);
  require_modules(process.child("modules"), report);
  require_threads(process.child("threads"), report);
}

}  // namespace
}  // namespace wrenfall

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider for_any(data, size);
  wrenfall::write_any(wrenfall::report_from(for_any, false));
  FuzzedDataProvider for_xml(data, size);
  wrenfall::write_for_xml(wrenfall::report_from(for_xml, true));
  return 0;
}
