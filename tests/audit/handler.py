"""A feed handler as somebody might write one, in three steps that can each be spoilt: taking delivery, reading messages,
keeping books. What it believes is written down as the JSON lines that an audit judges.

Knows the wire from the tables of the bench's own tests, and the rules of the books from its own replay: slow, obvious,
and independent of the program under test.
"""

import dataclasses
import json

import recording
import wire

# Field names as the audit has them, where they differ from the wire tables'.
RENAMED = {"counter": "trade_id", "qty_ind": "quantity_indicator", "qty": "quantity", "exec": "executed_at",
           "sale3": "sale_condition_3", "sale4": "sale_condition_4", "settle": "settlement", "gap": "reserved",
           "modifier2": "second_modifier", "rpt": "reporting_party", "contra": "contra_party", "at": "action_at",
           "report_date": "original_date", "orig_id": "original_id", "orig_date": "reversed_date", "blank": "reserved"}
CAPS = {"1MM+": 1_000_000, "5MM+": 5_000_000}
NUMBERS = ("price", "quantity", "high", "low", "last", "close")
OPTIONAL_TEXTS = ("trade_id", "reversed_date")
ONE_CHARACTER = ("category", "type", "origin", "quantity_indicator", "remuneration", "special", "side", "as_of",
                 "sale_condition_3", "sale_condition_4", "second_modifier", "reporting_party", "contra_party", "ats",
                 "function", "change", "action")


def name_of(kind, name):
    """The audit's name of a field of the wire tables, in a message of this kind."""
    if name.startswith("old_"):
        return "original_" + name_of(kind, name[4:])
    body = {row[0] for row in wire.BODY}
    if kind == "T/N" and name in body:
        return "original_" + RENAMED.get(name, name)
    if kind == "A/E":
        name = {"last": "close", "last_yield": "close_yield"}.get(name, name)
    return RENAMED.get(name, name)


def bare(name):
    """The field's name without what tells the original's terms from the new ones."""
    return name.removeprefix("original_") if name not in ("original_id", "original_date") else name


def read_value(name, text):
    """The value that the field's text stands for."""
    if bare(name) in ONE_CHARACTER:
        return text
    if name.endswith("yield"):
        return None if text.isspace() else float(text)
    if bare(name) in NUMBERS:
        return CAPS[text.strip()] if text.strip() in CAPS else float(text)
    text = text.rstrip()
    return None if not text and name in OPTIONAL_TEXTS else text


def read_message(raw):
    """Kind and fields of a message, in the order of its bytes."""
    message = wire.decode(raw)
    fields = {}
    for name, text in message.fields.items():
        ours = name_of(message.kind, name)
        if ours != "reserved" and not ours.endswith("_reserved"):
            fields[ours] = read_value(ours, text)
    return recording.NAMES[message.kind], fields


@dataclasses.dataclass
class Print:
    """A last sale."""
    trade_id: str
    executed_at: str
    price: float
    bond_yield: float


@dataclasses.dataclass
class Book:
    """The day of one bond."""
    prints: list = dataclasses.field(default_factory=list)
    halted: bool = False


def is_last_sale(fields, prefix=""):
    """Whether a trade of these terms counts for high, low and last."""
    return (fields[prefix + "as_of"] == " " and fields[prefix + "special"] == " "
            and fields[prefix + "sale_condition_3"] in " Z" and fields[prefix + "sale_condition_4"] == " ")


def print_of(fields):
    """The print that a trade or a correction brings."""
    return Print(fields["trade_id"], fields["executed_at"], fields["price"], fields["yield"])


def extremes(prints):
    """The prints that set high, low and last: the first of the highest and lowest, the latest by execution."""
    last = prints[0]
    for each in prints[1:]:
        if each.executed_at >= last.executed_at:
            last = each
    return max(prints, key=lambda p: p.price), min(prints, key=lambda p: p.price), last


def deliver(arrivals, fetch):
    """Messages in order, each once: what is missing is fetched, what comes twice is ignored, heartbeats count."""
    messages, expected = [], 1
    for _, data in arrivals:
        packet = wire.parse_packet(data)
        if packet.sequence > expected:
            messages += fetch(expected, packet.sequence - expected)
            expected = packet.sequence
        for number, raw in enumerate(packet.messages, packet.sequence):
            if number == expected:
                messages.append((number, raw))
                expected += 1
    return messages


def bond_of(fields):
    """What tells one bond's book from another's."""
    return fields["cusip"]


def on_trade(book, fields):
    """A trade takes its place among the prints."""
    if is_last_sale(fields):
        book.prints.append(print_of(fields))


def on_cancel(book, fields):
    """A cancelled trade leaves the prints."""
    book.prints = [each for each in book.prints if each.trade_id != fields["original_id"]]


def on_correction(book, fields):
    """A correction is a cancel and a new trade."""
    on_cancel(book, fields)
    on_trade(book, fields)


def on_halt(book, fields):
    """A halted bond stays so until it is resumed."""
    book.halted = fields["action"] == "H"


def state_of(book, rank=extremes):
    """The book by the names that the audit uses."""
    state = {"traded": bool(book.prints)}
    chosen = rank(book.prints) if book.prints else (None, None, None)
    for name, each in zip(("high", "low", "last"), chosen):
        state[name] = each and each.price
        state[name + "_yield"] = each and each.bond_yield
    return state | {"prints": len(book.prints), "halted": book.halted}


@dataclasses.dataclass(frozen=True)
class Handler:
    """The three steps; a flawed handler has another one in some place."""
    deliver: callable = deliver
    read: callable = read_message
    bond_of: callable = bond_of
    trade: callable = on_trade
    cancel: callable = on_cancel
    correction: callable = on_correction
    halt: callable = on_halt
    rank: callable = extremes


def believe(handler, run):
    """Everything that the handler makes of the run: one object a message, in its order."""
    def fetch(first, count):
        return [(number, run.messages[number]) for number in range(first, first + count)]

    books, lines = {}, []
    for number, raw in handler.deliver(run.arrivals, fetch):
        kind, fields = handler.read(raw)
        line = {"event": kind, "seq": number, **fields}
        if kind != "control":
            book = books.setdefault(handler.bond_of(fields), Book())
            if kind != "summary":
                getattr(handler, kind)(book, fields)
            line["book"] = state_of(book, handler.rank)
        lines.append(line)
    return lines


def write_lines(path, lines):
    """One JSON object a line; returns the path."""
    path.write_text("".join(json.dumps(line) + "\n" for line in lines), encoding="utf-8")
    return path
