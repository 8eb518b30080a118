#include "vorbelctl/audit/message_situations.h"

#include <charconv>
#include <optional>

namespace vorbelctl {
namespace {

char letter(const TruthRecord& record, RecordId name) {
  const std::string_view said = cell(record, name).text;
  return said.empty() ? ' ' : said.front();
}

void meet_control(Situations& situations, const MessageMet& message) {
  constexpr std::string_view codes = "IOCXJZ";
  static_assert(static_cast<std::size_t>(Situation::control_z) + 1 == codes.size());
  const std::size_t place = codes.find(message.record.type);
  if (place != codes.npos) meet(situations, static_cast<Situation>(place), message.sequence);
}

void meet_halt(Situations& situations, const MessageMet& message) {
  const bool halts = letter(message.record, "action") == 'H';
  const bool traded = message.book->prints.live != 0;
  meet(situations, halts ? Situation::halt : Situation::resume, message.sequence);
  if (halts) meet(situations, traded ? Situation::halt_traded : Situation::halt_untraded, message.sequence);
  if (!halts) meet(situations, traded ? Situation::resume_traded : Situation::resume_untraded, message.sequence);
}

void meet_trade(Situations& situations, const MessageMet& message) {
  constexpr double investment_grade_cap = 5'000'000;
  const TruthRecord& record = message.record;
  const auto meet_if = [&](bool is_met, Situation situation) {
    if (is_met) meet(situations, situation, message.sequence);
  };
  meet(situations, Situation::trade, message.sequence);
  const char as_of = letter(record, "as_of");
  const char condition_3 = letter(record, "sale_condition_3");
  meet_if(as_of == 'A', Situation::as_of);
  meet_if(as_of == 'R', Situation::reversal);
  meet_if(letter(record, "special") == 'Y', Situation::special_price);
  meet_if(condition_3 == 'Z', Situation::late_sale);
  meet_if(condition_3 == 'T', Situation::after_hours);
  meet_if(letter(record, "sale_condition_4") == 'W', Situation::weighted_average);
  meet_if(letter(record, "ats") == 'Y', Situation::ats);
  meet_if(!cell(record, "yield").said, Situation::yield_absent);
  if (letter(record, "quantity_indicator") != 'E') return;
  const bool investment_grade = cell(record, "quantity").number == investment_grade_cap;
  meet(situations, investment_grade ? Situation::capped_investment_grade : Situation::capped_high_yield,
       message.sequence);
}

// The situations of a cancel or of a correction.
struct AmendmentRows {
  Situation any;
  Situation high;
  Situation low;
  Situation last;
  Situation only;
  Situation earlier_day;
};
constexpr AmendmentRows cancel_rows{Situation::cancel,      Situation::cancel_high, Situation::cancel_low,
                                    Situation::cancel_last, Situation::cancel_only, Situation::cancel_earlier_day};
constexpr AmendmentRows correction_rows{Situation::correction,      Situation::correction_high,
                                        Situation::correction_low,  Situation::correction_last,
                                        Situation::correction_only, Situation::correction_earlier_day};

bool has_price(const std::optional<Sale>& sale, double price) {
  return sale && sale->price == price;
}

// The amended print stood here, and what stands here now is another price.
bool is_moved(const std::optional<Sale>& before, const std::optional<Sale>& after, double price) {
  return has_price(before, price) && after && after->price != price;
}

std::uint64_t digits_in(std::string_view text) {
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

void meet_print(Situations& situations, const MessageMet& message, const AmendmentRows& rows) {
  const BookBefore& before = message.before;
  if (before.prints == 0) return;
  if (before.prints == 1) return meet(situations, rows.only, message.sequence);
  const double price = number(message.expected, original_terms.price);
  const Day& after = message.book->day;
  if (is_moved(before.day.high, after.high, price)) meet(situations, rows.high, message.sequence);
  if (is_moved(before.day.low, after.low, price)) meet(situations, rows.low, message.sequence);
  const bool was_last = before.last_executed_at == digits_in(text(message.expected, original_terms.executed_at));
  if (was_last && is_moved(before.day.last, after.last, price)) meet(situations, rows.last, message.sequence);
}

void meet_amendment(Situations& situations, const MessageMet& message, const AmendmentRows& rows) {
  meet(situations, rows.any, message.sequence);
  if (code(message.expected, original_terms.as_of) != ' ') meet(situations, rows.earlier_day, message.sequence);
  if (is_last_sale(message.expected, original_terms)) meet_print(situations, message, rows);
  if (!message.book->day.last) meet(situations, Situation::yield_absent, message.sequence);
}

}  // namespace

void meet_message(Situations& situations, const MessageMet& message) {
  switch (message.record.row->kind) {
    case Kind::trade:
      return meet_trade(situations, message);
    case Kind::cancel:
      return meet_amendment(situations, message, cancel_rows);
    case Kind::correction:
      return meet_amendment(situations, message, correction_rows);
    case Kind::halt:
      return meet_halt(situations, message);
    case Kind::summary:
      return meet(situations, Situation::summary, message.sequence);
    case Kind::control:
      return meet_control(situations, message);
  }
}

}  // namespace vorbelctl
