#include "trades/trade_index.h"

namespace vorbeld {

TradeRecord& record_trade(TradeIndex& trades) {
  return append(trades.records);
}

TradeRecord* find_trade(TradeIndex& trades, std::uint64_t trade_id) {
  if (trade_id == 0 || trade_id > newest_trade(trades)) return nullptr;
  return &trade(trades, trade_id);
}

}  // namespace vorbeld
