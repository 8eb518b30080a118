#include "vorbelctl/audit/situations.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "common/text.h"
#include "vorbelctl/audit/discrepancy.h"
#include "vorbelctl/audit/names.h"

namespace vorbelctl {
namespace situation_table {

using enum Situation;

constexpr std::array<SituationRow, situation_count> rows{{
    {control_i, "control-I", "the day began", "control message I"},
    {control_o, "control-O", "trading opened", "control message O"},
    {control_c, "control-C", "the session closed", "control message C"},
    {control_x, "control-X", "the summaries were complete", "control message X"},
    {control_j, "control-J", "the close went on behind the summaries", "control message J"},
    {control_z, "control-Z", "the day ended", "control message Z"},
    {trade, "trade", "a trade", "its message"},
    {cancel, "cancel", "a cancel", "its message"},
    {correction, "correction", "a correction", "its message"},
    {halt, "halt", "a bond was halted", "its message"},
    {resume, "resume", "a bond was resumed", "its message"},
    {summary, "summary", "a daily summary", "its message"},
    {as_of, "as-of", "a trade of an earlier day", "a trade message with as_of A"},
    {reversal, "reversal", "a reversal", "a trade message with as_of R"},
    {special_price, "special-price", "a trade at a special price", "a trade message with special Y"},
    {late_sale, "late-sale", "a trade that was reported late", "a trade message with sale_condition_3 Z"},
    {after_hours, "after-hours", "a trade after hours", "a trade message with sale_condition_3 T"},
    {weighted_average, "weighted-average", "a trade at a weighted average price",
     "a trade message with sale_condition_4 W"},
    {ats, "ats", "a trade on a trading system", "a trade message with ats Y"},
    {capped_investment_grade, "capped-investment-grade", "a quantity of more than five millions",
     "a trade message with 5MM+"},
    {capped_high_yield, "capped-high-yield", "a quantity of more than one million, high yield",
     "a trade message with 1MM+"},
    {yield_absent, "yield-absent", "a blank yield", "a trade without one, or an amendment that leaves no print"},
    {cancel_high, "cancel-high", "the cancelled print was the high, and another one took its place",
     "a cancel at the high that moves it"},
    {cancel_low, "cancel-low", "the cancelled print was the low, and another one took its place",
     "a cancel at the low that moves it"},
    {cancel_last, "cancel-last", "the cancelled print was the last sale, and another one took its place",
     "a cancel of the last sale that moves it"},
    {cancel_only, "cancel-only", "the cancelled print was the bond's only one", "a cancel that leaves no print"},
    {cancel_earlier_day, "cancel-earlier-day", "a trade of an earlier day was cancelled",
     "a cancel with original_as_of A or R"},
    {correction_high, "correction-high", "the corrected print was the high, which moved",
     "a correction at the high that moves it"},
    {correction_low, "correction-low", "the corrected print was the low, which moved",
     "a correction at the low that moves it"},
    {correction_last, "correction-last", "the corrected print was the last sale, which moved",
     "a correction of the last sale that moves it"},
    {correction_only, "correction-only", "the corrected print was the bond's only one",
     "a correction where there was one print"},
    {correction_earlier_day, "correction-earlier-day", "a trade of an earlier day was corrected",
     "a correction with original_as_of A or R"},
    {halt_traded, "halt-traded", "a bond with prints was halted", "a halt, and the bond's prints"},
    {halt_untraded, "halt-untraded", "a bond without prints was halted", "a halt, and the bond's prints"},
    {resume_traded, "resume-traded", "a bond with prints was resumed", "a resume, and the bond's prints"},
    {resume_untraded, "resume-untraded", "a bond without prints was resumed", "a resume, and the bond's prints"},
    {idle, "idle", "for a time there were no trades", "the times of trades, as on the page"},
    {gap_one, "gap-one", "one message was lost", "a gap of which one number did not come on the feed", true},
    {gap_burst, "gap-burst", "several messages in a row were lost", "a gap of which several numbers did not come",
     true},
    {gap_tail, "gap-tail", "the latest message was lost", "a gap that a heartbeat or the end of session told of", true},
    {gap_in_gap, "gap-in-gap", "a message was lost while another one was still missing",
     "a gap that opened while the one before it was open", true},
    {gap_across_halt, "gap-across-halt", "a halt or a resume was lost", "its message, which did not come on the feed",
     true},
    {gap_across_close, "gap-across-close", "the close of the session was lost",
     "control message C, which did not come on the feed", true},
    {gap_beyond_packet, "gap-beyond-packet", "more was lost than one packet of an answer holds",
     "the length of the messages of a gap", true},
    {gap_beyond_request, "gap-beyond-request", "more was lost than one request can ask for",
     "a gap of more than 65535 lost messages", true},
    {gap_beyond_store, "gap-beyond-store", "messages were lost that the bench no longer had",
     "a number that never came and was 400000 or more behind", true},
    {duplicate, "duplicate", "a message came twice with nothing missing", "its number, no gap being open", true},
    {duplicate_before_recovery, "duplicate-before-recovery", "a message came twice while another one was missing",
     "its number, a gap being open", true},
    {duplicate_after_recovery, "duplicate-after-recovery", "a message that was recovered came on the feed as well",
     "its number, which came by retransmission first", true},
    {reorder, "reorder", "a message came late", "a lower number behind a higher one", true},
    {reorder_across_gap, "reorder-across-gap", "a message came late and one beside it was lost",
     "a gap with both, or one of late messages that opened while another was open", true},
    {heartbeat_lost, "heartbeat-lost", "a heartbeat that was due did not come",
     "silence of 1.9 s with no number missing behind it", true},
    {close_in_gap, "close-in-gap", "the session ended while messages were missing",
     "the end of session, a gap being open", true},
}};

constexpr bool stand_at_their_places() {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (static_cast<std::size_t>(rows[i].situation) != i || rows[i].name.empty()) return false;
  }
  return true;
}
static_assert(stand_at_their_places());

}  // namespace situation_table

namespace {

const SituationRow& situation_named(std::string_view name) {
  const auto& rows = situation_table::rows;
  const auto* const found =
      std::find_if(rows.begin(), rows.end(), [&](const SituationRow& row) { return row.name == name; });
  if (found != rows.end()) return *found;
  std::array<std::string_view, situation_count> names;
  std::transform(rows.begin(), rows.end(), names.begin(), [](const SituationRow& row) { return row.name; });
  const std::string_view near = closest_name(name, names);
  throw std::invalid_argument(fmt::format(
      "--require: there is no situation \"{}\"{}", shown(name),
      near.empty() ? "; docs/audit.md lists them, and so does --situations" : fmt::format("; did you mean {}?", near)));
}

}  // namespace

std::span<const SituationRow, situation_count> all_situations() {
  return situation_table::rows;
}

const SituationRow& situation_row(Situation situation) {
  return situation_table::rows[static_cast<std::size_t>(situation)];
}

std::vector<Situation> read_situations(const std::string& names, bool on_the_wire) {
  std::vector<Situation> list;
  std::vector<std::string_view> pieces;
  vorbeld::split(names, ',', pieces);
  for (const std::string_view name : pieces) {
    const SituationRow& row = situation_named(name);
    if (!is_knowable(row, on_the_wire)) {
      throw std::invalid_argument(
          fmt::format("--require: {} is not knowable here, as it takes the packets of the feed to know it; audit the "
                      "feed, or a capture of it with --pcap",
                      row.name));
    }
    list.push_back(row.situation);
  }
  std::sort(list.begin(), list.end());
  list.erase(std::unique(list.begin(), list.end()), list.end());
  return list;
}

MetCount count_met(const Situations& situations, bool on_the_wire) {
  MetCount count;
  for (const SituationRow& row : situation_table::rows) {
    if (!is_knowable(row, on_the_wire)) continue;
    ++count.known;
    if (met_of(situations, row.situation).count != 0) ++count.met;
  }
  return count;
}

}  // namespace vorbelctl
