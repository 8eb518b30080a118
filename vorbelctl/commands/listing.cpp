#include "vorbelctl/commands/listing.h"

#include <fmt/core.h>

#include <cstdint>
#include <string>

#include "vorbelctl/handler/message.h"

namespace vorbelctl {
namespace {

std::string hex_bytes(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) text += fmt::format("{:02x}", static_cast<unsigned char>(c));
  return text;
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
    case EventKind::altered:
      return "altered";
    case EventKind::began_again:
      return "began_again";
    case EventKind::second_sender:
      return "second_sender";
  }
  return "";
}

Value text_or_nothing(const std::string& text) {
  return text.empty() ? Value() : Value(text);
}

FieldList altered_fields(const Event& event) {
  FieldList fields{{"event", std::string(event_name(event.kind))},
                   {"seq", event.first},
                   {"field", Value()},
                   {"was", Value()},
                   {"is", Value()},
                   {"bytes", hex_bytes(event.text)},
                   {"earlier_bytes", Value()}};
  if (event.earlier.empty()) return fields;
  const BytesDiffer differ = compare_bytes(event.earlier, event.text);
  fields[2].value = std::string(differ.field);
  fields[3].value = differ.earlier;
  fields[4].value = differ.later;
  fields[6].value = hex_bytes(event.earlier);
  return fields;
}

FieldList malformed_fields(std::string_view event_kind, const std::string& why_name, const std::string& why,
                           const Event& event) {
  return {{"event", std::string(event_kind)},
          {"seq", event.first},
          {why_name, why},
          {"length", std::uint64_t{event.text.size()}},
          {"bytes", hex_bytes(event.text)}};
}

Value field_value(const Cell& cell, vorbeld::Form form) {
  if (!cell.said) return {};
  switch (form) {
    case vorbeld::Form::price:
    case vorbeld::Form::yield:
      return Number{cell.number, 6};
    case vorbeld::Form::quantity:
      return Number{cell.number, 2};
    case vorbeld::Form::blank:
    case vorbeld::Form::block:
    case vorbeld::Form::code:
    case vorbeld::Form::text:
    case vorbeld::Form::digits:
    case vorbeld::Form::optional_digits:
      break;
  }
  return std::string(cell.text);
}

FieldList message_fields(const Event& event) {
  const Decoded decoded = decode_message(event.text);
  const Message& message = decoded.message;
  if (!decoded.malformed.empty()) {
    return malformed_fields("malformed_message", "field", std::string(decoded.malformed), event);
  }
  FieldList fields{
      {"event", std::string(message.row->name)}, {"seq", event.first}, {"via", std::string(via_name(event.via))}};
  for (const vorbeld::MessageField& field : message.row->fields) {
    if (field.form == vorbeld::Form::blank) continue;
    fields.push_back({std::string(field.name), field_value(message.cells[field.id], field.form)});
  }
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

FieldList event_fields(const Event& event) {
  const std::string name(event_name(event.kind));
  switch (event.kind) {
    case EventKind::message:
      return message_fields(event);
    case EventKind::malformed_packet:
      return malformed_fields(name, "reason", event.reason, event);
    case EventKind::foreign_session:
      return {{"event", name}, {"session", event.text}, {"seq", event.first}};
    case EventKind::gap:
    case EventKind::missing:
      return {{"event", name}, {"first", event.first}, {"last", event.last}};
    case EventKind::gap_closed:
      return {{"event", name}, {"first", event.first}, {"last", event.last}, {"open_ms", event.open_ms}};
    case EventKind::altered:
      return altered_fields(event);
    case EventKind::began_again:
      return {{"event", name},
              {"seq", event.first},
              {"last", event.last},
              {"sender", text_or_nothing(event.text)},
              {"followed", text_or_nothing(event.earlier)}};
    case EventKind::second_sender:
      return {{"event", name},
              {"seq", event.first},
              {"sender", text_or_nothing(event.text)},
              {"followed", text_or_nothing(event.earlier)}};
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

FieldList timed_event_fields(const Event& event, std::int64_t offset_ms) {
  FieldList fields = event_fields(event);
  const std::uint64_t at_ms = event.kind == EventKind::message ? event.came_ms : event.at_ms;
  fields.push_back({"received_ms", at_ms + static_cast<std::uint64_t>(offset_ms)});
  return fields;
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
  } else if (event.kind == EventKind::altered) {
    ++totals.altered;
  } else if (event.kind == EventKind::second_sender) {
    ++totals.second_senders;
  } else if (event.kind == EventKind::began_again) {
    ++totals.began_again;
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
  result.dropped_here = totals.dropped_here;
  result.ignored = totals.ignored;
  return result;
}

bool is_amiss(const ReceiverTotals& totals) {
  return totals.missing != 0 || totals.altered != 0 || totals.second_senders != 0;
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
          {"overrun", totals.overrun},
          {"dropped_here", totals.dropped_here},
          {"altered", totals.altered},
          {"second_senders", totals.second_senders},
          {"ignored", totals.ignored},
          {"began_again", totals.began_again}};
}

}  // namespace vorbelctl
