// The verdict for people and the one for harnesses, of outcomes made up here.
#include "vorbelctl/audit/outcome.h"

#include <gtest/gtest.h>

#include <memory>

namespace vorbelctl {
namespace {

// A live audit of 1234 messages in which all is right.
std::unique_ptr<Outcome> equal_outcome() {
  auto outcome = std::make_unique<Outcome>();
  outcome->where = "233.252.0.3:28977";
  outcome->session = "BTDS000001";
  outcome->truth = "truth.jsonl";
  outcome->tape = "tape.jsonl";
  outcome->ended_by = "end of session";
  outcome->lasted_ms = 12345;
  Audit& audit = outcome->audit;
  audit.from = 1;
  audit.joined = 1;
  audit.last = 1234;
  audit.counts.messages = 1234;
  audit.counts.kinds = {1200, 20, 10, 1, 1, 2};
  return outcome;
}

Discrepancy price_discrepancy(std::uint64_t sequence, std::uint64_t follow_ups = 0) {
  return {sequence, "price", Source::truth, "98.250000", Source::message, "98.260000", follow_ups};
}

void add_discrepancy(Outcome& outcome, std::uint64_t sequence) {
  note(outcome.audit.reconciliation.discrepancies, price_discrepancy(sequence));
}

void lose(Outcome& outcome, std::uint64_t first, std::uint64_t last) {
  outcome.audit.counts.missing += last - first + 1;
  outcome.audit.missing.push_back({first, last});
}

bool holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(Verdict, IsEqualWhenNothingIsWrong) {
  const auto outcome = equal_outcome();
  EXPECT_TRUE(is_equal(*outcome));
  EXPECT_EQ(verdict_word(*outcome), "equal");
  EXPECT_EQ(verdict_sentence(*outcome), "1,234 messages equal to their truth records and the tape");
  EXPECT_FALSE(first_wrong(*outcome));
}

TEST(Verdict, SaysNothingOfATapeThatWasNotThere) {
  const auto outcome = equal_outcome();
  outcome->tape = "";
  EXPECT_EQ(verdict_sentence(*outcome), "1,234 messages equal to their truth records");
}

TEST(Verdict, IsLostWhenMessagesAreMissing) {
  const auto outcome = equal_outcome();
  lose(*outcome, 7, 9);
  outcome->audit.counts.recovered = 4;
  EXPECT_FALSE(is_equal(*outcome));
  EXPECT_EQ(verdict_word(*outcome), "lost");
  EXPECT_EQ(verdict_sentence(*outcome), "3 messages missing, the first #7");
  EXPECT_EQ(missing_in_all(*outcome), 3U);
  EXPECT_EQ(lost_on_wire(*outcome), 7U);
  ASSERT_TRUE(first_wrong(*outcome));
  EXPECT_EQ(first_wrong(*outcome)->sequence, 7U);
}

TEST(Verdict, SaysWhatWasLostHereAndNotOnTheWire) {
  const auto outcome = equal_outcome();
  outcome->totals.dropped_here = 12;
  outcome->feed_buffer = 8 << 20;
  EXPECT_EQ(verdict_word(*outcome), "equal");  // what was dropped was nothing of this session
  outcome->audit.counts.recovered = 12;
  EXPECT_EQ(verdict_word(*outcome), "could not keep up");
  EXPECT_TRUE(verdict_sentence(*outcome).starts_with(
      "could not keep up: 12 packets found no room in the receive buffer of 8,192 KB; "));
  EXPECT_EQ(verdict_text(*outcome).find("lost on the wire"), std::string::npos);
  lose(*outcome, 7, 9);
  EXPECT_EQ(verdict_word(*outcome), "could not keep up");
  outcome->audit.reconciliation.discrepancies.total = 1;
  EXPECT_FALSE(could_not_keep_up(*outcome));
}

TEST(Verdict, IsLostTooWhenWhatWasSentBeforeDidNotCome) {
  const auto outcome = equal_outcome();
  outcome->audit.counts.unfetchable = 1;
  outcome->audit.missing.push_back({1, 1});
  EXPECT_EQ(verdict_word(*outcome), "lost");
  EXPECT_EQ(verdict_sentence(*outcome), "1 message missing, the first #1");
  EXPECT_EQ(lost_on_wire(*outcome), 0U);
}

TEST(Verdict, IsDifferentWhenAnythingDiffers) {
  const auto outcome = equal_outcome();
  add_discrepancy(*outcome, 42);
  EXPECT_FALSE(is_equal(*outcome));
  EXPECT_EQ(verdict_word(*outcome), "different");
  EXPECT_EQ(verdict_sentence(*outcome), "1 discrepancy in 1,234 messages; first wrong: #42 price");
  add_discrepancy(*outcome, 41);
  lose(*outcome, 50, 50);
  EXPECT_EQ(verdict_sentence(*outcome), "2 discrepancies in 1,234 messages, 1 message missing; first wrong: #41 price");
}

TEST(Verdict, NamesWhatIsMissingFirstWhereThatIsFirst) {
  const auto outcome = equal_outcome();
  add_discrepancy(*outcome, 42);
  lose(*outcome, 7, 9);
  EXPECT_EQ(first_wrong(*outcome)->sequence, 7U);
  EXPECT_TRUE(holds(verdict_sentence(*outcome), "first wrong: #7 ")) << verdict_sentence(*outcome);
}

TEST(Discrepancies, AreListedByNumberAndThenAsTheyWereNoted) {
  const auto outcome = equal_outcome();
  Discrepancies& discrepancies = outcome->audit.reconciliation.discrepancies;
  for (const std::uint64_t sequence : {9U, 4U, 9U, 1U}) note(discrepancies, price_discrepancy(sequence));
  discrepancies.listed[2].field = "side";
  std::string order;
  for (const Discrepancy* const each : in_order(discrepancies)) {
    order += std::to_string(each->sequence) + each->field + " ";
  }
  EXPECT_EQ(order, "1price 4price 9price 9side ");
}

TEST(Origin, HasAName) {
  EXPECT_EQ(origin_name(Origin::feed), "feed");
  EXPECT_EQ(origin_name(Origin::retransmission), "retransmission");
  EXPECT_EQ(origin_name(Origin::pcap), "pcap");
  EXPECT_EQ(origin_name(Origin::recording), "recording");
}

TEST(VerdictText, IsATableOfFigures) {
  const auto outcome = equal_outcome();
  outcome->totals.heartbeats = 5;
  EXPECT_EQ(
      verdict_text(*outcome),
      "equal: 1,234 messages equal to their truth records and the tape\n"
      "\n"
      "  messages                 1,234   #1 to #1234\n"
      "                                   1,200 trades, 20 cancels, 10 corrections, 1 halt, 1 summary, 2 controls\n"
      "  lost on the wire             0   0 recovered, 0 missing; longest gap 0 ms\n"
      "  duplicates                   0\n"
      "  out of order                 0\n"
      "  heartbeats                   5\n"
      "  compared                     0   fields of messages; 0 states of a bond's day\n"
      "  discrepancies                0\n"
      "\n"
      "situations met: 0 of 53\n");
}

TEST(VerdictText, ShowsWhatIsMissingAndWhatDiffers) {
  const auto outcome = equal_outcome();
  lose(*outcome, 7, 9);
  Discrepancies& discrepancies = outcome->audit.reconciliation.discrepancies;
  const Cause cause = note(discrepancies, price_discrepancy(42));
  note_follow_up(discrepancies, cause);
  note(discrepancies, {43, "original_id", Source::earlier, "0000001", Source::recording, "-", 0});
  const std::string text = verdict_text(*outcome);
  EXPECT_TRUE(holds(text, "  discrepancies                2   1 more follow from them\n")) << text;
  EXPECT_TRUE(holds(text, "7 to 9")) << text;
  EXPECT_TRUE(holds(text,
                    "#42      price        truth 98.250000           message 98.260000  (1 more follow from it)\n"
                    "#43      original_id  earlier messages 0000001  recording -\n"))
      << text;
}

TEST(VerdictText, IsCutAtTwentyDiscrepancies) {
  const auto outcome = equal_outcome();
  for (std::uint64_t i = 1; i <= 1500; ++i) add_discrepancy(*outcome, i);
  const std::string text = verdict_text(*outcome);
  EXPECT_TRUE(holds(text, "#20 "));
  EXPECT_FALSE(holds(text, "#21 "));
  EXPECT_TRUE(holds(text, "... and 1,480 more\n"));
}

TEST(VerdictText, ShowsFewOfAFieldThatWouldHideTheOthers) {
  const auto outcome = equal_outcome();
  for (std::uint64_t i = 1; i <= 1500; ++i) add_discrepancy(*outcome, i % 999 + 1);
  note(outcome->audit.reconciliation.discrepancies, {900, "side", Source::truth, "B", Source::message, "S", 0});
  EXPECT_FALSE(holds(verdict_text(*outcome), "#900 ")) << "it is not listed";
  auto& listed = outcome->audit.reconciliation.discrepancies.listed;
  listed[500] = {900, "side", Source::truth, "B", Source::message, "S", 0};
  const std::string text = verdict_text(*outcome);
  EXPECT_TRUE(holds(text, "#4 ")) << text;
  EXPECT_FALSE(holds(text, "#5 ")) << text;
  EXPECT_TRUE(holds(text, "#900     side ")) << text;
}

TEST(VerdictText, TellsOfPacketsThatWereNotPartOfTheFeed) {
  const auto outcome = equal_outcome();
  outcome->totals.malformed = 3;
  outcome->totals.foreign = 4;
  outcome->audit.counts.malformed = 5;
  const std::string text = verdict_text(*outcome);
  EXPECT_TRUE(holds(text, "  malformed packets            3\n")) << text;
  EXPECT_TRUE(holds(text, "  foreign packets              4   of other sessions, ignored\n")) << text;
  EXPECT_TRUE(holds(text, "  malformed messages           5\n")) << text;
}

TEST(VerdictText, TellsWhatWasFetched) {
  const auto outcome = equal_outcome();
  outcome->audit.counts.fetched = 10;
  outcome->audit.counts.unfetchable = 2;
  outcome->audit.missing.push_back({1, 2});
  EXPECT_TRUE(holds(verdict_text(*outcome),
                    "  fetched                     10   sent before the feed was joined; 2 did not come\n"));
  outcome->audit.on_the_wire = false;
  EXPECT_TRUE(holds(verdict_text(*outcome), "  fetched                     10   2 did not come\n"));
}

TEST(VerdictText, SaysHowManySituationsWereMet) {
  const auto outcome = equal_outcome();
  meet(outcome->audit.reconciliation.situations, Situation::halt, 7);
  EXPECT_TRUE(holds(verdict_text(*outcome), "\n\nsituations met: 1 of 53\n")) << verdict_text(*outcome);
  EXPECT_FALSE(holds(verdict_text(*outcome), "gap-tail"));
  outcome->audit.on_the_wire = false;
  EXPECT_TRUE(holds(verdict_text(*outcome), "situations met: 1 of 37; 16 are not knowable here\n"));
}

TEST(VerdictText, ListsTheSituations) {
  const auto outcome = equal_outcome();
  outcome->lists_situations = true;
  for (int i = 0; i < 1234; ++i) meet(outcome->audit.reconciliation.situations, Situation::halt, 7);
  const std::string text = verdict_text(*outcome);
  EXPECT_TRUE(holds(text, "\n  halt                           1,234          #7   a bond was halted\n")) << text;
  EXPECT_TRUE(holds(text, "\n  gap-one                            0               one message was lost\n")) << text;
  outcome->audit.on_the_wire = false;
  const std::string without = verdict_text(*outcome);
  EXPECT_TRUE(holds(without, "\n  gap-one                        not knowable here   one message was lost\n"))
      << without;
}

TEST(Verdict, IsUnmetWhereARequiredSituationIsLacking) {
  const auto outcome = equal_outcome();
  outcome->required = {Situation::halt, Situation::gap_one, Situation::gap_tail};
  meet(outcome->audit.reconciliation.situations, Situation::halt, 7);
  EXPECT_TRUE(is_equal(*outcome));
  EXPECT_EQ(verdict_word(*outcome), "unmet");
  EXPECT_EQ(verdict_sentence(*outcome),
            "not met: gap-one, gap-tail; 1,234 messages equal to their truth records and the tape");
  add_discrepancy(*outcome, 3);
  EXPECT_EQ(verdict_word(*outcome), "different");
}

TEST(Verdict, IsEqualWhereAllThatIsRequiredWasMet) {
  const auto outcome = equal_outcome();
  outcome->required = {Situation::halt};
  meet(outcome->audit.reconciliation.situations, Situation::halt, 7);
  EXPECT_EQ(verdict_word(*outcome), "equal");
}

TEST(Verdict, IsUnfinishedBeforeItIsUnmet) {
  const auto outcome = equal_outcome();
  outcome->required = {Situation::halt};
  outcome->unfinished = "the end did not come";
  EXPECT_EQ(verdict_word(*outcome), "unfinished");
}

TEST(VerdictText, OfARecordingHasNoWire) {
  const auto outcome = equal_outcome();
  outcome->origin = Origin::recording;
  outcome->audit.on_the_wire = false;
  const std::string text = verdict_text(*outcome);
  EXPECT_FALSE(holds(text, "lost on the wire"));
  EXPECT_FALSE(holds(text, "heartbeats"));
  EXPECT_TRUE(holds(text, "  missing                      0\n")) << text;
}

TEST(VerdictJson, HoldsEveryKeyItPromises) {
  const auto outcome = equal_outcome();
  outcome->audit.truth_last = 1300;
  outcome->totals.packets = 2000;
  outcome->totals.heartbeats = 5;
  std::string situations;
  for (const SituationRow& row : all_situations()) {
    situations += (situations.empty() ? "\"" : ",\"") + std::string(row.name) + R"(":{"count":0,"first":null})";
  }
  EXPECT_EQ(
      verdict_json(*outcome),
      R"({"verdict":"equal","sentence":"1,234 messages equal to their truth records and the tape",)"
      R"("origin":"feed","where":"233.252.0.3:28977","session":"BTDS000001","truth":"truth.jsonl",)"
      R"("tape":"tape.jsonl","ended_by":"end of session","unfinished":null,"restart":null,"likely":null,"second_sender":null,)"
      R"("notes":[],"seconds":12.345,"first":1,"last":1234,"truth_last":1300,"joined":1,)"
      R"("messages":1234,"trades":1200,"cancels":20,"corrections":10,"halts":1,"summaries":1,"controls":2,)"
      R"("malformed_messages":0,"lost":0,"dropped_here":0,"recovered":0,"missing":0,"out_of_order":0,"duplicates":0,"altered":0,"fetched":0,)"
      R"("gaps":0,"longest_gap_ms":0,"faults":0,"heartbeats":5,"end_of_sessions":0,"packets":2000,)"
      R"("malformed_packets":0,"foreign_packets":0,"requests":0,"truth_records":0,"marks":0,"tape_lines":0,)"
      R"("bonds":0,"fields_compared":0,"days_compared":0,"books_compared":0,"not_compared":[],"did_you_mean":{},)"
      R"("unmet":[],"situations":{)" +
          situations +
          R"(},"discrepancies":0,"follow_ups":0,)"
          R"("first_wrong":null,"missing_ranges":[],"discrepancy_list":[],"books":[]})");
}

TEST(VerdictJson, ListsDiscrepanciesAndRanges) {
  const auto outcome = equal_outcome();
  Discrepancies& discrepancies = outcome->audit.reconciliation.discrepancies;
  note_follow_up(discrepancies, note(discrepancies, price_discrepancy(42)));
  lose(*outcome, 50, 52);
  const std::string listed =
      R"({"seq":42,"field":"price","source":"truth","expected":"98.250000","place":"message","received":"98.260000",)"
      R"("follow_ups":1})";
  const std::string json = verdict_json(*outcome);
  EXPECT_TRUE(holds(json, R"("verdict":"different")"));
  EXPECT_TRUE(holds(json, R"("discrepancies":1,"follow_ups":1,)"));
  EXPECT_TRUE(holds(json, R"("discrepancy_list":[)" + listed + "]")) << json;
  EXPECT_TRUE(holds(json, R"("missing_ranges":[[50,52]])")) << json;
  EXPECT_TRUE(holds(json, R"("missing":3)"));
}

TEST(VerdictJson, HasNullForWhatThereWasNot) {
  const auto outcome = equal_outcome();
  outcome->origin = Origin::recording;
  outcome->audit.on_the_wire = false;
  outcome->tape = "";
  outcome->audit.counts.recovered = 3;
  const std::string json = verdict_json(*outcome);
  EXPECT_TRUE(holds(json, R"("tape":null)"));
  EXPECT_TRUE(holds(json, R"("joined":null)"));
  EXPECT_TRUE(holds(json, R"("lost":0,)")) << "there was no wire to lose them on";
}

TEST(VerdictJson, ListsBooksByCusip) {
  const auto outcome = equal_outcome();
  outcome->audit.reconciliation.bonds["B"].book.symbol = "second";
  outcome->audit.reconciliation.bonds["A"].book.day.last = Sale{98.25, {}};
  const std::string json = verdict_json(*outcome);
  EXPECT_TRUE(holds(json,
                    R"("books":[{"cusip":"A","symbol":"","traded":true,"high":null,"high_yield":null,"low":null,)"
                    R"("low_yield":null,"last":98.25,"last_yield":null,"prints":0,"halted":false},{"cusip":"B",)"))
      << json;
}

TEST(VerdictJson, HoldsTheSituations) {
  const auto outcome = equal_outcome();
  outcome->required = {Situation::gap_tail};
  meet(outcome->audit.reconciliation.situations, Situation::halt, 7);
  const std::string json = verdict_json(*outcome);
  EXPECT_TRUE(holds(json, R"("unmet":["gap-tail"],"situations":{"control-I":{"count":0,"first":null},)")) << json;
  EXPECT_TRUE(holds(json, R"("halt":{"count":1,"first":7},)")) << json;
  outcome->audit.on_the_wire = false;
  EXPECT_TRUE(holds(verdict_json(*outcome), R"("gap-one":null,)"));
}

TEST(VerdictJson, IsOneLineWhateverBytesItHolds) {
  const auto outcome = equal_outcome();
  outcome->truth = "a\nb\xff\"";
  const std::string json = verdict_json(*outcome);
  EXPECT_EQ(json.find('\n'), std::string::npos);
  EXPECT_TRUE(holds(json, "\"truth\":\"a\\nb\xef\xbf\xbd\\\"\"")) << json;
}

}  // namespace
}  // namespace vorbelctl
