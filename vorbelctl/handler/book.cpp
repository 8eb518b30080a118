#include "vorbelctl/handler/book.h"

#include <algorithm>
#include <string_view>

namespace vorbelctl {
namespace {

using Differences = std::vector<std::string>;

enum ChangeBit : unsigned { last_bit = 1, low_bit = 2, high_bit = 4, all_bits = 7 };

// The ids that messages carry begin again after this many trades.
constexpr std::uint64_t ids_on_the_wire = 10'000'000;

bool same_price(const std::optional<Sale>& left, const std::optional<Sale>& right) {
  return left.has_value() == right.has_value() && (!left || left->price == right->price);
}

void differ(Differences& differences, const std::string& name, const std::string& claimed, const std::string& counted) {
  if (claimed != counted) differences.push_back(name + " is " + claimed + ", the prints say " + counted);
}

std::string price_text(const std::optional<Sale>& sale) {
  return value_text(Number{sale ? sale->price : 0.0, 6});
}

// Of the digits that the text begins with.
std::uint64_t digits_of(std::string_view digits) {
  std::uint64_t number = 0;
  const auto end = std::find_if_not(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
  return read_digits({digits.begin(), end}, number) ? number : 0;
}

std::optional<double> said_number(const Cell& cell) {
  return cell.said ? std::optional(cell.number) : std::nullopt;
}

Sale sale_of(const Print& print) {
  return {print.price, print.yield};
}

// The whole id of a new print, whose low digits the message tells: the next one that ends with them.
std::uint64_t next_id(const Prints& prints, std::uint64_t low_digits) {
  if (prints.all.empty()) return low_digits;
  const std::uint64_t newest = prints.all.back().trade_id;
  const std::uint64_t round = newest - newest % ids_on_the_wire;
  return low_digits > newest % ids_on_the_wire ? round + low_digits : round + ids_on_the_wire + low_digits;
}

// The newest live print whose id ends with these digits, or null.
Print* find_print(Prints& prints, std::uint64_t low_digits) {
  if (prints.all.empty()) return nullptr;
  const std::uint64_t newest = prints.all.back().trade_id;
  std::uint64_t id = newest - newest % ids_on_the_wire + low_digits;
  if (id > newest && id >= ids_on_the_wire) id -= ids_on_the_wire;
  for (;; id -= ids_on_the_wire) {
    const auto found =
        std::lower_bound(prints.all.begin(), prints.all.end(), id,
                         [](const Print& print, std::uint64_t wanted) { return print.trade_id < wanted; });
    if (found != prints.all.end() && found->trade_id == id && found->live) return &*found;
    if (id < ids_on_the_wire) return nullptr;
  }
}

// Of two prints the earlier one stays high or low, and the later one is last.
void consider(const Prints& prints, Prints::Block& best, std::uint32_t place) {
  const Print& print = prints.all[place];
  if (best.high == Prints::none || print.price > prints.all[best.high].price) best.high = place;
  if (best.low == Prints::none || print.price < prints.all[best.low].price) best.low = place;
  if (best.last == Prints::none || prints.all[best.last].executed_at <= print.executed_at) best.last = place;
}

void add_print(Prints& prints, const Print& print) {
  const auto place = static_cast<std::uint32_t>(prints.all.size());
  prints.all.push_back(print);
  if (place % Prints::block_size == 0) prints.blocks.emplace_back();
  consider(prints, prints.blocks.back(), place);
  ++prints.live;
}

void withdraw_print(Prints& prints, Print& print) {
  print.live = false;
  --prints.live;
  const auto place = static_cast<std::size_t>(&print - prints.all.data());
  Prints::Block& block = prints.blocks[place / Prints::block_size];
  if (place != block.high && place != block.low && place != block.last) return;
  block = {};
  const std::size_t begin = place / Prints::block_size * Prints::block_size;
  const std::size_t end = std::min(begin + Prints::block_size, prints.all.size());
  for (std::size_t i = begin; i < end; ++i) {
    if (prints.all[i].live) consider(prints, block, static_cast<std::uint32_t>(i));
  }
}

// Tells the day again by what the blocks have at hand.
void recount(Book& book) {
  const Prints& prints = book.prints;
  Prints::Block best;
  for (const Prints::Block& block : prints.blocks) {
    if (block.high == Prints::none) continue;
    consider(prints, best, block.high);
    consider(prints, best, block.low);
    consider(prints, best, block.last);
  }
  book.day = {};
  book.last_executed_at = 0;
  if (best.high == Prints::none) return;
  book.day = {sale_of(prints.all[best.high]), sale_of(prints.all[best.low]), sale_of(prints.all[best.last])};
  book.last_executed_at = prints.all[best.last].executed_at;
}

// A print moves high and low by its price alone; it becomes the last sale unless it was executed before the one that
// is, however late it was reported.
void count_print(Book& book, const Message& message) {
  const Print print{next_id(book.prints, digits_of(text(message, "trade_id"))),
                    digits_of(text(message, own_terms.executed_at)), number(message, own_terms.price),
                    said_number(cell(message, own_terms.yield))};
  add_print(book.prints, print);
  Day& day = book.day;
  if (!day.high || print.price > day.high->price) day.high = sale_of(print);
  if (!day.low || print.price < day.low->price) day.low = sale_of(print);
  if (!day.last || book.last_executed_at <= print.executed_at) {
    day.last = sale_of(print);
    book.last_executed_at = print.executed_at;
  }
}

// Takes the print out of the book and tells the day again where that can matter.
void remove_print(Book& book, const Message& message) {
  Print* const print = find_print(book.prints, digits_of(text(message, "original_id")));
  if (print == nullptr) return;
  withdraw_print(book.prints, *print);
  const auto is_at = [&](const std::optional<Sale>& sale) { return !sale || sale->price == print->price; };
  if (is_at(book.day.high) || is_at(book.day.low) || book.last_executed_at <= print->executed_at) recount(book);
}

// What a message says of its bond's day. `last`: the name of the last sale in a message of its kind.
struct ClaimedDay {
  Day day;
  bool empty = false;  // it says that there is no live print
};

ClaimedDay claimed_day(const Message& message) {
  const bool closing = kind_of(message) == Kind::summary;
  const auto sale = [&](FieldId price, FieldId yield) {
    return Sale{number(message, price), said_number(cell(message, yield))};
  };
  const Sale last = closing ? sale("close", "close_yield") : sale("last", "last_yield");
  return {{sale("high", "high_yield"), sale("low", "low_yield"), last}, !last.yield.has_value()};
}

void compare_day(const Day& counted, const ClaimedDay& claimed, Differences& differences) {
  differ(differences, "high", price_text(claimed.day.high), price_text(counted.high));
  differ(differences, "low", price_text(claimed.day.low), price_text(counted.low));
  differ(differences, "last", price_text(claimed.day.last), price_text(counted.last));
}

// An empty day has no yields; one that trades always has all three.
void follow_day(Book& book, const ClaimedDay& claimed) {
  const Day day = claimed.empty ? Day() : claimed.day;
  if (!same_price(book.day.last, day.last)) book.last_executed_at = 0;
  book.day = day;
}

void differ_in_change(Differences& differences, const Message& message, char counted) {
  differ(differences, "change", std::string(1, code(message, "change")), std::string(1, counted));
}

void apply_trade(Book& book, const Message& message, Differences& differences) {
  const Day before = book.day;
  const char counted = count_message(book, message);
  const char change = code(message, "change");
  if (is_last_sale(message, own_terms) && change != counted) {
    // The publisher knows prints that have not been seen here: only what it says has changed, has.
    const auto claimed = static_cast<unsigned>(change - '0');
    const Sale sale{number(message, "price"), said_number(cell(message, "yield"))};
    book.day.high = (claimed & high_bit) != 0 ? sale : before.high;
    book.day.low = (claimed & low_bit) != 0 ? sale : before.low;
    book.day.last = (claimed & last_bit) != 0 ? sale : before.last;
  }
  differ_in_change(differences, message, counted);
}

void apply_amendment(Book& book, const Message& message, Differences& differences) {
  const std::string_view original_id = text(message, "original_id");
  if (is_last_sale(message, original_terms) && find_print(book.prints, digits_of(original_id)) == nullptr) {
    differences.push_back("original_id is " + std::string(original_id) + ", no such print is known");
  }
  const char counted = count_message(book, message);
  const ClaimedDay claimed = claimed_day(message);
  compare_day(book.day, claimed, differences);
  differ_in_change(differences, message, counted);
  follow_day(book, claimed);
}

void apply_summary(Book& book, const Message& message, Differences& differences) {
  const ClaimedDay claimed = claimed_day(message);
  compare_day(book.day, claimed, differences);
  follow_day(book, claimed);
  book.close = book.day.last;
}

}  // namespace

bool is_last_sale(const Message& message, const PrintFields& terms) {
  const char condition_3 = code(message, terms.sale_condition_3);
  return code(message, terms.as_of) == ' ' && code(message, terms.special) != 'Y' &&
         (condition_3 == ' ' || condition_3 == 'Z') && code(message, terms.sale_condition_4) == ' ';
}

char change_between(const Day& before, const Day& after) {
  unsigned bits = all_bits;
  if (before.last.has_value() == after.last.has_value()) {
    bits = (same_price(before.high, after.high) ? 0U : high_bit) | (same_price(before.low, after.low) ? 0U : low_bit) |
           (same_price(before.last, after.last) ? 0U : last_bit);
  }
  return static_cast<char>('0' + bits);
}

char count_message(Book& book, const Message& message) {
  const Day before = book.day;
  const Kind kind = kind_of(message);
  if (kind == Kind::trade) ++book.trades;
  if (kind == Kind::cancel) ++book.cancels;
  if (kind == Kind::correction) ++book.corrections;
  if (amends(kind) && is_last_sale(message, original_terms)) remove_print(book, message);
  if (brings_trade(kind) && is_last_sale(message, own_terms)) count_print(book, message);
  return change_between(before, book.day);
}

std::vector<std::string> apply_message(Books& books, const Message& message) {
  Differences differences;
  if (kind_of(message) == Kind::control) return differences;
  Book& book = books[std::string(text(message, "cusip"))];
  book.symbol = text(message, "symbol");
  switch (kind_of(message)) {
    case Kind::trade:
      apply_trade(book, message, differences);
      break;
    case Kind::cancel:
    case Kind::correction:
      apply_amendment(book, message, differences);
      break;
    case Kind::halt:
      book.halted = code(message, "action") == 'H';
      book.halt_reason = text(message, "reason");
      break;
    case Kind::summary:
      apply_summary(book, message, differences);
      break;
    case Kind::control:
      break;
  }
  return differences;
}

FieldList list_book(const std::string& cusip, const Book& book) {
  const Day& day = book.day;
  const auto price = [](const std::optional<Sale>& sale) { return sale ? Value(Number{sale->price, 6}) : Value(); };
  const auto yield = [](const std::optional<Sale>& sale) {
    return sale && sale->yield ? Value(Number{*sale->yield, 6}) : Value();
  };
  return {{"cusip", cusip},
          {"symbol", book.symbol},
          {"traded", day.high || day.low || day.last || book.prints.live != 0},
          {"high", price(day.high)},
          {"high_yield", yield(day.high)},
          {"low", price(day.low)},
          {"low_yield", yield(day.low)},
          {"last", price(day.last)},
          {"last_yield", yield(day.last)},
          {"prints", book.prints.live},
          {"halted", book.halted}};
}

}  // namespace vorbelctl
