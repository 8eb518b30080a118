#include "trades/trade.h"

#include <cstdio>

#include "btds/trade_block.h"
#include "common/line_file.h"
#include "common/numbers.h"
#include "common/text_line.h"
#include "trades/bonds.h"
#include "trades/book.h"
#include "trades/records.h"
#include "trades/trade_messages.h"

namespace vorbeld {
namespace {

// Returns the trade id of a refused trade.
std::uint64_t refuse(Engine& engine) {
  if (++engine.suppressed == 1) {
    std::fputs("[vorbeld] the session is closed: trades reported now are not disseminated\n", stderr);
  }
  return 0;
}

bool is_last_sale_eligible(const TradeTerms& terms) {
  return terms.as_of == ' ' && terms.special != 'Y' &&
         (terms.sale_condition_3 == ' ' || terms.sale_condition_3 == 'Z') && terms.sale_condition_4 == ' ';
}

TradeRecord& keep_record(Engine& engine, const TradeTerms& terms, std::uint32_t position, std::int64_t now_s) {
  const Bond& bond = engine.universe.bonds[position];
  TradeRecord& record = record_trade(engine.trades);
  record.bond = position;
  record.quantity = terms.quantity;
  record.price = terms.price;
  record.yield = trade_yield(bond, terms.price, terms.yield_wanted);
  record.yield_wanted = terms.yield_wanted;
  record.capped = exceeds_cap(terms.quantity, bond.high_yield);
  record.last_sale_eligible = is_last_sale_eligible(terms);
  record.exec_s = terms.exec_s;
  record.report_s = static_cast<std::uint64_t>(now_s);
  encode_trade_block(record.body, bond.high_yield, terms, sent_yield(record));
  return record;
}

char update_book(Engine& engine, Bond& bond, std::uint64_t trade_id, const TradeRecord& record) {
  if (!record.last_sale_eligible) return '0';
  const char change = apply_print(bond, record.price, record.yield, record.exec_s);
  keep_print(bond, engine.trades, trade_id);
  return change;
}

void count_trade(RunCounters& counters, const TradeInput& input, const TradeRecord& record) {
  ++counters.reports;
  if (record.capped) ++counters.capped;
  if (input.terms.as_of != ' ') ++counters.as_of;
  if (const auto venue = counters.by_venue.find(input.venue); venue != counters.by_venue.end()) {
    ++venue->second;
  } else {
    counters.by_venue.emplace(input.venue, 1);
  }
}

void write_truth(Engine& engine, std::uint64_t sequence, std::uint64_t trade_id, const Bond& bond,
                 const TradeRecord& record, char change) {
  if (!takes_lines(engine.truth)) return;
  TextLine& line = engine.line;
  start_truth(line, sequence, Kind::trade, type_of(Kind::trade));
  append_trade_members(line, bond, trade_id, record);
  append(line, ",\"change\":\"", change, '"');
  append_summary_member(line, bond);
  finish_truth(engine);
}

void print_trade(std::uint64_t sequence, std::uint64_t trade_id, const Bond& bond, const TradeTerms& terms, bool capped,
                 char change) {
  std::fprintf(stderr, "[vorbeld] #%llu T/M %07llu %s %s %.0f%s @%.6f %c%c%c%c %c/%c%s change %c\n", Llu{sequence},
               Llu{trade_id}, bond.cusip.c_str(), bond.symbol.c_str(), terms.quantity, capped ? " (capped)" : "",
               terms.price, terms.side, terms.as_of, terms.sale_condition_3, terms.sale_condition_4,
               terms.reporting_party, terms.contra_party, terms.ats == 'Y' ? " ATS" : "", change);
}

}  // namespace

double trade_yield(const Bond& bond, double price, bool wanted) {
  return wanted && price > 0 ? 100 * bond.coupon / price : 0;
}

std::optional<double> sent_yield(const TradeRecord& record) {
  return record.yield_wanted ? std::optional(record.yield) : std::nullopt;
}

std::uint64_t disseminate_trade(Engine& engine, const TradeInput& input) {
  if (session_closed(engine)) return refuse(engine);
  return disseminate_trade(engine, find_or_add_bond(engine.universe, input.cusip, input.symbol, false), input);
}

std::uint64_t disseminate_trade(Engine& engine, std::uint32_t position, const TradeInput& input) {
  if (session_closed(engine)) return refuse(engine);
  Bond& bond = engine.universe.bonds[position];
  const std::int64_t now_s = message_time_s();
  TradeRecord& record = keep_record(engine, input.terms, position, now_s);
  const std::uint64_t trade_id = newest_trade(engine.trades);
  note_amendable(engine.trades, trade_id);
  const char change = update_book(engine, bond, trade_id, record);
  count_trade(engine.counters, input, record);

  const auto message = encode_trade(bond, trade_id, input, record.body, change, now_s);
  const std::uint64_t sequence = send_message(engine, message);
  write_truth(engine, sequence, trade_id, bond, record, change);
  write_tape(engine, sequence, trade_id, bond, input, record);
  if (!engine.quiet) print_trade(sequence, trade_id, bond, input.terms, record.capped, change);
  return trade_id;
}

}  // namespace vorbeld
