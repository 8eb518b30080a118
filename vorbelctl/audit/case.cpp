#include "vorbelctl/audit/case.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "vorbelctl/audit/eastern_time.h"
#include "vorbelctl/audit/expect.h"

namespace vorbelctl {
namespace {

// Clocks of two machines, or of one that is being set, may differ by this much.
constexpr std::int64_t clock_slack_s = 60;

// Whether the terms of this trade are those that were heard of the original. Its number and date say which trade it is
// and not what it was, so they are left out.
bool original_fits(const Case& the_case, const TruthRecord& original) {
  const FieldList wanted = list_fields(expect_message(the_case.entry.record, &original));
  const auto fits = [&](const FieldValue& field) {
    const bool of_terms =
        field.name.starts_with("original_") && field.name != "original_id" && field.name != "original_date";
    const Value* const value = of_terms ? find_value(wanted, field.name) : nullptr;
    return !of_terms || (value != nullptr && same_value(*value, field.value));
  };
  return std::all_of(the_case.heard->fields.begin(), the_case.heard->fields.end(), fits);
}

std::optional<OriginalTrade> look_up(const Case& the_case, const std::string& trade_id) {
  const std::uint64_t number = trade_number(trade_id);
  auto record = find_trade(the_case.judge.truth, number);
  if (!record) return {};
  return OriginalTrade{std::move(*record), number};
}

// The trade that is amended: the one that the record names, unless the one that the message names is clearly meant. So
// one wrong id is one finding and not as many as the two trades differ in.
std::optional<OriginalTrade> find_original(const Case& the_case) {
  auto by_record = look_up(the_case, the_case.entry.record.original_id);
  const std::string* const said = heard_text(the_case, "original_id");
  if (said == nullptr || (by_record && original_fits(the_case, by_record->record))) return by_record;
  auto by_message = look_up(the_case, *said);
  return by_message && original_fits(the_case, by_message->record) ? by_message : by_record;
}

// A message is sent no earlier than the one before it, and no later than it was heard or written down.
SendWindow send_window(const Case& the_case) {
  // Clocks that are slewed may repeat a second.
  SendWindow window{the_case.judge.sent_s - 1, std::numeric_limits<std::int64_t>::max()};
  if (the_case.heard->heard_ms != 0) {
    window.latest_s = static_cast<std::int64_t>(the_case.heard->heard_ms / 1000) + clock_slack_s;
  }
  if (the_case.taped_ms) {
    const auto taped_s = static_cast<std::int64_t>(*the_case.taped_ms / 1000);
    window.latest_s = std::min(window.latest_s, taped_s);
    window.earliest_s = std::max(window.earliest_s, taped_s - clock_slack_s);
  }
  return window;
}

// When a message of which no time was heard was sent, as far as the files tell.
std::int64_t sent_by_files(const Case& the_case, const Message& expected) {
  if (the_case.taped_ms) return static_cast<std::int64_t>(*the_case.taped_ms / 1000);
  const auto by_record = utc_of_local(expected.sent_at);  // a halt's record has it
  return by_record.empty() ? 0 : by_record.front();
}

}  // namespace

void compare(Case& the_case, const std::string& field, Witness expecting, const Value& expected, Witness showing,
             const Value& found) {
  compare_value(the_case.judge.findings, the_case.entry.sequence, field, expecting, expected, showing, found);
}

void complain(Case& the_case, const std::string& field, Witness expecting, const std::string& expected, Witness showing,
              const std::string& found) {
  add_difference(the_case.judge.findings, {the_case.entry.sequence, field, expecting, expected, showing, found});
}

const std::string* heard_text(const Case& the_case, std::string_view name) {
  return the_case.heard == nullptr ? nullptr : text_field(the_case.heard->fields, name);
}

void take_original(Case& the_case) {
  const std::string named = printable(the_case.entry.record.original_id);
  the_case.original = find_original(the_case);
  if (!the_case.original) {
    if (may_be_lost(the_case.judge.truth, trade_number(the_case.entry.record.original_id))) return;
    complain(the_case, "original_id", Witness::order, "a trade sent before", Witness::truth, named);
    return;
  }
  IndexedTrade& trade = *indexed_trade(the_case.judge.truth, the_case.original->number);
  if (trade.amended) {
    complain(the_case, "original_id", Witness::order, "a trade not yet amended", Witness::truth, named);
  }
  trade.amended = true;
}

void expect_sent_at(Case& the_case, Message& expected) {
  const std::string* const said = heard_text(the_case, "sent_at");
  if (said == nullptr) {
    the_case.sent_s = sent_by_files(the_case, expected);
    return;
  }
  const SendWindow window = send_window(the_case);
  const auto sent_s = sent_within(*said, window);
  if (expected.kind != Kind::halt) {
    expected.sent_at = sent_s ? *said : local_date_time(std::min(window.latest_s, window.earliest_s + 1));
  }
  if (sent_s) {
    the_case.sent_s = *sent_s;
  } else if (const auto times = utc_of_local(*said); !times.empty() && times.front() < window.earliest_s) {
    // Perhaps it was the message before that ran ahead, so the next one is held to this time. That keeps one wrong time
    // from making all that follow wrong.
    the_case.sent_s = times.front();
  }
}

void expect_original_date(Case& the_case, Message& expected) {
  const IndexedTrade& trade = *indexed_trade(the_case.judge.truth, the_case.original->number);
  const std::string* const said = heard_text(the_case, "original_date");
  if (trade.sent_date != 0) {
    expected.original_date = std::to_string(trade.sent_date);
  } else if (said != nullptr) {
    expected.original_date = *said;
  }
}

}  // namespace vorbelctl
