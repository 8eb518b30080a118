"""Truth file and tape that lead into pipes: a slow reader is waited for, a stop signal ends the wait, a gone one is lost."""

import fcntl
import os
import signal
import time

import pytest

import control
import harness
import probe
import receiver
import reports

PIPE_BYTES = 4096       # the least that a pipe can be made to hold
PATIENCE_S = 0.5        # what a reader gets after a stop signal
DRAIN_S = 1.5


@pytest.fixture
def fifo(tmp_path):
    """(path, reading end as a file) of a FIFO that is full after some ten lines."""
    path = tmp_path / "records"
    os.mkfifo(path)
    with open(os.open(path, os.O_RDONLY | os.O_NONBLOCK), "rb", buffering=0) as reader:
        fcntl.fcntl(reader, fcntl.F_SETPIPE_SZ, PIPE_BYTES)
        os.set_blocking(reader.fileno(), True)
        yield path, reader


def fill(bench):
    """Sends trades until the bench answers no more: it waits for the reader."""
    reporter = harness.open_reporter(bench)
    reports.send_lines(reporter, *[reports.report_line()] * 100)
    receiver.wait_for(bench.feed, lambda _: bench.feed.highest > 5, harness.bound(5))
    harness.until(lambda: not moves(bench), 5, "the end of the feed")


def moves(bench):
    """Whether the feed carried anything within the time of several passes."""
    before = len(bench.feed.arrivals)
    time.sleep(0.1)
    return len(bench.feed.arrivals) > before


def whole_lines(text):
    """The lines of a text that must not end within one."""
    assert text.endswith(b"\n")
    return text.splitlines()


@pytest.mark.parametrize("option", ("--truth-out", "--tape-out"))
def test_a_slow_reader_gets_every_line(launch, fifo, option):
    path, reader = fifo
    bench = launch(option, path)
    fill(bench)
    text = b""
    last = b'"trade_id":"0000100"'
    while last not in text or not text.endswith(b"\n"):
        text += reader.read(1000)
    harness.stop(bench)
    wanted = range(1 if option == "--truth-out" else 3, 103)
    assert [line.split(b",")[0] for line in whole_lines(text)] == [b'{"seq":%d' % number for number in wanted]
    assert receiver.sequences(bench.feed) == list(range(1, 103))


@pytest.mark.parametrize("number", (signal.SIGINT, signal.SIGTERM))
def test_a_stop_signal_ends_the_wait(launch, fifo, number):
    path, reader = fifo
    bench = launch("--truth-out", path)
    fill(bench)
    since = time.time_ns()
    bench.process.send_signal(number)
    assert harness.finish(bench) == 0
    harness.assert_lasted(bench, since, time.time_ns(), PATIENCE_S + DRAIN_S, usual_s=1.0)
    lines = whole_lines(reader.read())
    assert [line.split(b",")[0] for line in lines] == [b'{"seq":%d' % number for number in range(1, len(lines) + 1)]
    assert len(harness.tape_lines(bench)) == 100        # the feed went on, and with it what can be written
    assert receiver.sequences(bench.feed) == list(range(1, 103))


def test_a_reader_that_goes_on_after_a_stop_signal_gets_every_line(launch, fifo):
    path, reader = fifo
    bench = launch("--truth-out", path)
    fill(bench)
    bench.process.send_signal(signal.SIGTERM)
    assert len(whole_lines(reader.read())) == 102
    assert harness.finish(bench) == 0


@pytest.mark.parametrize("option", ("--truth-out", "--tape-out"))
def test_a_reader_that_goes_does_not_end_the_run(launch, fifo, option):
    path, reader = fifo
    bench = launch(option, path)
    assert reports.report(harness.open_reporter(bench)) == 1
    reader.close()
    reporter = harness.open_reporter(bench)
    for trade in range(2, 50):
        assert reports.report(reporter) == trade
    assert control.command(bench.control, "mark unheard") == "ok"
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == list(range(1, 52))


def test_a_reader_that_goes_during_the_wait_ends_it(launch, fifo):
    path, reader = fifo
    bench = launch("--truth-out", path)
    fill(bench)
    reader.close()
    receiver.wait_for_sequence(bench.feed, 102, harness.bound(5))
    harness.stop(bench)
    assert len(harness.tape_lines(bench)) == 100


def test_the_start_waits_for_the_first_reader(pool, tmp_path):
    os.mkfifo(tmp_path / "records")
    with harness.launching(pool, tmp_path) as launch:
        bench = launch("--truth-out", tmp_path / "records", ready=False)
        with open(tmp_path / "records", "rb") as reader:
            harness.wait_until_running(bench)
            harness.stop(bench)
            assert len(whole_lines(reader.read())) == 2
        waiting = launch("--truth-out", tmp_path / "records", ready=False)
        harness.until(lambda: probe.process_state(waiting) == "S" and len(probe.open_files(waiting)) > 5, 5, "the wait")
        waiting.process.send_signal(signal.SIGTERM)
        assert harness.finish(waiting) == -signal.SIGTERM and waiting.feed.arrivals == []
