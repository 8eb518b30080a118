// Events of the feed as named fields, for JSON lines and whoever compares. Messages are decoded here.
#pragma once

#include <string_view>

#include "vorbelctl/handler/receiver.h"
#include "vorbelctl/wording/fields.h"

namespace vorbelctl {

// The event by name; the first field is "event": the message's kind, "malformed_message", or the kind of the event.
// Messages go on with seq, via and all their fields, other events with their numbers.
FieldList event_fields(const Event& event);

// The same with `received_ms`: when it came or was found out, in milliseconds of the wall clock, which is `offset_ms`
// ahead of the receiver's.
FieldList timed_event_fields(const Event& event, std::int64_t offset_ms);

// "live", "late" or "recovered".
std::string_view via_name(Via via);

// Counts an event into the totals of messages and gaps; those of packets and requests are not told by events.
void add_to_totals(ReceiverTotals& totals, const Event& event);

// The receiver's totals with those of messages and gaps taken from `shown`.
ReceiverTotals totals_as_shown(const ReceiverTotals& totals, const ReceiverTotals& shown);

// True when messages are missing or came again altered, or when a second sender goes on beside the one followed.
bool is_amiss(const ReceiverTotals& totals);

// The receiver's totals by name.
FieldList list_totals(const ReceiverTotals& totals);

}  // namespace vorbelctl
