#include "btds/local_time.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "common/numbers.h"

namespace vorbeld {
namespace {

constexpr std::int64_t day_s = 86400;

constexpr std::int64_t floor_divide(std::int64_t value, std::int64_t divisor) {
  return value / divisor - (value % divisor < 0 ? 1 : 0);
}

struct Date {
  std::int64_t year;
  int month;  // 1-12
  int day;    // 1-31
};

// Years are counted from 1 March here, so that the leap day is the last of its year; an era is 400 of them.
constexpr std::uint32_t era_days = 146097;
constexpr std::int64_t days_from_year_0_to_1970 = 719468;

// Days since 1970-01-01 of a date of the proleptic Gregorian calendar.
constexpr std::int64_t days_of(std::int64_t year, int month, int day) {
  const int months_since_march = (month + 9) % 12;
  const std::int64_t march_year = year - (month < 3 ? 1 : 0);
  const std::int64_t era = floor_divide(march_year, 400);
  const std::int64_t year_of_era = march_year - era * 400;
  const std::int64_t day_of_year = (153 * months_since_march + 2) / 5 + day - 1;
  return era * era_days + year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year -
         days_from_year_0_to_1970;
}

constexpr Date date_of(std::int64_t days) {
  const std::int64_t shifted = days + days_from_year_0_to_1970;
  const std::int64_t era = floor_divide(shifted, era_days);
  const auto day_of_era = static_cast<std::uint32_t>(shifted - era * era_days);
  const std::uint32_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / (era_days - 1)) / 365;
  const std::uint32_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::uint32_t months_since_march = (5 * day_of_year + 2) / 153;
  const std::uint32_t day = day_of_year - (153 * months_since_march + 2) / 5 + 1;
  const std::uint32_t month = months_since_march < 10 ? months_since_march + 3 : months_since_march - 9;
  return {era * 400 + year_of_era + (month < 3 ? 1 : 0), static_cast<int>(month), static_cast<int>(day)};
}

// 0 = Sunday; 1970-01-01 was a Thursday.
constexpr int weekday(std::int64_t days) {
  return static_cast<int>((days % 7 + 7 + 4) % 7);
}

constexpr std::int64_t first_sunday(std::int64_t year, int month) {
  const std::int64_t first = days_of(year, month, 1);
  return first + (7 - weekday(first)) % 7;
}

static_assert(days_of(1970, 1, 1) == 0 && days_of(2000, 3, 1) == 11017);
static_assert(date_of(19782).year == 2024 && date_of(19782).month == 2 && date_of(19782).day == 29);
static_assert(first_sunday(2024, 3) + 7 == days_of(2024, 3, 10) && first_sunday(2024, 11) == days_of(2024, 11, 3));

// An instant taken apart: its UTC date, and the seconds since midnight of it.
struct Instant {
  std::int64_t days;
  Date date;
  int second;
};

constexpr Instant instant_of(std::int64_t utc_s) {
  const std::int64_t days = floor_divide(utc_s, day_s);
  return {days, date_of(days), static_cast<int>(utc_s - days * day_s)};
}

// The Sunday of a change is looked for only in the days on which it can fall.
constexpr bool is_daylight_time(const Instant& instant) {
  constexpr int start_second = 25'200;  // 07:00 UTC
  constexpr int end_second = 21'600;    // 06:00 UTC
  const auto [year, month, day] = instant.date;
  if (month == 3 && day >= 8 && day <= 14) {
    const std::int64_t start = first_sunday(year, 3) + 7;
    return instant.days > start || (instant.days == start && instant.second >= start_second);
  }
  if (month == 11 && day <= 7) {
    const std::int64_t end = first_sunday(year, 11);
    return instant.days < end || (instant.days == end && instant.second < end_second);
  }
  return month > 3 ? month < 11 : month == 3 && day > 14;
}

constexpr int offset_of(const Instant& instant) {
  constexpr int standard_time = -18000;
  constexpr int daylight_time = -14400;
  return is_daylight_time(instant) ? daylight_time : standard_time;
}

constexpr Date day_before(const Instant& instant) {
  const auto [year, month, day] = instant.date;
  return day > 1 ? Date{year, month, day - 1} : date_of(instant.days - 1);
}

// Both offsets are behind UTC, so the local date is the UTC date or the one before.
constexpr Instant local_instant(std::int64_t utc_s) {
  const Instant utc = instant_of(utc_s);
  const int second = utc.second + offset_of(utc);
  if (second >= 0) return {utc.days, utc.date, second};
  return {utc.days - 1, day_before(utc), second + static_cast<int>(day_s)};
}

void put_wide_year(std::span<char, 14> out, const Instant& local) {
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "%04lld%02d%02d%02d%02d%02d", static_cast<long long>(local.date.year),
                local.date.month, local.date.day, local.second / 3600, local.second / 60 % 60, local.second % 60);
  std::copy_n(text.data(), out.size(), out.data());
}

}  // namespace

std::int64_t local_offset(std::int64_t utc_s) {
  return offset_of(instant_of(utc_s));
}

void put_date(std::span<char, 8> out, std::int64_t utc_s) {
  std::array<char, 14> date_time;
  put_date_time(date_time, utc_s);
  std::copy_n(date_time.begin(), out.size(), out.begin());
}

void put_date_time(std::span<char, 14> out, std::int64_t utc_s) {
  const Instant local = local_instant(utc_s);
  const auto [year, month, day] = local.date;
  if (year < 0 || year > 9999) {
    put_wide_year(out, local);
    return;
  }
  const auto second = static_cast<std::uint32_t>(local.second);
  put_eight(out.data(), static_cast<std::uint32_t>((static_cast<int>(year) * 100 + month) * 100 + day));
  put_two(out.data() + 8, second / 3600);
  put_two(out.data() + 10, second / 60 % 60);
  put_two(out.data() + 12, second % 60);
}

}  // namespace vorbeld
