#ifndef WRENFALL_COMPANIONS_CTL_OUTPUT_TEXT_H_
#define WRENFALL_COMPANIONS_CTL_OUTPUT_TEXT_H_

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace wrenfall::ctl {

// Names and texts come out of a store that anybody may have written to. Printed as they are, control
// characters could move the cursor, clear the screen, or turn the direction of writing around.

// The text in valid UTF-8 with each such character in JSON's notation, line breaks included.
std::string shown(const std::string& text);

// A JSON document whose texts hold none of them either; indented by two blanks, or on one line.
std::string json_document(const nlohmann::json& document);
std::string json_line(const nlohmann::json& object);

// Rows under their headings; each column as wide as its longest entry, the last one as it is.
std::string table(const std::vector<std::vector<std::string>>& rows);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_OUTPUT_TEXT_H_
