// Outcomes of audits that never took place, made to strain the page: extreme prices and names, runs of a moment and of
// a day, labels at every edge. The only place that knows how an outcome is put together. Outcomes hold records that may
// not be copied, so they stay where they are made.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/audit/outcome.h"

namespace vorbelctl::page {

// 1 July 2024 12:00:00, feed local time; UTC ms.
inline constexpr std::int64_t noon_ms = 1719849600000;

// A run of so many ms from `begin_ms` on, five messages in each slice of its timeline, without bonds or faults.
std::unique_ptr<Outcome> run_of(std::int64_t begin_ms, std::int64_t lasting_ms);

// Gives the run a bond whose last sales went through these prices, evenly over the run; there may be none.
void add_bond(Outcome& outcome, const std::string& cusip, const std::string& symbol, const std::vector<double>& prices);

struct NamedOutcome {
  std::string_view name;  // fit for a file's name
  std::unique_ptr<Outcome> outcome;
};

// The fixed set whose pages are looked at in a browser.
std::vector<NamedOutcome> outcomes();

}  // namespace vorbelctl::page
