"""Signals other than those that ask for a stop: what they end, and what they do not."""

import os
import signal
import time

import pytest

import control
import harness
import machine
import probe
import receiver
import reports


@pytest.mark.parametrize("number", (signal.SIGPIPE, signal.SIGXFSZ))
def test_what_a_failed_write_brings_ends_nothing(launch, number):
    bench = launch()
    bench.process.send_signal(number)
    probe.let_pass(bench)
    assert reports.report(harness.open_reporter(bench)) == 1
    harness.stop(bench)


def test_a_hangup_ends_it_at_once_with_whole_files(launch):
    bench = launch("--rate-ms", 10)
    receiver.wait_for_sequence(bench.feed, 20, harness.bound(10))
    bench.process.send_signal(signal.SIGHUP)
    assert harness.finish(bench) == -signal.SIGHUP
    assert len(harness.truth_lines(bench)) in (bench.feed.highest, bench.feed.highest - 1)


def test_a_hangup_that_is_ignored_from_outside_stays_ignored(launch):
    bench = launch(prepare=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
    bench.process.send_signal(signal.SIGHUP)
    probe.let_pass(bench)
    harness.stop(bench)


def test_a_bench_that_was_held_goes_on_where_it_was(launch):
    bench = launch("--rate-ms", 20)
    receiver.wait_for_sequence(bench.feed, 10, harness.bound(10))
    reporter = harness.open_reporter(bench)
    os.kill(bench.process.pid, signal.SIGSTOP)
    harness.until(lambda: probe.process_state(bench) == "T", 5, "the stopped state")
    receiver.settle(bench.feed, harness.bound(5))
    held, since = bench.feed.highest, time.monotonic()
    reports.send_lines(reporter, reports.report_line())
    harness.until(lambda: time.monotonic() - since > 1.5, 2, "a second and a half")
    assert bench.feed.highest == held
    before = len(bench.feed.arrivals)
    os.kill(bench.process.pid, signal.SIGCONT)
    assert reports.read_line(reporter).startswith("A ")
    receiver.wait_for_sequence(bench.feed, held + 12, harness.bound(10))
    assert control.command(bench.control, "pause") == "ok"
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals[-1].data) == 20, harness.bound(3), "a heartbeat")
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == list(range(1, len(harness.truth_lines(bench)) + 1))
    sent = receiver.packets(bench.feed)[before:]
    assert sum(not packet.messages for _, packet in sent) <= 2      # the one that was due, and the last
    # What was missed is not made up for: 75 trades were due, and each still comes 6 ms behind another at least.
    times = [arrival.at_ns / 1e9 for arrival, packet in sent if packet.messages and packet.sequence > held + 1]
    late_s = machine.late_between(bench.watch, times[0] - 1, times[8])
    assert times[8] - times[0] > 8 * 0.006 - 0.002 - 2 * late_s
