"""What each field of a report line becomes, and the numbers in it that end the process."""

import signal

import pytest

import control
import feedtime
import harness
import receiver
import reports

NO_SETTLEMENT = "20231115"    # one day after the execution that the lines here name


@pytest.fixture(scope="module")
def shared(pool, tmp_path_factory):
    """One bench for all tests that only report."""
    folder = tmp_path_factory.mktemp("fields") / "bench"
    bench = harness.start(folder, harness.claim_doors(pool), "--quiet", "--hy", "HYNEW0001")
    yield bench
    assert harness.release(bench) == []


def reported(bench, line):
    """Sends the line and returns (message, tape line) of the trade."""
    reporter = harness.open_reporter(bench)
    reports.send_lines(reporter, line)
    reply = reports.read_line(reporter)
    assert reply.startswith("A "), reply
    sequence = control.stats(bench.control)["seq"]
    receiver.wait_for_sequence(bench.feed, sequence, harness.bound(5))
    return receiver.messages(bench.feed)[sequence], harness.tape_lines(bench)[-1].decode("latin-1")


@pytest.mark.parametrize("code, side, contra, remuneration", (
    ("B", "B", "C", "M"), ("S", "S", "C", "M"), ("", "S", "D", " "), ("D", "S", "D", " "), ("Dealer", "S", "D", " "),
    ("d", "d", "C", "M"), ("BD", "B", "C", "M"), ("x", "x", "C", "M"), (" B", " ", "C", "M"), ('"', '"', "C", "M")))
def test_the_side_code(shared, code, side, contra, remuneration):
    message, _ = reported(shared, reports.report_line(side=code))
    assert (message["side"], message["contra"], message["remuneration"]) == (side, contra, remuneration)


@pytest.mark.parametrize("where, reporting, ats", (
    ("book", "T", "Y"), ("Book", "D", " "), ("book ", "D", " "), ("", "D", " "), ("bookshop", "D", " ")))
def test_the_place(shared, where, reporting, ats):
    message, tape = reported(shared, reports.report_line(where=where))
    assert (message["rpt"], message["ats"]) == (reporting, ats)
    assert tape.endswith(f'"where":"{where}"}}') and f'"reporting_party":"{reporting}"' in tape


@pytest.mark.parametrize("text, price", (
    ("98.5", "0098.500000"), (" 98.5", "0098.500000"), ("98.5x", "0098.500000"), ("+7", "0007.000000"),
    ("1e2", "0100.000000"), ("0x1p6", "0064.000000"), (".5", "0000.500000"), ("5.", "0005.000000"),
    ("\t101.25 rest", "0101.250000"), ("99.9999995", "0100.000000"), ("98,5", "0098.000000"), ("-0", "0000.000000")))
def test_prices(shared, text, price):
    message, _ = reported(shared, reports.report_line(price=text))
    assert message["price"] == price


@pytest.mark.parametrize("text, quantity", (
    ("1000", "00000001000.00"), ("1e3", "00000001000.00"), (" 12.345 bonds", "00000000012.35"),
    ("1000000", "00001000000.00"), ("nan", "           nan")))
def test_quantities(shared, text, quantity):
    message, _ = reported(shared, reports.report_line(quantity=text))
    assert (message["qty"], message["qty_ind"]) == (quantity, "A")


@pytest.mark.parametrize("text, exec_ms", (
    ("1700000000000", 1700000000000), ("1700000000999", 1700000000999), (" +1700000000123ms", 1700000000123),
    ("0", 0), ("999", 999), ("1720000000000", 1720000000000), ("253402300800000", 253402300800000),
    ("18446744073709551615", 2**64 - 1), ("-1", 2**64 - 1)))
def test_execution_times(shared, text, exec_ms):
    message, tape = reported(shared, reports.report_line(exec_ms=text, settle=""))
    exec_s = exec_ms // 1000
    assert message["exec"] == feedtime.local_text(exec_s)
    assert message["settle"] == feedtime.local_date(exec_s + 86400)
    ts_ms = int(tape.split('"ts_ms":')[1].split(",")[0])
    # An execution at millisecond 0 reads as "not given" and becomes its second, which is 0 as well.
    assert f'"exec_ts_ms":{exec_ms},' in tape
    lag_ms = int(tape.split('"report_lag_ms":')[1].split(",")[0])
    assert lag_ms == 0 if exec_ms > ts_ms else 0 <= ts_ms - exec_ms - lag_ms <= 1000


@pytest.mark.parametrize("utc_s, local", (
    (1710053999, "20240310015959"), (1710054000, "20240310030000"), (1730613599, "20241103015959"),
    (1730613600, "20241103010000"), (921931200, "19990320080000"), (2740176000, "20561030200000"),
    (951825600, "20000229070000")))
def test_executions_around_the_change_of_the_clocks(shared, utc_s, local):
    message, _ = reported(shared, reports.report_line(exec_ms=f"{utc_s}000"))
    assert message["exec"] == local


@pytest.mark.parametrize("text, settle", (
    ("20231116", "20231116"), ("2023111", NO_SETTLEMENT), ("202311160", NO_SETTLEMENT), ("", NO_SETTLEMENT),
    ("2023-1-1", NO_SETTLEMENT), ("abcdefgh", NO_SETTLEMENT), ("2023abcd", NO_SETTLEMENT), ("202311xx", NO_SETTLEMENT),
    ("20230230", "20230302"), ("20231301", "20240101"), ("20230000", "20221130"), (" 2023111", "20231101"),
    ("2023111x", "20231101"), ("2023 1 1", "20230101"), ("19691231", "19691231"), ("99991231", "99991231"),
    ("20240229", "20240229"), ("-2023111", NO_SETTLEMENT), ("20230-11", NO_SETTLEMENT)))
def test_settlement_dates(shared, text, settle):
    message, tape = reported(shared, reports.report_line(settle=text))
    assert message["settle"] == settle
    assert f'"settle":{settle},' in tape


def test_a_known_cusip_keeps_its_symbol(shared):
    message, tape = reported(shared, reports.report_line(symbol="SOMETHING ELSE"))
    assert message["symbol"] == "AAPL 3.85 43  " and '"symbol":"AAPL 3.85 43"' in tape


def test_an_unknown_cusip_adds_a_bond_once(shared):
    first, _ = reported(shared, reports.report_line(cusip="NEWBOND01", symbol="NEW SYMBOL 15ch", quantity="2000000"))
    second, _ = reported(shared, reports.report_line(cusip="NEWBOND01", symbol="OTHER", price="50"))
    assert (first["symbol"], first["short_name"], first["sub_product"]) == (
        "NEW SYMBOL 15c", "NEW SYMBOL 1", "CORP ")
    assert second["symbol"] == "NEW SYMBOL 15c"
    assert (first["qty"], second["yield"]) == ("00002000000.00", " 000010.000000")    # not high yield; coupon 5
    assert (first["change"], second["change"]) == ("7", "3")


def test_an_unknown_cusip_of_the_high_yield_list_is_high_yield(shared):
    message, _ = reported(shared, reports.report_line(cusip="HYNEW0001", symbol="HY", quantity="1000000.01"))
    assert message["qty"] == "1MM+".ljust(14)


def test_an_empty_cusip_and_symbol_make_a_bond_too(shared):
    message, tape = reported(shared, reports.report_line(cusip="", symbol=""))
    assert (message["cusip"], message["symbol"], message["short_name"]) == (" " * 9, " " * 14, " " * 12)
    assert '"cusip":"","symbol":"",' in tape
    assert control.command(shared.control, "halt") == "ok"


def test_bytes_that_are_no_text_pass_through(shared):
    line = b"T|\xff\xfe|\0\x80|98.5|1000|\xe9|v\0v|1700000000000|20231116|w\x80"
    message, tape = reported(shared, line)
    assert message.raw[38:47] == b"\xff\xfe       " and message.raw[24:38] == b"\0\x80".ljust(14)
    assert message.raw[72 + 28] == 0xE9
    assert '"venue":"v\0v","where":"w\x80"}' in tape


@pytest.mark.parametrize("parts, function, exception", (
    ({"price": ""}, "stod", "invalid_argument"), ({"price": "x98"}, "stod", "invalid_argument"),
    ({"price": "1e999"}, "stod", "out_of_range"), ({"price": "1e-999"}, "stod", "out_of_range"),
    ({"quantity": ""}, "stod", "invalid_argument"), ({"quantity": "many"}, "stod", "invalid_argument"),
    ({"exec_ms": ""}, "stoull", "invalid_argument"), ({"exec_ms": "now"}, "stoull", "invalid_argument"),
    ({"exec_ms": "18446744073709551616"}, "stoull", "out_of_range")))
def test_a_number_that_is_none_ends_the_process(launch, parts, function, exception):
    bench = launch()
    reporter = harness.open_reporter(bench)
    reports.send_lines(reporter, reports.report_line(), reports.report_line(**parts))
    assert harness.finish(bench) == -signal.SIGABRT
    assert reports.read_line(reporter) == "A 0000001"       # what came before was done and answered
    assert any(f"std::{exception}" in line for line in harness.console_lines(bench))
    assert f"  what():  {function}" in harness.console_lines(bench)
    assert len(harness.truth_lines(bench)) == 3 and len(harness.tape_lines(bench)) == 1
