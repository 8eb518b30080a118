#include "trades/generator.h"

#include <cmath>
#include <cstddef>

#include "btds/trade_block.h"
#include "common/clocks.h"
#include "trades/bonds.h"
#include "trades/trade.h"
#include "trades/trade_index.h"

namespace vorbeld {
namespace {

bool due(std::uint32_t every, std::uint64_t number) {
  return every != 0 && number % every == 0;
}

// `count` equally likely whole numbers from 0; one draw.
double draw_below(Chance& chance, double count) {
  return std::trunc(draw(chance) * count);
}

std::uint64_t draw_seconds(Chance& chance, double below) {
  return static_cast<std::uint64_t>(draw_below(chance, below));
}

// To three decimals, halves away from zero.
double round_price(double thousandfold) {
  return std::round(thousandfold) / 1000;
}

// Two draws: the step of the mid price (at most 0.02 %), the trade's distance from it (at most 0.15 %).
double walk_price(Chance& chance, double& mid) {
  mid = mid + (draw(chance) - 0.5) * (0.0004 * mid);
  return round_price(((draw(chance) - 0.5) * (0.003 * mid) + mid) * 1000);
}

// Two draws: the size class, the size in it. The largest class always exceeds the cap.
double draw_quantity(Chance& chance, bool high_yield) {
  const double size_class = draw(chance);
  if (size_class < 0.45) return (draw_below(chance, 99) + 1) * 1'000;
  if (size_class < 0.85) return (draw_below(chance, 9) + 1) * 100'000;
  if (size_class < 0.93) return (draw_below(chance, 4) + 1) * 1'000'000;
  return (draw(chance) * 3 + 1.2) * quantity_cap(high_yield);
}

// One draw for a trade between dealers; for one with a customer also the side, the contra party and one or two for the
// remuneration.
void draw_parties(Chance& chance, TradeTerms& terms) {
  if (draw(chance) < 0.35) {
    terms.side = 'S';
    terms.contra_party = 'D';
    return;
  }
  terms.side = draw(chance) < 0.5 ? 'B' : 'S';
  terms.contra_party = draw(chance) < 0.9 ? 'C' : 'A';
  if (draw(chance) < 0.5) {
    terms.remuneration = 'M';
  } else {
    terms.remuneration = draw(chance) < 0.5 ? 'C' : 'N';
  }
}

void shape_ats(const GeneratorPeriods& periods, std::uint64_t number, TradeTerms& terms) {
  if (!due(periods.ats_every, number)) return;
  terms.contra_party = 'D';
  terms.reporting_party = 'T';
  terms.ats = 'Y';
  terms.remuneration = ' ';
}

// One draw for the execution time, one more for an as-of trade.
void draw_times(Generator& generator, std::uint64_t now_s, TradeInput& input) {
  constexpr std::uint64_t day_s = 86400;
  TradeTerms& terms = input.terms;
  terms.exec_s = now_s - draw_seconds(generator.chance, 600);
  terms.settle_s = now_s + day_s;
  if (due(generator.periods.asof_every, generator.generated)) {
    terms.as_of = 'A';
    terms.exec_s = now_s - day_s - draw_seconds(generator.chance, 20000);
  } else if (due(generator.periods.reversal_every, generator.generated)) {
    terms.as_of = 'R';
    terms.exec_s = now_s - 2 * day_s;
    input.orig_trade_date_s = now_s - 2 * day_s;
  }
}

void shape_conditions(const GeneratorPeriods& periods, std::uint64_t number, std::uint64_t now_s, TradeTerms& terms) {
  constexpr std::uint64_t late_s = 3600;
  if (due(periods.special_every, number)) {
    terms.special = 'Y';
    terms.price = round_price(0.9 * terms.price * 1000);
  }
  if (due(periods.late_every, number)) {
    terms.sale_condition_3 = 'Z';
    terms.exec_s = now_s - late_s;
  } else if (due(periods.after_hours_every, number)) {
    terms.sale_condition_3 = 'T';
  }
  if (due(periods.wavg_every, number)) terms.sale_condition_4 = 'W';
}

// One draw when a cancel or correction is scheduled: 1.5 to 3 s from now.
void schedule_follow_up(Generator& generator, std::uint64_t trade_id, PendingAmendments& pending) {
  const bool cancel = due(generator.periods.cancel_every, generator.generated);
  if (!cancel && !due(generator.periods.correct_every, generator.generated)) return;
  const std::uint64_t now_ms = monotonic_ms();
  const auto delay_ms = static_cast<std::uint64_t>(draw_below(generator.chance, 1500)) + 1500;
  pending.push_back({now_ms + delay_ms, cancel ? Amendment::cancel : Amendment::correction, trade_id});
}

}  // namespace

void generate_trade(Generator& generator, Engine& engine, PendingAmendments& pending) {
  auto& bonds = engine.universe.bonds;
  if (bonds.empty()) return;
  const auto pick = static_cast<std::size_t>(draw_below(generator.chance, static_cast<double>(bonds.size())));
  Bond& bond = bonds[pick % bonds.size()];
  if (bond.halted) return;
  const std::uint64_t number = ++generator.generated;

  TradeInput input{.cusip = bond.cusip, .symbol = bond.symbol, .venue = "SYN", .where = "away", .terms = {}};
  input.terms.price = walk_price(generator.chance, bond.mid);
  input.terms.quantity = draw_quantity(generator.chance, bond.high_yield);
  draw_parties(generator.chance, input.terms);
  shape_ats(generator.periods, number, input.terms);
  const std::uint64_t now_s = wall_ms() / 1000;
  draw_times(generator, now_s, input);
  shape_conditions(generator.periods, number, now_s, input.terms);
  input.exec_ms = input.terms.exec_s * 1000;
  input.report_ms = wall_ms();

  schedule_follow_up(generator, disseminate_trade(engine, input), pending);
}

}  // namespace vorbeld
