// What is expected of a message by its record: cut, padded and clamped as the layouts demand, and by the clocks.
#include "vorbelctl/audit/expectation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "sample_run.h"

namespace vorbelctl {
namespace {

using sample::altered;
using vorbeld::Form;

constexpr std::int64_t noon_s = sample::noon_s;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// A line's record with the line that its texts stand in.
struct Recorded {
  std::string line;
  TruthRecord record;

  explicit Recorded(std::string text) : line(std::move(text)) { EXPECT_EQ(read_truth(line, record), "") << line; }
  Recorded(const Recorded&) = delete;
  Recorded& operator=(const Recorded&) = delete;
};

std::string line_of(std::uint64_t sequence) {
  return sample::run().truth.at(sequence - 1);
}

// What is expected of a field: "source value", or "anything".
std::string expected(const Expectation& expectation, FieldId id) {
  if (!expectation.known[id.id]) return "anything";
  for (const vorbeld::MessageField& field : expectation.message.row->fields) {
    if (field.id != id.id) continue;
    return std::string(source_name(expectation.sources[id.id])) + " " +
           cell_text(expectation.message.cells[id.id], field.form);
  }
  return "no such field";
}

std::string expected_by(const std::string& line, FieldId field) {
  const Recorded recorded(line);
  Expectation expectation;
  expect_records(expectation, recorded.record, nullptr);
  return expected(expectation, field);
}

TEST(CarriedPrice, IsNeverNegative) {
  EXPECT_EQ(carried_price(98.25), 98.25);
  EXPECT_EQ(carried_price(0), 0);
  EXPECT_EQ(carried_price(-98.25), 0);
  EXPECT_EQ(carried_price(nan), 0);
  EXPECT_EQ(carried_price(-std::numeric_limits<double>::infinity()), 0);
}

TEST(CarriedPrice, IsCutAtTheRightOfItsField) {
  EXPECT_EQ(carried_price(9999.999999), 9999.999999);
  EXPECT_EQ(carried_price(12345.6789012), 12345.67890);
  EXPECT_EQ(carried_price(1e9), 1e9);
  EXPECT_EQ(carried_price(12345678901.9), 12345678901.0);
  EXPECT_EQ(carried_price(123456789012.0), 12345678901.0);
  EXPECT_EQ(carried_price(9999.9999996), 10000.0) << "rounded first";
}

TEST(CarriedPrice, MayBeInfinite) {
  constexpr double infinite = std::numeric_limits<double>::infinity();
  EXPECT_EQ(carried_price(infinite), infinite);
}

TEST(Agreement, IsOfNumbersWithinTheTolerance) {
  const Cell price{{}, 98.25, true};
  EXPECT_TRUE(agrees(price, {{}, 98.2500004, true}, Form::price, price_tolerance));
  EXPECT_TRUE(agrees({{}, nan, true}, {{}, nan, true}, Form::quantity, price_tolerance));
  EXPECT_FALSE(agrees({{}, nan, true}, price, Form::quantity, price_tolerance));
  EXPECT_FALSE(agrees(price, {{}, 98.2500006, true}, Form::price, price_tolerance));
  EXPECT_FALSE(agrees({{}, nan, true}, price, Form::price, price_tolerance));
  EXPECT_FALSE(agrees(price, {{}, nan, true}, Form::price, price_tolerance));
}

TEST(Agreement, IsOfTextsByteByByte) {
  EXPECT_TRUE(agrees({"AAPL", 0, true}, {"AAPL", 1, true}, Form::text, 1));
  EXPECT_FALSE(agrees({"AAPL", 0, true}, {"AAPM", 0, true}, Form::text, 1));
  EXPECT_FALSE(agrees({"0000001", 1, true}, {"1", 1, true}, Form::digits, 1));
}

TEST(Agreement, OfNothingIsWithNothing) {
  EXPECT_TRUE(agrees({}, {}, Form::yield, price_tolerance));
  EXPECT_FALSE(agrees({}, {{}, 0, true}, Form::yield, price_tolerance));
  EXPECT_FALSE(agrees({{}, 0, true}, {}, Form::yield, price_tolerance));
}

TEST(Expectation, OfATradeIsItsRecord) {
  const std::string line = line_of(3);
  EXPECT_EQ(expected_by(line, "category"), "truth T");
  EXPECT_EQ(expected_by(line, "type"), "truth M");
  EXPECT_EQ(expected_by(line, "origin"), "rule O");
  EXPECT_EQ(expected_by(line, "trade_id"), "truth 0000002");
  EXPECT_EQ(expected_by(line, "symbol"), "truth AAPL 3.85 43");
  EXPECT_EQ(expected_by(line, "cusip"), "truth 037833DT4");
  EXPECT_EQ(expected_by(line, "sub_product"), "rule CORP");
  EXPECT_EQ(expected_by(line, "reversed_date"), "record -");
  EXPECT_EQ(expected_by(line, "quantity_indicator"), "truth E");
  EXPECT_EQ(expected_by(line, "quantity"), "truth 5000000.00");
  EXPECT_EQ(expected_by(line, "price"), "truth 101.500000");
  EXPECT_EQ(expected_by(line, "yield"), "truth -0.125000");
  EXPECT_EQ(expected_by(line, "remuneration"), "truth \" \"");
  EXPECT_EQ(expected_by(line, "special"), "truth \" \"");
  EXPECT_EQ(expected_by(line, "side"), "truth B");
  EXPECT_EQ(expected_by(line, "as_of"), "truth \" \"");
  EXPECT_EQ(expected_by(line, "executed_at"), "truth 20240701105959");
  EXPECT_EQ(expected_by(line, "sale_condition_3"), "truth Z");
  EXPECT_EQ(expected_by(line, "sale_condition_4"), "truth \" \"");
  EXPECT_EQ(expected_by(line, "settlement"), "truth 20240702");
  EXPECT_EQ(expected_by(line, "second_modifier"), "truth \" \"");
  EXPECT_EQ(expected_by(line, "reporting_party"), "truth T");
  EXPECT_EQ(expected_by(line, "contra_party"), "truth D");
  EXPECT_EQ(expected_by(line, "ats"), "truth Y");
  EXPECT_EQ(expected_by(line, "change"), "truth 4");
  EXPECT_EQ(expected_by(line, "short_name"), "anything") << "no record tells it";
  EXPECT_EQ(expected_by(line, "sent_at"), "anything");
  EXPECT_EQ(expected_by(line, "reserved"), "anything");
}

TEST(Expectation, LeavesNoTermOfATradeOut) {
  const Recorded recorded(line_of(3));
  Expectation expectation;
  expect_records(expectation, recorded.record, nullptr);
  for (const vorbeld::MessageField& field : expectation.message.row->fields) {
    if (field.group != vorbeld::Group::terms || field.form == Form::blank) continue;
    EXPECT_TRUE(expectation.known[field.id]) << field.name;
  }
}

TEST(Expectation, CutsWhatHasNoRoom) {
  const std::string line = line_of(2);
  EXPECT_EQ(expected_by(altered(line, "AAPL 3.85 43", "a symbol of more characters"), "symbol"),
            "truth a symbol of mo");
  EXPECT_EQ(expected_by(altered(line, "037833DT4", "0378331234567"), "cusip"), "truth 037833123");
  EXPECT_EQ(expected_by(altered(line, "0000001", "12345678"), "trade_id"), "truth 2345678");
  EXPECT_EQ(expected_by(altered(line, "\"price\":98.250000", "\"price\":12345.678901"), "price"), "truth 12345.678900");
  EXPECT_EQ(expected_by(altered(line, "\"price\":98.250000", "\"price\":-5.000000"), "price"), "truth 0.000000");
  EXPECT_EQ(expected_by(altered(line, "\"qty\":100000.00", "\"qty\":123456789012.34"), "quantity"),
            "truth 123456789012.30")
      << "fourteen characters";
  EXPECT_EQ(expected_by(altered(line, "3.918575", "12345678.654321"), "yield"), "truth 12345678.654300");
}

TEST(Expectation, TakesBlanksBehindATextAway) {
  EXPECT_EQ(expected_by(altered(line_of(2), "AAPL 3.85 43", "AAPL  "), "symbol"), "truth AAPL");
  EXPECT_EQ(expected_by(altered(line_of(2), "AAPL 3.85 43", "A            B"), "symbol"), "truth A            B");
}

TEST(Expectation, UnescapesTheSymbol) {
  EXPECT_EQ(expected_by(altered(line_of(2), "AAPL 3.85 43", R"(\"\\)"), "symbol"), "truth \"\\");
}

TEST(Expectation, OfACancelTakesTheBondAndTheTermsOfTheOriginal) {
  const Recorded cancel(line_of(4));
  const Recorded original(line_of(2));
  Expectation expectation;
  expect_records(expectation, cancel.record, &original.record);
  EXPECT_EQ(expected(expectation, "trade_id"), "rule -");
  EXPECT_EQ(expected(expectation, "cusip"), "truth 037833DT4");
  EXPECT_EQ(expected(expectation, "original_id"), "truth 0000001");
  EXPECT_EQ(expected(expectation, "function"), "truth C");
  EXPECT_EQ(expected(expectation, "original_price"), "truth 98.250000");
  EXPECT_EQ(expected(expectation, "original_side"), "truth S");
  EXPECT_EQ(expected(expectation, "change"), "truth 3");
  EXPECT_EQ(expected(expectation, "high"), "anything") << "the record of a cancel has no day";
  EXPECT_EQ(expected(expectation, "original_date"), "anything");
}

TEST(Expectation, OfACorrectionHasBothTermsAndTheDay) {
  const Recorded correction(line_of(5));
  const Recorded original(line_of(3));
  Expectation expectation;
  expect_records(expectation, correction.record, &original.record);
  EXPECT_EQ(expected(expectation, "trade_id"), "truth 0000003");
  EXPECT_EQ(expected(expectation, "price"), "truth 98.250000");
  EXPECT_EQ(expected(expectation, "original_price"), "truth 101.500000");
  EXPECT_EQ(expected(expectation, "function"), "truth N");
  EXPECT_EQ(expected(expectation, "high"), "truth 98.250000");
  EXPECT_EQ(expected(expectation, "low"), "truth 98.250000");
  EXPECT_EQ(expected(expectation, "last"), "truth 98.250000");
  EXPECT_EQ(expected(expectation, "high_yield"), "anything");
}

TEST(Expectation, OfAHaltASummaryAndAControlMessageIsItsRecord) {
  EXPECT_EQ(expected_by(line_of(6), "action"), "truth H");
  EXPECT_EQ(expected_by(line_of(6), "action_at"), "truth 20240701120003");
  EXPECT_EQ(expected_by(line_of(6), "sent_at"), "truth 20240701120003") << "the same instant";
  EXPECT_EQ(expected_by(line_of(6), "reason"), "truth T.1");
  EXPECT_EQ(expected_by(altered(line_of(6), "T.1", "LUDP-X"), "reason"), "truth LUDP");
  EXPECT_EQ(expected_by(line_of(7), "high"), "truth 98.250000");
  EXPECT_EQ(expected_by(altered(line_of(7), "\"low\":98", "\"low\":-98"), "low"), "truth 0.000000");
  EXPECT_EQ(expected_by(line_of(7), "close"), "truth 98.250000");
  EXPECT_EQ(expected_by(line_of(8), "type"), "truth C");
  EXPECT_EQ(expected_by(line_of(8), "trade_id"), "rule -");
}

// What is expected of sent_at in a control message sent within the window, and the second it is believed to be of.
std::string sent_at(std::string_view said, SendWindow window, std::int64_t* sent_s = nullptr) {
  const Recorded recorded(line_of(1));
  Expectation expectation;
  expect_records(expectation, recorded.record, nullptr);
  const std::int64_t believed = expect_sent_at(expectation, said, window);
  if (sent_s != nullptr) *sent_s = believed;
  return expected(expectation, "sent_at");
}

TEST(SentAt, MayBeAnywhereInItsWindow) {
  std::int64_t sent_s = 0;
  EXPECT_EQ(sent_at("20240701120000", {noon_s, noon_s}, &sent_s), "order 20240701120000");
  EXPECT_EQ(sent_s, noon_s);
  EXPECT_EQ(sent_at("20240701120003", {noon_s, noon_s + 3}, &sent_s), "order 20240701120003");
  EXPECT_EQ(sent_s, noon_s + 3);
}

TEST(SentAt, BesideItsWindowIsExpectedSoonAfterTheMessageBefore) {
  EXPECT_EQ(sent_at("20240701120004", {noon_s, noon_s + 3}), "order 20240701120001");
  EXPECT_EQ(sent_at("20240701115959", {noon_s, noon_s + 3}), "order 20240701120001");
  EXPECT_EQ(sent_at("20240701115959", {noon_s, noon_s}), "order 20240701120000");
  EXPECT_EQ(sent_at("20240701130002", {noon_s, noon_s + 3, noon_s + 2}), "order 20240701120002") << "it is known";
  EXPECT_EQ(sent_at("20240701120005", {noon_s, noon_s + 3, noon_s + 5}), "order 20240701120003") << "but in the window";
  EXPECT_EQ(sent_at("20240230120000", {noon_s, noon_s + 3}), "order 20240701120001") << "no such day";
}

TEST(SentAt, BeforeItsWindowIsBelievedForTheNextMessage) {
  std::int64_t sent_s = 0;
  sent_at("20240701115959", {noon_s, noon_s + 3}, &sent_s);
  EXPECT_EQ(sent_s, noon_s - 1);
  sent_at("20240701120004", {noon_s, noon_s + 3}, &sent_s);
  EXPECT_EQ(sent_s, 0);
}

TEST(SentAt, InTheHourThatIsRepeatedIsTheInstantThatFits) {
  constexpr std::int64_t winter_s = 1730613600;  // 3 November 2024 01:00:00, standard time
  std::int64_t sent_s = 0;
  sent_at("20241103013000", {winter_s - 3600, winter_s - 1}, &sent_s);
  EXPECT_EQ(sent_s, winter_s - 1800);
  sent_at("20241103013000", {winter_s, winter_s + 3600}, &sent_s);
  EXPECT_EQ(sent_s, winter_s + 1800);
}

TEST(SentAt, OfAHaltIsThatOfItsAction) {
  const Recorded recorded(line_of(6));
  Expectation expectation;
  expect_records(expectation, recorded.record, nullptr);
  EXPECT_EQ(expect_sent_at(expectation, "20240701120001", {noon_s, noon_s + 3}), noon_s + 1);
  EXPECT_EQ(expected(expectation, "sent_at"), "truth 20240701120003");
}

std::string reversed_date(const char* as_of, std::optional<std::string_view> said, std::int64_t sent_s) {
  const Recorded recorded(altered(line_of(2), "\"as_of\":\" \"", std::string("\"as_of\":\"") + as_of + "\""));
  Expectation expectation;
  expect_records(expectation, recorded.record, nullptr);
  expect_reversed_date(expectation, said, sent_s);
  return expected(expectation, "reversed_date");
}

TEST(ReversedDate, IsTwoDaysBack) {
  EXPECT_EQ(reversed_date("R", "20240629", noon_s), "rule 20240629");
  EXPECT_EQ(reversed_date("R", "20240628", noon_s), "rule 20240629");
  EXPECT_EQ(reversed_date("R", "", noon_s), "rule 20240629");
}

TEST(ReversedDate, MayBeOfTheSecondBeforeTheMessage) {
  constexpr std::int64_t midnight_s = noon_s - 12 * 3600;
  EXPECT_EQ(reversed_date("R", "20240629", midnight_s), "rule 20240629");
  EXPECT_EQ(reversed_date("R", "20240628", midnight_s), "rule 20240628");
  EXPECT_EQ(reversed_date("R", "20240628", midnight_s + 1), "rule 20240629");
}

TEST(ReversedDate, IsBelievedWhereNoTimeIsKnown) {
  EXPECT_EQ(reversed_date("R", "20240101", 0), "rule 20240101");
}

TEST(ReversedDate, IsBlankInOtherTrades) {
  EXPECT_EQ(reversed_date(" ", "20240629", noon_s), "record -");
  EXPECT_EQ(reversed_date("A", "20240629", noon_s), "record -");
}

// What is expected of a halt's names when it says these.
std::string names(BondNames& known, std::optional<std::string_view> short_name,
                  std::optional<std::string_view> description) {
  const Recorded recorded(line_of(6));
  Expectation expectation;
  expect_records(expectation, recorded.record, nullptr);
  expect_names(expectation, known, short_name, description);
  return expected(expectation, "short_name") + ", " + expected(expectation, "description");
}

TEST(Names, AreThoseThatWereToldFirst) {
  BondNames known;
  EXPECT_EQ(names(known, "AAPL", "AAPL 3.85 05/04/43"), "earlier messages AAPL, earlier messages AAPL 3.85 05/04/43");
  EXPECT_EQ(names(known, "AAPM", "AAPL 3.86 05/04/43"), "earlier messages AAPL, earlier messages AAPL 3.85 05/04/43");
}

TEST(Names, MayBeThoseOfABondThatAReportBroughtIntoBeing) {
  BondNames known;
  EXPECT_EQ(names(known, "AAPL 3.85 43", "AAPL 3.85 43"),
            "earlier messages AAPL 3.85 43, earlier messages AAPL 3.85 43");
}

TEST(Names, AreNotBelievedWhenTheyDoNotBelongTogether) {
  BondNames known;
  EXPECT_EQ(names(known, "AAPL", "FORD 4.35 05/04/43"), "earlier messages AAPL, earlier messages AAPL ...");
  EXPECT_FALSE(known.description);
}

TEST(Names, AreNotExpectedBeforeTheyAreTold) {
  BondNames known;
  EXPECT_EQ(names(known, std::nullopt, std::nullopt), "anything, anything");
}

}  // namespace
}  // namespace vorbelctl
