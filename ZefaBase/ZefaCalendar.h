#pragma once
// Calendar texts of instants: the proleptic Gregorian calendar, ASCII digits, no time zone.
#include <cstdint>
#include <string>

#include "ZefaBase/ZefaExport.h"

class ZEFA_EXPORT ZefaCalendar {
 public:
  // "yyyy-MM-dd HH:mm:ss" of `secondsSince1970` read as UTC, e.g. "2023-11-14 22:13:20".
  static std::string dateTimeText(int64_t secondsSince1970);
};
