#include "trades/records.h"

#include "btds/message_table.h"
#include "btds/trade_block.h"
#include "common/clocks.h"
#include "common/line_file.h"
#include "common/text_line.h"

namespace vorbeld {
namespace {

std::string_view flag_text(bool flag) {
  return flag ? "true" : "false";
}

}  // namespace

void start_truth(TextLine& line, std::uint64_t sequence, Kind kind, char type) {
  const KindRow& row = row_of(kind);
  clear(line);
  append(line, "{\"seq\":", Decimal{sequence}, ",\"cat\":\"", row.category, "\",\"type\":\"", type, "\",\"event\":\"",
         row.name, '"');
}

void append_trade_members(TextLine& line, const Bond& bond, std::uint64_t trade_id, const TradeRecord& record) {
  constexpr const auto& fields = layout::trade_body;
  const TradeBody& body = record.body;
  append(line, ",\"cusip\":\"", bond.cusip,                                        //
         "\",\"symbol\":\"", Escaped{bond.symbol},                                 //
         "\",\"trade_id\":\"", TradeId{trade_id},                                  //
         "\",\"qty\":", Fixed{disseminated_quantity(record, bond.high_yield), 2},  //
         ",\"capped\":", flag_text(record.capped),                                 //
         ",\"qty_ind\":\"", body_char(body, fields["quantity_indicator"]),         //
         "\",\"price\":", Fixed{record.price, 6}, ",\"yield\":");
  if (record.yield_wanted) {
    append(line, Fixed{record.yield, 6});
  } else {
    append(line, "null");
  }
  append(line, ",\"side\":\"", body_char(body, fields["side"]),           //
         "\",\"as_of\":\"", body_char(body, fields["as_of"]),             //
         "\",\"special\":\"", body_char(body, fields["special"]),         //
         "\",\"sale3\":\"", body_char(body, fields["sale_condition_3"]),  //
         "\",\"sale4\":\"", body_char(body, fields["sale_condition_4"]),  //
         "\",\"exec\":\"", body_text(body, fields["executed_at"]),        //
         "\",\"settle\":\"", body_text(body, fields["settlement"]),       //
         "\",\"remuneration\":\"", body_char(body, fields["remuneration"]), "\",\"rpt\":\"",
         body_char(body, fields["reporting_party"]),                   //
         "\",\"contra\":\"", body_char(body, fields["contra_party"]),  //
         "\",\"ats\":\"", body_char(body, fields["ats"]), '"');
}

void append_amendment_members(TextLine& line, std::uint64_t original_id, char function, char change) {
  append(line, ",\"orig_trade_id\":\"", TradeId{original_id}, "\",\"function\":\"", function, "\",\"change\":\"",
         change, '"');
}

void append_summary_member(TextLine& line, const Bond& bond) {
  append(line, ",\"summary\":{\"traded\":", flag_text(bond.prices.traded),  //
         ",\"high\":", Fixed{bond.prices.high, 6},                          //
         ",\"low\":", Fixed{bond.prices.low, 6},                            //
         ",\"last\":", Fixed{bond.prices.last, 6},                          //
         ",\"prints\":", Decimal{bond.prints}, '}');
}

void finish_truth(Engine& engine) {
  append(engine.line, "}\n");
  write_line(engine.truth, text(engine.line));
}

void write_mark(Engine& engine, std::string_view label, std::uint64_t sequence) {
  TextLine& line = engine.line;
  clear(line);
  append(line, "{\"mark\":\"", Escaped{label}, "\",\"seq\":", Decimal{sequence});
  finish_truth(engine);
}

void write_tape(Engine& engine, std::uint64_t sequence, std::uint64_t trade_id, const Bond& bond,
                const TradeInput& input, const TradeRecord& record) {
  if (!takes_lines(engine.tape)) return;
  constexpr const auto& fields = layout::trade_body;
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
         ",\"settle\":", body_text(record.body, fields["settlement"]),                             //
         ",\"trade_id\":\"", TradeId{trade_id},                                                    //
         "\",\"venue\":\"", Escaped{input.venue},                                                  //
         "\",\"where\":\"", Escaped{input.where}, "\"}\n");
  write_line(engine.tape, text(line));
}

}  // namespace vorbeld
