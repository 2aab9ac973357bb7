#include "ZefaBase/ZefaCalendar.h"

#include <cstdio>

std::string ZefaCalendar::dateTimeText(int64_t secondsSince1970) {
  // Days and seconds of the day, flooring so that instants before 1970 land on the right day.
  int64_t days = secondsSince1970 / 86400;
  int64_t secondOfDay = secondsSince1970 % 86400;
  if (secondOfDay < 0) {
    secondOfDay += 86400;
    --days;
  }
  // Civil date from a day count (Howard Hinnant's days-to-civil algorithm).
  const int64_t z = days + 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t dayOfEra = z - era * 146097;
  const int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int64_t mp = (5 * dayOfYear + 2) / 153;
  const int64_t day = dayOfYear - (153 * mp + 2) / 5 + 1;
  const int64_t month = mp < 10 ? mp + 3 : mp - 9;
  const int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);

  char text[64];
  const int n = std::snprintf(
      text, sizeof text, "%04lld-%02lld-%02lld %02lld:%02lld:%02lld", static_cast<long long>(year),
      static_cast<long long>(month), static_cast<long long>(day),
      static_cast<long long>(secondOfDay / 3600), static_cast<long long>(secondOfDay / 60 % 60),
      static_cast<long long>(secondOfDay % 60));
  return std::string(text, static_cast<size_t>(n));
}
