#ifndef WRENFALL_UPLOAD_RETRY_AFTER_H_
#define WRENFALL_UPLOAD_RETRY_AFTER_H_

#include <cstdint>
#include <string_view>

namespace wrenfall {

// For how many seconds from `now` (seconds since 1970) an answer asks to wait: the value of its
// "Retry-After" header (RFC 9110, section 10.2.3), a number of seconds or a date in any of the three
// forms of HTTP. 0 for a date that is past and for every other text. At most 24 hours, however much
// the service asks for.
int64_t parse_retry_after(std::string_view value, int64_t now);

}  // namespace wrenfall

#endif  // WRENFALL_UPLOAD_RETRY_AFTER_H_
