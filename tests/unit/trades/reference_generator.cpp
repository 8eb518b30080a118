#include "tests/unit/trades/reference_generator.h"

#include <cmath>

namespace vorbeld {
namespace {

constexpr std::uint64_t day_s = 86400;

bool divides(std::uint32_t period, std::uint64_t number) {
  return period != 0 && number % period == 0;
}

void draw_price(ReferenceGenerator& generator, ReferenceTrade& trade) {
  double& mid = generator.bonds[trade.bond].mid;
  const double step = next_draw(generator.random) - 0.5;
  mid = mid + step * (0.0004 * mid);
  const double distance = next_draw(generator.random) - 0.5;
  trade.price = std::round((distance * (0.003 * mid) + mid) * 1000) / 1000;
}

void draw_quantity(ReferenceGenerator& generator, ReferenceTrade& trade) {
  const double bucket = next_draw(generator.random);
  const double amount = next_draw(generator.random);
  if (bucket < 0.45) {
    trade.quantity = (std::trunc(amount * 99) + 1) * 1000;
  } else if (bucket < 0.85) {
    trade.quantity = (std::trunc(amount * 9) + 1) * 100'000;
  } else if (bucket < 0.93) {
    trade.quantity = (std::trunc(amount * 4) + 1) * 1'000'000;
  } else {
    trade.quantity = (amount * 3 + 1.2) * (generator.bonds[trade.bond].high_yield ? 1'000'000 : 5'000'000);
  }
}

void draw_parties(ReferenceGenerator& generator, ReferenceTrade& trade) {
  if (next_draw(generator.random) < 0.35) return;  // between dealers
  trade.side = next_draw(generator.random) < 0.5 ? 'B' : 'S';
  trade.contra_party = next_draw(generator.random) < 0.9 ? 'C' : 'A';
  trade.remuneration = 'M';
  if (next_draw(generator.random) >= 0.5) trade.remuneration = next_draw(generator.random) < 0.5 ? 'C' : 'N';
}

void draw_times(ReferenceGenerator& generator, ReferenceTrade& trade) {
  trade.executed_ago_s = static_cast<std::uint64_t>(next_draw(generator.random) * 600);
  if (divides(generator.periods.asof_every, generator.count)) {
    trade.as_of = 'A';
    trade.executed_ago_s = day_s + static_cast<std::uint64_t>(next_draw(generator.random) * 20'000);
  } else if (divides(generator.periods.reversal_every, generator.count)) {
    trade.as_of = 'R';
    trade.executed_ago_s = 2 * day_s;
    trade.reversed_ago_s = 2 * day_s;
  }
}

void shape(const ReferenceGenerator& generator, ReferenceTrade& trade) {
  const GeneratorPeriods& periods = generator.periods;
  if (divides(periods.special_every, generator.count)) {
    trade.special = 'Y';
    trade.price = std::round(0.9 * trade.price * 1000) / 1000;
  }
  if (divides(periods.late_every, generator.count)) {
    trade.sale_condition_3 = 'Z';
    trade.executed_ago_s = 3600;
  } else if (divides(periods.after_hours_every, generator.count)) {
    trade.sale_condition_3 = 'T';
  }
  if (divides(periods.wavg_every, generator.count)) trade.sale_condition_4 = 'W';
}

void draw_follow_up(ReferenceGenerator& generator, ReferenceTrade& trade) {
  if (divides(generator.periods.cancel_every, generator.count)) {
    trade.follow_up = 'C';
  } else if (divides(generator.periods.correct_every, generator.count)) {
    trade.follow_up = 'O';
  } else {
    return;
  }
  trade.follow_up_in_ms = 1500 + static_cast<std::uint64_t>(next_draw(generator.random) * 1500);
}

}  // namespace

double next_draw(std::mt19937_64& random) {
  const double quotient = std::ldexp(static_cast<double>(random()), -64);
  return quotient < 1 ? quotient : std::nextafter(1.0, 0.0);
}

std::optional<ReferenceTrade> reference_step(ReferenceGenerator& generator) {
  if (generator.bonds.empty()) return std::nullopt;
  ReferenceTrade trade;
  const auto bonds = static_cast<double>(generator.bonds.size());
  trade.bond = static_cast<std::size_t>(next_draw(generator.random) * bonds) % generator.bonds.size();
  if (generator.bonds[trade.bond].halted) return std::nullopt;
  ++generator.count;
  draw_price(generator, trade);
  draw_quantity(generator, trade);
  draw_parties(generator, trade);
  if (divides(generator.periods.ats_every, generator.count)) {
    trade.contra_party = 'D';
    trade.reporting_party = 'T';
    trade.ats = 'Y';
    trade.remuneration = ' ';
  }
  draw_times(generator, trade);
  shape(generator, trade);
  draw_follow_up(generator, trade);
  return trade;
}

}  // namespace vorbeld
