"""Books rebuilt from decoded messages alone, the way a receiver has to do it.

Owns every trade seen and, for each bond, the book after each of its live prints. Taking a print out goes back to the
book before it and plays the later ones again, in the order of dissemination.
"""

import dataclasses

import feedtime
import wire

NO_YIELD = " " * 14


@dataclasses.dataclass
class Book:
    """The day of one bond. Yields are kept as the 14 characters of the wire, prices as numbers."""
    traded: bool = False
    high: float = 0.0
    low: float = 0.0
    last: float = 0.0
    high_yield: str = NO_YIELD
    low_yield: str = NO_YIELD
    last_yield: str = NO_YIELD
    last_exec_s: int = 0
    prints: int = 0


@dataclasses.dataclass
class Trade:
    """One trade as its message showed it; `cancelled` also marks a trade that was corrected."""
    trade_id: int
    cusip: str
    body: str
    price: float
    yield_text: str
    exec_s: int
    report_date: str
    eligible: bool
    cancelled: bool = False


@dataclasses.dataclass
class Market:
    """Trades in the order of dissemination, by id; for each CUSIP its live eligible trades, each with the book after
    it."""
    trades: dict = dataclasses.field(default_factory=dict)
    prints: dict = dataclasses.field(default_factory=dict)


def eligible(message):
    """Whether the trade counts for high, low and last."""
    return (message["as_of"] == " " and message["special"] != "Y" and message["sale3"] in " Z"
            and message["sale4"] == " ")


def execution_s(message):
    """When the trade was executed: as its tape line had it where that was read, otherwise as the local time tells."""
    return message.fields.get("exec_s") or feedtime.utc_of_local(message["exec"])


def trade_of(message):
    """The trade that a T/M or T/O message brings."""
    return Trade(int(message["counter"]), message["cusip"], wire.body_of(message), float(message["price"]),
                 message["yield"], execution_s(message), message["sent_at"][:8], eligible(message))


def take_print(book, trade):
    """Brings one eligible trade into the book and returns its change indicator."""
    book.prints += 1
    if not book.traded:
        book.traded = True
        book.high = book.low = book.last = trade.price
        book.high_yield = book.low_yield = book.last_yield = trade.yield_text
        book.last_exec_s = trade.exec_s
        return "7"
    bits = 0
    if trade.price > book.high:
        book.high, book.high_yield = trade.price, trade.yield_text
        bits |= 4
    if trade.price < book.low:
        book.low, book.low_yield = trade.price, trade.yield_text
        bits |= 2
    if book.last_exec_s <= trade.exec_s:
        bits |= trade.price != book.last
        book.last, book.last_yield, book.last_exec_s = trade.price, trade.yield_text, trade.exec_s
    return str(bits)


def book_now(market, cusip):
    """The bond's present book; an empty one when nothing counts."""
    line = market.prints.get(cusip)
    return line[-1][1] if line else Book()


def add_print(market, trade):
    """Plays one eligible trade behind the others of its bond and returns its change indicator."""
    after = dataclasses.replace(book_now(market, trade.cusip))
    change = take_print(after, trade)
    market.prints.setdefault(trade.cusip, []).append((trade, after))
    return change


def remove_print(market, trade):
    """Takes an eligible trade out of its bond's day."""
    line = market.prints[trade.cusip]
    at = len(line) - 1
    while line[at][0] is not trade:
        at -= 1
    later = [each for each, _ in line[at + 1:]]
    del line[at:]
    for each in later:
        add_print(market, each)


def change_between(before, after):
    """The change indicator of a cancel or correction."""
    if before.traded != after.traded:
        return "7"
    return str(4 * (before.high != after.high) + 2 * (before.low != after.low) + (before.last != after.last))


def price_text(price):
    """A price as it stands on the wire."""
    return f"{max(0.0, price):011.6f}"


def book_text(book, change):
    """The book block of a cancel or correction."""
    def yield_text(text):
        return text if book.traded else NO_YIELD
    return (price_text(book.high) + yield_text(book.high_yield) + price_text(book.low) + yield_text(book.low_yield)
            + price_text(book.last) + yield_text(book.last_yield) + change)


def follow(market, message):
    """Applies one message, in sequence order. What it says that the messages before it contradict, as texts."""
    handlers = {"T/M": _follow_trade, "T/N": _follow_amendment, "T/O": _follow_amendment, "A/E": _follow_summary}
    return handlers[message.kind](market, message) if message.kind in handlers else []


def _follow_trade(market, message):
    trade = trade_of(message)
    market.trades[trade.trade_id] = trade
    change = add_print(market, trade) if trade.eligible else "0"
    return _differences(f"trade {trade.trade_id}", change=(message["change"], change))


def _follow_amendment(market, message):
    original = market.trades.get(int(message["orig_id"]))
    if original is None or original.cancelled:
        return [f"{message.kind} of trade {message['orig_id']}, which is not live"]
    old_prefix = "" if message.kind == "T/N" else "old_"
    before = book_now(market, original.cusip)
    original.cancelled = True
    if original.eligible:
        remove_print(market, original)
    if message.kind == "T/O":
        replacement = trade_of(message)
        market.trades[replacement.trade_id] = replacement
        if replacement.eligible:
            add_print(market, replacement)
    after = book_now(market, original.cusip)
    return _differences(f"{message.kind} of trade {original.trade_id}",
                        cusip=(message["cusip"], original.cusip),
                        body=(wire.body_of(message, old_prefix), original.body),
                        report_date=(message["report_date"], original.report_date),
                        book=(wire.book_of(message), book_text(after, change_between(before, after))))


def _follow_summary(market, message):
    book = book_now(market, message["cusip"])
    said = "".join(message[name] for name, _ in wire.BOOK[:6])
    return _differences(f"summary of {message['cusip']}", book=(said, book_text(book, "")),
                        traded=(book.traded, True))


def _differences(subject, **pairs):
    return [f"{subject}: {name} {said!r}, expected {wanted!r}" for name, (said, wanted) in pairs.items()
            if said != wanted]
