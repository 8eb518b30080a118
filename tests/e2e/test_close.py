"""The close of the session: its messages in order, the daily summaries, and what is refused from then on."""

import pytest

import control
import harness
import receiver
import reports
import verify

CLOSED_NOTICE = "[vorbeld] the session is closed: trades reported now are not disseminated"


def summaries_line(count):
    """The console line of the close."""
    return f"[vorbeld] session closed: {count} daily summaries, end of session on the wire"


def kinds(bench, first=3):
    """Message kinds with control codes, from the given number on."""
    return [message["category"] + message["type"] for number, message in
            sorted(receiver.messages(bench.feed).items()) if number >= first]


def close(bench, last):
    """Closes the session and waits for its last message."""
    assert control.command(bench.control, "close") == "ok"
    receiver.wait_for_sequence(bench.feed, last, harness.bound(5))


def test_a_close_before_any_trade(launch):
    bench = launch()
    close(bench, 6)
    harness.stop(bench)
    assert kinds(bench) == ["CC", "CX", "CJ", "CZ"]
    assert harness.console_lines(bench)[4:] == [
        "[vorbeld] #3 control C/C", "[vorbeld] #4 control C/X", "[vorbeld] #5 control C/J", "[vorbeld] #6 control C/Z",
        summaries_line(0), "bench: close → ok", "bench: stop → ok", "[vorbeld] stopped: seq 6 reports 0"]
    assert harness.truth_lines(bench)[2:] == [
        b'{"seq":%d,"cat":"C","type":"%c","event":"control"}' % (number, code)
        for number, code in zip(range(3, 7), b"CXJZ")]


def test_summaries_of_the_bonds_that_traded_in_the_order_of_the_universe(launch):
    bench = launch("--quiet")
    reporter = harness.open_reporter(bench)
    for cusip, price in ((reports.FORD, "90"), (reports.MSFT, "100"), (reports.MSFT, "99"), (reports.MSFT, "99.5"),
                         ("NEWBOND01", "70")):
        reports.report(reporter, cusip=cusip, price=price)
    close(bench, 14)
    harness.stop(bench)
    found = receiver.messages(bench.feed)
    assert kinds(bench, 8) == ["CC", "AE", "AE", "AE", "CX", "CJ", "CZ"]
    assert [found[number]["cusip"] for number in (9, 10, 11)] == [reports.MSFT, reports.FORD, "NEWBOND01"]
    assert found[9].raw.decode() == (
        "AE" "       " "O" + found[9]["sent_at"] + "MSFT 3.3 27   " "594918BY9" "MSFT        " "CORP " " "
        "0100.000000" " 000003.300000" "0099.000000" " 000003.333333" "0099.500000" " 000003.316583")
    assert harness.truth_lines(bench)[8] == (
        b'{"seq":9,"cat":"A","type":"E","event":"summary","cusip":"594918BY9","symbol":"MSFT 3.3 27",'
        b'"high":100.000000,"low":99.000000,"close":99.500000}')
    assert summaries_line(3) in harness.console_lines(bench)     # printed whatever --quiet says
    assert verify.compare_truth(found, harness.truth_lines(bench)) == []


def test_a_bond_whose_trades_were_all_cancelled_gets_no_summary(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    reports.report(reporter, cusip=reports.JPM)
    reports.report(reporter, cusip=reports.AAPL)
    assert control.command(bench.control, "cancel") == "cancelled 1"
    close(bench, 10)
    harness.stop(bench)
    found = receiver.messages(bench.feed)
    assert kinds(bench, 6) == ["CC", "AE", "CX", "CJ", "CZ"] and found[7]["cusip"] == reports.JPM


def test_a_negative_price_is_zero_on_the_wire_and_itself_in_the_truth(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    reports.report(reporter, price="-2.25")
    reports.report(reporter, price="3")
    close(bench, 9)
    harness.stop(bench)
    message = receiver.messages(bench.feed)[6]
    assert (message["high"], message["low"], message["last"]) == ("0003.000000", "0000.000000", "0003.000000")
    assert message["low_yield"] == " 000000.000000"
    assert harness.truth_lines(bench)[5].endswith(b'"high":3.000000,"low":-2.250000,"close":3.000000}')


def test_reports_are_refused_after_the_close(launch):
    bench = launch("--rate-ms", 10)
    reporter = harness.open_reporter(bench)
    receiver.wait_for_sequence(bench.feed, 10, harness.bound(10))
    assert control.command(bench.control, "close") == "ok"
    before = control.stats(bench.control)
    for _ in range(3):
        reports.send_lines(reporter, reports.report_line())
        assert reports.read_line(reporter) == "A 0000000"
    reports.send_lines(reporter, "nonsense")
    assert reports.read_line(reporter) == "E malformed"
    receiver.wait_for(bench.feed, lambda arrivals: arrivals[-1].data[18:] == b"\xff\xff", harness.bound(5), "the end")
    assert control.stats(bench.control) == before
    harness.stop(bench)
    assert harness.console_lines(bench).count(CLOSED_NOTICE) == 1
    assert len(harness.truth_lines(bench)) == before["seq"]
    assert len(harness.tape_lines(bench)) == before["reports"]


def test_a_refused_report_still_adds_its_bond(launch):
    bench = launch()
    close(bench, 6)
    reporter = harness.open_reporter(bench)
    reports.send_lines(reporter, reports.report_line(cusip="NEWBOND01", symbol="NEW"))
    assert reports.read_line(reporter) == "A 0000000"
    assert control.command(bench.control, "halt NEWBOND01") == "ok"
    receiver.wait_for_sequence(bench.feed, 7, harness.bound(5))
    assert receiver.messages(bench.feed)[7]["symbol"].rstrip() == "NEW"
    harness.stop(bench)


def test_a_second_close_sends_nothing(launch):
    bench = launch()
    close(bench, 6)
    assert control.command(bench.control, "close") == "ok"
    assert control.stats(bench.control)["seq"] == 6
    harness.stop(bench)
    assert harness.console_lines(bench).count(summaries_line(0)) == 1
    assert harness.console_lines(bench).count("bench: close → ok") == 2


def test_the_close_empties_the_pending_amendments(launch):
    bench = launch("--rate-ms", 10, "--scenario", "cancel_every=1")
    receiver.wait_for_sequence(bench.feed, 60, harness.bound(10))
    assert control.command(bench.control, "close") == "ok"
    last = control.stats(bench.control)["seq"]
    receiver.wait_for(bench.feed, lambda arrivals: sum(each.data[18:20] == b"\xff\xff" for each in arrivals) >= 4,
                      harness.bound(8), "four end markers")
    assert control.stats(bench.control)["seq"] == last
    harness.stop(bench)


@pytest.mark.parametrize("options", ((), ("--quiet",)))
def test_the_scenario_closes_once(launch, options):
    bench = launch("--rate-ms", 20, "--scenario", "close_after_s=1", *options)
    harness.wait_for_line(bench, summaries_line(4), 5)
    last = control.stats(bench.control)["seq"]
    receiver.wait_for_sequence(bench.feed, last, harness.bound(5))
    receiver.wait_for(bench.feed, lambda arrivals: sum(each.data[18:20] == b"\xff\xff" for each in arrivals) >= 2,
                      harness.bound(5), "two end markers")
    harness.stop(bench)
    found = receiver.messages(bench.feed)
    assert kinds(bench, last - 7) == ["CC", "AE", "AE", "AE", "AE", "CX", "CJ", "CZ"]
    times = receiver.arrival_times(bench.feed)
    harness.assert_lasted(bench, times[2], times[last], 1)
    assert verify.compare_truth(found, harness.truth_lines(bench)) == []


def test_a_close_by_hand_disarms_the_timer(launch):
    bench = launch("--scenario", "close_after_s=1")
    close(bench, 6)
    receiver.wait_for(bench.feed, lambda arrivals: sum(each.data[18:20] == b"\xff\xff" for each in arrivals) >= 3,
                      harness.bound(6), "three end markers")
    assert control.stats(bench.control)["seq"] == 6
    harness.stop(bench)
