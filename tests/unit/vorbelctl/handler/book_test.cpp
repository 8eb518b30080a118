// Books rebuilt from messages: which trades count, what amendments undo, and what is said when a message disagrees.
#include "vorbelctl/handler/book.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <deque>
#include <random>
#include <utility>

namespace vorbelctl {
namespace {

using Lines = std::vector<std::string>;

constexpr std::string_view ten = "20240701100000";
constexpr std::string_view eleven = "20240701110000";
constexpr std::string_view noon = "20240701120000";

void put_text(Message& message, FieldId field, std::string_view text) {
  cell(message, field) = {text, 0, true};
}

void put_number(Message& message, FieldId field, double number) {
  cell(message, field) = {{}, number, true};
}

void put_change(Message& message, char change) {
  put_text(message, "change", vorbeld::layout::change_codes.substr(static_cast<std::size_t>(change - '0'), 1));
}

Message message_of(Kind kind) {
  Message message;
  message.row = &vorbeld::row_of(kind);
  put_text(message, "cusip", "037833DT4");
  put_text(message, "symbol", "AAPL 3.85 43");
  return message;
}

// The texts must outlive the message, as they must with all that follow.
Message trade(std::string_view id, double price, std::string_view executed_at, char change = '0') {
  Message message = message_of(Kind::trade);
  put_text(message, "trade_id", id);
  put_number(message, "price", price);
  put_number(message, "yield", 4.0);
  put_text(message, "executed_at", executed_at);
  put_change(message, change);
  return message;
}

// What a message says of the day after it; yields are 4 where there is a day.
struct SaidDay {
  double high = 0;
  double low = 0;
  double last = 0;
  char change = '0';
  bool empty = false;
};

void put_day(Message& message, const SaidDay& day) {
  put_number(message, "high", day.high);
  put_number(message, "low", day.low);
  put_number(message, "last", day.last);
  const Cell yield = day.empty ? Cell() : Cell{{}, 4.0, true};
  for (const FieldId field : {FieldId("high_yield"), FieldId("low_yield"), FieldId("last_yield")}) {
    cell(message, field) = yield;
  }
  put_change(message, day.change);
}

Message cancel(const Message& original, const SaidDay& after) {
  Message message = message_of(Kind::cancel);
  put_text(message, "original_id", text(original, "trade_id"));
  cell(message, "original_price") = cell(original, "price");
  cell(message, "original_yield") = cell(original, "yield");
  cell(message, "original_executed_at") = cell(original, "executed_at");
  cell(message, "original_as_of") = cell(original, "as_of");
  put_day(message, after);
  return message;
}

Message correction(const Message& original, std::string_view id, double price, const SaidDay& after) {
  Message message = cancel(original, after);
  message.row = &vorbeld::row_of(Kind::correction);
  put_text(message, "trade_id", id);
  put_number(message, "price", price);
  put_number(message, "yield", 4.0);
  cell(message, "executed_at") = cell(original, "executed_at");
  return message;
}

bool same_day(const Day& left, const Day& right) {
  return left.high == right.high && left.low == right.low && left.last == right.last;
}

Book& only_book(Books& books) {
  return books.begin()->second;
}

TEST(Book, StartsWithTheFirstLastSale) {
  Books books;
  EXPECT_EQ(apply_message(books, trade("0000001", 98, ten, '7')), Lines());
  const Book& book = only_book(books);
  EXPECT_EQ(book.day.high->price, 98);
  EXPECT_EQ(book.day.low->price, 98);
  EXPECT_EQ(book.day.last->price, 98);
  EXPECT_EQ(book.day.last->yield, 4.0);
  EXPECT_EQ(book.prints.live, 1U);
}

TEST(Book, MovesHighLowAndLast) {
  Books books;
  apply_message(books, trade("0000001", 98, ten, '7'));
  EXPECT_EQ(apply_message(books, trade("0000002", 99, eleven, '5')), Lines());
  EXPECT_EQ(apply_message(books, trade("0000003", 97, noon, '3')), Lines());
  EXPECT_EQ(apply_message(books, trade("0000004", 97, noon, '0')), Lines());
  const Book& book = only_book(books);
  EXPECT_EQ(book.day.high->price, 99);
  EXPECT_EQ(book.day.low->price, 97);
  EXPECT_EQ(book.day.last->price, 97);
  EXPECT_EQ(book.prints.live, 4U);
}

TEST(Book, KeepsTheLastSaleWhenATradeWasExecutedBefore) {
  Books books;
  apply_message(books, trade("0000001", 98, eleven, '7'));
  EXPECT_EQ(apply_message(books, trade("0000002", 99, ten, '4')), Lines());
  EXPECT_EQ(only_book(books).day.last->price, 98);
  EXPECT_EQ(only_book(books).day.high->price, 99);
}

TEST(Book, LeavesOutTradesThatAreNoLastSale) {
  struct Mark {
    FieldId field;
    const char* code;
  };
  for (const Mark& mark : {Mark{"as_of", "A"}, Mark{"as_of", "R"}, Mark{"special", "Y"}, Mark{"sale_condition_3", "T"},
                           Mark{"sale_condition_4", "W"}}) {
    Books books;
    Message message = trade("0000001", 98, ten, '0');
    put_text(message, mark.field, mark.code);
    EXPECT_EQ(apply_message(books, message), Lines());
    EXPECT_FALSE(only_book(books).day.last.has_value());
    EXPECT_EQ(only_book(books).trades, 1U);
  }
}

TEST(Book, CountsALateTrade) {
  Books books;
  Message message = trade("0000001", 98, ten, '7');
  put_text(message, "sale_condition_3", "Z");
  EXPECT_EQ(apply_message(books, message), Lines());
  EXPECT_EQ(only_book(books).day.last->price, 98);
}

TEST(Book, TakesNoNoticeOfAnAmendmentOfWhatIsNoLastSale) {
  Books books;
  apply_message(books, trade("0000001", 98, ten, '7'));
  Message as_of = trade("0000002", 99, ten);
  put_text(as_of, "as_of", "A");
  apply_message(books, as_of);
  EXPECT_EQ(apply_message(books, cancel(as_of, {98, 98, 98, '0'})), Lines());
  EXPECT_EQ(only_book(books).prints.live, 1U);
  EXPECT_EQ(only_book(books).cancels, 1U);
}

TEST(Book, GoesBackWhenTheHighIsCancelled) {
  Books books;
  apply_message(books, trade("0000001", 98, ten, '7'));
  const Message highest = trade("0000002", 99, eleven, '5');
  apply_message(books, highest);
  EXPECT_EQ(apply_message(books, cancel(highest, {98, 98, 98, '5'})), Lines());
  EXPECT_EQ(only_book(books).day.high->price, 98);
  EXPECT_EQ(only_book(books).prints.live, 1U);
  EXPECT_EQ(only_book(books).cancels, 1U);
}

TEST(Book, IsEmptyAgainWhenTheOnlyPrintIsCancelled) {
  Books books;
  const Message only = trade("0000001", 98, ten, '7');
  apply_message(books, only);
  EXPECT_EQ(apply_message(books, cancel(only, {0, 0, 0, '7', true})), Lines());
  EXPECT_FALSE(only_book(books).day.last.has_value());
  EXPECT_EQ(only_book(books).prints.live, 0U);
}

TEST(Book, PutsACorrectionBehindAllOtherPrints) {
  Books books;
  const Message first = trade("0000001", 98, ten, '7');
  apply_message(books, first);
  apply_message(books, trade("0000002", 99, ten, '5'));
  EXPECT_EQ(apply_message(books, correction(first, "0000003", 97, {99, 97, 97, '3'})), Lines());
  EXPECT_EQ(only_book(books).day.last->price, 97);
  EXPECT_EQ(only_book(books).prints.all.back().trade_id, 3U);
  EXPECT_EQ(only_book(books).corrections, 1U);
}

TEST(Book, FollowsTheMessageAndSaysWhereItDiffers) {
  Books books;
  apply_message(books, trade("0000001", 98, ten, '7'));
  EXPECT_EQ(apply_message(books, trade("0000002", 99, eleven, '1')), (Lines{"change is 1, the prints say 5"}));
  EXPECT_EQ(only_book(books).day.high->price, 98);
  EXPECT_EQ(only_book(books).day.last->price, 99);
}

TEST(Book, DoesNotInventAHighAfterALateStart) {
  Books books;
  apply_message(books, trade("0000900", 98, ten, '1'));
  EXPECT_FALSE(only_book(books).day.high.has_value());
  EXPECT_EQ(only_book(books).day.last->price, 98);
  const Message unknown = trade("0000800", 101, ten, '7');
  EXPECT_EQ(apply_message(books, cancel(unknown, {99, 97, 98, '4'})).front(),
            "original_id is 0000800, no such print is known");
  EXPECT_EQ(only_book(books).day.high->price, 99);
  EXPECT_EQ(only_book(books).day.low->price, 97);
}

TEST(Book, DoesNotKnowTheTimeOfALastSaleThatItIsOnlyTold) {
  Books books;
  apply_message(books, trade("0000900", 98, noon, '7'));
  const Message unknown = trade("0000800", 101, ten, '7');
  apply_message(books, cancel(unknown, {99, 97, 97.5, '4'}));
  EXPECT_EQ(apply_message(books, trade("0000901", 98, ten, '1')), Lines());
  EXPECT_EQ(only_book(books).day.last->price, 98);
}

TEST(Book, TakesHaltsAndTheClose) {
  Books books;
  apply_message(books, trade("0000001", 98, ten, '7'));
  Message halt = message_of(Kind::halt);
  put_text(halt, "action", "H");
  put_text(halt, "reason", "T.1");
  apply_message(books, halt);
  EXPECT_TRUE(only_book(books).halted);
  EXPECT_EQ(only_book(books).halt_reason, "T.1");
  put_text(halt, "action", "R");
  apply_message(books, halt);
  EXPECT_FALSE(only_book(books).halted);
  Message summary = message_of(Kind::summary);
  for (const FieldId field : {FieldId("high"), FieldId("low")}) put_number(summary, field, 98);
  put_number(summary, "close", 97);
  for (const FieldId field : {FieldId("high_yield"), FieldId("low_yield"), FieldId("close_yield")}) {
    put_number(summary, field, 4);
  }
  EXPECT_EQ(apply_message(books, summary), (Lines{"last is 97.000000, the prints say 98.000000"}));
  EXPECT_EQ(only_book(books).close->price, 97);
}

TEST(Book, IsNotMadeByAControlMessage) {
  Books books;
  EXPECT_EQ(apply_message(books, Message()), Lines());
  EXPECT_TRUE(books.empty());
}

TEST(Book, IsListedByName) {
  Books books;
  apply_message(books, trade("0000001", 98, ten, '7'));
  EXPECT_EQ(json_line(list_book("037833DT4", only_book(books))),
            R"({"cusip":"037833DT4","symbol":"AAPL 3.85 43","traded":true,"high":98.0,"high_yield":4.0,"low":98.0,)"
            R"("low_yield":4.0,"last":98.0,"last_yield":4.0,"prints":1,"halted":false})");
}

TEST(Book, WithoutPricesIsListedEmpty) {
  EXPECT_EQ(json_line(list_book("037833DT4", Book())),
            R"({"cusip":"037833DT4","symbol":"","traded":false,"high":null,"high_yield":null,"low":null,)"
            R"("low_yield":null,"last":null,"last_yield":null,"prints":0,"halted":false})");
}

Day day_of(double high, double low, double last) {
  return {Sale{high, 4}, Sale{low, 4}, Sale{last, 4}};
}

TEST(Change, NamesWhatChanged) {
  const Day day = day_of(99, 97, 98);
  EXPECT_EQ(change_between(day, day), '0');
  EXPECT_EQ(change_between(day, day_of(99, 97, 98.5)), '1');
  EXPECT_EQ(change_between(day, day_of(99, 96, 98)), '2');
  EXPECT_EQ(change_between(day, day_of(99, 96, 96)), '3');
  EXPECT_EQ(change_between(day, day_of(100, 97, 98)), '4');
  EXPECT_EQ(change_between(day, day_of(100, 97, 100)), '5');
  EXPECT_EQ(change_between(day, day_of(98, 98, 98)), '6');
  EXPECT_EQ(change_between(day, day_of(96, 96, 96)), '7');
}

TEST(Change, IsEverythingWhenADayBeginsOrBecomesEmpty) {
  EXPECT_EQ(change_between({}, day_of(98, 98, 98)), '7');
  EXPECT_EQ(change_between(day_of(98, 98, 98), {}), '7');
  EXPECT_EQ(change_between({}, {}), '0');
}

TEST(Change, TakesNoNoticeOfYields) {
  const Day other{Sale{99, 5}, Sale{97, {}}, Sale{98, -1}};
  EXPECT_EQ(change_between(day_of(99, 97, 98), other), '0');
}

TEST(Count, IsByThePrintsAlone) {
  Book book;
  EXPECT_EQ(count_message(book, trade("0000001", 98, ten, '0')), '7');
  const Message highest = trade("0000002", 99, eleven, '0');
  EXPECT_EQ(count_message(book, highest), '5');
  EXPECT_EQ(count_message(book, message_of(Kind::halt)), '0');
  EXPECT_EQ(count_message(book, message_of(Kind::summary)), '0');
  EXPECT_EQ(count_message(book, cancel(highest, {1, 1, 1, '0'})), '5');
  EXPECT_TRUE(same_day(book.day, day_of(98, 98, 98)));
}

TEST(Count, TakesEachPrintAwayOnce) {
  Book book;
  const Message first = trade("0000001", 98, ten);
  count_message(book, first);
  count_message(book, trade("0000002", 98, ten));
  EXPECT_EQ(count_message(book, cancel(first, {})), '0');
  EXPECT_EQ(count_message(book, cancel(first, {})), '0');
  EXPECT_EQ(book.prints.live, 1U);
}

TEST(Count, LeavesPrintsWithoutAYieldWithoutOne) {
  Book book;
  Message message = trade("0000001", 98, ten);
  cell(message, "yield") = {};
  count_message(book, message);
  EXPECT_EQ(book.day.high, (Sale{98, {}}));
}

TEST(Count, FindsPrintsWhoseIdsBeganAgain) {
  Book book;
  const Message before = trade("9999999", 98, ten);
  const Message after = trade("0000000", 99, ten);
  const Message much_later = trade("9999998", 97, ten);
  const Message round_again = trade("0000005", 96, ten);
  for (const Message* const message : {&before, &after, &much_later, &round_again}) count_message(book, *message);
  EXPECT_EQ(book.prints.all[1].trade_id, 10'000'000U);
  EXPECT_EQ(book.prints.all[2].trade_id, 19'999'998U);
  EXPECT_EQ(book.prints.all[3].trade_id, 20'000'005U);
  count_message(book, cancel(after, {}));
  EXPECT_TRUE(same_day(book.day, day_of(98, 96, 96)));
  count_message(book, cancel(before, {}));
  EXPECT_TRUE(same_day(book.day, day_of(97, 96, 96)));
  EXPECT_EQ(book.prints.live, 2U);
}

TEST(Count, OfTwoPrintsWithOneIdTakesTheNewerAway) {
  Book book;
  const Message old = trade("0000003", 98, ten);
  count_message(book, old);
  count_message(book, trade("0000002", 97, ten));
  count_message(book, trade("0000003", 99, ten));
  count_message(book, cancel(old, {}));
  EXPECT_TRUE(same_day(book.day, day_of(98, 97, 97)));
  count_message(book, cancel(old, {}));
  EXPECT_TRUE(same_day(book.day, day_of(97, 97, 97)));
}

// One print as the plain replay keeps it. Each has a yield of its own, so that equal prices are told apart.
struct PlainPrint {
  Message message;
  std::uint64_t executed_at = 0;
};

// A day as the publisher's rules give it when every live print is gone through anew, oldest first.
Day replayed(const std::vector<PlainPrint>& live) {
  Day day;
  std::uint64_t last_at = 0;
  for (const PlainPrint& print : live) {
    const Sale sale{number(print.message, "price"), number(print.message, "yield")};
    if (!day.high || sale.price > day.high->price) day.high = sale;
    if (!day.low || sale.price < day.low->price) day.low = sale;
    if (!day.last || last_at <= print.executed_at) {
      day.last = sale;
      last_at = print.executed_at;
    }
  }
  return day;
}

char plain_change(const Day& before, const Day& after) {
  if (before.last.has_value() != after.last.has_value()) return '7';
  if (!before.last) return '0';
  const int bits = (before.high->price != after.high->price ? 4 : 0) + (before.low->price != after.low->price ? 2 : 0) +
                   (before.last->price != after.last->price ? 1 : 0);
  return static_cast<char>('0' + bits);
}

struct Draws {
  std::mt19937 random;
  std::uint64_t first_id = 1;
  std::uint64_t ids_between = 1;  // up to so many trades of other bonds between two of this one
  unsigned prices = 5;            // so many different ones
  unsigned times = 6;
  unsigned amendments = 50;  // percent
};

// Random messages of one bond, with the prints that are live after each of them.
struct Replay {
  Draws draws;
  std::uint64_t next_id = draws.first_id;
  std::deque<std::string> texts{};  // of all messages; never moved
  std::vector<PlainPrint> live{};   // in the order in which they were made

  explicit Replay(Draws chosen) : draws(std::move(chosen)) {}
};

std::string_view kept(Replay& replay, std::string text) {
  return replay.texts.emplace_back(std::move(text));
}

std::string_view draw_id(Replay& replay) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%07u", static_cast<unsigned>(replay.next_id % 10'000'000));
  replay.next_id += 1 + replay.draws.random() % replay.draws.ids_between;
  return kept(replay, text.data());
}

double draw_price(Replay& replay) {
  return 95 + static_cast<double>(replay.draws.random() % replay.draws.prices) / 4;
}

Message with_own_yield(const Replay& replay, Message message) {
  put_number(message, "yield", static_cast<double>(replay.texts.size()));
  return message;
}

Message next_message(Replay& replay) {
  auto& random = replay.draws.random;
  if (replay.live.empty() || random() % 100 >= replay.draws.amendments) {
    const std::uint64_t executed_at = 20240701100000 + random() % replay.draws.times;
    const std::string_view id = draw_id(replay);
    const Message message =
        with_own_yield(replay, trade(id, draw_price(replay), kept(replay, std::to_string(executed_at))));
    replay.live.push_back({message, executed_at});
    return message;
  }
  const auto place = replay.live.begin() + static_cast<std::ptrdiff_t>(random() % replay.live.size());
  const PlainPrint original = *place;
  replay.live.erase(place);
  if (random() % 2 == 0) return cancel(original.message, {});
  const std::string_view id = draw_id(replay);
  const Message message = with_own_yield(replay, correction(original.message, id, draw_price(replay), {}));
  replay.live.push_back({message, original.executed_at});
  return message;
}

// What differs between the prints and the plain replay after one of so many messages; empty: nothing.
std::string difference_in(const Draws& draws, int messages) {
  Replay replay(draws);
  Book book;
  Day before;
  for (int i = 0; i < messages; ++i) {
    const Message message = next_message(replay);
    const char change = count_message(book, message);
    const Day after = replayed(replay.live);
    const std::string where = " of message " + std::to_string(i) + ", a " + std::string(message.row->name);
    if (change != plain_change(before, after)) return "change" + where;
    if (!same_day(book.day, after)) return "day" + where;
    if (book.prints.live != replay.live.size()) return "prints" + where;
    before = after;
  }
  return "";
}

TEST(Prints, AgreeWithAPlainReplayOverManyShortDays) {
  for (std::uint32_t seed = 1; seed <= 300; ++seed) {
    Draws draws{std::mt19937(seed)};
    draws.amendments = 30 + seed % 40;
    ASSERT_EQ(difference_in(draws, 120), "") << "seed " << seed;
  }
}

TEST(Prints, AgreeWithAPlainReplayOverThousandsOfThem) {
  for (std::uint32_t seed = 1; seed <= 4; ++seed) {
    Draws draws{std::mt19937(seed)};
    draws.prices = seed % 2 == 0 ? 3 : 40;
    draws.times = seed < 3 ? 4 : 100000;
    draws.amendments = 10;
    ASSERT_EQ(difference_in(draws, 4000), "") << "seed " << seed;
  }
}

TEST(Prints, AgreeWithAPlainReplayWhereBlocksBecomeEmpty) {
  for (std::uint32_t seed = 1; seed <= 4; ++seed) {
    Draws draws{std::mt19937(seed)};
    draws.amendments = 66;
    ASSERT_EQ(difference_in(draws, 4000), "") << "seed " << seed;
  }
}

TEST(Prints, AgreeWithAPlainReplayWhereIdsBeginAgain) {
  for (std::uint32_t seed = 1; seed <= 10; ++seed) {
    Draws draws{std::mt19937(seed)};
    draws.first_id = 9'999'000;
    draws.ids_between = 10;
    draws.amendments = 40;
    ASSERT_EQ(difference_in(draws, 1000), "") << "seed " << seed;
  }
}

TEST(Prints, AreCountedByBlocks) {
  Book book;
  Replay replay(Draws{std::mt19937(1)});
  replay.draws.amendments = 0;
  for (std::size_t i = 0; i < 2 * Prints::block_size + 1; ++i) count_message(book, next_message(replay));
  EXPECT_EQ(book.prints.blocks.size(), 3U);
}

// What messages say of the day is what follows from the prints, and nothing is found wrong with it.
TEST(Book, HasNothingToSayOfARightDay) {
  for (std::uint32_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Replay replay(Draws{std::mt19937(seed)});
    Books books;
    Day before;
    for (int i = 0; i < 120; ++i) {
      Message message = next_message(replay);
      const Day after = replayed(replay.live);
      if (kind_of(message) == Kind::trade) {
        put_change(message, plain_change(before, after));
      } else {
        const bool empty = !after.last;
        put_day(message, {empty ? 0 : after.high->price, empty ? 0 : after.low->price, empty ? 0 : after.last->price,
                          plain_change(before, after), empty});
      }
      ASSERT_EQ(apply_message(books, message), Lines());
      ASSERT_EQ(only_book(books).prints.live, replay.live.size());
      before = after;
    }
  }
}

}  // namespace
}  // namespace vorbelctl
