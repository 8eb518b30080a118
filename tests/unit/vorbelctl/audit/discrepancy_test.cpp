// How an audit keeps what it finds wrong, and how it shows both sides.
#include "vorbelctl/audit/discrepancy.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>

namespace vorbelctl {
namespace {

using vorbeld::Form;

Cause note_one(Discrepancies& discrepancies, std::uint64_t sequence, const std::string& field) {
  return note(discrepancies, {sequence, field, Source::truth, "A", Source::message, "B"});
}

TEST(Discrepancies, AreNoneAtFirst) {
  const Discrepancies discrepancies;
  EXPECT_EQ(discrepancies.total, 0U);
  EXPECT_FALSE(discrepancies.first);
}

TEST(Discrepancies, KeepBothSides) {
  Discrepancies discrepancies;
  note(discrepancies, {5, "as_of", Source::truth, "R", Source::recording, "A"});
  ASSERT_EQ(discrepancies.listed.size(), 1U);
  const Discrepancy& only = discrepancies.listed[0];
  EXPECT_EQ(only.sequence, 5U);
  EXPECT_EQ(only.field, "as_of");
  EXPECT_EQ(only.source, Source::truth);
  EXPECT_EQ(only.expected, "R");
  EXPECT_EQ(only.place, Source::recording);
  EXPECT_EQ(only.received, "A");
  EXPECT_EQ(only.follow_ups, 0U);
}

TEST(Discrepancies, NameTheLowestSequenceNumberAndTheFieldFoundFirst) {
  Discrepancies discrepancies;
  note_one(discrepancies, 9, "price");
  note_one(discrepancies, 4, "side");
  note_one(discrepancies, 4, "quantity");
  EXPECT_EQ(discrepancies.first->sequence, 4U);
  EXPECT_EQ(discrepancies.first->field, "side");
}

TEST(Discrepancies, AreCountedBeyondThoseThatAreListed) {
  Discrepancies discrepancies;
  for (std::uint64_t sequence = 2000; sequence > 0; --sequence) note_one(discrepancies, sequence, "side");
  EXPECT_EQ(discrepancies.total, 2000U);
  EXPECT_EQ(discrepancies.listed.size(), most_discrepancies_listed);
  EXPECT_EQ(discrepancies.first->sequence, 1U);
}

TEST(Discrepancies, CountWhatFollowsFromThem) {
  Discrepancies discrepancies;
  note_one(discrepancies, 1, "price");
  const Cause second = note_one(discrepancies, 2, "change");
  note_follow_up(discrepancies, second);
  note_follow_up(discrepancies, second);
  EXPECT_EQ(discrepancies.total, 2U);
  EXPECT_EQ(discrepancies.follow_ups, 2U);
  EXPECT_EQ(discrepancies.listed[0].follow_ups, 0U);
  EXPECT_EQ(discrepancies.listed[1].follow_ups, 2U);
}

TEST(Discrepancies, CountWhatFollowsFromOneThatIsNotListed) {
  Discrepancies discrepancies;
  Cause last;
  for (std::size_t i = 0; i <= most_discrepancies_listed; ++i) last = note_one(discrepancies, i + 1, "side");
  note_follow_up(discrepancies, last);
  note_follow_up(discrepancies, Cause{});
  EXPECT_EQ(discrepancies.follow_ups, 2U);
  for (const Discrepancy& each : discrepancies.listed) EXPECT_EQ(each.follow_ups, 0U);
}

TEST(Source, HasANameOfItsOwn) {
  std::set<std::string_view> names;
  for (const Source source : {Source::message, Source::truth, Source::tape, Source::recording, Source::book,
                              Source::order, Source::earlier, Source::record, Source::rule}) {
    EXPECT_TRUE(names.insert(source_name(source)).second);
  }
  EXPECT_EQ(names, (std::set<std::string_view>{"message", "truth", "tape", "recording", "book", "order",
                                               "earlier messages", "record", "rule"}));
}

TEST(CellText, HasTheDecimalsOfItsForm) {
  EXPECT_EQ(cell_text({{}, 98.25, true}, Form::price), "98.250000");
  EXPECT_EQ(cell_text({{}, -0.125, true}, Form::yield), "-0.125000");
  EXPECT_EQ(cell_text({{}, 5e6, true}, Form::quantity), "5000000.00");
  EXPECT_EQ(cell_text({{}, std::numeric_limits<double>::quiet_NaN(), true}, Form::price), "nan");
  EXPECT_EQ(cell_text({"0000042", 0, true}, Form::optional_digits), "0000042");
  EXPECT_EQ(cell_text({"AAPL", 0, true}, Form::text), "AAPL");
}

TEST(CellText, OfNothingIsADash) {
  EXPECT_EQ(cell_text({}, Form::yield), "-");
  EXPECT_EQ(cell_text({}, Form::text), "-");
}

TEST(ShownText, MakesBlanksSeen) {
  EXPECT_EQ(shown(" "), "\" \"");
  EXPECT_EQ(shown(""), "\"\"");
  EXPECT_EQ(shown(" R"), " R");
}

TEST(ShownText, CutsWhatIsTooLong) {
  EXPECT_EQ(shown(std::string(120, 'x')), std::string(120, 'x'));
  EXPECT_EQ(shown(std::string(121, 'x')), std::string(120, 'x') + "...");
}

TEST(ShownText, SteersNoTerminal) {
  EXPECT_EQ(shown("\x1b[2J"), "\\x1b[2J");
}

}  // namespace
}  // namespace vorbelctl
