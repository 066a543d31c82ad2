// A host's own report of any texts, read back by parsers from elsewhere. That each text is in its
// place is compared where such a report is sent.
#include "report/structured_report.h"

#include <expat.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <map>

#include "report/structured_report_json.h"
#include "report/structured_report_xml.h"
#include "support/json_text.h"
#include "tests/fuzz/property.h"

namespace wrenfall {
namespace {

// How often each text occurs.
using Texts = std::map<std::string, int>;

// Makes a text such as hosts may give, or one that an XML document can hold, and counts it.
class TextMaker {
 public:
  TextMaker(FuzzedDataProvider& input, bool for_xml) : input_(input), for_xml_(for_xml) {}

  std::string operator()() {
    std::string text = input_.ConsumeRandomLengthString(24);
    for (char& c : text) {
      const auto byte = static_cast<unsigned char>(c);
      if (for_xml_ && (byte < 0x20 || byte >= 0x7F)) c = "&<>\"']["[byte % 7];
    }
    if (text.size() % 5 == 4) text += "é試";  // letters of more than one byte
    ++made[valid_utf8(text)];
    return text;
  }

  Texts made;

 private:
  FuzzedDataProvider& input_;
  const bool for_xml_;
};

StructuredReport report_from(FuzzedDataProvider& input, TextMaker& text) {
  StructuredReport report;
  report.platform = text();
  report.os = text();
  report.exception_code = text();
  report.exception_explanation = text();
  while (input.remaining_bytes() > 0) {
    switch (input.ConsumeIntegralInRange(0, 3)) {
      case 0:
        report.registers.emplace_back("r" + std::to_string(report.registers.size()), text());
        break;
      case 1:
        report.threads.push_back({text(), false, {}});
        break;
      case 2:
        if (report.threads.empty()) break;
        report.threads.back().frames.push_back({text(), text(), input.ConsumeIntegral<uint32_t>(),
                                                text(), input.ConsumeIntegral<uint64_t>()});
        break;
      default:
        report.modules.push_back({text(), text(), input.ConsumeIntegral<uint64_t>(),
                                  input.ConsumeIntegral<uint64_t>(), text(), text()});
    }
  }
  return report;
}

void require_texts(const Texts& made, const Texts& read) {
  for (const auto& [text, count] : made) {
    const auto found = read.find(text);
    require(text.empty() || (found != read.end() && found->second >= count), "a text comes back");
  }
}

void collect(const nlohmann::json& value, Texts& texts) {
  if (value.is_string()) ++texts[value.get<std::string>()];
  for (const auto& inner : value) {
    if (value.is_structured()) collect(inner, texts);
  }
}

// Of each element the text that follows its start, and the values of its attributes.
struct XmlTexts {
  Texts texts;
  std::string open;
};

void start_element(void* data, const char*, const char** attributes) {
  for (; *attributes != nullptr; attributes += 2) {
    ++static_cast<XmlTexts*>(data)->texts[attributes[1]];
  }
  static_cast<XmlTexts*>(data)->open.clear();
}

void end_element(void* data, const char*) {
  ++static_cast<XmlTexts*>(data)->texts[static_cast<XmlTexts*>(data)->open];
}

void add_text(void* data, const char* text, int length) {
  static_cast<XmlTexts*>(data)->open.append(text, static_cast<size_t>(length));
}

bool read_xml(const StructuredReport& report, Texts& texts) {
  const std::string document = structured_report_xml(report);
  XmlTexts read;
  const XML_Parser parser = XML_ParserCreate("UTF-8");
  XML_SetUserData(parser, &read);
  XML_SetElementHandler(parser, start_element, end_element);
  XML_SetCharacterDataHandler(parser, add_text);
  const XML_Status status =
      XML_Parse(parser, document.data(), static_cast<int>(document.size()), XML_TRUE);
  XML_ParserFree(parser);
  texts = std::move(read.texts);
  return status == XML_STATUS_OK;
}

void write_and_read(const uint8_t* data, size_t size, bool for_xml) {
  FuzzedDataProvider input(data, size);
  TextMaker text(input, for_xml);
  const StructuredReport report = report_from(input, text);
  Texts read;
  // Parsers may refuse an XML document of other texts, but must come to an end.
  const bool well_formed = read_xml(report, read);
  if (for_xml) {
    require(well_formed, "a document of plain texts is well-formed");
    require_texts(text.made, read);
  }
  read.clear();
  collect(parse_json(structured_report_json(report)), read);
  require_texts(text.made, read);
}

}  // namespace
}  // namespace wrenfall

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  wrenfall::write_and_read(data, size, false);
  wrenfall::write_and_read(data, size, true);
  return 0;
}
