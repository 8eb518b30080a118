"""The end of a run: by signal after a drain of a second and a half, by command at once."""

import signal
import time

import pytest

import control
import harness
import probe
import receiver
import reports
import wire

STOPPING = "[vorbeld] stopping: the flow ends, retransmissions served for another 1.5 s"
DRAIN_S = 1.5


def signalled(bench, number=signal.SIGINT):
    """Sends the signal and waits for the stopping line; the wall-clock time in ns just before."""
    before = time.time_ns()
    bench.process.send_signal(number)
    harness.wait_for_line(bench, STOPPING)
    return before


def assert_drained(bench, since):
    """The process ends in order, about the drain time after the signal."""
    assert harness.finish(bench) == 0
    harness.assert_lasted(bench, since, time.time_ns(), DRAIN_S)


@pytest.mark.parametrize("number", (signal.SIGINT, signal.SIGTERM))
def test_a_signal_ends_the_run_after_the_drain(launch, number):
    bench = launch("--rate-ms", 10)
    receiver.wait_for_sequence(bench.feed, 20, harness.bound(10))
    since = signalled(bench, number)
    harness.assert_lasted(bench, since, time.time_ns(), 0)
    assert_drained(bench, since)
    last = len(harness.truth_lines(bench))
    lines = harness.console_lines(bench)
    assert lines[-2:] == [STOPPING, f"[vorbeld] stopped: seq {last} reports {last - 2}"]
    assert receiver.sequences(bench.feed) == list(range(1, last + 1))


def test_the_drain_serves_everything_but_the_generator(launch):
    bench = launch("--rate-ms", 10)
    receiver.wait_for_sequence(bench.feed, 20, harness.bound(10))
    reporter = harness.open_reporter(bench)
    since = signalled(bench)
    last = control.stats(bench.control)["seq"]
    assert len(probe.ask(bench, wire.request(1, 5))) == 1
    assert reports.report(reporter) == last - 1
    assert control.command(bench.control, f"halt {reports.AAPL}") == "ok"
    assert reports.report(harness.open_reporter(bench)) == last
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals[-1].data) == 20, harness.bound(3), "a heartbeat")
    assert receiver.heartbeats(bench.feed)[-1][1].sequence == last + 4
    assert_drained(bench, since)
    kinds = [message.kind for number, message in sorted(receiver.messages(bench.feed).items()) if number > last]
    assert kinds == ["T/M", "A/H", "T/M"]
    assert harness.console_lines(bench)[-1] == f"[vorbeld] stopped: seq {last + 3} reports {last}"


@pytest.mark.parametrize("second", (signal.SIGINT, signal.SIGTERM))
def test_a_second_signal_changes_nothing(launch, second):
    bench = launch()
    since = signalled(bench)
    for moment in (0.4, 1.0):
        harness.until(lambda at=moment: time.time_ns() - since > at * 1e9, 5, "the moment of the next signal")
        bench.process.send_signal(second)
    assert_drained(bench, since)
    assert harness.console_lines(bench).count(STOPPING) == 1


def test_a_stop_command_during_the_drain_ends_it_at_once(launch):
    bench = launch()
    since = signalled(bench)
    harness.stop(bench)
    harness.assert_lasted(bench, since, time.time_ns(), 0, usual_s=0.5)
    assert harness.console_lines(bench)[-3:] == [STOPPING, "bench: stop → ok", "[vorbeld] stopped: seq 2 reports 0"]


def test_resume_during_the_drain_starts_the_flow_again(launch):
    bench = launch("--rate-ms", 10)
    receiver.wait_for_sequence(bench.feed, 20, harness.bound(10))
    since = signalled(bench)
    last = control.stats(bench.control)["seq"]
    assert control.command(bench.control, "resume") == "ok"
    receiver.wait_for_sequence(bench.feed, last + 5, harness.bound(3))
    assert_drained(bench, since)


def test_timers_fire_during_the_drain(launch):
    bench = launch("--scenario", "halt_after_s=1,halt_ms=200,close_after_s=2")
    harness.until(lambda: len(receiver.heartbeats(bench.feed)) > 0 or bench.feed.highest > 2, 5, "the first second")
    since = signalled(bench)
    assert_drained(bench, since)
    found = [message for _, message in sorted(receiver.messages(bench.feed).items())][2:]
    assert [(message["category"], message["type"]) for message in found] == [
        ("A", "H"), ("A", "H"), ("C", "C"), ("C", "X"), ("C", "J"), ("C", "Z")]


def test_stop_leaves_without_a_drain(launch):
    bench = launch("--rate-ms", 10)
    receiver.wait_for_sequence(bench.feed, 20, harness.bound(10))
    since = time.time_ns()
    harness.stop(bench)
    harness.assert_lasted(bench, since, time.time_ns(), 0, usual_s=0.5)
    last = len(harness.truth_lines(bench))
    assert harness.console_lines(bench)[-2:] == ["bench: stop → ok",
                                                f"[vorbeld] stopped: seq {last} reports {last - 2}"]
    assert not any(line == STOPPING for line in harness.console_lines(bench))


def test_a_quiet_run_still_says_that_it_stops(launch):
    bench = launch("--quiet")
    since = signalled(bench)
    assert_drained(bench, since)
    assert harness.console_lines(bench)[-2:] == [STOPPING, "[vorbeld] stopped: seq 2 reports 0"]


def test_files_are_whole_when_the_process_is_killed(launch):
    bench = launch("--rate-ms", 10)
    receiver.wait_for_sequence(bench.feed, 50, harness.bound(10))
    bench.process.kill()
    assert harness.finish(bench) == -signal.SIGKILL
    truth, tape = len(harness.truth_lines(bench)), len(harness.tape_lines(bench))
    receiver.wait_for_sequence(bench.feed, truth, harness.bound(5))
    # Every line was flushed as it was written; only the last message can have been sent without its records.
    assert truth in (bench.feed.highest, bench.feed.highest - 1)
    assert tape in (truth - 2, truth - 3)


def test_a_command_that_repeats_itself_without_end_gets_the_time_of_a_drain(launch):
    bench = launch("--quiet", listen=False)
    reports.report(harness.open_reporter(bench))
    truth = bench.folder / "truth.jsonl"
    size = truth.stat().st_size
    control.send_raw(bench.control, b"correct -1")
    harness.until(lambda: truth.stat().st_size > size, 10, "the first correction")
    since = time.time_ns()
    bench.process.send_signal(signal.SIGTERM)
    reply = control.read_reply(bench.control)
    harness.assert_lasted(bench, since, time.time_ns(), DRAIN_S)
    assert harness.finish(bench) == 0
    harness.assert_lasted(bench, since, time.time_ns(), 2 * DRAIN_S, usual_s=0.5)
    assert reply == f"corrected {len(harness.truth_lines(bench)) - 3}"


def test_a_number_that_takes_no_time_is_carried_out_behind_a_signal_too(launch):
    bench = launch()
    reports.report(harness.open_reporter(bench))
    with probe.frozen(bench):
        control.send_raw(bench.control, b"correct 1000")
        bench.process.send_signal(signal.SIGTERM)
    assert control.read_reply(bench.control) == "corrected 1000"
    assert harness.finish(bench) == 0
    receiver.settle(bench.feed, harness.bound(5))
    assert receiver.sequences(bench.feed) == list(range(1, 1004))
