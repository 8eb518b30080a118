// Feed local time by the C library's calendar: the slow way, against which the fast one is compared.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>

namespace vorbeld {

inline std::tm utc_calendar(std::int64_t utc_s) {
  const std::time_t instant = utc_s;
  std::tm calendar{};
  gmtime_r(&instant, &calendar);
  return calendar;
}

// Seconds of a UTC date and time; `month` is 1 to 12.
inline std::int64_t utc_seconds(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  std::tm calendar{};
  calendar.tm_year = year - 1900;
  calendar.tm_mon = month - 1;
  calendar.tm_mday = day;
  calendar.tm_hour = hour;
  calendar.tm_min = minute;
  calendar.tm_sec = second;
  return timegm(&calendar);
}

// Day of the month of its `nth` Sunday, found by walking the days.
inline int reference_sunday(int year, int month, int nth) {
  int day = 0;
  while (nth > 0) {
    ++day;
    if (utc_calendar(utc_seconds(year, month, day, 12)).tm_wday == 0) --nth;
  }
  return day;
}

inline std::int64_t daylight_start(int year) {
  return utc_seconds(year, 3, reference_sunday(year, 3, 2), 7);
}

inline std::int64_t daylight_end(int year) {
  return utc_seconds(year, 11, reference_sunday(year, 11, 1), 6);
}

inline std::int64_t reference_offset(std::int64_t utc_s) {
  const int year = utc_calendar(utc_s).tm_year + 1900;
  return daylight_start(year) <= utc_s && utc_s < daylight_end(year) ? -14400 : -18000;
}

// YYYYMMDDhhmmss in feed local time, longer where the year is wider than four digits.
inline std::string reference_date_time(std::int64_t utc_s) {
  const std::tm local = utc_calendar(utc_s + reference_offset(utc_s));
  std::array<char, 80> text;
  std::snprintf(text.data(), text.size(), "%04d%02d%02d%02d%02d%02d", local.tm_year + 1900, local.tm_mon + 1,
                local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  return text.data();
}

}  // namespace vorbeld
