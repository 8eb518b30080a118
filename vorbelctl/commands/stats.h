// The bench's statistics text, the reply to the control command "stats", taken apart.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "vorbelctl/handler/fields.h"

namespace vorbelctl {

// The numbers of the text by name, in its order: seq, messages, packets, reports, capped, cancels, corrections, halts,
// retrans, sent, dropped, duplicated, reordered. Nothing when the text is anything else.
std::optional<FieldList> parse_stats(std::string_view text);

// One of these numbers; the name must be one of them.
std::uint64_t stat(const FieldList& stats, std::string_view name);

}  // namespace vorbelctl
