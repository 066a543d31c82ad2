// A host's own report with one text in every place, read back by parsers from elsewhere. That each
// text is in its own place is compared where such a report is sent.
#include "report/structured_report.h"

#include <expat.h>

#include "report/structured_report_json.h"
#include "report/structured_report_xml.h"
#include "support/json_text.h"
#include "tests/fuzz/property.h"

namespace wrenfall {
namespace {

StructuredReport report_of(const std::string& text) {
  StructuredReport report;
  report.platform = report.os = report.exception_code = report.exception_explanation = text;
  report.registers = {{"r", text}};
  report.threads = {{text, true, {{text, text, 1, text, 1}}}};
  report.modules = {{text, text, 1, 1, text, text}};
  return report;
}

size_t times_in_json(const nlohmann::json& value, const std::string& text) {
  if (!value.is_structured()) return value == text ? 1 : 0;
  size_t times = 0;
  for (const auto& inner : value) times += times_in_json(inner, text);
  return times;
}

// The text that follows the start of an element, and how often the wanted one was found.
struct XmlTexts {
  const std::string& wanted;
  std::string open;
  size_t times = 0;
};

void start_element(void* data, const char*, const char** attributes) {
  auto& texts = *static_cast<XmlTexts*>(data);
  for (; *attributes != nullptr; attributes += 2) {
    if (attributes[1] == texts.wanted) ++texts.times;
  }
  texts.open.clear();
}

void end_element(void* data, const char*) {
  auto& texts = *static_cast<XmlTexts*>(data);
  if (texts.open == texts.wanted) ++texts.times;
}

void add_text(void* data, const char* text, int length) {
  static_cast<XmlTexts*>(data)->open.append(text, static_cast<size_t>(length));
}

size_t times_in_xml(const std::string& document, const std::string& text) {
  XmlTexts texts{text, ""};
  const XML_Parser parser = XML_ParserCreate("UTF-8");
  XML_SetUserData(parser, &texts);
  XML_SetElementHandler(parser, start_element, end_element);
  XML_SetCharacterDataHandler(parser, add_text);
  const XML_Status status =
      XML_Parse(parser, document.data(), static_cast<int>(document.size()), XML_TRUE);
  XML_ParserFree(parser);
  require(status == XML_STATUS_OK, "a document of plain texts is well-formed");
  return texts.times;
}

}  // namespace
}  // namespace wrenfall

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wrenfall;
  // The start is like no other text of a report.
  std::string text = "+" + std::string(reinterpret_cast<const char*>(data), size);
  const nlohmann::json object = parse_json(structured_report_json(report_of(text)));
  require(times_in_json(object, valid_utf8(text)) == 13, "each text comes back from JSON");
  // Parsers may refuse an XML document of texts that are no characters.
  for (char& c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte >= 0x7F) c = "&<>\"']["[byte % 7];
  }
  text += "é試";
  require(times_in_xml(structured_report_xml(report_of(text)), text) == 15,
          "each text comes back from XML");
  return 0;
}
