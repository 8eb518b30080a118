// The commands "cancel" and "correct": which trades they pick, how often, and what they answer.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "services/control_port.h"
#include "tests/unit/common/console.h"
#include "tests/unit/services/service_fixture.h"
#include "trades/session.h"

namespace vorbeld {
namespace {

// The trades that are cancelled or corrected.
std::vector<std::uint64_t> cancelled_trades(ServiceBench& bench) {
  std::vector<std::uint64_t> cancelled;
  for (std::uint64_t id = 1; id <= newest_trade(bench.engine.trades); ++id) {
    if (record_of(bench, id).cancelled) cancelled.push_back(id);
  }
  return cancelled;
}

using Trades = std::vector<std::uint64_t>;

TEST(CancelCommand, CancelsTheNewestTrade) {
  ServiceBench bench;
  send_trade(bench, 98.5);
  send_trade(bench, 98.6);
  EXPECT_EQ(reply_to(bench, "cancel"), "cancelled 1");
  EXPECT_EQ(cancelled_trades(bench), Trades{2});
  EXPECT_EQ(bench.engine.counters.cancels, 1U);
  EXPECT_EQ(sent_messages(bench.feed).at(2).substr(0, 2), "TN");
}

TEST(CancelCommand, CancelsSoManyOfTheNewest) {
  ServiceBench bench;
  for (int i = 0; i < 5; ++i) send_trade(bench, 98.5);
  EXPECT_EQ(reply_to(bench, "cancel 3"), "cancelled 3");
  EXPECT_EQ(cancelled_trades(bench), (Trades{3, 4, 5}));
  EXPECT_EQ(reply_to(bench, "cancel"), "cancelled 1");
  EXPECT_EQ(cancelled_trades(bench), (Trades{2, 3, 4, 5}));
}

TEST(CancelCommand, AnswersHowManyThereWere) {
  ServiceBench bench;
  EXPECT_EQ(reply_to(bench, "cancel 2"), "cancelled 0");
  send_trade(bench, 98.5);
  EXPECT_EQ(reply_to(bench, "cancel 2"), "cancelled 1");
  EXPECT_EQ(reply_to(bench, "cancel 2"), "cancelled 0");
}

TEST(CancelCommand, TakesItsNumberLikeTheOthers) {
  ServiceBench bench;
  for (int i = 0; i < 9; ++i) send_trade(bench, 98.5);
  EXPECT_EQ(reply_to(bench, "cancel 0"), "cancelled 0");
  EXPECT_EQ(reply_to(bench, "cancel x"), "cancelled 1");
  EXPECT_EQ(reply_to(bench, "cancel 2x"), "cancelled 2");
  EXPECT_EQ(reply_to(bench, "cancel 4294967296"), "cancelled 0");
  EXPECT_EQ(reply_to(bench, "cancel -1"), "cancelled 6");
}

TEST(CancelCommand, PassesOverAsOfTradesAndReversals) {
  ServiceBench bench;
  send_trade(bench, 98.5);
  send_trade(bench, 98.6, 1000, 'A');
  send_trade(bench, 98.7, 1000, 'R');
  EXPECT_EQ(reply_to(bench, "cancel 3"), "cancelled 1");
  EXPECT_EQ(cancelled_trades(bench), Trades{1});
}

TEST(CancelCommand, CancelsTheReplacementOfACorrectedTrade) {
  ServiceBench bench;
  send_trade(bench, 98.5);
  reply_to(bench, "correct");
  EXPECT_EQ(reply_to(bench, "cancel 5"), "cancelled 1");
  EXPECT_EQ(cancelled_trades(bench), (Trades{1, 2}));
}

TEST(CancelCommand, PassesOverTradesThatWereCancelledOtherwise) {
  ServiceBench bench;
  for (int i = 0; i < 4; ++i) send_trade(bench, 98.5);
  cancel_trade(bench.engine, 3);
  EXPECT_EQ(reply_to(bench, "cancel 2"), "cancelled 2");
  EXPECT_EQ(cancelled_trades(bench), (Trades{2, 3, 4}));
}

TEST(CancelCommand, IsRefusedAfterTheClose) {
  ServiceBench bench;
  send_trade(bench, 98.5);
  console_of([&] { close_session(bench.engine); });
  EXPECT_EQ(reply_to(bench, "cancel 3"), "cancelled 0");
  EXPECT_EQ(reply_to(bench, "correct 3"), "corrected 0");
  EXPECT_EQ(cancelled_trades(bench), Trades{});
}

TEST(CorrectCommand, RaisesThePriceAndKeepsTheQuantity) {
  ServiceBench bench;
  send_trade(bench, 99.999, 7000.55);
  EXPECT_EQ(reply_to(bench, "correct"), "corrected 1");
  EXPECT_EQ(cancelled_trades(bench), Trades{1});
  EXPECT_EQ(record_of(bench, 2).price, 100.199);
  EXPECT_EQ(record_of(bench, 2).quantity, 7000.55);
  EXPECT_EQ(bench.engine.counters.corrections, 1U);
  EXPECT_EQ(sent_messages(bench.feed).at(1).substr(0, 9), "TO0000002");
}

TEST(CorrectCommand, KeepsAQuantityOverTheCapWhole) {
  ServiceBench bench;
  send_trade(bench, 98.5, 7'000'000);
  reply_to(bench, "correct");
  EXPECT_EQ(record_of(bench, 2).quantity, 7'000'000.0);
}

TEST(CorrectCommand, RoundsHalvesAwayFromZero) {
  ServiceBench bench;
  send_trade(bench, 0.25);  // 0.2505
  reply_to(bench, "correct");
  EXPECT_EQ(record_of(bench, 2).price, 0.251);
  send_trade(bench, -0.75);  // -0.7515
  reply_to(bench, "correct");
  EXPECT_EQ(record_of(bench, 4).price, -0.752);
}

TEST(CorrectCommand, CorrectsItsOwnReplacements) {
  ServiceBench bench;
  send_trade(bench, 98.5);
  send_trade(bench, 100);
  EXPECT_EQ(reply_to(bench, "correct 3"), "corrected 3");
  EXPECT_EQ(cancelled_trades(bench), (Trades{2, 3, 4}));
  EXPECT_EQ(record_of(bench, 3).price, 100.2);
  EXPECT_EQ(record_of(bench, 4).price, 100.4);    // 100.4004
  EXPECT_EQ(record_of(bench, 5).price, 100.601);  // 100.6008
}

TEST(CorrectCommand, AnswersZeroWithoutTrades) {
  ServiceBench bench;
  EXPECT_EQ(reply_to(bench, "correct"), "corrected 0");
  EXPECT_EQ(reply_to(bench, "correct 4294967295"), "corrected 0");
  EXPECT_EQ(last_sequence(bench.feed.publisher), 0U);
}

TEST(HugeRepetitions, AreAnsweredAtOnceWhenNothingIsLeftToDo) {
  const auto begin = std::chrono::steady_clock::now();
  ServiceBench bench;
  for (int i = 0; i < 3; ++i) send_trade(bench, 98.5);
  EXPECT_EQ(reply_to(bench, "cancel 4294967295"), "cancelled 3");
  EXPECT_EQ(reply_to(bench, "cancel 4294967295"), "cancelled 0");
  send_trade(bench, 98.5);
  console_of([&] { close_session(bench.engine); });
  EXPECT_EQ(reply_to(bench, "cancel 4294967295"), "cancelled 0");
  EXPECT_EQ(reply_to(bench, "correct 4294967295"), "corrected 0");
  // So many repetitions, however short, would take much longer.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

}  // namespace
}  // namespace vorbeld
