#include "vorbelctl/handler/book.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>

namespace vorbelctl {
namespace {

using Differences = std::vector<std::string>;

enum ChangeBit : unsigned { last_bit = 1, low_bit = 2, high_bit = 4, all_bits = 7 };

struct Prices {
  std::optional<Sale> high;
  std::optional<Sale> low;
  std::optional<Sale> last;
};

Prices prices_of(const Book& book) {
  return {book.high, book.low, book.last};
}

bool same_price(const std::optional<Sale>& left, const std::optional<Sale>& right) {
  return left.has_value() == right.has_value() && (!left || left->price == right->price);
}

// The change indicator from one state of the day to another.
unsigned change_between(const Prices& before, const Prices& after) {
  if (before.last.has_value() != after.last.has_value()) return all_bits;
  return (same_price(before.high, after.high) ? 0U : high_bit) | (same_price(before.low, after.low) ? 0U : low_bit) |
         (same_price(before.last, after.last) ? 0U : last_bit);
}

void differ(Differences& differences, const std::string& name, const std::string& claimed, const std::string& counted) {
  if (claimed != counted) differences.push_back(name + " is " + claimed + ", the prints say " + counted);
}

std::string price_text(const std::optional<Sale>& sale) {
  return value_text(Number{sale ? sale->price : 0.0, 6});
}

// The number that decoded digits stand for; at most fourteen of them.
template <class Number>
Number number_of(std::string_view digits) {
  Number number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

// A print moves high and low by its price alone; it becomes the last sale unless it was executed before the one that
// is, however late it was reported.
void count_print(Book& book, const Print& print) {
  const Sale sale{print.price, print.yield};
  if (!book.high || sale.price > book.high->price) book.high = sale;
  if (!book.low || sale.price < book.low->price) book.low = sale;
  if (!book.last || book.last_executed_at <= print.executed_at) {
    book.last = sale;
    book.last_executed_at = print.executed_at;
  }
}

void recount(Book& book) {
  book.high = book.low = book.last = std::nullopt;
  book.last_executed_at = 0;
  for (const Print& print : book.prints) count_print(book, print);
}

void add_print(Book& book, const std::string& trade_id, const TradeTerms& terms) {
  book.prints.push_back(
      {number_of<std::uint32_t>(trade_id), number_of<std::uint64_t>(terms.executed_at), terms.price, terms.yield});
}

bool knows_print(const Book& book, std::uint32_t trade_id) {
  return std::any_of(book.prints.rbegin(), book.prints.rend(),
                     [&](const Print& print) { return print.trade_id == trade_id; });
}

// Takes the print out of the book and counts the others again where it can matter. Searched from the newest on, because
// amendments follow their trades closely.
void remove_print(Book& book, std::uint32_t trade_id) {
  const auto found = std::find_if(book.prints.rbegin(), book.prints.rend(),
                                  [&](const Print& print) { return print.trade_id == trade_id; });
  if (found == book.prints.rend()) return;
  const Print removed = *found;
  book.prints.erase(std::next(found).base());
  const auto is_at = [&](const std::optional<Sale>& sale) { return !sale || sale->price == removed.price; };
  if (is_at(book.high) || is_at(book.low) || book.last_executed_at <= removed.executed_at) recount(book);
}

// Takes the prints that the message brings or withdraws into the book.
void count_prints(Book& book, const Message& message) {
  if (message.kind == Kind::trade) ++book.trades;
  if (message.kind == Kind::cancel) ++book.cancels;
  if (message.kind == Kind::correction) ++book.corrections;
  const bool amends = message.kind == Kind::cancel || message.kind == Kind::correction;
  const bool brings = message.kind == Kind::trade || message.kind == Kind::correction;
  if (amends && is_last_sale(message.original)) remove_print(book, number_of<std::uint32_t>(message.original_id));
  if (brings && is_last_sale(message.terms)) {
    add_print(book, message.trade_id, message.terms);
    count_print(book, book.prints.back());
  }
}

void apply_trade(Book& book, const Message& message, Differences& differences) {
  const Prices before = prices_of(book);
  const char counted = count_message(book, message).change;
  if (is_last_sale(message.terms) && message.day.change != counted) {
    // The publisher knows prints that have not been seen here: only what it says has changed, has.
    const auto claimed = static_cast<unsigned>(message.day.change - '0');
    const Sale sale{message.terms.price, message.terms.yield};
    book.high = (claimed & high_bit) != 0 ? sale : before.high;
    book.low = (claimed & low_bit) != 0 ? sale : before.low;
    book.last = (claimed & last_bit) != 0 ? sale : before.last;
  }
  differ(differences, "change", std::string(1, message.day.change), std::string(1, counted));
}

void follow_day(Book& book, const DayPrices& day) {
  // An empty day has no yields; one that trades always has all three.
  const auto sale = [&](double price, const std::optional<double>& yield) {
    return day.last_yield ? std::optional<Sale>(Sale{price, yield}) : std::nullopt;
  };
  book.high = sale(day.high, day.high_yield);
  book.low = sale(day.low, day.low_yield);
  const auto last = sale(day.last, day.last_yield);
  if (!same_price(book.last, last)) book.last_executed_at = 0;
  book.last = last;
}

void compare_day(const Book& book, const DayPrices& day, Differences& differences) {
  const auto compare = [&](const std::string& name, double claimed, const std::optional<Sale>& counted) {
    differ(differences, name, value_text(Number{claimed, 6}), price_text(counted));
  };
  compare("high", day.high, book.high);
  compare("low", day.low, book.low);
  compare("last", day.last, book.last);
}

void apply_amendment(Book& book, const Message& message, Differences& differences) {
  if (is_last_sale(message.original) && !knows_print(book, number_of<std::uint32_t>(message.original_id))) {
    differences.push_back("original_id is " + message.original_id + ", no such print is known");
  }
  const char counted = count_message(book, message).change;
  compare_day(book, message.day, differences);
  differ(differences, "change", std::string(1, message.day.change), std::string(1, counted));
  follow_day(book, message.day);
}

}  // namespace

bool is_last_sale(const TradeTerms& terms) {
  return terms.as_of == ' ' && terms.special != 'Y' &&
         (terms.sale_condition_3 == ' ' || terms.sale_condition_3 == 'Z') && terms.sale_condition_4 == ' ';
}

DayPrices count_message(Book& book, const Message& message) {
  const Prices before = prices_of(book);
  count_prints(book, message);
  DayPrices day;
  const auto put = [](const std::optional<Sale>& sale, double& price, std::optional<double>& yield) {
    if (!sale) return;
    price = sale->price;
    yield = sale->yield;
  };
  put(book.high, day.high, day.high_yield);
  put(book.low, day.low, day.low_yield);
  put(book.last, day.last, day.last_yield);
  day.change = static_cast<char>('0' + change_between(before, prices_of(book)));
  return day;
}

std::vector<std::string> apply_message(Books& books, const Message& message) {
  Differences differences;
  if (message.kind == Kind::control) return differences;
  Book& book = books[message.cusip];
  book.symbol = message.symbol;
  switch (message.kind) {
    case Kind::trade:
      apply_trade(book, message, differences);
      break;
    case Kind::cancel:
    case Kind::correction:
      apply_amendment(book, message, differences);
      break;
    case Kind::halt:
      book.halted = message.action == 'H';
      book.halt_reason = message.reason;
      break;
    case Kind::summary:
      compare_day(book, message.day, differences);
      follow_day(book, message.day);
      book.close = book.last;
      break;
    case Kind::control:
      break;
  }
  return differences;
}

FieldList list_book(const std::string& cusip, const Book& book) {
  const auto price = [](const std::optional<Sale>& sale) { return sale ? Value(Number{sale->price, 6}) : Value(); };
  const auto yield = [](const std::optional<Sale>& sale) {
    return sale && sale->yield ? Value(Number{*sale->yield, 6}) : Value();
  };
  return {{"cusip", cusip},
          {"symbol", book.symbol},
          {"traded", book.high || book.low || book.last || !book.prints.empty()},
          {"high", price(book.high)},
          {"high_yield", yield(book.high)},
          {"low", price(book.low)},
          {"low_yield", yield(book.low)},
          {"last", price(book.last)},
          {"last_yield", yield(book.last)},
          {"prints", std::uint64_t{book.prints.size()}},
          {"halted", book.halted}};
}

}  // namespace vorbelctl
