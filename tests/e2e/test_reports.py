"""Report intake: connections, the framing of lines, replies in order, and the hook that cancels reported trades."""

import re
import socket
import struct

import pytest

import control
import harness
import probe
import receiver
import reports
import verify


def send_pieces(bench, reporter, data, *cuts):
    """Sends the bytes in pieces cut at the given places, each met by a pass of its own."""
    for start, end in zip((0, *cuts), (*cuts, len(data))):
        reporter.socket.sendall(data[start:end])
        probe.let_pass(bench)


def test_each_line_is_answered_with_its_trade_id(launch):
    bench = launch()
    first, second = harness.open_reporter(bench), harness.open_reporter(bench)
    assert [reports.report(reporter) for reporter in (first, second, first, first, second)] == [1, 2, 3, 4, 5]
    harness.stop(bench)


def test_many_lines_in_one_piece_are_answered_in_order(launch):
    bench = launch("--quiet")
    reporter = harness.open_reporter(bench)
    lines = [reports.report_line() if number % 3 else "wrong" for number in range(1, 301)]
    reports.send_lines(reporter, *lines)
    trade = 0
    for line in lines:
        trade += line != "wrong"
        assert reports.read_line(reporter) == ("E malformed" if line == "wrong" else f"A {trade:07d}")
    receiver.wait_for_sequence(bench.feed, 202, harness.bound(5))
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == list(range(1, 203))


def test_a_line_may_come_in_pieces(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    data = (reports.report_line() + "\n").encode()
    send_pieces(bench, reporter, data, 1, 17, len(data) - 1)
    assert reports.read_line(reporter) == "A 0000001"
    send_pieces(bench, reporter, data + data[:20], 5, len(data) + 3)
    assert reports.read_line(reporter) == "A 0000002"
    assert control.stats(bench.control)["reports"] == 2
    reporter.socket.sendall(data[20:] + data)
    assert [reports.read_line(reporter), reports.read_line(reporter)] == ["A 0000003", "A 0000004"]
    harness.stop(bench)


def test_a_line_longer_than_a_read(launch):
    bench = launch("--quiet")
    reporter = harness.open_reporter(bench)
    reports.send_lines(reporter, reports.report_line(venue="v" * 200_000), "x" * 300_000, reports.report_line())
    assert [reports.read_line(reporter) for _ in range(3)] == ["A 0000001", "E malformed", "A 0000002"]
    harness.stop(bench)
    assert b'"venue":"' + b"v" * 200_000 + b'","where"' in harness.tape_lines(bench)[0]


@pytest.mark.parametrize("line", (
    "", "T", "T|||||||||"[:9], "T|037833DT4|X|98.5|1000|B|V|1700000000000|20231116",
    "t|037833DT4|X|98.5|1000|B|V|1700000000000|20231116|w", "T |037833DT4|X|98.5|1000|B|V|1700000000000|20231116|w",
    " T|037833DT4|X|98.5|1000|B|V|1700000000000|20231116|w", "|037833DT4|X|98.5|1000|B|V|1700000000000|20231116|w",
    "TT|037833DT4|X|98.5|1000|B|V|1700000000000|20231116|w", "R|A|X|x|y|B|V|z|20231116|w", "\r", "T,A,B,C,D,E,F,G,H,I",
    "T|a|b|c|d|e|f|g|h", b"T\0|037833DT4|X|98.5|1000|B|V|1700000000000|20231116|w"))
def test_malformed_lines_leave_the_connection_open(launch, line):
    bench = launch()
    reporter = harness.open_reporter(bench)
    reports.send_lines(reporter, line)
    assert reports.read_line(reporter) == "E malformed"
    assert reports.report(reporter) == 1
    harness.stop(bench)


def test_fields_behind_the_tenth_are_ignored(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    reports.send_lines(reporter, reports.report_line(where="book") + "|more|and|more", reports.report_line() + "|")
    assert [reports.read_line(reporter) for _ in range(2)] == ["A 0000001", "A 0000002"]
    receiver.wait_for_sequence(bench.feed, 4, harness.bound(5))
    assert [receiver.messages(bench.feed)[number]["ats"] for number in (3, 4)] == ["Y", " "]
    harness.stop(bench)


def test_a_carriage_return_belongs_to_the_last_field(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    reports.send_lines(reporter, reports.report_line(where="book") + "\r")
    assert reports.read_line(reporter) == "A 0000001"
    receiver.wait_for_sequence(bench.feed, 3, harness.bound(5))
    message = receiver.messages(bench.feed)[3]
    harness.stop(bench)
    assert (message["rpt"], message["ats"]) == ("D", " ")
    assert harness.tape_lines(bench)[0].endswith(b'"where":"book\r"}')


def test_lines_that_come_with_the_close_are_lost(launch):
    bench = launch()
    kept, leaving = harness.open_reporter(bench), harness.open_reporter(bench)
    assert reports.report(leaving) == 1
    with probe.frozen(bench):
        reports.send_lines(leaving, reports.report_line(), reports.report_line())
        leaving.socket.shutdown(1)
        reports.send_lines(kept, reports.report_line())
    assert reports.read_line(leaving) is None
    assert reports.read_line(kept) == "A 0000002"
    assert control.stats(bench.control)["reports"] == 2
    harness.stop(bench)


def test_reporters_are_accepted_and_served_before_a_command_of_the_same_pass(launch):
    bench = launch()
    with probe.frozen(bench):
        for _ in range(3):
            reports.send_lines(harness.open_reporter(bench), reports.report_line())
        control.send_raw(bench.control, b"cancel 9")
    assert control.read_reply(bench.control) == "cancelled 3"
    harness.stop(bench)


def test_a_connection_that_comes_and_goes_in_one_pass_counts(launch):
    bench = launch()
    with probe.frozen(bench):
        hasty = reports.open_reporter(bench.doors.reports, harness.bound(10))
        reports.send_lines(hasty, reports.report_line())
        hasty.socket.shutdown(1)
    assert reports.read_line(hasty) is None
    reports.close_reporter(hasty)
    probe.let_pass(bench)
    assert control.stats(bench.control)["reports"] == 0
    for _ in range(2):
        reports.close_reporter(reports.open_reporter(bench.doors.reports, harness.bound(10)))
    index = harness.wait_for_line(bench, re.compile(rb"\[vorbeld\] seq 2 .* reporters \d+"), 14)
    assert harness.console_lines(bench)[index].endswith(" reporters 3")
    harness.stop(bench)


def test_a_reset_connection_is_dropped_and_the_rest_served(launch):
    bench = launch()
    reset, other = harness.open_reporter(bench), harness.open_reporter(bench)
    assert reports.report(reset) == 1
    # Closing with a linger time of 0 sends a reset.
    reset.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    reports.send_lines(reset, reports.report_line()[:30])
    reset.socket.close()
    for trade in (2, 3):
        assert reports.report(other) == trade
    assert harness.until(lambda: probe.socket_rows(bench, "tcp").count(("127.0.0.1", bench.doors.reports)) == 1, 5,
                         "the end of the connection")
    harness.stop(bench)


def test_a_client_that_does_not_read_is_no_obstacle(launch):
    bench = launch("--quiet")
    deaf, other = socket.socket(), harness.open_reporter(bench)
    deaf.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)     # a few hundred replies, and it is full
    deaf.settimeout(harness.bound(20))
    deaf.connect(("127.0.0.1", bench.doors.reports))
    deaf.sendall((reports.report_line() + "\n").encode() * 30_000)
    harness.until(lambda: control.stats(bench.control)["reports"] == 30_000, 20, "all of the trades")
    assert reports.report(other) == 30_001
    deaf.close()
    harness.stop(bench)


def test_forty_connections_are_served_in_one_pass(launch):
    bench = launch("--quiet")
    clients = []
    for number in range(1, 41):
        clients.append(harness.open_reporter(bench))
        assert reports.report(clients[-1]) == number
    with probe.frozen(bench):
        for client in reversed(clients):
            reports.send_lines(client, reports.report_line(), reports.report_line())
    # Connection by connection in the order of acceptance, whatever order the lines came in.
    replies = [[reports.read_line(client) for _ in range(2)] for client in clients]
    assert replies == [[f"A {number:07d}", f"A {number + 1:07d}"] for number in range(41, 121, 2)]
    harness.stop(bench)


def test_every_second_report_is_cancelled_after_three_seconds(launch):
    bench = launch("--scenario", "cancel_every=2,correct_every=1")
    reporter = harness.open_reporter(bench)
    for trade in range(1, 6):
        assert reports.report(reporter) == trade
    receiver.wait_for_sequence(bench.feed, 9, harness.bound(8))
    harness.stop(bench)
    found, times = receiver.messages(bench.feed), receiver.arrival_times(bench.feed)
    assert [(found[number].kind, found[number].fields.get("orig_id")) for number in (8, 9)] == [
        ("T/N", "0000002"), ("T/N", "0000004")]
    for cancel, trade in ((8, 4), (9, 6)):
        harness.assert_lasted(bench, times[trade], times[cancel], 3)
    assert verify.compare_truth(found, harness.truth_lines(bench)) == []


def test_the_hook_counts_reports_and_not_trade_ids(launch):
    bench = launch("--scenario", "cancel_every=2")
    reporter = harness.open_reporter(bench)
    assert reports.report(reporter) == 1
    assert control.command(bench.control, "correct") == "corrected 1"
    assert reports.report(reporter) == 3
    receiver.wait_for_sequence(bench.feed, 6, harness.bound(8))
    harness.stop(bench)
    found = receiver.messages(bench.feed)
    assert (found[6].kind, found[6]["orig_id"]) == ("T/N", "0000003")


def test_generated_trades_count_for_the_hook(launch):
    bench = launch("--rate-ms", 400, "--scenario", "cancel_every=3", "--seed", 5)
    reporter = harness.open_reporter(bench)
    receiver.wait_for_sequence(bench.feed, 4, harness.bound(5))
    assert control.command(bench.control, "pause") == "ok"
    made = control.stats(bench.control)["reports"]
    for trade in range(made + 1, made + 7):
        assert reports.report(reporter) == trade
    wanted = [trade for trade in range(made + 1, made + 7) if trade % 3 == 0]
    receiver.wait_for_sequence(bench.feed, 2 + made + 6 + len(wanted), harness.bound(8))
    harness.stop(bench)
    cancelled = [int(message["orig_id"]) for _, message in sorted(receiver.messages(bench.feed).items())
                 if message.kind == "T/N" and int(message["orig_id"]) > made]
    assert cancelled == wanted


def test_a_trade_cancelled_before_its_time_is_not_cancelled_twice(launch):
    bench = launch("--scenario", "cancel_every=1")
    reporter = harness.open_reporter(bench)
    for trade in (1, 2):
        assert reports.report(reporter) == trade
    assert control.command(bench.control, "cancel") == "cancelled 1"
    receiver.wait_for_sequence(bench.feed, 6, harness.bound(8))
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals[-1].data) == 20, harness.bound(5), "a heartbeat")
    assert control.stats(bench.control)["cancels"] == 2
    harness.stop(bench)
