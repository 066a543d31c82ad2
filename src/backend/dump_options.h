#ifndef WRENFALL_BACKEND_DUMP_OPTIONS_H_
#define WRENFALL_BACKEND_DUMP_OPTIONS_H_

#include <map>
#include <string>
#include <type_traits>

namespace wrenfall {

// Whether the handler of a capture client lets annotations decide how much memory its dumps hold. A
// client whose handler does says so by a member of this name; of any other client it is false.
template <typename Client, typename = void>
struct HeedsDumpType : std::false_type {};
template <typename Client>
struct HeedsDumpType<Client, std::void_t<decltype(Client::kHeedsDumpType)>>
    : std::bool_constant<Client::kHeedsDumpType> {};

// What the start-up annotations ask a handler for that does not heed them, as a line for the log; empty
// when they ask for what every handler does.
std::string unheeded_dump_options(const std::map<std::string, std::string>& startup_annotations);

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_DUMP_OPTIONS_H_
