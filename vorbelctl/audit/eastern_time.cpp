#include "vorbelctl/audit/eastern_time.h"

#include <array>
#include <chrono>
#include <initializer_list>

namespace vorbelctl {
namespace {

namespace chrono = std::chrono;

constexpr std::int64_t summer_s = -14400;
constexpr std::int64_t winter_s = -18000;

bool is_four_digit_year(chrono::sys_seconds instant) {
  constexpr chrono::sys_days begin = chrono::year(1) / chrono::January / 1;
  constexpr chrono::sys_days end = chrono::year(10000) / chrono::January / 1;
  return instant >= begin && instant < end;
}

// The fourteen digits two by two; false where one of them is none.
bool read_pairs(std::string_view digits, std::array<int, 7>& pairs) {
  bool all_digits = true;
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    const int tens = digits[2 * i] - '0';
    const int ones = digits[2 * i + 1] - '0';
    all_digits = all_digits && tens >= 0 && tens <= 9 && ones >= 0 && ones <= 9;
    pairs[i] = 10 * tens + ones;
  }
  return all_digits;
}

void put_number(std::string& text, std::size_t at, std::size_t width, unsigned number) {
  for (std::size_t place = at + width; place-- > at; number /= 10) text[place] = static_cast<char>('0' + number % 10);
}

}  // namespace

std::int64_t local_offset_s(std::int64_t utc_s) {
  const chrono::sys_seconds instant{chrono::seconds(utc_s)};
  const chrono::year_month_day date(chrono::floor<chrono::days>(instant));
  if (date.month() == chrono::March) {
    const chrono::sys_days begin(date.year() / chrono::March / chrono::Sunday[2]);
    return instant >= begin + chrono::hours(7) ? summer_s : winter_s;
  }
  if (date.month() == chrono::November) {
    const chrono::sys_days end(date.year() / chrono::November / chrono::Sunday[1]);
    return instant < end + chrono::hours(6) ? summer_s : winter_s;
  }
  return date.month() > chrono::March && date.month() < chrono::November ? summer_s : winter_s;
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

Instants utc_of_local(std::string_view digits) {
  std::array<int, 7> pairs{};
  if (digits.size() != 2 * pairs.size() || !read_pairs(digits, pairs)) return {};
  const chrono::year_month_day date(chrono::year(100 * pairs[0] + pairs[1]),
                                    chrono::month(static_cast<unsigned>(pairs[2])),
                                    chrono::day(static_cast<unsigned>(pairs[3])));
  const chrono::hours hour(pairs[4]);
  const chrono::minutes minute(pairs[5]);
  const chrono::seconds second(pairs[6]);
  if (!date.ok() || date.year() < chrono::year(1) || hour.count() > 23 || minute.count() > 59 || second.count() > 59) {
    return {};
  }
  const std::int64_t local_s =
      chrono::seconds(chrono::sys_days(date).time_since_epoch() + hour + minute + second).count();
  Instants instants;
  for (const std::int64_t offset_s : {summer_s, winter_s}) {
    const std::int64_t utc_s = local_s - offset_s;
    if (local_offset_s(utc_s) == offset_s) instants.all[instants.count++] = utc_s;
  }
  return instants;
}

bool is_one_instant(std::string_view digits) {
  return utc_of_local(digits).size() == 1;
}

}  // namespace vorbelctl
