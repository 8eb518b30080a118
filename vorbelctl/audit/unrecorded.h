// What a message says beyond its truth record: when it was sent, its bond's short name and description, the date of a
// reversed trade. No file holds these, so a message is held to what others said before it and to the clocks.
#pragma once

#include <cstdint>
#include <string>

#include "vorbelctl/audit/findings.h"
#include "vorbelctl/handler/message.h"

namespace vorbelctl {

// When a message may have been sent, in UTC seconds; both ends belong to it.
struct SendWindow {
  std::int64_t earliest_s = 0;
  std::int64_t latest_s = 0;
};

// What the messages of one bond have said of it so far.
struct BondNames {
  std::string short_name;
  std::string description;
  bool short_name_known = false;
  bool description_known = false;
};

// The time that the text of a message's sending tells, when it lies in the window; nothing otherwise.
std::optional<std::int64_t> sent_within(const std::string& sent_at, const SendWindow& window);

// Completes `expected` by what `found` says where that is believable, and by what it should have said where not. The
// names are remembered from the first message that tells them. `sent_s`: when the message was sent; 0: not known.
void expect_unrecorded(Message& expected, const FieldList& found, BondNames& names, std::int64_t sent_s);

// The text of the field `name`; null when there is no such field or it holds no text.
const std::string* text_field(const FieldList& fields, std::string_view name);

}  // namespace vorbelctl
