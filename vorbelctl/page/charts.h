// The drawings of the page: the timeline of the run and the prices of each bond, as inline SVG that stretches with the
// page while its labels keep their size. Draws what the history has summed up and decides nothing.
#pragma once

#include <string>

#include "vorbelctl/audit/history.h"

namespace vorbelctl::page {

// Messages a second, and below them one lane for each kind of event. `on_the_wire`: there was a wire to lose things on.
std::string timeline(const History& history, bool on_the_wire);

// One bond's last sales with the cancels and corrections among them. The time axis is the timeline's.
std::string price_chart(const History& history, const BondHistory& bond);

// What marks of the price charts refer to; once on the page, before the first chart.
std::string chart_symbols();

}  // namespace vorbelctl::page
