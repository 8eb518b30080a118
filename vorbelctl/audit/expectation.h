// What a message must say, field by field, and which source says so: its truth record, cut, padded and clamped as the
// layouts demand; the record of the trade that it amends; what messages before said of the same bond; the clocks.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "vorbelctl/audit/discrepancy.h"
#include "vorbelctl/audit/record.h"
#include "vorbelctl/handler/message.h"

namespace vorbelctl {

// Not to be copied: some of the message's texts stand in `scratch`, the others in the records.
struct Expectation {
  Expectation() = default;
  Expectation(const Expectation&) = delete;
  Expectation& operator=(const Expectation&) = delete;

  Message message;
  std::array<Source, vorbeld::field_names.size()> sources{};
  std::array<bool, vorbeld::field_names.size()> known{};         // false: whatever is received is accepted
  std::array<double, vorbeld::field_names.size()> tolerances{};  // of numbers
  std::array<std::string, 5> scratch;  // symbol, sent_at, original_date, reversed_date, description
};

// Half a unit of the last decimal of prices and yields.
inline constexpr double price_tolerance = 0.5e-6;

// What the messages of one bond have said of it so far.
struct BondNames {
  std::optional<std::string> short_name;
  std::optional<std::string> description;
};

// When a message may have been sent, in UTC seconds; both ends belong to it.
struct SendWindow {
  std::int64_t earliest_s = 0;
  std::int64_t latest_s = 0;
  std::int64_t likely_s = 0;  // when it was sent, as far as others tell; 0: nobody does
};

// Sets one field of the expectation; the text must outlive it.
void expect_text(Expectation& expectation, FieldId field, Source source, std::string_view text);
void expect_number(Expectation& expectation, FieldId field, Source source, double number, double tolerance);
void expect_nothing(Expectation& expectation, FieldId field, Source source);  // a blank

// Everything that the records tell. `original` is that of the trade that a cancel or correction amends.
void expect_records(Expectation& expectation, const TruthRecord& record, const TruthRecord* original);

// The trade that a cancel or correction amends is this one, whatever was said of its id.
void expect_amended(Expectation& expectation, const TruthRecord& original);

// The terms of the original trade alone.
void expect_original_terms(Expectation& expectation, const TruthRecord& original);

// The bond's short name and description. They are remembered from the first message that tells them believably;
// `short_name` and `description`: what this one says, if anything.
void expect_names(Expectation& expectation, BondNames& names, std::optional<std::string_view> short_name,
                  std::optional<std::string_view> description);

// The time of sending, which must lie in the window, and from which a reversed trade's date follows. `said` is what the
// message says. Returns the UTC second that it is believed to have been sent at; 0: not known.
std::int64_t expect_sent_at(Expectation& expectation, std::string_view said, const SendWindow& window);

// The date of a reversed trade, which is two days old.
void expect_reversed_date(Expectation& expectation, std::optional<std::string_view> said, std::int64_t sent_s);

// A price as a message carries it: never negative, NaN as zero, wider numbers cut at the right.
double carried_price(double price);

// True when the received cell says what the expected one does.
bool agrees(const Cell& expected, const Cell& received, vorbeld::Form form, double tolerance);

}  // namespace vorbelctl
