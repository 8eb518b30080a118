#include "trades/tape.h"

#include "common/clocks.h"
#include "common/text_line.h"

namespace vorbeld {

void write_tape(Engine& engine, std::uint64_t sequence, std::uint64_t trade_id, const Bond& bond,
                const TradeInput& input, const TradeRecord& record) {
  if (!takes_lines(engine.tape)) return;
  namespace fields = layout::trade_body;
  const TradeTerms& terms = input.terms;
  const std::uint64_t lag_ms = input.report_ms > input.exec_ms ? input.report_ms - input.exec_ms : 0;

  const char cap = !record.capped ? '0' : bond.high_yield ? '1' : '5';

  TextLine& line = engine.line;
  clear(line);
  append(line, "{\"seq\":", Decimal{sequence},                                                     //
         ",\"ts_ms\":", Decimal{wall_ms()},                                                        //
         ",\"cusip\":\"", bond.cusip,                                                              //
         "\",\"symbol\":\"", Escaped{bond.symbol},                                                 //
         "\",\"price\":", Fixed{terms.price, 6},                                                   //
         ",\"quantity\":", Fixed{disseminated_quantity(record, bond.high_yield), 0},               //
         ",\"cap\":\"", cap,                                                                       //
         "\",\"side\":\"", terms.side,                                                             //
         "\",\"reporting_party\":\"", terms.reporting_party,                                       //
         "\",\"contra_party\":\"", terms.contra_party,                                             //
         "\",\"exec_ts_ms\":", Decimal{input.exec_ms == 0 ? terms.exec_s * 1000 : input.exec_ms},  //
         ",\"report_lag_ms\":", Decimal{lag_ms},                                                   //
         ",\"settle\":", body_text(record.body, fields::settlement),                               //
         ",\"trade_id\":\"", TradeId{trade_id},                                                    //
         "\",\"venue\":\"", Escaped{input.venue},                                                  //
         "\",\"where\":\"", Escaped{input.where}, "\"}\n");
  write_line(engine.tape, text(line));
}

}  // namespace vorbeld
