#include "vorbelctl/audit/rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "vorbelctl/audit/eastern_time.h"

namespace vorbelctl {
namespace {

using vorbeld::Kind;

constexpr std::int64_t day_s = 86400;

// Between a look at the clock and the sending behind it a process may be stopped.
constexpr std::int64_t stall_s = 60;

// Numbers are formatted into 32 bytes, the last of which ends the text.
constexpr std::size_t most_number_bytes = 31;

// Decimals beyond the ones that are written may hide below half a unit of the last.
constexpr double price_unit = 1e-6;
constexpr double quantity_unit = 1e-2;

// Above, a double has no room for the decimals that the rules look at.
constexpr double most_exact = 1e8;

char code_of(const TruthRecord& record, RecordId name) {
  const std::string_view text = cell(record, name).text;
  return text.empty() ? ' ' : text.front();
}

Kind kind_of(const Ruled& ruled) {
  return ruled.record.row->kind;
}

bool brings(const Ruled& ruled) {
  return brings_trade(kind_of(ruled));
}

Breach breach(std::string_view field, std::string_view received) {
  return {field, shown(received)};
}

Breach breach(const Ruled& ruled, std::string_view field, RecordId name) {
  return breach(field, cell(ruled.record, name).text);
}

// The day: I and O, then the market, then C, the summaries, X, J and Z, then halts at most.

Breach opens_the_day(const Rules& /*rules*/, const Ruled& ruled) {
  const bool control = kind_of(ruled) == Kind::control;
  const char type = ruled.record.type;
  const bool first = control && type == 'I';
  const bool second = control && type == 'O';
  if (first == (ruled.sequence == 1) && second == (ruled.sequence == 2)) return {};
  return breach("type", fmt::format("{}/{}", ruled.record.category, type));
}

// Whether a control message may follow the one before it.
bool control_follows(char before, char type) {
  constexpr std::string_view order = "IOCXJZ";
  const std::size_t place = order.find(type);
  return place == 0 || (place != std::string_view::npos && order[place - 1] == before);
}

Breach keeps_the_order_of_the_day(const Rules& rules, const Ruled& ruled) {
  if (rules.stage == ' ') return {};
  bool fits = true;
  switch (kind_of(ruled)) {
    case Kind::control:
      fits = control_follows(rules.stage, ruled.record.type);
      break;
    case Kind::summary:
      fits = rules.stage == 'C';
      break;
    case Kind::halt:
      fits = rules.stage == 'O' || rules.stage == 'Z';
      break;
    case Kind::trade:
    case Kind::cancel:
    case Kind::correction:
      fits = rules.stage == 'O';
      break;
  }
  if (fits) return {};
  return breach("event", fmt::format("{}/{} after C/{}", ruled.record.category, ruled.record.type, rules.stage));
}

Breach sums_up_what_traded(const Rules& /*rules*/, const Ruled& ruled) {
  if (kind_of(ruled) != Kind::summary || ruled.prints.value_or(1) != 0) return {};
  return breach(ruled, "cusip", "cusip");
}

Breach sums_up_once(const Rules& /*rules*/, const Ruled& ruled) {
  if (kind_of(ruled) != Kind::summary || !ruled.bond->summed_up) return {};
  return breach(ruled, "cusip", "cusip");
}

Breach sums_up_all(const Rules& /*rules*/, const Ruled& ruled) {
  if (ruled.unsummed.empty()) return {};
  return breach("event", fmt::format("C/X without the summary of {}", ruled.unsummed));
}

// Trades, whoever made them.

Breach carries_a_yield(const Rules& /*rules*/, const Ruled& ruled) {
  if (!brings(ruled) || cell(ruled.record, "yield").said) return {};
  return breach("yield", "-");
}

// The range in which the product of price and yield lies, as far as their decimals tell.
struct Product {
  double least = 0;
  double most = 0;
};

// Nothing where the product does not tell the coupon: the yield of a price that is not positive is zero.
std::optional<Product> product_of(const TruthRecord& trade) {
  const double price = cell(trade, "price").number;
  const double yield = cell(trade, "yield").number;
  const bool tells =
      cell(trade, "yield").said && price > price_unit && price < most_exact && std::fabs(yield) < most_exact;
  if (!tells) return {};
  constexpr double hidden = 0.5001 * price_unit;
  const double product = price * yield;
  const double slack = hidden * (price + std::fabs(yield) + hidden) + 1e-12 * std::fabs(product);
  return Product{product - slack, product + slack};
}

Breach keeps_the_coupon(const Rules& /*rules*/, const Ruled& ruled) {
  if (!brings(ruled)) return {};
  const auto product = product_of(ruled.record);
  if (!product || (product->least <= ruled.bond->most_product && product->most >= ruled.bond->least_product)) return {};
  const double coupon = (ruled.bond->least_product + ruled.bond->most_product) / 2;
  return breach("yield", fmt::format("{}, not {:.6f}", cell(ruled.record, "yield").text,
                                     coupon / cell(ruled.record, "price").number));
}

Breach has_no_yield_without_a_price(const Rules& /*rules*/, const Ruled& ruled) {
  if (!brings(ruled) || !(cell(ruled.record, "price").number < 0) || cell(ruled.record, "yield").number == 0) return {};
  return breach(ruled, "yield", "yield");
}

Breach caps_what_is_large(const Rules& /*rules*/, const Ruled& ruled) {
  if (!brings(ruled)) return {};
  constexpr double largest_cap = 5e6;
  const double quantity = cell(ruled.record, "quantity").number;
  const double cap = ruled.bond->cap == 0 ? largest_cap : ruled.bond->cap;
  const bool capped = code_of(ruled.record, "quantity_indicator") == 'E';
  const bool fits = capped ? (ruled.bond->cap == 0 || quantity == cap) && ruled.bond->largest_uncapped <= quantity
                           : !(quantity > cap + quantity_unit);
  return fits ? Breach{} : breach(ruled, "quantity", "quantity");
}

Breach pays_dealers_nothing(const Rules& /*rules*/, const Ruled& ruled) {
  if (!brings(ruled)) return {};
  const bool dealer = code_of(ruled.record, "contra_party") == 'D';
  if (dealer == (code_of(ruled.record, "remuneration") == ' ')) return {};
  return breach(ruled, "remuneration", "remuneration");
}

Breach sells_to_dealers(const Rules& /*rules*/, const Ruled& ruled) {
  const bool between_dealers =
      brings(ruled) && code_of(ruled.record, "contra_party") == 'D' && code_of(ruled.record, "ats") == ' ';
  if (!between_dealers || code_of(ruled.record, "side") == 'S') return {};
  return breach(ruled, "side", "side");
}

Breach reports_systems_as_such(const Rules& /*rules*/, const Ruled& ruled) {
  if (!brings(ruled)) return {};
  const bool system = code_of(ruled.record, "ats") == 'Y';
  if (system == (code_of(ruled.record, "reporting_party") == 'T')) return {};
  return breach(ruled, "reporting_party", "reporting_party");
}

// Generated trades. On a trading system a customer's trade is one that was reported.

Breach trades_with_dealers_on_systems(const Rules& /*rules*/, const Ruled& ruled) {
  const bool of_system = ruled.generated && code_of(ruled.record, "ats") == 'Y';
  if (!of_system || code_of(ruled.record, "contra_party") == 'D') return {};
  return breach(ruled, "contra_party", "contra_party");
}

Breach buys_or_sells(const Rules& /*rules*/, const Ruled& ruled) {
  const char side = code_of(ruled.record, "side");
  if (!ruled.generated || side == 'B' || side == 'S') return {};
  return breach(ruled, "side", "side");
}

// Seconds between a generated trade and its sending.
struct Age {
  std::int64_t least_s = 0;
  std::int64_t most_s = 0;
};

Age age_of(const TruthRecord& trade) {
  constexpr Age late{3600, 3600};
  constexpr Age as_of{day_s, day_s + 19999};
  constexpr Age reversal{2 * day_s, 2 * day_s};
  constexpr Age usual{0, 599};
  if (code_of(trade, "sale_condition_3") == 'Z') return late;
  switch (code_of(trade, "as_of")) {
    case 'A':
      return as_of;
    case 'R':
      return reversal;
    default:
      return usual;
  }
}

// Checks the age where it must be as one kind of trade has it.
Breach has_the_age(const Ruled& ruled, bool of_this_kind) {
  if (!of_this_kind || ruled.sent_s == 0 || !ruled.generated) return {};
  const Age age = age_of(ruled.record);
  const auto instants = utc_of_local(cell(ruled.record, "executed_at").text);
  const bool fits = std::any_of(instants.begin(), instants.end(), [&](std::int64_t executed_s) {
    const std::int64_t age_s = ruled.sent_s - executed_s;
    return age_s >= age.least_s - 1 && age_s <= age.most_s + stall_s;
  });
  if (fits) return {};
  const std::string_view said = cell(ruled.record, "executed_at").text;
  if (instants.empty()) return breach("executed_at", said);
  return breach("executed_at", fmt::format("{}, {} s before", said, ruled.sent_s - instants.front()));
}

bool is_late(const Ruled& ruled) {
  return code_of(ruled.record, "sale_condition_3") == 'Z';
}

Breach is_late_by_an_hour(const Rules& /*rules*/, const Ruled& ruled) {
  return has_the_age(ruled, is_late(ruled));
}

Breach is_young_if_not_late(const Rules& /*rules*/, const Ruled& ruled) {
  return has_the_age(ruled, !is_late(ruled) && code_of(ruled.record, "as_of") == ' ');
}

Breach is_a_day_old_if_as_of(const Rules& /*rules*/, const Ruled& ruled) {
  return has_the_age(ruled, !is_late(ruled) && code_of(ruled.record, "as_of") == 'A');
}

Breach is_two_days_old_if_reversed(const Rules& /*rules*/, const Ruled& ruled) {
  return has_the_age(ruled, !is_late(ruled) && code_of(ruled.record, "as_of") == 'R');
}

Breach settles_on_the_next_day(const Rules& /*rules*/, const Ruled& ruled) {
  if (ruled.sent_s == 0 || !ruled.generated) return {};
  const std::string_view said = cell(ruled.record, "settlement").text;
  for (const std::int64_t drawn_s : {ruled.sent_s, ruled.sent_s - stall_s, ruled.sent_s + 1}) {
    if (local_date_time(drawn_s + day_s).starts_with(said) && said.size() == 8) return {};
  }
  return breach("settlement", said);
}

bool is_count_of(double quantity, double unit, double most) {
  return quantity >= unit && quantity <= most * unit && std::fmod(quantity, unit) == 0;
}

// What is drawn above the cap of a bond of high yield stays below that of another; a bond list may have both under one
// CUSIP.
bool is_large_draw(double quantity) {
  return quantity >= 1.2e6 && quantity <= 4.2e6;
}

Breach draws_its_quantity(const Rules& /*rules*/, const Ruled& ruled) {
  if (!ruled.generated || code_of(ruled.record, "quantity_indicator") == 'E') return {};
  const double quantity = cell(ruled.record, "quantity").number;
  if (is_count_of(quantity, 1e3, 99) || is_count_of(quantity, 1e5, 9) || is_count_of(quantity, 1e6, 4) ||
      is_large_draw(quantity)) {
    return {};
  }
  return breach(ruled, "quantity", "quantity");
}

bool has_three_decimals(const Cell& price) {
  const double thousandfold = price.number * 1e3;
  return !(std::fabs(price.number) < most_exact) || std::fabs(thousandfold - std::round(thousandfold)) < 0.5e-3;
}

Breach rounds_its_prices(const Rules& /*rules*/, const Ruled& ruled) {
  if (!ruled.generated || has_three_decimals(cell(ruled.record, "price"))) return {};
  return breach(ruled, "price", "price");
}

Breach trades_no_halted_bond(const Rules& /*rules*/, const Ruled& ruled) {
  if (!ruled.halted || !ruled.generated) return {};
  return breach("event", "a trade while it is halted");
}

Breach names_its_route(const Rules& /*rules*/, const Ruled& ruled) {
  if (ruled.tape == nullptr || !ruled.generated) return {};
  if (ruled.tape->venue == "SYN" && ruled.tape->where == "away") return {};
  return breach("tape.venue", fmt::format("{} {}", ruled.tape->venue, ruled.tape->where));
}

Breach executes_on_the_second(const Rules& /*rules*/, const Ruled& ruled) {
  if (ruled.tape == nullptr || !ruled.generated || ruled.tape->executed_ms % 1000 == 0) return {};
  return breach("tape.exec_ts_ms", std::to_string(ruled.tape->executed_ms));
}

// Amendments.

const Ruled* as_correction(const Ruled& ruled) {
  return kind_of(ruled) == Kind::correction && ruled.original != nullptr ? &ruled : nullptr;
}

Breach keeps_all_other_terms(const Rules& /*rules*/, const Ruled& ruled) {
  static constexpr std::array<RecordId, 13> kept{
      "cusip",      "symbol",           "remuneration",     "special",         "side",         "as_of", "executed_at",
      "settlement", "sale_condition_3", "sale_condition_4", "reporting_party", "contra_party", "ats"};
  if (as_correction(ruled) == nullptr) return {};
  for (const RecordId name : kept) {
    if (cell(ruled.record, name).text == cell(*ruled.original, name).text) continue;
    return breach(vorbeld::field_names[name.id], fmt::format("{}, not {}", shown(cell(ruled.record, name).text),
                                                             shown(cell(*ruled.original, name).text)));
  }
  return {};
}

Breach corrects_prices_a_little(const Rules& /*rules*/, const Ruled& ruled) {
  if (as_correction(ruled) == nullptr) return {};
  const double before = cell(*ruled.original, "price").number;
  const Cell& price = cell(ruled.record, "price");
  // By 0.2 %, and to three decimals.
  const double most = 0.002 * std::fabs(before) + 0.0005 + price_unit;
  if (!(std::fabs(before) < most_exact) || (std::fabs(price.number - before) <= most && has_three_decimals(price))) {
    return {};
  }
  return breach(ruled, "price", "price");
}

Breach corrects_to_one_or_two_quantities(const Rules& /*rules*/, const Ruled& ruled) {
  if (as_correction(ruled) == nullptr) return {};
  const double before = cell(*ruled.original, "quantity").number;
  const double quantity = cell(ruled.record, "quantity").number;
  const bool capped_before = code_of(*ruled.original, "quantity_indicator") == 'E';
  const bool capped = code_of(ruled.record, "quantity_indicator") == 'E';
  bool fits = !(std::fabs(before) < most_exact);
  if (capped_before) {
    fits = fits || capped;
  } else if (capped) {
    fits = fits || 2 * before + quantity_unit > quantity;
  } else {
    fits = fits || std::fabs(quantity - before) < 2 * quantity_unit ||
           std::fabs(quantity - 2 * before) < 2 * quantity_unit;
  }
  return fits ? Breach{} : breach(ruled, "quantity", "quantity");
}

const TradeRules* find_rules(const Rules& rules, std::uint64_t trade) {
  return trade == 0 || trade > rules.trades.size() ? nullptr : &rules.trades[trade - 1];
}

// A command takes the newest trade that is neither amended nor dated. All else is a follow-up: of a trade, never of a
// replacement, and a second and a half behind it, between which the clock shows another second.
Breach amends_the_newest_or_follows_up(const Rules& rules, const Ruled& ruled) {
  const TradeRules* const trade = amends(kind_of(ruled)) ? find_rules(rules, ruled.original_trade) : nullptr;
  if (trade == nullptr || !rules.whole || ruled.sent_s == 0) return {};
  if (!rules.amendable.empty() && rules.amendable.back() == ruled.original_trade) return {};
  const bool old_enough = trade->sent_s == 0 || ruled.sent_s > trade->sent_s;
  if (!trade->replacement && old_enough) return {};
  return breach(ruled, "original_id", "original_id");
}

// Halts.

Breach resumes_for_one_reason(const Rules& /*rules*/, const Ruled& ruled) {
  const bool resumes = kind_of(ruled) == Kind::halt && code_of(ruled.record, "action") == 'R';
  if (!resumes || cell(ruled.record, "reason").text == "T.2") return {};
  return breach(ruled, "reason", "reason");
}

// The files.

Breach cuts_its_numbers(const Rules& /*rules*/, const Ruled& ruled) {
  static constexpr std::array<RecordId, 6> numbers{"quantity", "price", "yield", "day_high", "day_low", "day_last"};
  for (const RecordId name : numbers) {
    if (cell(ruled.record, name).text.size() <= most_number_bytes) continue;
    const std::string_view field =
        name.id < vorbeld::field_names.size() ? vorbeld::field_names[name.id] : std::string_view("summary");
    return breach(ruled, field, name);
  }
  if (ruled.tape == nullptr) return {};
  const TapeLine& tape = *ruled.tape;
  if (tape.price.text.size() > most_number_bytes) return breach("tape.price", tape.price.text);
  if (tape.quantity.text.size() > most_number_bytes) return breach("tape.quantity", tape.quantity.text);
  return {};
}

constexpr std::array rules_of_messages{
    Rule{"opening", "the first two messages are C/I and C/O, and no others are", opens_the_day},
    Rule{"order of the day", "C/C ends trading; summaries, C/X, C/J and C/Z follow, then halts at most",
         keeps_the_order_of_the_day},
    Rule{"summary of a print", "a daily summary is of a bond that has a print", sums_up_what_traded},
    Rule{"one summary", "a bond has one daily summary", sums_up_once},
    Rule{"all summaries", "every bond that has a print has a daily summary", sums_up_all},
    Rule{"yield", "every trade carries a yield", carries_a_yield},
    Rule{"coupon", "price times yield is the same in all trades of a bond", keeps_the_coupon},
    Rule{"no price, no yield", "the yield of a negative price is zero", has_no_yield_without_a_price},
    Rule{"cap", "a bond has one cap, which no other quantity exceeds", caps_what_is_large},
    Rule{"remuneration", "remuneration is blank when the contra party is a dealer, and only then",
         pays_dealers_nothing},
    Rule{"dealers sell", "a trade between dealers off a trading system is a sale", sells_to_dealers},
    Rule{"systems report", "the reporting party is T on a trading system, and only there", reports_systems_as_such},
    Rule{"system trades", "a generated trade on a trading system is with a dealer", trades_with_dealers_on_systems},
    Rule{"sides", "a generated trade is a buy or a sale", buys_or_sells},
    Rule{"late", "a generated late trade was executed 3600 s before", is_late_by_an_hour},
    Rule{"not late", "a generated trade that is not late was executed less than 600 s before", is_young_if_not_late},
    Rule{"as-of", "a generated as-of trade was executed 86400 to 106399 s before", is_a_day_old_if_as_of},
    Rule{"reversal", "a generated reversal was executed 172800 s before", is_two_days_old_if_reversed},
    Rule{"settlement", "a generated trade settles a day after it is sent", settles_on_the_next_day},
    Rule{"quantities",
         "a generated quantity is 1 to 99 thousands, 1 to 9 hundred thousands or 1 to 4 millions, or capped",
         draws_its_quantity},
    Rule{"decimals", "a generated price has three decimals", rounds_its_prices},
    Rule{"halted", "no trade of a halted bond is generated", trades_no_halted_bond},
    Rule{"route", "the venue of a generated trade is SYN, where is away", names_its_route},
    Rule{"whole seconds", "a generated trade is executed on the second", executes_on_the_second},
    Rule{"replacement", "a replacement keeps all terms but price, yield and quantity", keeps_all_other_terms},
    Rule{"corrected price", "a correction moves the price by 0.2 % at most, to three decimals",
         corrects_prices_a_little},
    Rule{"corrected quantity", "a correction keeps the quantity or doubles it", corrects_to_one_or_two_quantities},
    Rule{"amended", "the newest trade that is neither as-of nor a reversal, or a follow-up of a trade 1.5 s before",
         amends_the_newest_or_follows_up},
    Rule{"resume", "a resume says T.2", resumes_for_one_reason},
    Rule{"long numbers", "a number in the files has at most 31 characters", cuts_its_numbers},
};

}  // namespace

std::span<const Rule> message_rules() {
  return rules_of_messages;
}

bool surely_generated(const TruthRecord& trade, const TapeLine* tape) {
  const auto is = [&](RecordId name, std::string_view codes) {
    return codes.find(code_of(trade, name)) != std::string_view::npos;
  };
  const bool marked =
      !is("as_of", " ") || !is("special", " ") || !is("sale_condition_3", " ") || !is("sale_condition_4", " ");
  const bool of_system = is("ats", "Y") && tape != nullptr && tape->where != "book";
  return marked || of_system || is("contra_party", "A") || is("remuneration", "CN") ||
         (is("contra_party", "D") && !is("side", "S"));
}

void hold_rules(Rules& rules, const Ruled& ruled, Source place, Discrepancies& discrepancies) {
  rules.broken.resize(rules_of_messages.size());
  for (std::size_t i = 0; i < rules_of_messages.size(); ++i) {
    const Rule& rule = rules_of_messages[i];
    Breach broken = rule.check(rules, ruled);
    if (broken.field.empty()) continue;
    if (rules.broken[i]) {
      note_follow_up(discrepancies, *rules.broken[i]);
      continue;
    }
    const Source seen = broken.field.starts_with("tape.") ? Source::tape : place;
    rules.broken[i] = note(discrepancies, {ruled.sequence, std::string(broken.field), Source::rule,
                                           std::string(rule.says), seen, std::move(broken.received)});
  }
}

namespace {

void remember_terms(BondRules& bond, const TruthRecord& trade) {
  if (const auto product = product_of(trade)) {
    const bool meets = product->least <= bond.most_product && product->most >= bond.least_product;
    // After a breach the first coupon is held on to.
    bond.least_product = meets ? std::max(bond.least_product, product->least) : bond.least_product;
    bond.most_product = meets ? std::min(bond.most_product, product->most) : bond.most_product;
  }
  const double quantity = cell(trade, "quantity").number;
  if (code_of(trade, "quantity_indicator") == 'E') {
    if (bond.cap == 0) bond.cap = quantity;
  } else if (quantity > bond.largest_uncapped) {
    bond.largest_uncapped = quantity;
  }
}

void remember_trade(Rules& rules, const Ruled& ruled) {
  if (ruled.trade != rules.trades.size() + 1) {
    forget_order(rules);
    return;
  }
  const bool dated = code_of(ruled.record, "as_of") != ' ';
  rules.trades.push_back({ruled.sent_s, kind_of(ruled) == Kind::correction, false});
  if (!dated) rules.amendable.push_back(ruled.trade);
}

void remember_amendment(Rules& rules, const Ruled& ruled) {
  if (ruled.original_trade == 0 || ruled.original_trade > rules.trades.size()) {
    forget_order(rules);
    return;
  }
  rules.trades[ruled.original_trade - 1].amended = true;
}

}  // namespace

void remember(Rules& rules, const Ruled& ruled) {
  const Kind kind = kind_of(ruled);
  if (kind == Kind::control) {
    rules.stage = ruled.record.type;
    if (rules.stage == 'Z') rules.closed_by = ruled.sequence;
  }
  if (kind == Kind::summary) ruled.bond->summed_up = true;
  if (brings_trade(kind) && !ruled.doubted) remember_terms(*ruled.bond, ruled.record);
  if (!rules.whole) return;
  if (amends(kind)) remember_amendment(rules, ruled);
  if (brings_trade(kind)) remember_trade(rules, ruled);
  while (!rules.amendable.empty() && rules.trades[rules.amendable.back() - 1].amended) rules.amendable.pop_back();
}

std::string_view wrong_label(std::string_view label) {
  constexpr std::string_view command = "mark ";
  constexpr std::size_t most_bytes = 255;
  if (command.size() + label.size() > most_bytes) return "a label of at most 250 bytes";
  const bool trimmed = label.empty() || std::string_view(" \r\n").find(label.back()) == std::string_view::npos;
  return trimmed ? "" : "a label without blanks behind it";
}

void expect_in_row(Rules& rules, std::uint64_t sequence) {
  if (sequence != rules.sequence + 1) forget_order(rules);
  rules.sequence = sequence;
}

void forget_order(Rules& rules) {
  rules.stage = ' ';
  rules.whole = false;
  rules.trades.clear();
  rules.amendable.clear();
}

}  // namespace vorbelctl
