"""Handlers that are right write their recordings in many styles, and none of them is a finding. Handlers that are wrong
in one way are caught, whatever it is, and the verdict begins with the message and the field where that shows first."""

import json
import struct

import pytest

import auditing
import flaws
import handler

TEXT_WIDTHS = {"symbol": 14, "cusip": 9, "short_name": 12, "description": 30, "sub_product": 5, "reason": 4}
MARKS = ("special", "ats", "original_special", "original_ats")
DIGITS = ("trade_id", "original_id", "sent_at", "executed_at", "settlement", "action_at", "original_date",
          "original_settlement", "original_executed_at", "reversed_date")


@pytest.fixture(scope="module")
def right(run):
    """What a handler without flaws believes."""
    return handler.believe(handler.Handler(), run)


def values(change):
    """A style that writes single values otherwise: change(name, value) of a message's and a book's."""
    def style(lines):
        return plain([{name: {each: change(each, part) for each, part in value.items()} if name == "book"
                       else change(name, value) for name, value in line.items()} for line in lines])
    return style


def plain(lines, **options):
    """One object a line."""
    return "".join(json.dumps(line, **options) + "\n" for line in lines)


def spelt(lines, text=json.dumps, number=json.dumps):
    """One object a line, with texts and numbers spelt by the given operations."""
    def write(value):
        if isinstance(value, dict):
            return "{" + ",".join(f"{text(name)}:{write(each)}" for name, each in value.items()) + "}"
        return text(value) if isinstance(value, str) else number(value)
    return "".join(write(line) + "\n" for line in lines)


def with_fixed_decimals(lines):
    """Numbers with six decimals, trailing zeros kept."""
    return spelt(lines, number=lambda value: f"{value:.6f}" if isinstance(value, float) else json.dumps(value))


def with_uniform_rows(lines):
    """Every line has every name; what the message does not have is null."""
    names = dict.fromkeys(name for line in lines for name in line)
    return plain([{name: line.get(name) for name in names if name != "book"} for line in lines])


def with_feed_events(lines):
    """Gaps, heartbeats and a handler's own events between the messages."""
    more = []
    for line in lines:
        more += [{"event": "heartbeat", "seq": line["seq"]}, {"event": "gap", "first": 1, "last": 5},
                 {"event": "latency", "ns": 5}, line]
    return plain(more)


def with_books_at_the_end(lines):
    """Books in one batch behind all messages."""
    last = {line["cusip"]: {"cusip": line["cusip"], **line["book"]} for line in lines if "book" in line}
    return plain([{name: line[name] for name in line if name != "book"} for line in lines]
                 + [{"book": book} for book in last.values()])


def with_books_behind(lines):
    """Each book on a line of its own behind its message, without its bond."""
    more = []
    for line in lines:
        more.append({name: value for name, value in line.items() if name != "book"})
        if "book" in line:
            more.append({"book": {name: value for name, value in line["book"].items() if name != "cusip"}})
    return plain(more)


def with_escapes(lines):
    """Every letter of every text and name as \\uXXXX."""
    return spelt(lines, text=lambda text: '"' + "".join(f"\\u{ord(each):04x}" for each in text) + '"')


def only(*names):
    """A style that writes these names alone."""
    return lambda lines: plain([{name: line[name] for name in ("seq", *names) if name in line} for line in lines])


STYLES = {
    "as it is": plain,
    "keys the other way round": lambda lines: plain([dict(reversed(line.items())) for line in lines]),
    "keys in order of the alphabet": lambda lines: plain(lines, sort_keys=True),
    "more keys than the bench knows": lambda lines: plain(
        [{"recv_ns": 1795220420879000000, **line, "tags": ["a", {"b": 1}], "meta": {"a": {}}} for line in lines]),
    "numbers as texts": values(lambda name, value: str(value) if isinstance(value, float) else value),
    "numbers with six decimals": with_fixed_decimals,
    "numbers with exponents": values(lambda name, value: f"{value:.12e}" if isinstance(value, float) else value),
    "prices as sums of binary fractions": values(
        lambda name, value: value * 3 / 3 + 1e-12 if isinstance(value, float) else value),
    "digits as numbers": values(lambda name, value: int(value) if name in DIGITS and value else value),
    "marks as true and false": values(lambda name, value: value == "Y" if name in MARKS else value),
    "blanks behind texts kept": values(lambda name, value: value.ljust(TEXT_WIDTHS.get(name, 0))
                                       if isinstance(value, str) else value),
    "blanks left out": values(lambda name, value: value.rstrip() if isinstance(value, str) else value),
    "blanks as null": values(lambda name, value: None if isinstance(value, str) and not value.strip() else value),
    "nothing as NaN": values(lambda name, value: float("nan") if value is None and "yield" in name else value),
    "zero prices in empty books": lambda lines: plain(
        [{**line, "book": {name: 0 if value is None else value for name, value in line["book"].items()
                           if "yield" not in name}} if "book" in line else line for line in lines]),
    "no books": lambda lines: plain([{n: v for n, v in line.items() if n != "book"} for line in lines]),
    "books alone": only("book"),
    "books at the end": with_books_at_the_end,
    "books on lines of their own": with_books_behind,
    "descriptions and no short names": lambda lines: plain(
        [{n: v for n, v in line.items() if n != "short_name"} for line in lines]),
    "no events": lambda lines: plain([{n: v for n, v in line.items() if n != "event"} for line in lines]),
    "trades alone in full": lambda lines: plain(
        [line if line["event"] == "trade" else {"seq": line["seq"]} for line in lines]),
    "two fields": only("price", "side"),
    "uniform rows": with_uniform_rows,
    "events of its own": with_feed_events,
    "wide spaces": lambda lines: plain(lines, separators=(" ,\t", "  :  ")).replace("{", " { "),
    "no spaces": lambda lines: plain(lines, separators=(",", ":")),
    "unicode escapes": with_escapes,
    "line ends of two characters": lambda lines: plain(lines).replace("\n", "\r\n") + "\r\n",
    "empty lines between": lambda lines: plain(lines).replace("\n", "\n\n  \n"),
    "no line end at the end": lambda lines: plain(lines)[:-1],
    "a byte order mark": lambda lines: "\ufeff" + plain(lines),
}


@pytest.mark.parametrize("name", STYLES)
def test_a_right_handler_may_write_in_any_style(run, right, tmp_path, name):
    path = tmp_path / "style.jsonl"
    path.write_bytes(STYLES[name](right).encode("utf-8"))
    status, verdict = auditing.audit(run, "--capture", path)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert verdict["fields_compared"] + verdict["books_compared"] > 500


def test_a_recording_that_is_written_late_is_no_finding(run, right, tmp_path):
    """Messages are written at once, books in batches of fifty messages, of whatever bonds they are."""
    lines, books = [], {}
    for line in right:
        lines.append({name: value for name, value in line.items() if name != "book"})
        if "book" in line:
            books[line["cusip"]] = line["book"]
        if line["seq"] % 50 == 0:
            lines += [{"book": {"cusip": cusip, **book}} for cusip, book in books.items()]
    status, verdict = auditing.audit(run, "--capture", handler.write_lines(tmp_path / "late.jsonl", lines))
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert verdict["books_compared"] > 20


def test_a_wrong_book_on_a_line_of_its_own_is_found(run, right, tmp_path):
    lines = with_books_behind(right).splitlines()
    place = next(i for i, line in enumerate(lines) if line.startswith('{"book"') and json.loads(line)["book"]["high"])
    book = json.loads(lines[place])
    book["book"]["high"] += 1
    lines[place] = json.dumps(book)
    path = tmp_path / "beliefs.jsonl"
    path.write_text("\n".join(lines) + "\n", encoding="utf-8")
    status, verdict = auditing.audit(run, "--capture", path)
    assert (status, verdict["discrepancies"]) == (1, 1), auditing.explain(verdict)
    assert auditing.first_wrong(verdict) == (json.loads(lines[place - 1])["seq"], "book.high")


def test_a_list_in_place_of_a_value_is_wrong(run, right, tmp_path):
    number = next(line["seq"] for line in right if line["event"] == "trade")
    for value in ([], [1.0]):
        lines = [{**line, "price": value} if line["seq"] == number else line for line in right]
        status, verdict = auditing.audit(run, "--capture", handler.write_lines(tmp_path / "beliefs.jsonl", lines))
        assert (status, auditing.first_wrong(verdict)) == (1, (number, "price")), auditing.explain(verdict)


def test_a_line_that_is_too_long_is_wrong(run, right, tmp_path):
    path = tmp_path / "beliefs.jsonl"
    lines = plain(right).splitlines(keepends=True)
    path.write_text("".join(lines[:300]) + "x" * 3_000_000 + "\n" + "".join(lines[300:]), encoding="utf-8")
    status, verdict = auditing.audit(run, "--capture", path)
    assert (status, auditing.first_wrong(verdict)) == (1, (301, "line")), auditing.explain(verdict)
    assert "too long" in verdict["first_wrong"]["received"]


def put(name, change):
    """A handler that spoils one field wherever a message has it."""
    def spoil(_kind, fields):
        if fields.get(name) is not None:
            fields[name] = change(fields[name])
    return flaws.reading(spoil)


def copy_from(name, other):
    """A handler that reads one field at the place of another."""
    def spoil(_kind, fields):
        if name in fields and other in fields:
            fields[name] = fields[other]
    return flaws.reading(spoil)


def book_of(change):
    """A handler whose books say something else: change(state) alters what it writes down."""
    def lines(run):
        believed = handler.believe(handler.Handler(), run)
        for line in believed:
            if "book" in line:
                change(line["book"])
        return believed
    return lines


def single(value):
    """The value as a number of 32 bits has it."""
    return struct.unpack("f", struct.pack("f", value))[0]


def swap(left, right):
    """Exchanges two values of a book."""
    def change(state):
        state[left], state[right] = state[right], state[left]
    return change


flip = {"B": "S", "S": "B", "C": "N", "N": "C"}.get
WRONG = {
    "prices of 32 bits": put("price", single),
    "prices to two decimals": put("price", lambda v: round(v, 2)),
    "prices cut to whole numbers": put("price", float.__floor__),
    "prices a tick higher": put("price", lambda v: v + 1e-3),
    "prices in hundredths": put("price", lambda v: v / 100),
    "negative prices": put("price", lambda v: -v),
    "yields as fractions": put("yield", lambda v: v / 100),
    "yields to three decimals": put("yield", lambda v: round(v, 3)),
    "yields of zero": put("yield", lambda v: 0.0),
    "no yields": put("yield", lambda v: "-"),
    "quantities in thousands": put("quantity", lambda v: v / 1000),
    "quantities in cents": put("quantity", lambda v: v * 100),
    "quantities of 32 bits": put("quantity", lambda v: v % 65536),
    "capped as exact": put("quantity_indicator", lambda v: "A"),
    "ids cut to six digits": put("trade_id", lambda v: v[1:]),
    "ids in another base": put("trade_id", lambda v: f"{int(v):07x}X"),
    "ids one higher": put("trade_id", lambda v: f"{int(v) + 1:07d}"),
    "symbols in small letters": put("symbol", str.lower),
    "symbols of one word": put("symbol", lambda v: v.split()[0]),
    "cusips without their check digit": put("cusip", lambda v: v[:8]),
    "cusips from one byte on": put("cusip", lambda v: v[1:]),
    "settlement in parts": put("settlement", lambda v: f"{v[:4]}-{v[4:6]}-{v[6:]}"),
    "another product": put("sub_product", lambda v: "AGCY"),
    "another origin": put("origin", lambda v: "X"),
    "another category": put("category", str.lower),
    "another type": put("type", str.lower),
    "only buys": put("side", lambda v: "B"),
    "no as-of": put("as_of", lambda v: " "),
    "no special": put("special", lambda v: " "),
    "no late trades": put("sale_condition_3", lambda v: " "),
    "no averages": put("sale_condition_4", lambda v: " "),
    "no systems": put("ats", lambda v: " "),
    "no remuneration": put("remuneration", lambda v: "N"),
    "a second modifier": put("second_modifier", lambda v: "M"),
    "parties D alone": put("reporting_party", lambda v: "D"),
    "contra parties D alone": put("contra_party", lambda v: "D"),
    "change by one bit": put("change", lambda v: str(int(v) ^ 1)),
    "settlement a day early": put("settlement", lambda v: str(int(v) - 1)),
    "executed as sent": copy_from("executed_at", "sent_at"),
    "no reversed dates": put("reversed_date", lambda v: "20000101"),
    "original dates off": put("original_date", lambda v: "20240229"),
    "originals of the wrong id": put("original_id", lambda v: f"{int(v) ^ 1:07d}"),
    "functions exchanged": put("function", flip),
    "original prices of the new trade": copy_from("original_price", "price"),
    "original sides exchanged": put("original_side", flip),
    "original quantities as new": copy_from("original_quantity", "quantity"),
    "original yields of zero": put("original_yield", lambda v: 0.0),
    "halts as resumes": put("action", lambda v: "R"),
    "reasons cut": put("reason", lambda v: v[:2]),
    "action times off": put("action_at", lambda v: "20240701120000"),
    "high and low exchanged in amendments": copy_from("high", "low"),
    "last as high": copy_from("last", "high"),
    "close as high": copy_from("close", "high"),
    "high yields as low": copy_from("high_yield", "low_yield"),
}
WRONG_BOOKS = {
    "high and low exchanged": swap("high", "low"),
    "last as high": lambda book: book.update(last=book["high"]),
    "prints one more": lambda book: book.update(prints=book["prints"] + 1),
    "never halted": lambda book: book.update(halted=False),
    "always traded": lambda book: book.update(traded=True),
    "yields exchanged": swap("high_yield", "low_yield"),
    "no low": lambda book: book.update(low=0.0),
    "last yield rounded": lambda book: book.update(last_yield=book["last_yield"] and round(book["last_yield"], 4)),
}


@pytest.mark.parametrize("name", [*WRONG, *(f"books: {name}" for name in WRONG_BOOKS)])
def test_a_wrong_handler_is_caught_where_that_shows_first(run, right, tmp_path, name):
    of_book = WRONG_BOOKS.get(name.removeprefix("books: ")) if name.startswith("books: ") else None
    believed = book_of(of_book)(run) if of_book else handler.believe(WRONG[name], run)
    expected = flaws.first_difference(believed, right)
    assert expected is not None, "the flaw never showed in this run"
    path = handler.write_lines(tmp_path / "beliefs.jsonl", believed)
    status, verdict = auditing.audit(run, "--capture", path)
    assert (status, verdict["verdict"]) == (1, "different")
    assert auditing.first_wrong(verdict) == expected, auditing.explain(verdict)
    assert f"first wrong: #{expected[0]} {expected[1]}" in verdict["sentence"]


def test_there_are_enough_of_both():
    assert len(STYLES) >= 20 and len(WRONG) + len(WRONG_BOOKS) >= 50
