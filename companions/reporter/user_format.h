#ifndef WRENFALL_COMPANIONS_REPORTER_USER_FORMAT_H_
#define WRENFALL_COMPANIONS_REPORTER_USER_FORMAT_H_

#include <cstdint>
#include <functional>
#include <string>

#include "reporter/dialog_texts.h"
#include "support/clock.h"

namespace wrenfall::reporter {

// How the user writes numbers and times.
struct UserFormat {
  std::string decimal = ".";
  std::string thousands = ",";
  // A moment in seconds since 1970, in the user's time zone.
  std::function<std::string(int64_t)> time = local_time_text;
};

// What the system says of the user.
UserFormat read_user_format();

// "1,234".
std::string number_text(uint64_t number, const UserFormat& format);

// A file's size in the units of the texts: "0.1 KB" at least, "1,023.9 KB", "1.5 MB". Units are 1024 of
// the next smaller ones, as in the system's own windows, and the number is rounded to the nearest tenth.
std::string file_size_text(uint64_t bytes, const DialogTexts& texts, const UserFormat& format);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_USER_FORMAT_H_
