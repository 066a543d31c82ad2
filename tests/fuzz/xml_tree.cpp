#include "tests/fuzz/xml_tree.h"

#include <expat.h>

#include <utility>

namespace wrenfall {
namespace {

// The elements that are open, the root's parent first.
using Path = std::vector<XmlElement>;

void start_element(void* data, const char* name, const char** attributes) {
  XmlElement element;
  element.name = name;
  for (; *attributes != nullptr; attributes += 2) element.attributes[attributes[0]] = attributes[1];
  static_cast<Path*>(data)->push_back(std::move(element));
}

void end_element(void* data, const char*) {
  Path& path = *static_cast<Path*>(data);
  XmlElement element = std::move(path.back());
  path.pop_back();
  path.back().children.push_back(std::move(element));
}

void add_text(void* data, const char* text, int length) {
  static_cast<Path*>(data)->back().text.append(text, static_cast<size_t>(length));
}

}  // namespace

const XmlElement& XmlElement::child(std::string_view wanted) const {
  static const XmlElement none;
  for (const XmlElement& candidate : children) {
    if (candidate.name == wanted) return candidate;
  }
  return none;
}

std::optional<XmlElement> parse_xml(const std::string& document) {
  Path path(1);
  const XML_Parser parser = XML_ParserCreate("UTF-8");
  XML_SetUserData(parser, &path);
  XML_SetElementHandler(parser, start_element, end_element);
  XML_SetCharacterDataHandler(parser, add_text);
  const XML_Status status =
      XML_Parse(parser, document.data(), static_cast<int>(document.size()), XML_TRUE);
  XML_ParserFree(parser);
  if (status != XML_STATUS_OK) return std::nullopt;
  return path.front().children.front();
}

}  // namespace wrenfall
