// Books rebuilt from messages: which trades count, what amendments undo, and what is said when a message disagrees.
#include "vorbelctl/handler/book.h"

#include <gtest/gtest.h>

#include <random>

namespace vorbelctl {
namespace {

using Lines = std::vector<std::string>;

Message trade(const std::string& id, double price, const std::string& executed_at, char change) {
  Message message;
  message.kind = Kind::trade;
  message.cusip = "037833DT4";
  message.symbol = "AAPL 3.85 43";
  message.trade_id = id;
  message.terms.price = price;
  message.terms.yield = 4.0;
  message.terms.executed_at = executed_at;
  message.day.change = change;
  return message;
}

DayPrices day(double high, double low, double last, char change) {
  return {high, 4.0, low, 4.0, last, 4.0, change};
}

Message cancel(const Message& original, const DayPrices& after) {
  Message message = original;
  message.kind = Kind::cancel;
  message.trade_id.clear();
  message.original_id = original.trade_id;
  message.original = original.terms;
  message.day = after;
  return message;
}

Message correction(const Message& original, const std::string& id, double price, const DayPrices& after) {
  Message message = cancel(original, after);
  message.kind = Kind::correction;
  message.trade_id = id;
  message.terms.price = price;
  return message;
}

const std::string ten = "20240701100000";
const std::string eleven = "20240701110000";
const std::string noon = "20240701120000";

Book& only_book(Books& books) {
  return books.begin()->second;
}

TEST(Book, StartsWithTheFirstLastSale) {
  Books books;
  EXPECT_EQ(apply_message(books, trade("0000001", 98, ten, '7')), Lines());
  const Book& book = only_book(books);
  EXPECT_EQ(book.high->price, 98);
  EXPECT_EQ(book.low->price, 98);
  EXPECT_EQ(book.last->price, 98);
  EXPECT_EQ(book.prints.size(), 1U);
}

TEST(Book, MovesHighLowAndLast) {
  Books books;
  apply_message(books, trade("0000001", 98, ten, '7'));
  EXPECT_EQ(apply_message(books, trade("0000002", 99, eleven, '5')), Lines());
  EXPECT_EQ(apply_message(books, trade("0000003", 97, noon, '3')), Lines());
  EXPECT_EQ(apply_message(books, trade("0000004", 97, noon, '0')), Lines());
  const Book& book = only_book(books);
  EXPECT_EQ(book.high->price, 99);
  EXPECT_EQ(book.low->price, 97);
  EXPECT_EQ(book.last->price, 97);
  EXPECT_EQ(book.prints.size(), 4U);
}

TEST(Book, KeepsTheLastSaleWhenATradeWasExecutedBefore) {
  Books books;
  apply_message(books, trade("0000001", 98, eleven, '7'));
  EXPECT_EQ(apply_message(books, trade("0000002", 99, ten, '4')), Lines());
  EXPECT_EQ(only_book(books).last->price, 98);
  EXPECT_EQ(only_book(books).high->price, 99);
}

TEST(Book, LeavesOutTradesThatAreNoLastSale) {
  for (const auto& mark : std::vector<std::pair<char TradeTerms::*, char>>{{&TradeTerms::as_of, 'A'},
                                                                           {&TradeTerms::as_of, 'R'},
                                                                           {&TradeTerms::special, 'Y'},
                                                                           {&TradeTerms::sale_condition_3, 'T'},
                                                                           {&TradeTerms::sale_condition_4, 'W'}}) {
    Books books;
    Message message = trade("0000001", 98, ten, '0');
    message.terms.*mark.first = mark.second;
    EXPECT_EQ(apply_message(books, message), Lines());
    EXPECT_FALSE(only_book(books).last.has_value());
    EXPECT_EQ(only_book(books).trades, 1U);
  }
}

TEST(Book, CountsALateTrade) {
  Books books;
  Message message = trade("0000001", 98, ten, '7');
  message.terms.sale_condition_3 = 'Z';
  EXPECT_EQ(apply_message(books, message), Lines());
  EXPECT_EQ(only_book(books).last->price, 98);
}

TEST(Book, GoesBackWhenTheHighIsCancelled) {
  Books books;
  apply_message(books, trade("0000001", 98, ten, '7'));
  const Message highest = trade("0000002", 99, eleven, '5');
  apply_message(books, highest);
  EXPECT_EQ(apply_message(books, cancel(highest, day(98, 98, 98, '5'))), Lines());
  EXPECT_EQ(only_book(books).high->price, 98);
  EXPECT_EQ(only_book(books).prints.size(), 1U);
  EXPECT_EQ(only_book(books).cancels, 1U);
}

TEST(Book, IsEmptyAgainWhenTheOnlyPrintIsCancelled) {
  Books books;
  const Message only = trade("0000001", 98, ten, '7');
  apply_message(books, only);
  EXPECT_EQ(apply_message(books, cancel(only, {0, {}, 0, {}, 0, {}, '7'})), Lines());
  EXPECT_FALSE(only_book(books).last.has_value());
  EXPECT_TRUE(only_book(books).prints.empty());
}

TEST(Book, PutsACorrectionBehindAllOtherPrints) {
  Books books;
  const Message first = trade("0000001", 98, ten, '7');
  apply_message(books, first);
  apply_message(books, trade("0000002", 99, ten, '5'));
  EXPECT_EQ(apply_message(books, correction(first, "0000003", 97, day(99, 97, 97, '3'))), Lines());
  EXPECT_EQ(only_book(books).last->price, 97);
  EXPECT_EQ(only_book(books).prints.back().trade_id, 3U);
  EXPECT_EQ(only_book(books).corrections, 1U);
}

TEST(Book, FollowsTheMessageAndSaysWhereItDiffers) {
  Books books;
  apply_message(books, trade("0000001", 98, ten, '7'));
  EXPECT_EQ(apply_message(books, trade("0000002", 99, eleven, '1')), (Lines{"change is 1, the prints say 5"}));
  EXPECT_EQ(only_book(books).high->price, 98);
  EXPECT_EQ(only_book(books).last->price, 99);
}

TEST(Book, DoesNotInventAHighAfterALateStart) {
  Books books;
  apply_message(books, trade("0000900", 98, ten, '1'));
  EXPECT_FALSE(only_book(books).high.has_value());
  EXPECT_EQ(only_book(books).last->price, 98);
  const Message unknown = trade("0000800", 101, ten, '7');
  EXPECT_EQ(apply_message(books, cancel(unknown, day(99, 97, 98, '4'))).front(),
            "original_id is 0000800, no such print is known");
  EXPECT_EQ(only_book(books).high->price, 99);
  EXPECT_EQ(only_book(books).low->price, 97);
}

TEST(Book, DoesNotKnowTheTimeOfALastSaleThatItIsOnlyTold) {
  Books books;
  apply_message(books, trade("0000900", 98, noon, '7'));
  const Message unknown = trade("0000800", 101, ten, '7');
  apply_message(books, cancel(unknown, day(99, 97, 97.5, '4')));
  EXPECT_EQ(apply_message(books, trade("0000901", 98, ten, '1')), Lines());
  EXPECT_EQ(only_book(books).last->price, 98);
}

TEST(Book, TakesHaltsAndTheClose) {
  Books books;
  apply_message(books, trade("0000001", 98, ten, '7'));
  Message halt = trade("", 0, ten, ' ');
  halt.kind = Kind::halt;
  halt.action = 'H';
  halt.reason = "T.1";
  apply_message(books, halt);
  EXPECT_TRUE(only_book(books).halted);
  EXPECT_EQ(only_book(books).halt_reason, "T.1");
  halt.action = 'R';
  apply_message(books, halt);
  EXPECT_FALSE(only_book(books).halted);
  Message summary = halt;
  summary.kind = Kind::summary;
  summary.day = day(98, 98, 97, ' ');
  EXPECT_EQ(apply_message(books, summary), (Lines{"last is 97.000000, the prints say 98.000000"}));
  EXPECT_EQ(only_book(books).close->price, 97);
}

TEST(Book, IsListedByName) {
  Books books;
  apply_message(books, trade("0000001", 98, ten, '7'));
  EXPECT_EQ(json_line(list_book("037833DT4", only_book(books))),
            R"({"cusip":"037833DT4","symbol":"AAPL 3.85 43","traded":true,"high":98.0,"high_yield":4.0,"low":98.0,)"
            R"("low_yield":4.0,"last":98.0,"last_yield":4.0,"prints":1,"halted":false})");
}

// The day as the publisher's rules give it when every live print is counted anew.
DayPrices recounted(const std::vector<Message>& live, const DayPrices& before) {
  DayPrices after;
  std::string last_at;
  for (const Message& print : live) {
    const double price = print.terms.price;
    const bool first = !after.last_yield;
    if (first || price > after.high) after.high = price;
    if (first || price < after.low) after.low = price;
    if (first || last_at <= print.terms.executed_at) {
      after.last = price;
      last_at = print.terms.executed_at;
    }
    after.high_yield = after.low_yield = after.last_yield = 4.0;
  }
  int bits =
      (after.high != before.high ? 4 : 0) + (after.low != before.low ? 2 : 0) + (after.last != before.last ? 1 : 0);
  if (after.last_yield.has_value() != before.last_yield.has_value()) bits = 7;
  after.change = static_cast<char>('0' + bits);
  return after;
}

std::string next_id(std::uint32_t& counter) {
  std::string id = std::to_string(++counter);
  return std::string(7 - id.size(), '0') + id;
}

// Removing one print must never need more than the book remembers: random days of trades, cancels and corrections with
// few different prices and times, so that ties are the rule.
TEST(Book, AgreesWithAPlainRecountOverRandomDays) {
  for (std::uint32_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    Books books;
    std::vector<Message> live;
    DayPrices before;
    std::uint32_t ids = 0;
    for (int i = 0; i < 120; ++i) {
      const auto price = static_cast<double>(95 + random() % 5);
      const unsigned act = random() % 4;
      Message message;
      if (act < 2 || live.empty()) {
        message = trade(next_id(ids), price, std::to_string(20240701100000 + random() % 6), ' ');
        live.push_back(message);
      } else {
        const auto at = live.begin() + static_cast<std::ptrdiff_t>(random() % live.size());
        const Message original = *at;
        live.erase(at);
        message = cancel(original, {});
        if (act == 3) {
          message = correction(original, next_id(ids), price, {});
          live.push_back(trade(message.trade_id, price, original.terms.executed_at, ' '));
        }
      }
      const DayPrices after = recounted(live, before);
      message.day = after;
      ASSERT_EQ(apply_message(books, message), Lines());
      ASSERT_EQ(only_book(books).prints.size(), live.size());
      before = after;
    }
  }
}

}  // namespace
}  // namespace vorbelctl
