// Feed local time, United States Eastern, worked out from its rule and independently of the publisher: an audit that
// asked the publisher's own code could not see its mistakes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vorbelctl {

// UTC instants in seconds, ascending; two at most.
struct Instants {
  std::array<std::int64_t, 2> all{};
  std::size_t count = 0;

  [[nodiscard]] const std::int64_t* begin() const { return all.data(); }
  [[nodiscard]] const std::int64_t* end() const { return all.data() + count; }
  [[nodiscard]] std::size_t size() const { return count; }
  [[nodiscard]] bool empty() const { return count == 0; }
  [[nodiscard]] std::int64_t front() const { return all[0]; }
};

// Seconds to add to the UTC instant `utc_s`: -14400 in summer, -18000 otherwise. Years 1 to 9999.
std::int64_t local_offset_s(std::int64_t utc_s);

// YYYYMMDDhhmmss of the instant in feed local time; its first eight characters are the date. Empty outside the years 1
// to 9999.
std::string local_date_time(std::int64_t utc_s);

// The UTC instants that fourteen digits of local time may mean, ascending: normally one, two in the hour that autumn
// repeats, none in the hour that spring leaves out or when the digits are no date and time.
Instants utc_of_local(std::string_view digits);

// True when fourteen digits of local time mean exactly one instant.
bool is_one_instant(std::string_view digits);

}  // namespace vorbelctl
