"""A bench that breaks one rule, and says so everywhere alike: a message, its truth record and its tape line are altered
together, so that only the rules themselves can tell.

Works on a recorded run whose feed is played back without losses.
"""

import dataclasses
import json

import feedtime
import pcap_files
import recording
import wire

# Keys of truth records and tape lines by the field of the wire tables, where they differ.
TRUTH_KEYS = {"type": "type", "qty_ind": "qty_ind", "exec": "exec", "orig_id": "orig_trade_id"}
TAPE_KEYS = {"rpt": "reporting_party", "contra": "contra_party"}
# Width of a number's field, and its text.
NUMBERS = {"price": (11, "{:011.6f}".format), "qty": (14, "{:014.2f}".format),
           "yield": (14, lambda value: f"{'-' if value < 0 else ' '}{abs(value):013.6f}")}
COUPONS = {bond.split(":")[0]: float(bond.split(":")[-1]) for bond in recording.BONDS.split(",")}


@dataclasses.dataclass
class Lie:
    """A copy of a run that may be altered: bytes of messages and truth records by number, tape lines by number."""
    run: recording.Run
    messages: dict
    truth: dict
    tape: dict


def begin(run):
    """A copy that is still true."""
    truth = {number: record for number, (_, record) in recording.truth_of(run.folder / "truth.jsonl").items()}
    tape = {number: record for number, (_, record) in recording.truth_of(run.folder / "tape.jsonl").items()}
    return Lie(run, dict(run.messages), truth, tape)


def put_field(raw, name, text):
    """The message with one field of the wire tables set to this text, cut and padded as the feed does."""
    at = 0
    for each, width in wire.LAYOUTS[wire.decode(raw).kind]:
        if each == name:
            return raw[:at] + text[:width].ljust(width).encode("latin-1") + raw[at + width:]
        at += width
    raise KeyError(name)


def tell(lie, number, **values):
    """Alters fields of one message and says the same in its record and on its tape line. Numbers as floats."""
    for name, value in values.items():
        text = NUMBERS[name][1](value) if isinstance(value, float) else value
        name_in_truth = {"sent_at": None, "orig_date": None, "modifier2": None}.get(name, name)
        if value is None:
            text = " " * NUMBERS[name][0]
        lie.messages[number] = put_field(lie.messages[number], name, text)
        if name_in_truth in lie.truth[number]:
            lie.truth[number][name_in_truth] = value
        line = lie.tape.get(number)
        key = {"qty": "quantity"}.get(name, TAPE_KEYS.get(name, name))
        if line and key in line:
            line[key] = round(value) if name == "qty" else int(value) if name == "settle" else value
        if line and name == "exec":
            raise KeyError("use retime")
    return lie


def write(lie, folder):
    """Writes the three files: (pcap, truth, tape)."""
    truth, tape = folder / "lie_truth.jsonl", folder / "lie_tape.jsonl"
    dump = lambda records: "".join(_line(record) + "\n" for _, record in sorted(records.items()))
    truth.write_text(dump(lie.truth), encoding="latin-1")
    tape.write_text(dump(lie.tape), encoding="latin-1")
    pcap = pcap_files.write_pcap(folder / "lie.pcap", pcap_files.ETHERNET,
                                 pcap_files.of_messages(lie.run, lie.messages))
    return pcap, truth, tape


def _line(record):
    return json.dumps(record, separators=(",", ":"))


def find(lie, **wanted):
    """The number of a generated trade from the middle of the run whose record has these values: a text, or a test of
    the value."""
    def fits(record):
        return record["event"] == "trade" and record["cusip"] != "REPORTED1" and all(
            value(record[name]) if callable(value) else record[name] == value for name, value in wanted.items())
    found = [number for number, record in sorted(lie.truth.items())
             if fits(record) and lie.tape[number]["venue"] == "SYN"]
    return found[len(found) // 2]


def last_of(lie, event, **wanted):
    """The number of the last record of this event with these values."""
    return max(number for number, record in lie.truth.items() if record["event"] == event
               and all(record[name] == value for name, value in wanted.items()))


def sent_s(lie, number):
    """UTC second at which a message was sent."""
    return feedtime.utc_of_local(wire.decode(lie.messages[number])["sent_at"])


def retime(lie, number, back_s):
    """Has a trade executed so many seconds before it is sent."""
    executed_s = sent_s(lie, number) - back_s
    text = feedtime.local_text(executed_s)
    lie.messages[number] = put_field(lie.messages[number], "exec", text)
    lie.truth[number]["exec"] = text
    line = lie.tape[number]
    reported_ms = line["exec_ts_ms"] + line["report_lag_ms"]
    line["exec_ts_ms"] = executed_s * 1000
    line["report_lag_ms"] = reported_ms - executed_s * 1000
    return lie


def _move(lie, number, by):
    """Moves everything from this number on."""
    lie.messages = {each + by * (each >= number): raw for each, raw in lie.messages.items()}
    for name in ("truth", "tape"):
        moved = {each + by * (each >= number): record for each, record in getattr(lie, name).items()}
        for each, record in moved.items():
            record["seq"] = each
        setattr(lie, name, moved)


def insert(lie, number, raw, record):
    """Puts a message in before this number; all behind it move on."""
    _move(lie, number, 1)
    lie.messages[number] = raw
    lie.truth[number] = {**record, "seq": number}
    return lie


def remove(lie, number):
    """Takes a message out; all behind it move up. It must not be a trade."""
    del lie.messages[number], lie.truth[number]
    _move(lie, number, -1)
    return lie
