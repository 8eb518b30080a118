// Small pieces of text for the page: escaped words, times of the day, positions, and the round numbers of axes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorbelctl::page {

// `text` with what has a meaning in HTML escaped; control characters and bytes beyond ASCII are shown as \xNN.
std::string escaped(std::string_view text);

// "14:05:09", feed local time, of a UTC time; "" outside the years 1 to 9999.
std::string time_of_day(std::int64_t utc_ms);

// The same with milliseconds: "14:05:09.123"; of times from 1970 on.
std::string moment_of_day(std::int64_t utc_ms);

// "Monday"-less date and time: "2024-07-01 14:05:09", feed local time.
std::string date_and_time(std::int64_t utc_ms);

// `value` of `whole` as a position: "12.34%". Nothing lies outside 0 to 100 %.
std::string percent(double value, double whole);

// With so many decimals, as printf writes it.
std::string fixed(double value, int decimals);

// With one digit before the point and so many behind it: "1.25e26".
std::string with_exponent(double value, int decimals);

// "340 ms", "2.1 s", "4 min 10 s"
std::string duration(std::uint64_t ms);

// The smallest of 1, 2 or 5 times a power of ten that cuts `span` into at most `most` pieces. `span` is positive.
double round_step(double span, int most);

// Where an axis from `low` to `high` has its labels: multiples of a round step, at most `most` and one.
std::vector<double> axis_labels(double low, double high, int most);

// The same for times in UTC ms: full seconds, minutes or hours of the feed's local time.
std::vector<std::int64_t> time_labels(std::int64_t begin_ms, std::int64_t end_ms, int most);

}  // namespace vorbelctl::page
