#include "trades/session.h"

#include <cstdio>

#include "btds/messages.h"
#include "common/llu.h"
#include "common/text_line.h"
#include "trades/truth.h"

namespace vorbeld {
namespace {

void write_summary_truth(Engine& engine, std::uint64_t sequence, const Bond& bond) {
  if (!takes_lines(engine.truth)) return;
  TextLine& line = engine.line;
  start_truth(line, sequence, 'A', 'E', "summary");
  append(line, ",\"cusip\":\"", bond.cusip,           //
         "\",\"symbol\":\"", Escaped{bond.symbol},    //
         "\",\"high\":", Fixed{bond.prices.high, 6},  //
         ",\"low\":", Fixed{bond.prices.low, 6},      //
         ",\"close\":", Fixed{bond.prices.last, 6});
  finish_truth(engine);
}

}  // namespace

void disseminate_control(Engine& engine, char code) {
  const std::uint64_t sequence = send_message(engine, encode_control(code, message_time_s()));
  if (takes_lines(engine.truth)) {
    start_truth(engine.line, sequence, 'C', code, "control");
    finish_truth(engine);
  }
  if (!engine.quiet) std::fprintf(stderr, "[vorbeld] #%llu control C/%c\n", Llu{sequence}, code);
}

void disseminate_summary(Engine& engine, const Bond& bond) {
  const auto message = encode_summary(names_of(bond), bond.prices, message_time_s());
  ++engine.counters.daily_summaries;
  write_summary_truth(engine, send_message(engine, message), bond);
}

void close_session(Engine& engine) {
  engine.session_closed = true;
  disseminate_control(engine, 'C');
  for (const Bond& bond : engine.universe.bonds) {
    if (bond.prices.traded) disseminate_summary(engine, bond);
  }
  for (const char code : {'X', 'J', 'Z'}) disseminate_control(engine, code);
  flush(engine.publisher);
  engine.publisher.last_send_ms = 0;
  engine.publisher.closed = true;
  std::fprintf(stderr, "[vorbeld] session closed: %llu daily summaries, end of session on the wire\n",
               Llu{engine.counters.daily_summaries});
}

}  // namespace vorbeld
