"""Cancels and corrections asked for over the control port: bytes, books, refusals, and which trade is taken."""

import time

import control
import feedtime
import harness
import receiver
import reports
import verify
import wire

EXEC = "20231114171320"
OPEN_BODY = "A00001000000.00"


def trade(bench, **parts):
    """Reports one trade over a connection of its own; its id."""
    return reports.report(harness.open_reporter(bench), **parts)


def newest(bench):
    """(sequence number, message) of the last message."""
    sequence = control.stats(bench.control)["seq"]
    receiver.wait_for_sequence(bench.feed, sequence, harness.bound(5))
    return sequence, receiver.messages(bench.feed)[sequence]


def assert_consistent(bench):
    """Stops the bench and holds all its records and books against its messages."""
    harness.stop(bench)
    found = receiver.messages(bench.feed)
    assert verify.compare_truth(found, harness.truth_lines(bench)) == []
    assert verify.compare_console(found, harness.console_lines(bench)) == []
    return found


def body(price, yield_text, side="B"):
    """The body of a customer trade of one million, as reported here."""
    return f"{OPEN_BODY}{price}M {side} {EXEC}    20231116{yield_text} DC "


def test_a_cancel_byte_for_byte(launch):
    bench = launch()
    trade(bench, price="100")
    trade(bench, price="101.5")
    before_s = int(time.time())
    assert control.command(bench.control, "cancel") == "cancelled 1"
    sequence, message = newest(bench)
    assert message["sent_at"] in {feedtime.local_text(second) for second in range(before_s, int(time.time()) + 1)}
    assert message.raw.decode() == (
        "TN" "       " "O" + message["sent_at"] + "AAPL 3.85 43  " "037833DT4" "AAPL        " "CORP "
        + message["sent_at"][:8] + "0000002" "C" + body("0101.500000", " 000003.793103")
        + "0100.000000" " 000003.850000" "0100.000000" " 000003.850000" "0100.000000" " 000003.850000" "5")
    assert harness.truth_lines(bench)[-1].decode() == (
        f'{{"seq":{sequence},"cat":"T","type":"N","event":"cancel","orig_trade_id":"0000002","function":"C",'
        '"change":"5"}')
    assert_consistent(bench)
    assert harness.console_lines(bench)[-4:-2] == [
        f"[vorbeld] #{sequence} T/N cancel of 0000002 037833DT4 change 5", "bench: cancel → cancelled 1"]


def test_a_correction_byte_for_byte(launch):
    bench = launch()
    trade(bench, price="99.999", side="S", where="book", quantity="250000")
    assert control.command(bench.control, "correct") == "corrected 1"
    sequence, message = newest(bench)
    old = f"A00000250000.000099.999000M S {EXEC}    20231116 000003.850039 TCY"
    new = f"A00000250000.000100.199000M S {EXEC}    20231116 000003.842354 TCY"
    assert (len(old), len(new)) == (74, 74)
    assert message.raw.decode() == (
        "TO" "0000002" "O" + message["sent_at"] + "AAPL 3.85 43  " "037833DT4" "AAPL        " "CORP "
        + message["sent_at"][:8] + "0000001" "N" + old + new
        + "0100.199000" " 000003.842354" "0100.199000" " 000003.842354" "0100.199000" " 000003.842354" "7")
    assert harness.truth_lines(bench)[-1].decode() == (
        f'{{"seq":{sequence},"cat":"T","type":"O","event":"correction","cusip":"037833DT4","symbol":"AAPL 3.85 43",'
        '"trade_id":"0000002","qty":250000.00,"capped":false,"qty_ind":"A","price":100.199000,"yield":3.842354,'
        f'"side":"S","as_of":" ","special":" ","sale3":" ","sale4":" ","exec":"{EXEC}","settle":"20231116",'
        '"remuneration":"M","rpt":"T","contra":"C","ats":"Y","orig_trade_id":"0000001","function":"N","change":"7",'
        '"summary":{"traded":true,"high":100.199000,"low":100.199000,"last":100.199000,"prints":1}}')
    harness.stop(bench)
    assert harness.console_lines(bench)[-4:-2] == [
        f"[vorbeld] #{sequence} T/O correction of 0000001 → 0000002 037833DT4 250000 @100.199000 change 7",
        "bench: correct → corrected 1"]


def test_the_correction_of_one_print_of_several(launch):
    bench = launch()
    for price in ("100", "90", "95"):
        trade(bench, price=price)
    assert control.command(bench.control, "correct") == "corrected 1"
    # 95 becomes 95.19 at the end of the list: high and low stay, last changes.
    assert newest(bench)[1]["change"] == "1"
    assert_consistent(bench)


def test_cancels_walk_back_to_an_empty_book(launch):
    bench = launch()
    for price in ("100", "102", "98", "99"):
        trade(bench, price=price)
    changes = []
    for _ in range(4):
        assert control.command(bench.control, "cancel") == "cancelled 1"
        changes.append(newest(bench)[1]["change"])
    assert changes == ["1", "3", "5", "7"]
    message = newest(bench)[1]
    assert wire.book_of(message) == ("0000.000000" + " " * 14) * 3 + "7"
    assert control.command(bench.control, "cancel") == "cancelled 0"
    trade(bench, price="50")
    assert newest(bench)[1]["change"] == "7"
    assert_consistent(bench)


def test_counts_of_cancels_and_corrections(launch):
    bench = launch("--quiet")
    for _ in range(5):
        trade(bench)
    assert control.command(bench.control, "cancel 2") == "cancelled 2"
    assert control.command(bench.control, "correct 3") == "corrected 3"
    assert control.command(bench.control, "cancel 9") == "cancelled 3"
    assert control.command(bench.control, "correct 9") == "corrected 0"
    numbers = control.stats(bench.control)
    assert (numbers["cancels"], numbers["corrections"], numbers["reports"], numbers["seq"]) == (5, 3, 5, 15)
    harness.stop(bench)
    found = receiver.messages(bench.feed)
    taken = [(message.kind, int(message["orig_id"])) for _, message in sorted(found.items())
             if message.kind in ("T/N", "T/O")]
    assert taken == [("T/N", 5), ("T/N", 4), ("T/O", 3), ("T/O", 6), ("T/O", 7), ("T/N", 8), ("T/N", 2), ("T/N", 1)]
    assert len(harness.tape_lines(bench)) == 5    # corrections leave no tape line


def test_a_refused_repetition_changes_nothing_however_often(launch):
    bench = launch("--quiet")
    for _ in range(3):
        trade(bench)
    assert control.command(bench.control, "cancel 4294967295") == "cancelled 3"
    assert control.command(bench.control, "correct 4294967295") == "corrected 0"
    assert control.command(bench.control, "cancel 4294967295") == "cancelled 0"
    assert control.command(bench.control, "close") == "ok"
    assert control.command(bench.control, "cancel 4294967295") == "cancelled 0"
    harness.stop(bench)


def test_after_the_close_live_trades_are_refused(launch):
    bench = launch()
    trade(bench)
    assert control.command(bench.control, "close") == "ok"
    last = control.stats(bench.control)["seq"]
    for command, reply in (("cancel", "cancelled 0"), ("cancel 4294967295", "cancelled 0"),
                           ("correct 4294967295", "corrected 0")):
        assert control.command(bench.control, command) == reply
    assert control.stats(bench.control)["seq"] == last
    harness.stop(bench)


def test_trades_with_an_as_of_mark_are_passed_over(launch):
    bench = launch("--rate-ms", 10, "--scenario", "asof_every=2,reversal_every=3,special_every=5,after_hours_every=7")
    receiver.wait_for_sequence(bench.feed, 60, harness.bound(10))
    assert control.command(bench.control, "pause") == "ok"
    assert control.command(bench.control, "cancel 12") == "cancelled 12"
    assert control.command(bench.control, "correct 2") == "corrected 2"
    assert control.command(bench.control, "cancel 4294967295").startswith("cancelled ")
    found = assert_consistent(bench)
    trades = {int(message["counter"]): message for message in found.values() if message.kind == "T/M"}
    first = [message for _, message in sorted(found.items()) if message.kind == "T/N"][:12]
    plain = [number for number in sorted(trades, reverse=True) if trades[number]["as_of"] == " "]
    assert [int(message["orig_id"]) for message in first] == plain[:12]
    cancelled = {int(message["orig_id"]) for message in found.values() if message.kind == "T/N"}
    assert {number for number in trades if trades[number]["as_of"] != " "}.isdisjoint(cancelled)
    # Trades that are not eligible for last sale leave the book as it was.
    unseen = [message for message in first if message["special"] == "Y" or message["sale3"] == "T"]
    assert unseen and {message["change"] for message in unseen} == {"0"}


def test_a_capped_trade_stays_capped_when_corrected(launch):
    bench = launch()
    trade(bench, quantity="7000000")
    trade(bench, cusip=reports.FORD, quantity="1500000.25", price="97")
    assert control.command(bench.control, "correct 1") == "corrected 1"
    message = newest(bench)[1]
    assert (message["old_qty"], message["qty"], message["qty_ind"]) == ("1MM+".ljust(14), "1MM+".ljust(14), "E")
    assert_consistent(bench)
    assert harness.console_lines(bench)[-4].endswith(" 1500000 @97.194000 change 7")


def test_books_replay_out_of_order_executions_and_equal_prices(launch):
    bench = launch()
    base = 1_700_000_000
    plan = (("100", 0), ("101", 10), ("101", 5), ("99", 20), ("99", 20), ("102", 1), ("98", 30), ("100", 20))
    for price, seconds in plan:
        trade(bench, price=price, exec_ms=str((base + seconds) * 1000), cusip=reports.JPM)
        trade(bench, price=price, exec_ms=str((base - seconds) * 1000), cusip=reports.MSFT)
    for command in ("cancel 3", "correct 2", "cancel 4", "correct", "cancel 2", "correct 3", "cancel 20"):
        assert " " in control.command(bench.control, command)
    assert_consistent(bench)


def test_an_amendment_names_the_day_of_the_report(launch):
    bench = launch()
    trade(bench)
    assert control.command(bench.control, "correct") == "corrected 1"
    assert control.command(bench.control, "cancel") == "cancelled 1"
    found = assert_consistent(bench)
    today = {found[3]["sent_at"][:8], found[4]["sent_at"][:8]}
    assert {found[4]["report_date"], found[5]["report_date"]} <= today
    assert (found[5]["orig_id"], wire.body_of(found[5])) == ("0000002", wire.body_of(found[4]))


def test_a_price_that_is_no_number_stands_in_nobodys_way(launch):
    bench = launch()
    steps = ((reports.AAPL, "100", "7"), (reports.AAPL, "nan", "1"), (reports.AAPL, "101", "5"))
    for cusip, price, change in steps:
        trade(bench, cusip=cusip, price=price)
        assert newest(bench)[1]["change"] == change
    # High falls back, last becomes no number and then a number again; nothing equals what is no number.
    for change in ("5", "1", "7"):
        assert control.command(bench.control, "cancel") == "cancelled 1"
        assert newest(bench)[1]["change"] == change
    for price, change in (("nan", "7"), ("100", "1"), ("90", "1")):
        trade(bench, cusip=reports.MSFT, price=price)
        assert newest(bench)[1]["change"] == change
    assert b'"high":nan,"low":nan,"last":90.000000,"prints":3}' in harness.truth_lines(bench)[-1]
    assert control.command(bench.control, "cancel") == "cancelled 1"
    message = newest(bench)[1]
    assert (message["high"], message["low"], message["last"], message["change"]) == (
        "0000.000000", "0000.000000", "0100.000000", "7")
    assert control.command(bench.control, "correct") == "corrected 1"
    # The replacement comes behind the print that set high and low to no number.
    assert b'"high":nan,"low":nan,"last":100.200000,"prints":2}' in harness.truth_lines(bench)[-1]
    harness.stop(bench)
