"""Standard error that nobody reads, that cannot be written, or whose reader has gone: the feed goes on."""

import fcntl
import os
import pathlib
import re
import socket
import subprocess

import pytest

import control
import harness
import probe
import receiver
import reports

PIPE_BYTES = 4096        # the least that a pipe can be made to hold
MOST_WAITING = 16 << 20  # what the bench keeps of a console that nobody takes
STOPPED = re.compile(rb"\[vorbeld\] stopped: seq (\d+) reports (\d+)\n")
LEFT_OUT = re.compile(rb"\[vorbeld\] console: (\d+) lines left out, nobody took them\n")


@pytest.fixture
def small_pipe():
    """(reading end, writing end) of a pipe that is full after some forty lines, as files."""
    reading, writing = os.pipe()
    fcntl.fcntl(writing, fcntl.F_SETPIPE_SZ, PIPE_BYTES)
    with open(reading, "rb", buffering=0) as reader, open(writing, "wb", buffering=0) as writer:
        yield reader, writer


def numbers_of(text):
    """The sequence numbers of the messages that console lines tell of, in order."""
    return [int(number) for number in re.findall(rb"^\[vorbeld\] #(\d+) ", text, re.MULTILINE)]


def trade(bench, count):
    """Reports trades, each answered before the next."""
    reporter = harness.open_reporter(bench)
    for _ in range(count):
        reports.report(reporter)
    return reporter


def test_a_pipe_that_nobody_reads_does_not_stop_the_feed(launch, small_pipe):
    bench = launch(console=small_pipe[1])
    trade(bench, 300)
    harness.stop(bench)
    small_pipe[1].close()
    text = small_pipe[0].read()
    assert text.startswith(b"[vorbeld] BTDS 2.1") and len(text) <= PIPE_BYTES
    assert receiver.sequences(bench.feed) == list(range(1, 303)) == list(range(1, len(harness.truth_lines(bench)) + 1))


def test_a_late_reader_gets_every_line_in_order(launch, small_pipe):
    bench = launch(console=small_pipe[1])
    trade(bench, 300)
    small_pipe[1].close()
    text = b""
    while b"#302 " not in text or not text.endswith(b"\n"):     # no event but time in the bench: its loop writes
        text += small_pipe[0].read(65536)
    assert numbers_of(text) == list(range(1, 303))
    trade(bench, 1)
    while b"#303 " not in text or not text.endswith(b"\n"):
        text += small_pipe[0].read(65536)
    harness.stop(bench)
    text += small_pipe[0].read()
    assert numbers_of(text) == list(range(1, 304))
    assert text.endswith(b"bench: stop \xe2\x86\x92 ok\n[vorbeld] stopped: seq 303 reports 301\n")


def test_a_reader_that_only_begins_at_the_end_gets_the_last_line(launch, small_pipe):
    bench = launch(console=small_pipe[1])
    trade(bench, 300)
    assert control.command(bench.control, "stop") == "ok"
    small_pipe[1].close()
    text = small_pipe[0].read()     # the bench waits half a second for someone who reads
    assert harness.finish(bench) == 0
    assert numbers_of(text) == list(range(1, 303)) and STOPPED.search(text).groups() == (b"302", b"300")


def test_lines_that_find_no_place_are_counted_where_they_are_missing(launch):
    symbol, trades = "X" * 100_000, 220     # a line each, some 22 MB together
    reading, writing = os.pipe()
    with open(reading, "rb", buffering=0) as reader:
        with open(writing, "wb", buffering=0) as writer:
            bench = launch(console=writer)
        reporter = harness.open_reporter(bench)
        for _ in range(trades):
            reports.report(reporter, cusip="LONG", symbol=symbol)
        text = b"".join(reader.read(1 << 16) for _ in range(1 << 6))
        assert control.command(bench.control, "mark behind the gap") == "ok"
        assert control.command(bench.control, "stop") == "ok"
        text += reader.read()
    assert harness.finish(bench) == 0
    gap = LEFT_OUT.search(text)
    before, behind = text[:gap.start()], text[gap.end():]
    assert MOST_WAITING <= len(before) <= MOST_WAITING + 2 * len(symbol)
    last = numbers_of(before)[-1]
    assert numbers_of(text) == numbers_of(before) == list(range(1, last + 1))
    assert before.count(symbol.encode()) == last - 2 and before.endswith(b"change 0\n")    # whole lines only
    assert int(gap[1]) == trades + 2 - last
    assert behind.split(b"\n")[0] == b"bench: mark behind the gap at seq %d" % (trades + 2)


@pytest.mark.parametrize("when", ("before", "during"))
def test_a_reader_that_goes_does_not_end_the_run(launch, small_pipe, when):
    if when == "before":
        small_pipe[0].close()
    bench = launch(console=small_pipe[1])
    trade(bench, 100 if when == "before" else 20)
    if when == "during":
        small_pipe[0].close()
    trade(bench, 100)
    harness.stop(bench)
    assert len(harness.truth_lines(bench)) == (202 if when == "before" else 122)


def test_the_first_line_can_be_taken_alone(pool, tmp_path):
    doors = harness.claim_doors(pool)
    command = ["bash", "-o", "pipefail", "-c", '"$@" 2>&1 | head -n 1', "bash", harness.binary(),
               *harness.arguments(doors, tmp_path)]
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE) as shell:
        assert shell.stdout.readline().startswith(b"[vorbeld] BTDS 2.1")
        client = control.open_control(doors.control, harness.bound(10))
        harness.until((tmp_path / "stats.json").exists, 20, "the first pass")
        for _ in range(3):
            assert control.command(client, "mark unseen") == "ok"
        assert control.command(client, "stop") == "ok"
        client.socket.close()
        assert shell.wait(harness.bound(20)) == 0
        assert shell.stdout.read() == b""
    assert (tmp_path / "truth.jsonl").read_bytes().count(b'"mark"') == 3


def test_a_console_without_room_stops_nothing(launch):
    with open("/dev/full", "wb") as full:
        bench = launch(console=full)
    trade(bench, 100)
    before = probe.cpu_s(bench)
    heard = len(receiver.heartbeats(bench.feed))
    receiver.wait_for(bench.feed, lambda _: len(receiver.heartbeats(bench.feed)) > heard, harness.bound(3))
    assert probe.cpu_s(bench) - before < 0.5 * harness.slowness()      # nothing is tried without end
    harness.stop(bench)
    assert len(harness.truth_lines(bench)) == 102


def test_a_socket_that_nobody_reads_does_not_stop_the_feed(launch):
    ours, theirs = socket.socketpair()
    with ours, theirs:
        theirs.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, PIPE_BYTES)
        bench = launch(console=theirs.fileno())
        trade(bench, 300)
        assert theirs.getblocking()
        theirs.close()
        text = b""
        while b"#302 " not in text or not text.endswith(b"\n"):
            text += ours.recv(65536)
        harness.stop(bench)
        while data := ours.recv(65536):
            text += data
    assert numbers_of(text) == list(range(1, 303)) and STOPPED.search(text)


def test_the_mode_that_others_share_stays_as_it_is(launch, small_pipe):
    bench = launch(console=small_pipe[1])
    trade(bench, 300)
    assert os.get_blocking(small_pipe[1].fileno())
    harness.stop(bench)


def test_a_file_gets_every_line_as_it_is_printed(launch, tmp_path):
    path = pathlib.Path(tmp_path / "console")
    with open(path, "wb") as file:
        bench = launch(console=file)
    reporter = harness.open_reporter(bench)
    for number in range(3, 53):
        reports.report(reporter)
        assert numbers_of(path.read_bytes()) == list(range(1, number + 1))
    harness.stop(bench)
    assert path.read_bytes().endswith(b"[vorbeld] stopped: seq 52 reports 50\n")


@pytest.mark.parametrize("closing", ("<&-", ">&-", "2>&-", "<&- >&- 2>&-"))
def test_what_is_meant_for_a_closed_descriptor_gets_nowhere_else(launch, closing):
    bench = launch(prefix=("bash", "-c", f'exec "$@" {closing}', "bash"))
    trade(bench, 20)
    assert control.command(bench.control, "mark here") == "ok"
    harness.stop(bench)
    truth, tape = harness.truth_lines(bench), harness.tape_lines(bench)
    assert [line.split(b",")[0] for line in truth[:-1]] == [b'{"seq":%d' % number for number in range(1, 23)]
    assert truth[-1] == b'{"mark":"here","seq":22}'
    assert [line.split(b",")[0] for line in tape] == [b'{"seq":%d' % number for number in range(3, 23)]
    assert receiver.sequences(bench.feed) == list(range(1, 23))
    assert len(harness.console_lines(bench)) == (0 if "2>" in closing else 4 + 20 + 2 + 1 + 1)
