#include "vorbelctl/audit/eastern_time.h"

#include <algorithm>
#include <chrono>
#include <initializer_list>

namespace vorbelctl {
namespace {

namespace chrono = std::chrono;

constexpr std::int64_t summer_s = -14400;
constexpr std::int64_t winter_s = -18000;

bool is_four_digit_year(chrono::sys_seconds instant) {
  const chrono::sys_days begin = chrono::year(1) / chrono::January / 1;
  const chrono::sys_days end = chrono::year(10000) / chrono::January / 1;
  return instant >= begin && instant < end;
}

bool all_digits(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

int number_at(std::string_view digits, std::size_t at, std::size_t width) {
  int number = 0;
  for (const char digit : digits.substr(at, width)) number = number * 10 + (digit - '0');
  return number;
}

void put_number(std::string& text, std::size_t at, std::size_t width, unsigned number) {
  for (std::size_t place = at + width; place-- > at; number /= 10) text[place] = static_cast<char>('0' + number % 10);
}

}  // namespace

std::int64_t local_offset_s(std::int64_t utc_s) {
  const chrono::sys_seconds instant{chrono::seconds(utc_s)};
  const auto year = chrono::year_month_day(chrono::floor<chrono::days>(instant)).year();
  const chrono::sys_seconds begin = chrono::sys_days(year / chrono::March / chrono::Sunday[2]) + chrono::hours(7);
  const chrono::sys_seconds end = chrono::sys_days(year / chrono::November / chrono::Sunday[1]) + chrono::hours(6);
  return instant >= begin && instant < end ? summer_s : winter_s;
}

std::string local_date_time(std::int64_t utc_s) {
  constexpr std::int64_t far = std::int64_t{1} << 40;  // far beyond the years that have four digits
  if (utc_s > far || utc_s < -far || !is_four_digit_year(chrono::sys_seconds{chrono::seconds(utc_s)})) return "";
  const chrono::sys_seconds local{chrono::seconds(utc_s + local_offset_s(utc_s))};
  if (!is_four_digit_year(local)) return "";
  const chrono::sys_days day = chrono::floor<chrono::days>(local);
  const chrono::year_month_day date(day);
  const chrono::hh_mm_ss time(local - day);
  std::string text(14, '0');
  put_number(text, 0, 4, static_cast<unsigned>(int{date.year()}));
  put_number(text, 4, 2, unsigned{date.month()});
  put_number(text, 6, 2, unsigned{date.day()});
  put_number(text, 8, 2, static_cast<unsigned>(time.hours().count()));
  put_number(text, 10, 2, static_cast<unsigned>(time.minutes().count()));
  put_number(text, 12, 2, static_cast<unsigned>(time.seconds().count()));
  return text;
}

std::vector<std::int64_t> utc_of_local(std::string_view digits) {
  if (digits.size() != 14 || !all_digits(digits)) return {};
  const chrono::year_month_day date(chrono::year(number_at(digits, 0, 4)),
                                    chrono::month(static_cast<unsigned>(number_at(digits, 4, 2))),
                                    chrono::day(static_cast<unsigned>(number_at(digits, 6, 2))));
  const chrono::hours hour(number_at(digits, 8, 2));
  const chrono::minutes minute(number_at(digits, 10, 2));
  const chrono::seconds second(number_at(digits, 12, 2));
  if (!date.ok() || date.year() < chrono::year(1) || hour.count() > 23 || minute.count() > 59 || second.count() > 59) {
    return {};
  }
  const std::int64_t local_s =
      chrono::seconds(chrono::sys_days(date).time_since_epoch() + hour + minute + second).count();
  std::vector<std::int64_t> instants;
  for (const std::int64_t offset_s : {summer_s, winter_s}) {
    const std::int64_t utc_s = local_s - offset_s;
    if (local_offset_s(utc_s) == offset_s) instants.push_back(utc_s);
  }
  return instants;
}

bool is_one_instant(std::string_view digits) {
  return utc_of_local(digits).size() == 1;
}

}  // namespace vorbelctl
