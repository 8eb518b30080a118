// Idle times are told by the records, so that a feed, a capture and a handler's recording of one run tell the same.
#include <gtest/gtest.h>

#include "vorbelctl/audit/history.h"

namespace vorbelctl {
namespace {

constexpr std::int64_t first_ms = 1719849600000;

// A trade that was sent so many ms after the beginning; `taped`: the tape says so.
Reconciled trade_after(std::int64_t ms, bool taped) {
  Reconciled message;
  message.recorded = true;
  message.kind = Kind::trade;
  message.cusip = "345370CS9";
  message.sent_s = (first_ms + ms) / 1000;
  if (taped) message.taped_ms = static_cast<std::uint64_t>(first_ms + ms);
  return message;
}

// Idle times of trades at these moments: live, when each comes as it is sent, or not.
std::size_t idles_of(const std::vector<std::int64_t>& moments_ms, bool live, bool taped) {
  History history;
  for (const std::int64_t ms : moments_ms) {
    note_message(history, trade_after(ms, taped), live ? static_cast<std::uint64_t>(first_ms + ms) : 0);
  }
  return history.idles.size();
}

TEST(Idle, IsTheSameLiveAndFromARecording) {
  for (std::int64_t begin = 0; begin < 1000; begin += 100) {
    for (std::int64_t gap = 2000; gap < 6000; gap += 100) {
      const std::vector<std::int64_t> moments{begin, begin + 500, begin + 500 + gap};
      for (const bool taped : {false, true}) {
        ASSERT_EQ(idles_of(moments, true, taped), idles_of(moments, false, taped))
            << begin << " " << gap << " " << taped;
      }
    }
  }
}

TEST(Idle, IsToldToTheMillisecondByTheTape) {
  EXPECT_EQ(idles_of({900, 950, 3949}, false, true), 0U);
  EXPECT_EQ(idles_of({900, 950, 3950}, false, true), 1U);
}

TEST(Idle, IsCountedBeyondWhatIsListed) {
  History history;
  constexpr std::uint64_t idles = most_spans_listed + 50;
  // Ten trades in a row, then nothing for 5 s, and so on.
  for (std::uint64_t i = 0; i <= 10 * idles; ++i) {
    Reconciled trade = trade_after(static_cast<std::int64_t>(i / 10 * 5000), true);
    trade.sequence = i + 1;
    note_message(history, trade, 0);
  }
  EXPECT_EQ(history.idles.size(), most_spans_listed);
  EXPECT_EQ(history.idles_met.count, idles);
  EXPECT_EQ(history.idles_met.first, 11U) << "the trade that ended it";
}

TEST(Idle, IsCertainWhereOnlySecondsAreTold) {
  EXPECT_EQ(idles_of({900, 950, 3100}, true, false), 0U) << "3 by the seconds, 2.15 in truth";
  EXPECT_EQ(idles_of({900, 950, 4100}, true, false), 1U);
}

}  // namespace
}  // namespace vorbelctl
