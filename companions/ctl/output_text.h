#ifndef WRENFALL_COMPANIONS_CTL_OUTPUT_TEXT_H_
#define WRENFALL_COMPANIONS_CTL_OUTPUT_TEXT_H_

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace wrenfall::ctl {

// Any program may have written the names and texts in a store. If they were printed as they are,
// control characters in them could move the cursor, clear the screen, or reverse the direction of
// the text.

// The text in valid UTF-8. Each control character, line breaks included, is written as JSON does,
// for example "\u001b".
std::string escape_for_terminal(const std::string& text);

// A JSON document whose texts are escaped in the same way: indented by two blanks, or on one line.
std::string json_document(const nlohmann::json& document);
std::string json_line(const nlohmann::json& object);

// The rows in aligned columns. Each column but the last is as wide as its longest entry.
std::string table(const std::vector<std::vector<std::string>>& rows);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_OUTPUT_TEXT_H_
