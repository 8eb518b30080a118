// Feed local time: United States Eastern time, in which every date and time of a message is written. Calendar
// arithmetic on UTC only; no time-zone database, so the bytes are the same on every machine.
#pragma once

#include <cstdint>
#include <span>

namespace vorbeld {

// Seconds to add to the UTC instant `utc_s`: -14400 from the second Sunday of March 07:00 UTC to the first Sunday of
// November 06:00 UTC (02:00 local on both days), -18000 otherwise.
std::int64_t local_offset(std::int64_t utc_s);

// Writes the local date of `utc_s` as YYYYMMDD into 8 bytes. A year wider than four digits shifts what follows it and
// the text is cut at the field's end.
void put_date(std::span<char, 8> out, std::int64_t utc_s);

// Writes the local date and time of `utc_s` as YYYYMMDDhhmmss into 14 bytes; cut like the date.
void put_date_time(std::span<char, 14> out, std::int64_t utc_s);

}  // namespace vorbeld
