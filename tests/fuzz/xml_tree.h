#ifndef WRENFALL_TESTS_FUZZ_XML_TREE_H_
#define WRENFALL_TESTS_FUZZ_XML_TREE_H_

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wrenfall {

struct XmlElement {
  std::string name;
  std::map<std::string, std::string> attributes;
  std::string text;  // its own, sections included
  std::vector<XmlElement> children;

  // The first child of the name, or an element without a name.
  const XmlElement& child(std::string_view wanted) const;
};

// The root of a document, by a parser that refuses what is not well-formed.
std::optional<XmlElement> parse_xml(const std::string& document);

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_FUZZ_XML_TREE_H_
