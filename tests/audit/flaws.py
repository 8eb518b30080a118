"""Receivers that are wrong in one way each: the mistakes that feed handlers are known to make.

Each is a handler with one step replaced. What they believe differs from the truth first where the flaw first bites;
`first_difference` finds that place by comparing with what a handler without flaws believes.
"""

import handler
import wire
from handler import Handler


# Taking delivery.

def forget_gaps(arrivals, _fetch):
    """Never asks for what is missing."""
    return [(number, raw) for number, raw in handler.deliver(arrivals, lambda first, count: [])]


def keep_duplicates(arrivals, fetch):
    """Takes a packet that is sent twice for two."""
    messages = handler.deliver(arrivals, fetch)
    payloads = [data for _, data in arrivals]
    doubled = {wire.parse_packet(data).sequence for before, data in zip(payloads, payloads[1:])
               if before == data and wire.parse_packet(data).messages}
    return [each for each in messages for _ in range(1 + (each[0] in doubled))]


def keep_order_of_arrival(arrivals, fetch):
    """Takes messages as they come and never puts them in order, though it fetches what is lost."""
    messages, seen, highest = [], set(), 0
    all_messages = dict(handler.deliver(arrivals, fetch))
    live = {wire.parse_packet(data).sequence for _, data in arrivals if wire.parse_packet(data).messages}
    for _, data in arrivals:
        packet = wire.parse_packet(data)
        for number in range(highest + 1, packet.sequence):
            if number not in live:
                messages.append((number, all_messages[number]))
        for number, raw in enumerate(packet.messages, packet.sequence):
            if number not in seen:
                messages.append((number, raw))
                seen.add(number)
        highest = max(highest, packet.sequence + len(packet.messages) - 1)
    return messages


def ignore_heartbeats(arrivals, fetch):
    """Learns of gaps from messages only, so a loss at the very tail is never noticed."""
    data_only = [each for each in arrivals if wire.parse_packet(each[1]).messages]
    tail = 3       # the last packets of the run, as if they had been lost before its heartbeats
    return handler.deliver(data_only[:-tail], fetch)


def accept_after_close(arrivals, fetch):
    """Takes a stray trade that comes after the session's end for its next message."""
    messages = handler.deliver(arrivals, fetch)
    trade = next(raw for _, raw in reversed(messages) if raw[:2] == b"TM")
    return [*messages, (messages[-1][0] + 1, trade)]


def take_first_of_answer(arrivals, fetch):
    """Reads one message of a retransmission answer, however many there are in it."""
    return handler.deliver(arrivals, lambda first, count: fetch(first, count)[:1])


def count_from_zero(arrivals, fetch):
    """Has every sequence number one too low."""
    return [(number - 1, raw) for number, raw in handler.deliver(arrivals, fetch)]


def append_recovered(arrivals, fetch):
    """Goes on at once and appends the answer of a request when it comes, eight messages later."""
    messages, late = [], []
    fetched = set()

    def note(first, count):
        fetched.update(range(first, first + count))
        return fetch(first, count)

    for number, raw in handler.deliver(arrivals, note):
        if number in fetched:
            late.append((len(messages) + 8, number, raw))
            continue
        messages.append((number, raw))
        while late and late[0][0] <= len(messages):
            messages.append(late.pop(0)[1:])
    return messages + [each[1:] for each in late]


def start_with_first_trade(arrivals, fetch):
    """Throws away what comes before the first trade."""
    messages = handler.deliver(arrivals, fetch)
    first = next(place for place, (_, raw) in enumerate(messages) if raw[:2] == b"TM")
    return messages[first:]


def stop_at_close(arrivals, fetch):
    """Hangs up when it hears that the session closes, before the summaries."""
    messages = handler.deliver(arrivals, fetch)
    close = next(place for place, (_, raw) in enumerate(messages) if raw[:2] == b"CC")
    return messages[:close + 1]


# Reading.

def reading(change):
    """A reader that spoils the fields: change(kind, fields) alters them in place."""
    def read(raw):
        kind, fields = handler.read_message(raw)
        change(kind, fields)
        return kind, fields
    return Handler(read=read)


def capped_as(value):
    """Reads the quantity of a capped trade as something else than its cap."""
    def change(_kind, fields):
        for prefix in ("", "original_"):
            if fields.get(prefix + "quantity_indicator") == "E":
                fields[prefix + "quantity"] = value(fields[prefix + "quantity"])
    return reading(change)


def without_fraction(_kind, fields):
    """Reads prices as whole numbers."""
    if "price" in fields:
        fields["price"] = float(int(fields["price"]))


def without_sign(_kind, fields):
    """Overlooks the sign of yields."""
    for name, value in fields.items():
        if name.endswith("yield") and value is not None:
            fields[name] = abs(value)


def without_zeros(_kind, fields):
    """Trims trade ids to their digits that count."""
    if fields.get("trade_id"):
        fields["trade_id"] = fields["trade_id"].lstrip("0")


def in_utc(_kind, fields):
    """Shifts execution times as if they were in another zone."""
    if "executed_at" in fields:
        hour = int(fields["executed_at"][8:10])
        fields["executed_at"] = f"{fields['executed_at'][:8]}{(hour + 5) % 24:02d}{fields['executed_at'][10:]}"


def settle_same_day(_kind, fields):
    """Takes the day of execution for the day of settlement."""
    if "settlement" in fields:
        fields["settlement"] = fields["executed_at"][:8]


def swap_sides(_kind, fields):
    """Has buyer and seller the wrong way round."""
    if "side" in fields:
        fields["side"] = {"B": "S", "S": "B"}[fields["side"]]


def swap_parties(_kind, fields):
    """Has reporting and contra party the wrong way round."""
    if "contra_party" in fields:
        fields["contra_party"], fields["reporting_party"] = fields["reporting_party"], fields["contra_party"]


def ats_as_no(_kind, fields):
    """Writes N where the feed leaves a blank."""
    if fields.get("ats") == " ":
        fields["ats"] = "N"


def original_terms(kind, fields):
    """Reads a correction's terms where the corrected trade's stand."""
    if kind == "correction":
        for name in ("quantity", "price", "yield"):
            fields[name] = fields["original_" + name]


def never_changes(_kind, fields):
    """Does not read the change indicator."""
    if "change" in fields:
        fields["change"] = "0"


def low_for_close(kind, fields):
    """Reads the close of a summary one field too early."""
    if kind == "summary":
        fields["close"] = fields["low"]


def resume_as_halt(kind, fields):
    """Takes every halt message for a halt."""
    if kind == "halt":
        fields["action"] = "H"


def cut_symbol(_kind, fields):
    """Keeps eight characters of a symbol."""
    if "symbol" in fields:
        fields["symbol"] = fields["symbol"][:8]


# Keeping books.

def taking_as_last_sale(name, value):
    """Takes trades with this mark for last sales, which they are not."""
    def eligible(fields):
        return handler.is_last_sale({**fields, name: " "} if fields[name] == value else fields)

    def trade(book, fields):
        if eligible(fields):
            book.prints.append(handler.print_of(fields))

    def correction(book, fields):
        handler.on_cancel(book, fields)
        trade(book, fields)
    return Handler(trade=trade, correction=correction)


def ignore_late(book, fields):
    """Leaves out trades that were reported late, though they count."""
    if fields["sale_condition_3"] != "Z":
        handler.on_trade(book, fields)


def ignore(_book, _fields):
    """Does nothing about it."""


def correct_twice(book, fields):
    """Applies a correction two times."""
    handler.on_correction(book, fields)
    handler.on_trade(book, fields)


def correct_by_adding(book, fields):
    """Adds the corrected trade and keeps the old one."""
    handler.on_trade(book, fields)


def correct_by_cancelling(book, fields):
    """Takes a correction for a cancel."""
    handler.on_cancel(book, fields)


def cancel_newest(book, fields):
    """Cancels the last sale that came last, not the one that is named."""
    if handler.is_last_sale(fields, "original_"):
        del book.prints[-1:]


def last_as_it_comes(prints):
    """Takes the trade reported last for the last sale, however old it is."""
    high, low, _ = handler.extremes(prints)
    return high, low, prints[-1]


def rank_by_yield(prints):
    """Takes the highest yield for the high."""
    _, low, last = handler.extremes(prints)
    return max(prints, key=lambda p: p.bond_yield), low, last


def high_never_falls(book, fields):
    """Keeps the trade that set the day's high when it is cancelled."""
    if not book.prints or handler.extremes(book.prints)[0].trade_id != fields["original_id"]:
        handler.on_cancel(book, fields)


GALLERY = {
    "forgets a gap": Handler(deliver=forget_gaps),
    "keeps a duplicate": Handler(deliver=keep_duplicates),
    "swaps what was swapped": Handler(deliver=keep_order_of_arrival),
    "misses the tail before a heartbeat": Handler(deliver=ignore_heartbeats),
    "accepts after the close": Handler(deliver=accept_after_close),
    "reads one message of an answer": Handler(deliver=take_first_of_answer),
    "counts from zero": Handler(deliver=count_from_zero),
    "appends recovered messages late": Handler(deliver=append_recovered),
    "starts with the first trade": Handler(deliver=start_with_first_trade),
    "hangs up at the close": Handler(deliver=stop_at_close),
    "reads a capped quantity as zero": capped_as(lambda cap: 0.0),
    "reads a capped quantity as its first digit": capped_as(lambda cap: cap / 1e6),
    "drops the fraction of prices": reading(without_fraction),
    "overlooks the sign of yields": reading(without_sign),
    "trims trade ids": reading(without_zeros),
    "reads local time as another zone's": reading(in_utc),
    "settles on the day of execution": reading(settle_same_day),
    "swaps buyer and seller": reading(swap_sides),
    "swaps the parties": reading(swap_parties),
    "fills in a blank": reading(ats_as_no),
    "reads the original's terms of a correction": reading(original_terms),
    "does not read the change indicator": reading(never_changes),
    "reads a summary's close one field early": reading(low_for_close),
    "cuts symbols": reading(cut_symbol),
    "takes an as-of trade as last sale": taking_as_last_sale("as_of", "A"),
    "takes a reversal as last sale": taking_as_last_sale("as_of", "R"),
    "takes a special price as last sale": taking_as_last_sale("special", "Y"),
    "takes an after-hours trade as last sale": taking_as_last_sale("sale_condition_3", "T"),
    "takes an average price as last sale": taking_as_last_sale("sale_condition_4", "W"),
    "leaves out late trades": Handler(trade=ignore_late),
    "ignores a cancel": Handler(cancel=ignore),
    "applies a correction twice": Handler(correction=correct_twice),
    "adds a correction to the trade corrected": Handler(correction=correct_by_adding),
    "takes a correction for a cancel": Handler(correction=correct_by_cancelling),
    "cancels the newest trade": Handler(cancel=cancel_newest),
    "takes the trade reported last as last sale": Handler(rank=last_as_it_comes),
    "takes the highest yield for the high": Handler(rank=rank_by_yield),
    "never lowers the high": Handler(cancel=high_never_falls),
    "ignores halts": Handler(halt=ignore),
    "never resumes": Handler(halt=lambda book, fields: setattr(book, "halted", True)),
    "keeps one book for bonds of one issuer": Handler(bond_of=lambda fields: fields["short_name"]),
}


def first_difference(believed, right):
    """Sequence number and field where a receiver first departs from the right beliefs. None when it never does."""
    for place in range(max(len(believed), len(right))):
        mine = believed[place] if place < len(believed) else None
        wanted = right[place] if place < len(right) else None
        if mine is None or wanted is None or mine["seq"] != wanted["seq"]:
            numbers = [each["seq"] for each in (mine, wanted) if each]
            return min(numbers), "seq"
        for name, value in mine.items():
            if name == "book":
                for part, state in value.items():
                    if state != wanted["book"][part]:
                        return mine["seq"], f"book.{part}"
            elif value != wanted[name]:
                return mine["seq"], name
    return None
