"""Benches that break one rule and say so in message, truth and tape alike: the audit tells by the rule alone."""

import re

import pytest

import auditing
import handler
import lies
import recording


def told(event="trade", field=None, value=None, also=None, **wanted):
    """A lie about one field of a message that is found by its values."""
    def change(lie):
        number = lies.find(lie, **wanted) if event == "trade" else lies.last_of(lie, event, **wanted)
        lies.tell(lie, number, **{field: value(lie.truth[number]) if callable(value) else value}, **(also or {}))
        return number
    return change


def retimed(back_s, **wanted):
    """A trade executed so many seconds before it is sent."""
    def change(lie):
        number = lies.find(lie, **wanted)
        lies.retime(lie, number, back_s)
        return number
    return change


def with_yield_of_another_coupon(lie):
    """The yield of a trade is twice what its price makes it."""
    number = lies.find(lie, special="Y")
    lies.tell(lie, number, **{"yield": round(lie.truth[number]["yield"] * 2, 6)})
    return number


def with_four_decimals(lie):
    """A generated price is not rounded; the yield is right for it."""
    number = lies.find(lie, special="Y")
    record = lie.truth[number]
    price = record["price"] + 0.0004
    lies.tell(lie, number, price=price, **{"yield": round(100 * lies.COUPONS[record["cusip"]] / price, 6)})
    return number


def halted_for_good(lie):
    """The bond is halted again instead of being resumed, yet trades on."""
    number = lies.last_of(lie, "halt", action="R")
    lies.tell(lie, number, action="H", reason="T.1")
    bond = lie.truth[number]["cusip"]
    plain = lambda record: (record["as_of"], record["special"], record["sale3"], record["sale4"]) == (" ",) * 4
    return min(each for each, record in lie.truth.items()
               if each > number and record["event"] == "trade" and record["cusip"] == bond
               and (not plain(record) or record["contra"] == "A" or record["remuneration"] in ("C", "N")
                    or record["contra"] == "D" and record["side"] == "B" or record["ats"] == "Y"
                    and lie.tape[each]["where"] != "book"))


def summary_without_a_print(lie):
    """One bond more is summed up, which never traded."""
    number = lies.last_of(lie, "summary")
    raw = lie.messages[number]
    for name, text in (("cusip", "NEVER0001"), ("symbol", "NEVER"), ("short_name", "NEVER")):
        raw = lies.put_field(raw, name, text)
    for name in ("high", "low", "last"):
        raw = lies.put_field(lies.put_field(raw, name, "0000.000000"), name + "_yield", "")
    record = {**lie.truth[number], "cusip": "NEVER0001", "symbol": "NEVER", "high": 0.0, "low": 0.0, "close": 0.0}
    lies.insert(lie, number + 1, raw, record)
    return number + 1


def summary_twice(lie):
    """A bond is summed up two times."""
    number = lies.last_of(lie, "summary")
    lies.insert(lie, number + 1, lie.messages[number], lie.truth[number])
    return number + 1


def summary_left_out(lie):
    """A bond that traded is not summed up."""
    number = lies.last_of(lie, "summary")
    lies.remove(lie, number)
    return lies.last_of(lie, "control", type="X")


def ended_out_of_order(lie):
    """The session ends with J before X."""
    number = lies.last_of(lie, "control", type="X")
    lies.tell(lie, number, type="J")
    lies.tell(lie, number + 1, type="X")
    return number


def opened_the_other_way(lie):
    """The day opens with O."""
    lies.tell(lie, 1, type="O")
    return 1


def moved_route(lie):
    """A generated trade says another venue on the tape."""
    number = lies.find(lie, special="Y", ats=" ")
    lie.tape[number]["venue"] = "DESK"
    return number


def split_second(lie):
    """A generated trade is executed between two seconds."""
    number = lies.find(lie, special="Y")
    lie.tape[number]["exec_ts_ms"] += 250
    lie.tape[number]["report_lag_ms"] -= 250
    return number


def halved_correction(lie):
    """A correction halves the quantity."""
    number = max(each for each, record in lie.truth.items() if record["event"] == "correction" and not record["capped"])
    original = next(record for record in lie.truth.values()
                    if record.get("trade_id") == lie.truth[number]["orig_trade_id"])
    lies.tell(lie, number, qty=original["qty"] / 2)
    return number


def after(text):
    """The next later date of the record's settlement, eight digits."""
    return lambda record: str(int(record[text]) + 10000)


LIES = {
    "a replacement settles another day": (told("correction", "settle", after("settle")), "settlement"),
    "a replacement is on the other side": (
        told("correction", "side", lambda record: {"B": "S", "S": "B"}[record["side"]], contra="C"), "side"),
    "a replacement has another reporting party": (told("correction", "rpt", "T", {"ats": "Y"}, ats=" "),
                                                  "reporting_party"),
    "a correction halves a quantity": (halved_correction, "quantity"),
    "a trade carries no yield": (told(field="yield", special="Y"), "yield"),
    "a yield is of another coupon": (with_yield_of_another_coupon, "yield"),
    "a resume says T.1": (told("halt", "reason", "T.1", action="R"), "reason"),
    "a late trade is half an hour old": (retimed(1800, sale3="Z"), "executed_at"),
    "a late trade is two hours old": (retimed(7200, sale3="Z"), "executed_at"),
    "a trade that is not late is a quarter of an hour old": (retimed(900, sale3=" ", as_of=" ", special="Y"),
                                                             "executed_at"),
    "an as-of trade is an hour old": (retimed(3600, as_of="A", sale3=" "), "executed_at"),
    "a reversal is a day old": (retimed(86400, as_of="R", sale3=" "), "executed_at"),
    "a generated trade settles a year later": (told(field="settle", value=after("settle"), special="Y"), "settlement"),
    "a trade on a system has a remuneration": (told(field="remuneration", value="M", ats="Y", special="Y"),
                                               "remuneration"),
    "a trade on a system is with a customer": (
        told(field="contra", value="C", also={"remuneration": "M"}, ats="Y", sale3=" "), "contra_party"),
    "a trade on a system is reported by a dealer": (told(field="rpt", value="D", ats="Y"), "reporting_party"),
    "a trade between dealers is a buy": (told(field="side", value="B", contra="D", ats=" "), "side"),
    "a customer pays nothing": (told(field="remuneration", value=" ", contra="C", ats=" "), "remuneration"),
    "a quantity is odd": (told(field="qty", value=12345.0, special="Y", capped=False), "quantity"),
    "a quantity exceeds the cap": (told(field="qty", value=5000001.0, special="Y", capped=False), "quantity"),
    "a price has four decimals": (with_four_decimals, "price"),
    "a halted bond trades": (halted_for_good, "event"),
    "a bond without a print is summed up": (summary_without_a_print, "cusip"),
    "a bond is summed up twice": (summary_twice, "cusip"),
    "a bond is not summed up": (summary_left_out, "event"),
    "the session ends out of order": (ended_out_of_order, "event"),
    "the day opens with O": (opened_the_other_way, "type"),
    "a generated trade has another venue": (moved_route, "tape.venue"),
    "a generated trade is executed between seconds": (split_second, "tape.exec_ts_ms"),
}


def audit_lie(lie, folder):
    """Audits the lie from its three files."""
    pcap, truth, tape = lies.write(lie, folder)
    return auditing.audit(lie.run, "--pcap", pcap, truth=truth, tape=tape)


def test_a_copy_of_the_run_is_equal(run, tmp_path):
    status, verdict = audit_lie(lies.begin(run), tmp_path)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)


@pytest.mark.parametrize("name", LIES)
def test_a_broken_rule_is_named_first(run, tmp_path, name):
    change, field = LIES[name]
    lie = lies.begin(run)
    number = change(lie)
    status, verdict = audit_lie(lie, tmp_path)
    assert status == 1, "the audit believes it"
    assert auditing.first_wrong(verdict) == (number, field), auditing.explain(verdict)
    assert verdict["first_wrong"]["source"] == "rule"


def test_a_rule_that_is_always_broken_is_one_discrepancy(run, tmp_path):
    lie = lies.begin(run)
    numbers = [number for number, record in sorted(lie.truth.items()) if record.get("special") == "Y"]
    for number in numbers:
        lies.tell(lie, number, settle=after("settle")(lie.truth[number]))
    _, verdict = audit_lie(lie, tmp_path)
    assert auditing.first_wrong(verdict) == (numbers[0], "settlement")
    assert [each["field"] for each in verdict["discrepancy_list"]].count("settlement") == 1


def write_mark(path, label):
    """Puts a mark behind the first two records."""
    lines = path.read_text(encoding="latin-1").splitlines(keepends=True)
    path.write_text("".join([*lines[:2], f'{{"mark":"{label}","seq":2}}\n', *lines[2:]]), encoding="latin-1")


@pytest.mark.parametrize("label", ["x" * 251, "x" * 400, "blank behind "])
def test_a_mark_that_no_command_brings_is_named(run, copy, label):
    truth = copy("truth.jsonl")
    write_mark(truth, label)
    status, verdict = auditing.audit(run, "--capture", handler.write_lines(
        truth.with_name("beliefs.jsonl"), handler.believe(handler.Handler(), run)), truth=truth)
    assert (status, auditing.first_wrong(verdict)) == (1, (2, "mark")), auditing.explain(verdict)


@pytest.mark.parametrize("label", ["x" * 250, "", '\\"' * 250, " before"])
def test_a_mark_that_a_command_brings_is_right(run, copy, label):
    truth = copy("truth.jsonl")
    write_mark(truth, label)
    status, verdict = auditing.audit(run, "--capture", handler.write_lines(
        truth.with_name("beliefs.jsonl"), handler.believe(handler.Handler(), run)), truth=truth)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)


@pytest.mark.parametrize(("name", "key", "field"), [("truth.jsonl", "price", "price"),
                                                    ("truth.jsonl", "qty", "quantity"),
                                                    ("tape.jsonl", "price", "tape.price")])
def test_a_number_of_more_than_31_characters_is_named(run, copy, name, key, field):
    path = copy(name)
    number = lies.find(lies.begin(run), special="Y")
    lines = path.read_text(encoding="latin-1").splitlines(keepends=True)
    index, _ = recording.truth_of(path)[number]
    lines[index] = re.sub(rf'("{key}":[0-9.]+)', lambda found: found[1] + "0" * 40, lines[index])
    path.write_text("".join(lines), encoding="latin-1")
    status, verdict = auditing.audit(run, "--capture", handler.write_lines(
        path.with_name("beliefs.jsonl"), handler.believe(handler.Handler(), run)),
        **{name.removesuffix(".jsonl"): path})
    assert (status, auditing.first_wrong(verdict)) == (1, (number, field)), auditing.explain(verdict)
