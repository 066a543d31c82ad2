#include <windows.h>

#include "reporter/user_format.h"
#include "support/text.h"

namespace wrenfall::reporter {
namespace {

constexpr int kMaxText = 128;

std::string locale_fact(LCTYPE fact, std::string otherwise) {
  wchar_t text[kMaxText] = {};
  return GetLocaleInfoEx(LOCALE_NAME_USER_DEFAULT, fact, text, kMaxText) > 0 ? wide_to_utf8(text)
                                                                             : std::move(otherwise);
}

std::string user_time_text(int64_t unix_seconds) {
  const CalendarTime time = local_time(unix_seconds);
  SYSTEMTIME moment{};
  moment.wYear = static_cast<WORD>(time.year);
  moment.wMonth = static_cast<WORD>(time.month);
  moment.wDay = static_cast<WORD>(time.day);
  moment.wHour = static_cast<WORD>(time.hour);
  moment.wMinute = static_cast<WORD>(time.minute);
  wchar_t date[kMaxText] = {};
  wchar_t clock[kMaxText] = {};
  if (GetDateFormatEx(LOCALE_NAME_USER_DEFAULT, DATE_SHORTDATE, &moment, nullptr, date, kMaxText,
                      nullptr) == 0 ||
      GetTimeFormatEx(LOCALE_NAME_USER_DEFAULT, TIME_NOSECONDS, &moment, nullptr, clock,
                      kMaxText) == 0) {
    return local_time_text(unix_seconds);
  }
  return wide_to_utf8(date) + " " + wide_to_utf8(clock);
}

}  // namespace

UserFormat read_user_format() {
  UserFormat format;
  format.decimal = locale_fact(LOCALE_SDECIMAL, format.decimal);
  format.thousands = locale_fact(LOCALE_STHOUSAND, format.thousands);
  format.time = user_time_text;
  return format;
}

}  // namespace wrenfall::reporter
