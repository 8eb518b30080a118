#include "trades/halt.h"

#include <cstdio>
#include <string>

#include "btds/messages.h"
#include "common/text_line.h"
#include "trades/truth.h"

namespace vorbeld {
namespace {

void write_truth(Engine& engine, std::uint64_t sequence, const Bond& bond, char action, std::string_view reason,
                 std::string_view at) {
  if (!takes_lines(engine.truth)) return;
  TextLine& line = engine.line;
  start_truth(line, sequence, 'A', 'H', "halt");
  append(line, ",\"cusip\":\"", bond.cusip,         //
         "\",\"symbol\":\"", Escaped{bond.symbol},  //
         "\",\"action\":\"", action,                //
         "\",\"reason\":\"", reason,                //
         "\",\"at\":\"", at, '"');
  finish_truth(engine);
}

}  // namespace

void disseminate_halt(Engine& engine, Bond& bond, char action, std::string_view reason) {
  namespace fields = layout::halt;
  const auto message = encode_halt(names_of(bond), action, reason, message_time_s());
  bond.halted = action == 'H';
  ++engine.counters.halts;
  const std::uint64_t sequence = send_message(engine, message);
  write_truth(engine, sequence, bond, action, reason,
              {message.data() + fields::action_at.offset, fields::action_at.width});
  if (!engine.quiet) {
    std::fprintf(stderr, "[vorbeld] #%llu A/H %s %s %.*s\n", static_cast<unsigned long long>(sequence),
                 action == 'H' ? "halt" : "resume", bond.cusip.c_str(), static_cast<int>(reason.size()), reason.data());
  }
}

}  // namespace vorbeld
