#include "trades/amendment.h"

#include <cstdio>

#include "btds/price_change.h"
#include "btds/trade_block.h"
#include "common/line_file.h"
#include "common/numbers.h"
#include "common/text_line.h"
#include "trades/bonds.h"
#include "trades/book.h"
#include "trades/records.h"
#include "trades/trade.h"
#include "trades/trade_index.h"
#include "trades/trade_messages.h"

namespace vorbeld {
namespace {

// The record of a trade that can still be amended, or null.
TradeRecord* find_live(Engine& engine, std::uint64_t trade_id) {
  TradeRecord* const record = find_trade(engine.trades, trade_id);
  return record == nullptr || record->cancelled || session_closed(engine) ? nullptr : record;
}

void take_out_of_book(Bond& bond, TradeRecord& record) {
  record.cancelled = true;
  if (record.last_sale_eligible) --bond.prints;
}

TradeRecord& keep_replacement(Engine& engine, Bond& bond, const TradeRecord& original, double price, double quantity,
                              std::int64_t now_s) {
  TradeRecord& record = record_trade(engine.trades);
  const std::uint64_t trade_id = newest_trade(engine.trades);
  record.bond = original.bond;
  record.quantity = quantity;
  record.price = price;
  record.yield = trade_yield(bond, price, original.yield_wanted);
  record.yield_wanted = original.yield_wanted;
  record.capped = exceeds_cap(quantity, bond.high_yield);
  record.last_sale_eligible = original.last_sale_eligible;
  record.exec_s = original.exec_s;
  record.report_s = static_cast<std::uint64_t>(now_s);
  record.body = original.body;
  encode_amounts(record.body, bond.high_yield, price, quantity, sent_yield(record));
  note_amendable(engine.trades, trade_id);
  if (record.last_sale_eligible) keep_print(bond, engine.trades, trade_id);
  return record;
}

void write_cancel_truth(Engine& engine, std::uint64_t sequence, std::uint64_t original_id, char change) {
  if (!takes_lines(engine.truth)) return;
  TextLine& line = engine.line;
  start_truth(line, sequence, Kind::cancel, type_of(Kind::cancel));
  append_amendment_members(line, original_id, 'C', change);
  finish_truth(engine);
}

void write_correction_truth(Engine& engine, std::uint64_t sequence, std::uint64_t original_id, std::uint64_t new_id,
                            const Bond& bond, const TradeRecord& record, char change) {
  if (!takes_lines(engine.truth)) return;
  TextLine& line = engine.line;
  start_truth(line, sequence, Kind::correction, type_of(Kind::correction));
  append_trade_members(line, bond, new_id, record);
  append_amendment_members(line, original_id, 'N', change);
  append_summary_member(line, bond);
  finish_truth(engine);
}

}  // namespace

bool cancel_trade(Engine& engine, std::uint64_t trade_id) {
  TradeRecord* const record = find_live(engine, trade_id);
  if (record == nullptr) return false;
  Bond& bond = engine.universe.bonds[record->bond];
  const DayPrices previous = bond.prices;
  take_out_of_book(bond, *record);
  if (record->last_sale_eligible) rebuild_book(bond, engine.trades);
  ++engine.counters.cancels;

  const auto message = encode_cancel(bond, trade_id, *record, previous, message_time_s());
  const std::uint64_t sequence = send_message(engine, message);
  const char change = change_indicator(bond.prices, previous);
  write_cancel_truth(engine, sequence, trade_id, change);
  if (!engine.quiet) {
    std::fprintf(stderr, "[vorbeld] #%llu T/N cancel of %07llu %s change %c\n", Llu{sequence}, Llu{trade_id},
                 bond.cusip.c_str(), change);
  }
  return true;
}

bool correct_trade(Engine& engine, std::uint64_t trade_id, double new_price, double new_quantity) {
  TradeRecord* const original = find_live(engine, trade_id);
  if (original == nullptr) return false;
  Bond& bond = engine.universe.bonds[original->bond];
  const std::int64_t now_s = message_time_s();
  const DayPrices previous = bond.prices;
  take_out_of_book(bond, *original);
  const TradeRecord& record = keep_replacement(engine, bond, *original, new_price, new_quantity, now_s);
  const std::uint64_t new_id = newest_trade(engine.trades);
  if (record.last_sale_eligible) rebuild_book(bond, engine.trades);
  ++engine.counters.corrections;

  const auto message = encode_correction(bond, trade_id, *original, new_id, record.body, previous, now_s);
  const std::uint64_t sequence = send_message(engine, message);
  const char change = change_indicator(bond.prices, previous);
  write_correction_truth(engine, sequence, trade_id, new_id, bond, record, change);
  if (!engine.quiet) {
    std::fprintf(stderr, "[vorbeld] #%llu T/O correction of %07llu → %07llu %s %.0f @%.6f change %c\n", Llu{sequence},
                 Llu{trade_id}, Llu{new_id}, bond.cusip.c_str(), new_quantity, new_price, change);
  }
  return true;
}

}  // namespace vorbeld
