"""The trade message field by field, for trades whose every value the test chose itself."""

import time

import pytest

import control
import feedtime
import harness
import receiver
import reports
import texts

EXEC_MS = 1_700_000_000_000     # 14 November 2023 22:13:20 UTC, 17:13:20 local


def reported(bench, **parts):
    """Reports one trade; (sequence number, message) of it."""
    reports.report(harness.open_reporter(bench), **parts)
    sequence = control.stats(bench.control)["seq"]
    receiver.wait_for_sequence(bench.feed, sequence, harness.bound(5))
    return sequence, receiver.messages(bench.feed)[sequence]


def test_every_field_of_a_customer_trade(launch):
    bench = launch()
    before_s = int(time.time())
    sequence, message = reported(bench, price="98.5", quantity="1000000", side="B", where="book")
    after_s = int(time.time())
    sent_at = message["sent_at"]
    assert sent_at in {feedtime.local_text(second) for second in range(before_s, after_s + 1)}
    assert message.raw.decode() == (
        "TM" "0000001" "O" + sent_at + "AAPL 3.85 43  " "037833DT4" "AAPL        " "CORP " "        "
        "A" "00001000000.00" "0098.500000" "M" " " "B" " " "20231114171320" "  " " " " " "20231116"
        " " "000003.908629" " " "T" "C" "Y" "7")
    harness.stop(bench)
    truth, tape = harness.truth_lines(bench)[2].decode(), harness.tape_lines(bench)[0].decode()
    assert truth == (
        '{"seq":3,"cat":"T","type":"M","event":"trade","cusip":"037833DT4","symbol":"AAPL 3.85 43",'
        '"trade_id":"0000001","qty":1000000.00,"capped":false,"qty_ind":"A","price":98.500000,"yield":3.908629,'
        '"side":"B","as_of":" ","special":" ","sale3":" ","sale4":" ","exec":"20231114171320","settle":"20231116",'
        '"remuneration":"M","rpt":"T","contra":"C","ats":"Y","change":"7","summary":{"traded":true,'
        '"high":98.500000,"low":98.500000,"last":98.500000,"prints":1}}')
    ts_ms = int(tape.split('"ts_ms":')[1].split(",")[0])
    lag_ms = int(tape.split('"report_lag_ms":')[1].split(",")[0])
    assert before_s <= ts_ms // 1000 <= after_s and 0 <= ts_ms - lag_ms - EXEC_MS <= 1000
    assert tape == (
        f'{{"seq":3,"ts_ms":{ts_ms},"cusip":"037833DT4","symbol":"AAPL 3.85 43","price":98.500000,'
        f'"quantity":1000000,"cap":"0","side":"B","reporting_party":"T","contra_party":"C","exec_ts_ms":{EXEC_MS},'
        f'"report_lag_ms":{lag_ms},"settle":20231116,"trade_id":"0000001","venue":"ATS1","where":"book"}}')
    assert harness.console_lines(bench)[4] == (
        "[vorbeld] #3 T/M 0000001 037833DT4 AAPL 3.85 43 1000000 @98.500000 B    T/C ATS change 7")
    assert sequence == 3


@pytest.mark.parametrize("cusip, quantity, field, cap, indicator", (
    (reports.AAPL, "5000000", "00005000000.00", None, "A"), (reports.AAPL, "5000000.01", "5MM+          ", "5", "E"),
    (reports.FORD, "1000000", "00001000000.00", None, "A"), (reports.FORD, "1000001", "1MM+          ", "1", "E"),
    (reports.FORD, "999999.995", "00000999999.99", None, "A"), (reports.AAPL, "1e300", "5MM+          ", "5", "E"),
    (reports.AAPL, "0", "00000000000.00", None, "A"), (reports.AAPL, "-7.5", "-0000000007.50", None, "A")))
def test_quantities_around_the_cap(launch, cusip, quantity, field, cap, indicator):
    bench = launch("--quiet")
    _, message = reported(bench, cusip=cusip, quantity=quantity)
    harness.stop(bench)
    assert (message["qty"], message["qty_ind"]) == (field, indicator)
    truth, tape = harness.truth_lines(bench)[2].decode(), harness.tape_lines(bench)[0].decode()
    amount = float(cap) * 1e6 if cap else float(quantity)
    assert f'"qty":{amount:.2f},"capped":{"true" if cap else "false"},"qty_ind":"{indicator}",' in truth
    assert f'"quantity":{amount:.0f},"cap":"{cap or 0}",' in tape


def test_the_console_shows_the_true_quantity_of_a_capped_trade(launch):
    bench = launch()
    reported(bench, quantity="6000000")
    reported(bench, cusip=reports.FORD, quantity="1234567.5", side="D")
    harness.stop(bench)
    shown = [line for line in harness.console_lines(bench) if " T/M " in line]
    assert shown == [
        "[vorbeld] #3 T/M 0000001 037833DT4 AAPL 3.85 43 6000000 (capped) @98.500000 B    D/C change 7",
        "[vorbeld] #4 T/M 0000002 345370CS9 F 4.35 26 1234568 (capped) @98.500000 S    D/D change 7"]


def test_negative_and_zero_prices(launch):
    bench = launch()
    _, negative = reported(bench, price="-1.5")
    _, zero = reported(bench, price="-0.0", cusip=reports.MSFT)
    harness.stop(bench)
    assert (negative["price"], negative["yield"]) == ("0000.000000", " 000000.000000")
    assert (zero["price"], zero["yield"]) == ("0000.000000", " 000000.000000")
    truth = harness.truth_lines(bench)
    assert b'"price":-1.500000,"yield":0.000000,' in truth[2] and b'"high":-1.500000,"low":-1.500000' in truth[2]
    assert b'"price":-0.000000,"yield":0.000000,' in truth[3]
    assert "@-1.500000 " in harness.console_lines(bench)[4]


def test_a_negative_coupon_gives_a_negative_yield(launch):
    bench = launch("--bonds", "NEG:Negative:NEG 1:IG:100:-4.25")
    _, message = reported(bench, cusip="NEG", price="80")
    harness.stop(bench)
    assert message["yield"] == "-000005.312500"
    assert b'"yield":-5.312500,' in harness.truth_lines(bench)[2]


def test_long_texts_are_cut_on_the_wire_and_whole_in_the_files(launch):
    symbol = 'A "quoted" \\ symbol of 30 chars'
    bench = launch("--bonds", f"TWELVE-CHARS:A-long-maker-name and more:{symbol}:IG")
    sequence, message = reported(bench, cusip="TWELVE-CHARS", venue='V"\\', where='w"\\ here')
    harness.stop(bench)
    assert (message["symbol"], message["cusip"]) == (symbol[:14], "TWELVE-CH")
    assert (message["short_name"], message["sub_product"]) == ("A-long-maker", "CORP ")
    truth, tape = harness.truth_lines(bench)[2].decode(), harness.tape_lines(bench)[0].decode()
    assert f'"cusip":"TWELVE-CHARS","symbol":"{texts.escaped(symbol)}","trade_id"' in truth
    assert f'"cusip":"TWELVE-CHARS","symbol":"{texts.escaped(symbol)}","price"' in tape
    assert tape.endswith('"venue":"V\\"\\\\","where":"w\\"\\\\ here"}')
    assert f" TWELVE-CHARS {symbol} 1000000 @" in harness.console_lines(bench)[sequence + 1]


def test_change_indicators_and_the_book(launch):
    bench = launch()
    steps = (("100", 0, "7"), ("101", 0, "5"), ("99", 0, "3"), ("99", 0, "0"), ("100", 0, "1"),
             ("102", -1, "4"), ("98", -1, "2"), ("100.5", -1, "0"), ("103", 0, "5"), ("103", 5, "0"), ("97", 4, "2"))
    for price, seconds, change in steps:
        _, message = reported(bench, price=price, exec_ms=str(EXEC_MS + seconds * 1000))
        assert message["change"] == change, (price, seconds)
    harness.stop(bench)
    assert harness.truth_lines(bench)[-1].endswith(
        b'"summary":{"traded":true,"high":103.000000,"low":97.000000,"last":103.000000,"prints":11}}')


def test_each_bond_has_a_book_of_its_own(launch):
    bench = launch()
    for cusip in (reports.AAPL, reports.MSFT, reports.JPM, reports.FORD, "NEWBOND01"):
        assert reported(bench, cusip=cusip, price="50")[1]["change"] == "7"
        assert reported(bench, cusip=cusip, price="51")[1]["change"] == "5"
    harness.stop(bench)


def test_a_quiet_run_prints_no_messages_but_sends_them(launch):
    bench = launch("--quiet")
    reported(bench)
    harness.stop(bench)
    assert not any("#" in line for line in harness.console_lines(bench))
    assert len(harness.truth_lines(bench)) == 3 and len(harness.tape_lines(bench)) == 1


@pytest.mark.parametrize("price, wire_price, json_price, console_price", (
    ("nan", "0000.000000", "nan", "nan"), ("inf", "        inf", "inf", "inf"), ("-inf", "0000.000000", "-inf", "-inf"),
    ("12345678.9", "12345678.90", "12345678.900000", "12345678.900000"),
    ("1e30", "10000000000", "1000000000000000019884624838656"[:31], "1000000000000000019884624838656.000000"),
    ("0.0000005", "0000.000000", "0.000000", "0.000000"), ("1.0000005", "0001.000001", "1.000001", "1.000001"),
    ("0.0000015", "0000.000002", "0.000002", "0.000002")))
def test_prices_that_no_bond_has(launch, price, wire_price, json_price, console_price):
    bench = launch()
    _, message = reported(bench, price=price)
    harness.stop(bench)
    assert message["price"] == wire_price
    assert f'"price":{json_price},"yield":' in harness.truth_lines(bench)[2].decode()
    assert f'"price":{json_price},"quantity":' in harness.tape_lines(bench)[0].decode()
    assert f" @{console_price} B" in harness.console_lines(bench)[4]
