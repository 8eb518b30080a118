// Events as lines and as fields.
#include "vorbelctl/commands/listing.h"

#include <gtest/gtest.h>

#include "tests/unit/vorbelctl/handler/sample_messages.h"
#include "vorbelctl/commands/listing_text.h"

namespace vorbelctl {
namespace {

Event message(const std::string& bytes, Via via = Via::live) {
  Event event;
  event.first = event.last = 42;
  event.text = bytes;
  event.via = via;
  return event;
}

Event tidings(EventKind kind, std::uint64_t first, std::uint64_t last) {
  Event event;
  event.kind = kind;
  event.first = first;
  event.last = last;
  return event;
}

TEST(Lines, ShowEveryKindOfMessage) {
  EXPECT_EQ(event_text(message(sample::trade()), false),
            "      42  trade        12:00:00  037833DT4 AAPL 3.85 43   0000042   98.250000      100000.00  S D/C"
            "  change 7\n");
  EXPECT_EQ(event_text(message(sample::cancel()), false),
            "      42  cancel       12:00:01  037833DT4 AAPL 3.85 43   0000042   98.250000      100000.00  S D/C"
            "  change 7  the day is empty\n");
  EXPECT_EQ(event_text(message(sample::correction()), false),
            "      42  correction   12:00:02  037833DT4 AAPL 3.85 43   0000043  101.500000           5MM+  B T/D"
            "  change 5 late ATS  instead of 0000042, high 101.500000 low 98.250000 last 99.000000\n");
  EXPECT_EQ(event_text(message(sample::halt()), false),
            "      42  halt         12:00:03  037833DT4 AAPL 3.85 43   halted T.1\n");
  EXPECT_EQ(event_text(message(sample::summary()), false),
            "      42  summary      12:00:04  037833DT4 AAPL 3.85 43   high 101.500000 low 98.250000 last 99.000000\n");
  EXPECT_EQ(event_text(message(sample::control()), false), "      42  control      12:00:00  I\n");
}

TEST(Lines, SayHowAMessageCame) {
  EXPECT_EQ(event_text(message(sample::control(), Via::recovered), false),
            "      42  control      12:00:00  I  (recovered)\n");
  EXPECT_EQ(event_text(message(sample::control(), Via::late), false), "      42  control      12:00:00  I  (late)\n");
}

TEST(Lines, ShowBytesThatDoNotRead) {
  EXPECT_EQ(event_text(message("XY\x1b"), false),
            "      42  malformed    the field \"length\" does not read\n"
            "  0000  58 59 1b                                         XY.\n");
  Event packet = tidings(EventKind::malformed_packet, 0, 0);
  packet.text = "ab";
  packet.reason = "2 bytes are too few for a header";
  EXPECT_EQ(event_text(packet, false),
            "       0  malformed    no packet: 2 bytes are too few for a header\n"
            "  0000  61 62                                            ab\n");
}

TEST(Lines, ShowFaults) {
  EXPECT_EQ(event_text(tidings(EventKind::gap, 43, 45), false),
            "      43  gap          43 to 45 (3 messages) skipped so far\n");
  EXPECT_EQ(event_text(tidings(EventKind::missing, 43, 43), false), "      43  missing      43 (1 message) given up\n");
  Event closed = tidings(EventKind::gap_closed, 43, 45);
  closed.open_ms = 31;
  EXPECT_EQ(event_text(closed, false), "      43  gap closed   43 to 45 (3 messages) after 31 ms\n");
  Event foreign = tidings(EventKind::foreign_session, 7, 7);
  foreign.text = "\x1b[2J";
  EXPECT_EQ(event_text(foreign, false),
            "       7  foreign      a packet of the session \"\\x1b[2J\" is ignored; --session chooses the one to "
            "follow\n");
}

TEST(Lines, ArePaintedOnATerminal) {
  EXPECT_EQ(event_text(message(sample::control()), true), "\x1b[32m      42  control      12:00:00  I\x1b[0m\n");
  EXPECT_EQ(event_text(tidings(EventKind::duplicate, 7, 7), true),
            "\x1b[31m       7  duplicate    was already here; ignored\x1b[0m\n");
}

TEST(EventFields, NameTheMessageAndItsFields) {
  const FieldList fields = event_fields(message(sample::halt(), Via::recovered));
  EXPECT_EQ(json_line(fields),
            R"({"event":"halt","seq":42,"via":"recovered","category":"A","type":"H","trade_id":null,"origin":"O",)"
            R"("sent_at":"20240701120003","symbol":"AAPL 3.85 43","cusip":"037833DT4","short_name":"AAPL",)"
            R"("sub_product":"CORP","description":"AAPL 3.85 05/04/43","action":"H","action_at":"20240701120003",)"
            R"("reason":"T.1"})");
}

// The field of this name as people read it.
std::string listed(const std::string& bytes, const std::string& name) {
  const FieldList fields = event_fields(message(bytes));
  const Value* const value = find_value(fields, name);
  return value == nullptr ? "no such field" : value_text(*value);
}

TEST(EventFields, AreInTheOrderOfTheBytesWithoutThoseThatSayNothing) {
  std::string names;
  for (const FieldValue& field : event_fields(message(sample::trade()))) names += field.name + " ";
  EXPECT_EQ(names,
            "event seq via category type trade_id origin sent_at symbol cusip short_name sub_product reversed_date "
            "quantity_indicator quantity price remuneration special side as_of executed_at sale_condition_3 "
            "sale_condition_4 settlement yield second_modifier reporting_party contra_party ats change ");
}

TEST(EventFields, TellTheTermsOfACorrectionApart) {
  EXPECT_EQ(listed(sample::correction(), "original_price"), "98.250000");
  EXPECT_EQ(listed(sample::correction(), "price"), "101.500000");
  EXPECT_EQ(listed(sample::correction(), "original_quantity"), "100000.00");
  EXPECT_EQ(listed(sample::correction(), "quantity"), "5000000.00");
  EXPECT_EQ(listed(sample::correction(), "yield"), "-0.125000");
  EXPECT_EQ(listed(sample::correction(), "last_yield"), "3.888889");
}

TEST(EventFields, AreEmptyWhereTheMessageIsBlank) {
  EXPECT_EQ(listed(sample::control(), "trade_id"), "-");
  EXPECT_EQ(listed(sample::trade(), "reversed_date"), "-");
  EXPECT_EQ(listed(sample::cancel(), "high_yield"), "-");
  EXPECT_EQ(listed(sample::control(), "symbol"), "no such field");
}

TEST(EventFields, ShowBytesThatCouldSteerATerminalInHexadecimal) {
  std::string odd = sample::trade();
  odd.replace(24, 4, std::string("\0\x1b\xff|", 4));
  odd[72 + 28] = '\x80';
  EXPECT_EQ(listed(odd, "symbol"), "\\x00\\x1b\\xff| 3.85 43");
  EXPECT_EQ(listed(odd, "side"), "\\x80");
}

TEST(EventFields, NameWhatDoesNotRead) {
  EXPECT_EQ(json_line(event_fields(message("XY"))),
            R"({"event":"malformed_message","seq":42,"field":"length","length":2,"bytes":"5859"})");
}

TEST(EventFields, NameFaults) {
  EXPECT_EQ(json_line(event_fields(tidings(EventKind::gap, 43, 45))), R"({"event":"gap","first":43,"last":45})");
  EXPECT_EQ(json_line(event_fields(tidings(EventKind::heartbeat, 46, 46))), R"({"event":"heartbeat","seq":46})");
}

TEST(Totals, AreSummedUpInWords) {
  ReceiverTotals totals;
  totals.messages = 1;
  totals.packets = 2;
  totals.gaps = 3;
  totals.skipped = 5;
  totals.missing = 4;
  totals.recovered = 1;
  EXPECT_EQ(totals_text(totals, {{3, 3}, {5, 7}}),
            "1 message, 2 packets on the feed; 3 gaps of 5 messages: 0 late, 1 recovered, 4 missing; 0 duplicates\n"
            "missing: 3, 5 to 7\n");
}

TEST(Totals, ListNoMoreThanTenRanges) {
  std::vector<Range> missing;
  for (std::uint64_t number = 1; number <= 21; number += 2) missing.push_back({number, number});
  EXPECT_NE(totals_text({}, missing).find("missing: 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, ...\n"), std::string::npos);
}

TEST(Totals, CountWhatWasShown) {
  ReceiverTotals shown;
  for (const Via via : {Via::live, Via::late, Via::recovered}) add_to_totals(shown, message(sample::trade(), via));
  add_to_totals(shown, tidings(EventKind::gap, 3, 7));
  add_to_totals(shown, tidings(EventKind::missing, 4, 5));
  add_to_totals(shown, tidings(EventKind::duplicate, 1, 1));
  add_to_totals(shown, tidings(EventKind::too_late, 4, 4));
  ReceiverTotals all;
  all.packets = 90;
  all.messages = 100;
  all.missing = 50;
  all.requests = 7;
  EXPECT_EQ(
      json_line(list_totals(totals_as_shown(all, shown))),
      R"({"packets":90,"messages":3,"gaps":1,"skipped":5,"late":1,"recovered":1,"missing":2,"duplicates":1,)"
      R"("too_late":1,"heartbeats":0,"end_of_sessions":0,"foreign":0,"malformed":0,"requests":7,"overrun":0,"dropped_here":0)"
      R"(,"altered":0,"second_senders":0,"ignored":0,"began_again":0})");
}

TEST(Fields, EndWithTheTimeOfReceiptByTheWallClock) {
  Event came = message(sample::control());
  came.came_ms = 70;
  came.at_ms = 90;  // it was held behind a gap
  EXPECT_EQ(timed_event_fields(came, 1700000000000).back(), (FieldValue{"received_ms", 1700000000070U}));
  Event gap = tidings(EventKind::gap, 43, 45);
  gap.at_ms = 90;
  EXPECT_EQ(timed_event_fields(gap, 1700000000000).back(), (FieldValue{"received_ms", 1700000000090U}));
}

}  // namespace
}  // namespace vorbelctl
