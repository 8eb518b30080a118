#include "trades/truth.h"

#include "common/text_line.h"

namespace vorbeld {
namespace {

std::string_view flag_text(bool flag) {
  return flag ? "true" : "false";
}

}  // namespace

void start_truth(TextLine& line, std::uint64_t sequence, char category, char type, std::string_view event) {
  clear(line);
  append(line, "{\"seq\":", Decimal{sequence}, ",\"cat\":\"", category, "\",\"type\":\"", type, "\",\"event\":\"",
         event, '"');
}

void append_trade_members(TextLine& line, const Bond& bond, std::uint64_t trade_id, const TradeRecord& record) {
  namespace fields = layout::trade_body;
  const TradeBody& body = record.body;
  append(line, ",\"cusip\":\"", bond.cusip,                                        //
         "\",\"symbol\":\"", Escaped{bond.symbol},                                 //
         "\",\"trade_id\":\"", TradeId{trade_id},                                  //
         "\",\"qty\":", Fixed{disseminated_quantity(record, bond.high_yield), 2},  //
         ",\"capped\":", flag_text(record.capped),                                 //
         ",\"qty_ind\":\"", body_char(body, fields::quantity_indicator),           //
         "\",\"price\":", Fixed{record.price, 6}, ",\"yield\":");
  if (record.yield_wanted) {
    append(line, Fixed{record.yield, 6});
  } else {
    append(line, "null");
  }
  append(line, ",\"side\":\"", body_char(body, fields::side),           //
         "\",\"as_of\":\"", body_char(body, fields::as_of),             //
         "\",\"special\":\"", body_char(body, fields::special),         //
         "\",\"sale3\":\"", body_char(body, fields::sale_condition_3),  //
         "\",\"sale4\":\"", body_char(body, fields::sale_condition_4),  //
         "\",\"exec\":\"", body_text(body, fields::executed_at),        //
         "\",\"settle\":\"", body_text(body, fields::settlement),       //
         "\",\"remuneration\":\"", body_char(body, fields::remuneration), "\",\"rpt\":\"",
         body_char(body, fields::reporting_party),                   //
         "\",\"contra\":\"", body_char(body, fields::contra_party),  //
         "\",\"ats\":\"", body_char(body, fields::ats), '"');
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

}  // namespace vorbeld
