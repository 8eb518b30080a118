#include "vorbelctl/commands/listing.h"

#include "vorbelctl/handler/message.h"

namespace vorbelctl {
namespace {

std::string hex_bytes(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(c);
    text += digits[byte / 16U];
    text += digits[byte % 16U];
  }
  return text;
}

FieldList malformed_fields(std::string_view event_kind, const std::string& why_name, const Event& event) {
  return {{"event", std::string(event_kind)},
          {"seq", event.first},
          {why_name, event.reason},
          {"length", std::uint64_t{event.text.size()}},
          {"bytes", hex_bytes(event.text)}};
}

FieldList message_fields(const Event& event) {
  const Decoded decoded = decode_message(event.text);
  if (!decoded.malformed.empty()) {
    Event malformed = event;
    malformed.reason = decoded.malformed;
    return malformed_fields("malformed_message", "field", malformed);
  }
  FieldList fields{{"event", std::string(kind_name(decoded.message.kind))},
                   {"seq", event.first},
                   {"via", std::string(via_name(event.via))}};
  const FieldList all = list_fields(decoded.message);
  fields.insert(fields.end(), all.begin(), all.end());
  return fields;
}

}  // namespace

std::string_view via_name(Via via) {
  switch (via) {
    case Via::live:
      return "live";
    case Via::late:
      return "late";
    case Via::recovered:
      return "recovered";
  }
  return "";
}

std::string_view event_name(EventKind kind) {
  switch (kind) {
    case EventKind::joined:
      return "joined";
    case EventKind::message:
      return "message";
    case EventKind::gap:
      return "gap";
    case EventKind::gap_closed:
      return "gap_closed";
    case EventKind::missing:
      return "missing";
    case EventKind::out_of_order:
      return "out_of_order";
    case EventKind::duplicate:
      return "duplicate";
    case EventKind::too_late:
      return "too_late";
    case EventKind::heartbeat:
      return "heartbeat";
    case EventKind::end_of_session:
      return "end_of_session";
    case EventKind::foreign_session:
      return "foreign_session";
    case EventKind::malformed_packet:
      return "malformed_packet";
    case EventKind::behind:
      return "behind";
  }
  return "";
}

FieldList event_fields(const Event& event) {
  const std::string name(event_name(event.kind));
  switch (event.kind) {
    case EventKind::message:
      return message_fields(event);
    case EventKind::malformed_packet:
      return malformed_fields(name, "reason", event);
    case EventKind::foreign_session:
      return {{"event", name}, {"session", event.text}, {"seq", event.first}};
    case EventKind::gap:
    case EventKind::missing:
      return {{"event", name}, {"first", event.first}, {"last", event.last}};
    case EventKind::gap_closed:
      return {{"event", name}, {"first", event.first}, {"last", event.last}, {"open_ms", event.open_ms}};
    case EventKind::joined:
    case EventKind::out_of_order:
    case EventKind::duplicate:
    case EventKind::too_late:
    case EventKind::heartbeat:
    case EventKind::end_of_session:
    case EventKind::behind:
      return {{"event", name}, {"seq", event.first}};
  }
  return {};
}

void add_to_totals(ReceiverTotals& totals, const Event& event) {
  const std::uint64_t numbers = event.last - event.first + 1;
  if (event.kind == EventKind::message) {
    ++totals.messages;
    if (event.via == Via::late) ++totals.late;
    if (event.via == Via::recovered) ++totals.recovered;
  } else if (event.kind == EventKind::gap) {
    ++totals.gaps;
    totals.skipped += numbers;
  } else if (event.kind == EventKind::missing) {
    totals.missing += numbers;
  } else if (event.kind == EventKind::duplicate) {
    ++totals.duplicates;
  } else if (event.kind == EventKind::too_late) {
    ++totals.too_late;
  }
}

ReceiverTotals totals_as_shown(const ReceiverTotals& totals, const ReceiverTotals& shown) {
  ReceiverTotals result = shown;
  result.packets = totals.packets;
  result.heartbeats = totals.heartbeats;
  result.end_of_sessions = totals.end_of_sessions;
  result.foreign = totals.foreign;
  result.malformed = totals.malformed;
  result.requests = totals.requests;
  result.overrun = totals.overrun;
  return result;
}

FieldList list_totals(const ReceiverTotals& totals) {
  return {{"packets", totals.packets},
          {"messages", totals.messages},
          {"gaps", totals.gaps},
          {"skipped", totals.skipped},
          {"late", totals.late},
          {"recovered", totals.recovered},
          {"missing", totals.missing},
          {"duplicates", totals.duplicates},
          {"too_late", totals.too_late},
          {"heartbeats", totals.heartbeats},
          {"end_of_sessions", totals.end_of_sessions},
          {"foreign", totals.foreign},
          {"malformed", totals.malformed},
          {"requests", totals.requests},
          {"overrun", totals.overrun}};
}

}  // namespace vorbelctl
