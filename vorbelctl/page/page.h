// The outcome of an audit as a page to look at, print or send: one file of HTML with its style and drawings in it, that
// needs no network and no script. Every figure that the verdict for harnesses has, and that the page shows, carries
// the figure's name in a data-key attribute.
#pragma once

#include <string>

#include "vorbelctl/audit/outcome.h"

namespace vorbelctl {

// The whole page. Tables show the first rows at once and keep the rest folded; drawings have a few hundred marks at
// most, however long the run was.
std::string outcome_page(const Outcome& outcome);

}  // namespace vorbelctl
