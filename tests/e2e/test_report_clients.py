"""Report clients that misbehave: they cost themselves something, and the feed nothing."""

import socket
import struct
import threading

import harness
import probe
import receiver
import reports

BIG = 50 << 20


def test_a_client_that_never_reads_its_replies_is_served_all_the_same(launch):
    bench = launch("--quiet", listen=False)
    silent = harness.open_reporter(bench)
    silent.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    count = 0
    for _ in range(60):                                             # their replies are far beyond all buffers
        reports.send_lines(silent, *[reports.report_line()] * 500)
        count += 500
    other = harness.open_reporter(bench)
    harness.until(lambda: harness.read_stats(bench)["reports"] == count, 10, "all its trades")
    assert reports.report(other) == count + 1
    assert reports.read_line(silent) == "A 0000001"
    harness.stop(bench)
    assert len(harness.truth_lines(bench)) == count + 3


def test_a_line_may_come_byte_by_byte(launch):
    bench = launch()
    reporter, other = harness.open_reporter(bench), harness.open_reporter(bench)
    line = reports.report_line().encode()
    for index in range(len(line)):
        reporter.socket.send(line[index:index + 1])
        if index % 10 == 0:
            probe.let_pass(bench)
    assert reports.report(other) == 1
    reporter.socket.send(b"\n")
    assert reports.read_line(reporter) == "A 0000002"
    harness.stop(bench)


def cpu_for(bench, reporter, size):
    """Processor seconds that the bench takes for a line of so many bytes, which is no report."""
    before = probe.cpu_s(bench)
    piece = bytes(1 << 16)
    for _ in range(size // len(piece)):
        reporter.socket.sendall(piece)
    reports.send_lines(reporter, b"")
    assert reports.read_line(reporter) == "E malformed"
    return probe.cpu_s(bench) - before


def test_a_line_of_50_megabytes_costs_in_proportion(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    tenth = cpu_for(bench, reporter, BIG // 10)
    whole = cpu_for(bench, reporter, BIG)
    assert whole < 20 * tenth + 0.5 * harness.slowness(), f"{tenth:.2f} s for a tenth, {whole:.2f} s for the whole"
    assert reports.report(reporter) == 1
    harness.stop(bench)


def test_a_client_that_ends_its_own_side_is_closed(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    assert reports.report(reporter) == 1
    reporter.socket.shutdown(socket.SHUT_WR)
    assert reports.read_line(reporter) is None
    assert reports.report(harness.open_reporter(bench)) == 2
    harness.stop(bench)


def test_lines_that_arrive_together_with_the_end_are_lost(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    assert reports.report(reporter) == 1
    with probe.frozen(bench):
        reports.send_lines(reporter, reports.report_line(), reports.report_line())
        reporter.socket.shutdown(socket.SHUT_WR)
    assert reports.read_line(reporter) is None
    assert reports.report(harness.open_reporter(bench)) == 2
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == [1, 2, 3, 4]


def test_a_connection_that_is_reset_is_closed_and_forgotten(launch):
    bench = launch()
    probe.let_pass(bench)
    before = probe.count_descriptors(bench)
    for trade in range(1, 6):
        reporter = harness.open_reporter(bench)
        assert reports.report(reporter) == trade
        reporter.socket.send(b"T|half a li")
        reporter.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        reports.close_reporter(reporter)
    harness.until(lambda: probe.count_descriptors(bench) == before, 5, "the last of them closed")
    assert reports.report(harness.open_reporter(bench)) == 6
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == list(range(1, 9))


def test_clients_that_come_and_go_leave_no_descriptor(launch):
    bench = launch("--quiet")
    probe.let_pass(bench)
    before = probe.count_descriptors(bench)

    def come_and_go():
        for _ in range(50):
            reporter = reports.open_reporter(bench.doors.reports, harness.bound(10))
            reports.report(reporter)
            reports.close_reporter(reporter)

    workers = [threading.Thread(target=come_and_go) for _ in range(4)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    harness.until(lambda: probe.count_descriptors(bench) == before, 5, "all of them closed")
    assert reports.report(harness.open_reporter(bench)) == 201
    harness.stop(bench)
