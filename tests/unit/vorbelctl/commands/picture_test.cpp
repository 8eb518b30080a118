// The screen of "watch" at every size: what matters is there, whole, and where the eye goes first.
#include "vorbelctl/commands/picture.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/unit/vorbelctl/handler/sample_messages.h"
#include "vorbelctl/doors/control_port.h"

namespace vorbelctl {
namespace {

Event message_event(std::uint64_t sequence, const std::string& bytes) {
  Event event;
  event.first = event.last = sequence;
  event.text = bytes;
  return event;
}

Event missing_event(std::uint64_t sequence) {
  Event event;
  event.kind = EventKind::missing;
  event.first = event.last = sequence;
  return event;
}

FieldList some_stats() {
  return *parse_stats(
      "seq 12 messages 13 packets 9 reports 10 capped 2 cancels 1 corrections 3 halts 4 retrans 5 "
      "vorbeld faults: sent 8 dropped 1 duplicated 6 reordered 7");
}

std::string cusip_of(int bond) {
  return "BOND" + std::to_string(10000 + bond);
}

// A bench that is well, with so many bonds at 98.25.
Dashboard bench_with(int bonds) {
  Dashboard dashboard;
  dashboard.stats = some_stats();
  dashboard.now_ms = dashboard.heard_ms = 100000;
  for (int bond = 0; bond < bonds; ++bond) {
    Book& book = dashboard.books[cusip_of(bond)];
    book.symbol = "XY 3 " + std::to_string(bond);
    book.day.last = book.day.high = book.day.low = Sale{98.25, 4.5};
  }
  return dashboard;
}

// The same with a bond halted, another one that lacks messages, a restart and silence.
Dashboard bench_in_trouble(int bonds) {
  Dashboard dashboard = bench_with(bonds);
  dashboard.books[cusip_of(2)].halted = true;
  dashboard.books[cusip_of(2)].halt_reason = "T.1";
  dashboard.losses[cusip_of(3)].lacks = true;
  dashboard.restarted_ms = 93000;
  dashboard.heard_ms = 96000;
  take_event(dashboard, missing_event(105));
  return dashboard;
}

ReceiverTotals totals_in_trouble() {
  ReceiverTotals totals;
  totals.missing = 5;
  return totals;
}

std::vector<std::string> texts_of(const Picture& picture) {
  std::vector<std::string> texts;
  for (const ScreenLine& line : picture.lines) texts.push_back(text_of(line));
  return texts;
}

std::string whole_text(const Picture& picture) {
  std::string whole;
  for (const std::string& text : texts_of(picture)) whole += text + "\n";
  return whole;
}

std::vector<std::string> texts_at(const Dashboard& dashboard, Size size) {
  return texts_of(screen_lines(dashboard, {}, size, 0));
}

// The look of the text that holds `part`; plain where it is nowhere.
Look look_of_part(const Picture& picture, const std::string& part) {
  for (const ScreenLine& line : picture.lines) {
    for (const Span& span : line) {
      if (span.text.find(part) != std::string::npos) return span.look;
    }
  }
  return Look::plain;
}

struct Case {
  Size size;
  int bonds = 0;
};

class EverySize : public testing::TestWithParam<Case> {};

INSTANTIATE_TEST_SUITE_P(Picture, EverySize,
                         testing::Values(Case{{40, 12}, 4}, Case{{40, 12}, 60}, Case{{40, 50}, 4}, Case{{40, 50}, 60},
                                         Case{{80, 12}, 4}, Case{{80, 12}, 60}, Case{{80, 50}, 4}, Case{{80, 50}, 60},
                                         Case{{200, 12}, 4}, Case{{200, 12}, 60}, Case{{200, 50}, 4},
                                         Case{{200, 50}, 60}));

TEST_P(EverySize, HoldsTheScreenAndNoMore) {
  const auto [size, bonds] = GetParam();
  const Picture picture = screen_lines(bench_in_trouble(bonds), totals_in_trouble(), size, 0);
  EXPECT_LE(picture.lines.size(), size.rows);
  for (const std::string& text : texts_of(picture)) EXPECT_LE(text.size(), size.columns) << text;
}

TEST_P(EverySize, SaysWhatIsWrongInWholeWords) {
  const auto [size, bonds] = GetParam();
  const Picture picture = screen_lines(bench_in_trouble(bonds), totals_in_trouble(), size, 0);
  const std::string whole = whole_text(picture);
  for (const char* const said : {"q ends it", " LOST 5 ", " BEGAN AGAIN 7 s ago ", " FEED SILENT 4 s ", " HALTED 1 ",
                                 "missing 5", "(1 message) given up"}) {
    EXPECT_NE(whole.find(said), std::string::npos) << said << "\n" << whole;
  }
  EXPECT_EQ(look_of_part(picture, " LOST 5 "), Look::alarm);
  EXPECT_EQ(look_of_part(picture, " HALTED 1 "), Look::warning);
  EXPECT_EQ(look_of_part(picture, "given up"), Look::bad);
}

TEST_P(EverySize, HasHaltedAndLossyBondsFirstWithTheirPrices) {
  const auto [size, bonds] = GetParam();
  const std::vector<std::string> texts = texts_of(screen_lines(bench_in_trouble(bonds), totals_in_trouble(), size, 0));
  const auto head =
      std::find_if(texts.begin(), texts.end(), [](const auto& text) { return text.starts_with("state"); });
  ASSERT_GE(texts.end() - head, 4);
  EXPECT_EQ(head[1].substr(0, 16), "HALTED BOND10002");
  EXPECT_NE(head[1].find("98.250000"), std::string::npos);
  EXPECT_EQ(head[2].substr(0, 16), "LOST   BOND10003");
  EXPECT_NE(head[2].find("98.250000"), std::string::npos);
}

TEST_P(EverySize, ScrollsToEveryBondAndBack) {
  const auto [size, bonds] = GetParam();
  const Dashboard dashboard = bench_with(bonds);
  std::string seen;
  Picture picture = screen_lines(dashboard, {}, size, 0);
  for (int page = 0; page < 30; ++page) {
    seen += whole_text(picture);
    picture = screen_lines(dashboard, {}, size, scrolled(picture, Key::page_down));
  }
  for (int bond = 0; bond < bonds; ++bond) EXPECT_NE(seen.find(cusip_of(bond)), std::string::npos) << bond;
  EXPECT_EQ(picture.first_bond + picture.bonds_shown, picture.bonds);
  const std::size_t last = picture.first_bond;
  EXPECT_EQ(scrolled(picture, Key::down), last);
  EXPECT_EQ(scrolled(picture, Key::end), last);
  EXPECT_EQ(scrolled(picture, Key::home), 0U);
  EXPECT_EQ(scrolled(picture, Key::up), last == 0 ? 0 : last - 1);
  EXPECT_EQ(screen_lines(dashboard, {}, size, 1000).first_bond, last);
}

TEST(Picture, OfABenchThatIsWellSaysSo) {
  const Picture picture = screen_lines(bench_with(4), {}, {80, 24}, 0);
  EXPECT_EQ(text_of(picture.lines[1]), "nothing is lost or halted");
  EXPECT_EQ(look_of_part(picture, "nothing is lost"), Look::good);
}

TEST(Picture, SaysNothingOfSilenceBetweenTwoHeartbeats) {
  Dashboard dashboard = bench_with(1);
  dashboard.heard_ms = dashboard.now_ms - silent_after_ms + 1;
  EXPECT_EQ(texts_at(dashboard, {80, 24})[1], "nothing is lost or halted");
  --dashboard.heard_ms;
  EXPECT_EQ(texts_at(dashboard, {80, 24})[1].substr(0, 18), " FEED SILENT 2 s  ");
}

TEST(Picture, ShowsTheBondsAndWhatHappened) {
  Dashboard dashboard;
  take_event(dashboard, message_event(3, sample::trade()));
  take_event(dashboard, message_event(4, sample::halt()));
  ReceiverTotals totals;
  totals.messages = 2;
  const auto lines = texts_of(screen_lines(dashboard, totals, {120, 20}, 0));
  EXPECT_EQ(lines[0], "vorbelctl watch   BTDS000001 on 233.54.19.111:28977   q ends it");
  EXPECT_EQ(lines[1].substr(0, 32), " HALTED 1    NO CONTROL PORT    ");
  EXPECT_EQ(lines[2], "feed    0.0/s  messages 2  packets 0  heartbeats 0");
  EXPECT_EQ(lines[4], "bench   the control port 127.0.0.1:28980  does not answer");
  EXPECT_EQ(lines[6].substr(0, 79), "state  cusip     symbol               last       high        low prnt canc corr");
  EXPECT_EQ(lines[7].substr(0, 94),
            "HALTED 037833DT4 AAPL 3.85 43    98.250000  98.250000  98.250000    1    0    0   3.918575 T.1");
  EXPECT_EQ(lines.back(), "       4  halt         12:00:03  037833DT4 AAPL 3.85 43   halted T.1");
}

TEST(Picture, ShowsTheStatistics) {
  const auto lines = texts_at(bench_with(1), {80, 24});
  EXPECT_EQ(lines[4], "bench   0.0/s  seq 12  reports 10  capped 2  retrans 5  cancels 1  corrections 3");
  EXPECT_EQ(lines[5], "        halts 4");
  EXPECT_EQ(lines[6], "faults  sent 8  dropped 1  duplicated 6  reordered 7");
}

TEST(Picture, CutsNoLargeNumber) {
  Dashboard dashboard = bench_with(4);
  dashboard.stats = *parse_stats(
      "seq 1234567 messages 1234567 packets 1234567 reports 1234567 capped 1234567 cancels 1234567 corrections 1234567 "
      "halts 1234567 retrans 1234 vorbeld faults: sent 1234567 dropped 1234567 duplicated 1234567 reordered 1234567");
  dashboard.books[cusip_of(1)].prints.live = 123'456;
  dashboard.books[cusip_of(1)].day.last = Sale{12345.678901, {}};
  const std::string whole = whole_text(screen_lines(dashboard, {}, {80, 24}, 0));
  for (const char* const name :
       {"seq", "reports", "capped", "cancels", "corrections", "halts", "sent", "dropped", "duplicated", "reordered"}) {
    EXPECT_NE(whole.find(std::string(name) + " 1234567"), std::string::npos) << name;
  }
  EXPECT_NE(whole.find(" 12345.6789 "), std::string::npos);
  EXPECT_NE(whole.find(" 123k "), std::string::npos);
}

TEST(Picture, SaysNothingOfAControlPortThatIsNotThere) {
  Dashboard dashboard = bench_with(1);
  dashboard.stats.clear();
  dashboard.addresses.control_port = 0;
  EXPECT_EQ(texts_at(dashboard, {80, 24})[1], "nothing is lost or halted");
}

TEST(Picture, PutsEventsBesideTheBondsWhereThereIsRoom) {
  const Picture picture = screen_lines(bench_in_trouble(60), totals_in_trouble(), {200, 50}, 0);
  const auto texts = texts_of(picture);
  const auto beside = std::find_if(texts.begin(), texts.end(), [](const auto& text) {
    return text.find("(1 message) given up") != std::string::npos;
  });
  ASSERT_NE(beside, texts.end());
  EXPECT_EQ(beside->substr(0, 16), "HALTED BOND10002");
  EXPECT_GT(picture.bonds_shown, 40U);
}

TEST(Picture, KeepsEventsWhereBondsNeedMoreRoomThanThereIs) {
  Dashboard dashboard = bench_with(30);
  for (std::uint64_t i = 1; i <= 9; ++i) take_event(dashboard, message_event(i, "bad"));
  const auto lines = texts_at(dashboard, {80, 24});
  ASSERT_EQ(lines.size(), 24U);
  EXPECT_EQ(lines[18], "bonds 1 to 9 of 30; arrows, PgUp, PgDn");
  EXPECT_EQ(lines[19], "");
  EXPECT_EQ(lines[20].substr(0, 22), "       6  malformed   ");
  EXPECT_EQ(lines[23].substr(0, 22), "       9  malformed   ");
}

TEST(Picture, EndsWithTheSmallestScreens) {
  const Dashboard dashboard = bench_in_trouble(60);
  for (std::size_t rows = 1; rows < 12; ++rows) {
    for (std::size_t columns = 1; columns < 40; ++columns) {
      const Picture picture = screen_lines(dashboard, totals_in_trouble(), {columns, rows}, 7);
      ASSERT_LE(picture.lines.size(), rows);
      for (const std::string& text : texts_of(picture)) ASSERT_LE(text.size(), columns);
    }
  }
}

}  // namespace
}  // namespace vorbelctl
