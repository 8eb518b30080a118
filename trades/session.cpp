#include "trades/session.h"

#include <cstdint>
#include <cstdio>
#include <string>

#include "btds/message_table.h"
#include "btds/messages.h"
#include "common/line_file.h"
#include "common/numbers.h"
#include "common/text_line.h"
#include "feed/publisher.h"
#include "trades/bonds.h"
#include "trades/records.h"

namespace vorbeld {
namespace {

void write_halt_truth(Engine& engine, std::uint64_t sequence, const Bond& bond, char action, std::string_view reason,
                      std::string_view at) {
  if (!takes_lines(engine.truth)) return;
  TextLine& line = engine.line;
  start_truth(line, sequence, Kind::halt, type_of(Kind::halt));
  append(line, ",\"cusip\":\"", bond.cusip,         //
         "\",\"symbol\":\"", Escaped{bond.symbol},  //
         "\",\"action\":\"", action,                //
         "\",\"reason\":\"", reason,                //
         "\",\"at\":\"", at, '"');
  finish_truth(engine);
}

void write_summary_truth(Engine& engine, std::uint64_t sequence, const Bond& bond) {
  if (!takes_lines(engine.truth)) return;
  TextLine& line = engine.line;
  start_truth(line, sequence, Kind::summary, type_of(Kind::summary));
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
    start_truth(engine.line, sequence, Kind::control, code);
    finish_truth(engine);
  }
  if (!engine.quiet) std::fprintf(stderr, "[vorbeld] #%llu control C/%c\n", Llu{sequence}, code);
}

void disseminate_halt(Engine& engine, Bond& bond, char action, std::string_view reason) {
  constexpr const auto& fields = layout::halt;
  const auto message = encode_halt(names_of(bond), action, reason, message_time_s());
  bond.halted = action == 'H';
  ++engine.counters.halts;
  const std::uint64_t sequence = send_message(engine, message);
  write_halt_truth(engine, sequence, bond, action, reason,
                   {message.data() + fields["action_at"].offset, fields["action_at"].width});
  if (!engine.quiet) {
    std::fprintf(stderr, "[vorbeld] #%llu A/H %s %s %.*s\n", Llu{sequence}, action == 'H' ? "halt" : "resume",
                 bond.cusip.c_str(), static_cast<int>(reason.size()), reason.data());
  }
}

void disseminate_summary(Engine& engine, const Bond& bond) {
  const auto message = encode_summary(names_of(bond), bond.prices, message_time_s());
  ++engine.counters.daily_summaries;
  write_summary_truth(engine, send_message(engine, message), bond);
}

void close_session(Engine& engine) {
  disseminate_control(engine, 'C');
  for (const Bond& bond : engine.universe.bonds) {
    if (bond.prices.traded) disseminate_summary(engine, bond);
  }
  for (const char code : {'X', 'J', 'Z'}) disseminate_control(engine, code);
  end_session(engine.publisher);
  std::fprintf(stderr, "[vorbeld] session closed: %llu daily summaries, end of session on the wire\n",
               Llu{engine.counters.daily_summaries});
}

}  // namespace vorbeld
