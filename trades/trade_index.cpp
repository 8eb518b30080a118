#include "trades/trade_index.h"

#include "btds/message_table.h"

namespace vorbeld {

TradeRecord& record_trade(TradeIndex& trades) {
  return append(trades.records);
}

TradeRecord* find_trade(TradeIndex& trades, std::uint64_t trade_id) {
  if (trade_id == 0 || trade_id > newest_trade(trades)) return nullptr;
  return &trade(trades, trade_id);
}

void note_amendable(TradeIndex& trades, std::uint64_t trade_id) {
  TradeRecord& record = trade(trades, trade_id);
  if (body_char(record.body, layout::trade_body["as_of"]) != ' ') return;
  record.older_amendable = static_cast<std::uint32_t>(trades.newest_amendable);
  trades.newest_amendable = trade_id;
}

std::uint64_t latest_amendable(TradeIndex& trades) {
  // What is cancelled stays so, hence a trade passed over here is never looked at again.
  while (trades.newest_amendable != 0 && trade(trades, trades.newest_amendable).cancelled) {
    trades.newest_amendable = trade(trades, trades.newest_amendable).older_amendable;
  }
  return trades.newest_amendable;
}

}  // namespace vorbeld
