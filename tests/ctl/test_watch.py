"""vorbelctl watch: plain lines, JSON, and the screen."""

import fcntl
import json
import os
import pty
import re
import select
import signal
import struct
import subprocess
import termios
import time

import companion
import control
import harness
import reports

KEYS_AND_COLOURS = re.compile(rb"\x1b(\[[0-9;?]*[A-Za-z]|[()][A-Z0-9]|[=>])")


def test_plain_lines_once_a_second(launch, follow):
    bench = launch("--rate-ms", 20)
    watching = follow(bench.doors, "watch")
    companion.wait_for(watching, lambda lines: len(lines) >= 3, "three lines")
    assert companion.interrupt(watching) == 0
    assert re.match(r"feed \d+\.\d/s  messages \d+  missing 0 .*  bench \d+\.\d/s  seq \d+  reports \d+", watching.lines[2])


def test_json_has_rates_totals_and_books(launch, follow):
    bench = launch()
    watching = follow(bench.doors, "watch", "--json")
    companion.wait_until_member(watching, bench.doors)
    reporter = harness.open_reporter(bench)
    for price in ("98.5", "99.5", "97.5"):
        reports.report(reporter, price=price)
    control.command(bench.control, f"halt {reports.AAPL} T.1")
    companion.wait_for(watching, lambda lines: any('"halted":true' in line for line in lines), "the halt")
    assert companion.interrupt(watching) == 0
    book = [json.loads(line) for line in watching.lines if '"event":"book"' in line][-1]
    assert (book["cusip"], book["high"], book["low"], book["last"], book["prints"]) == (reports.AAPL, 99.5, 97.5, 97.5, 3)
    status = [json.loads(line) for line in watching.lines if '"event":"watch"' in line][-1]
    assert (status["bench_reports"], status["messages"], status["missing"]) == (3, 4, 0)


def test_seconds_end_it(launch):
    assert companion.run(launch().doors, "watch", "--seconds", "0.3")[0] == 0


def test_nobody_there_ends_with_status_3(doors):
    status, output, errors = companion.run(doors, "watch", "--timeout", "0.5")
    assert (status, output) == (3, "")
    assert f"127.0.0.1:{doors.control}" in errors
    assert f"{doors.group}:{doors.feed}" in errors


def test_a_control_port_that_was_not_given_is_not_spoken_of(doors):
    status, _, errors = companion.run(harness.dataclasses.replace(doors, control=0), "watch", "--timeout", "0.3")
    assert status == 3
    assert f"{doors.group}:{doors.feed}" in errors
    assert "control port" not in errors


def test_a_bench_that_stops_ends_it_with_status_3(launch, follow):
    bench = launch("--rate-ms", 50)
    watching = follow(bench.doors, "watch", "--timeout", "1")
    companion.wait_for(watching, lambda lines: len(lines) >= 1, "a line")
    harness.stop(bench)
    assert companion.finish(watching) == 3


def test_a_feed_alone_is_enough(pool, launch, follow):
    bench = launch("--rate-ms", 20, doors=harness.claim_doors(pool, control=0))
    watching = follow(bench.doors, "watch")
    companion.wait_for(watching, lambda lines: len(lines) >= 2, "two lines")
    assert companion.interrupt(watching, signal.SIGTERM) == 0
    assert "bench" not in watching.lines[1]


def test_recovery_is_asked_for(launch, follow):
    bench = launch("--rate-ms", 20, "--drop-every", 5)
    watching = follow(bench.doors, "watch", "--json", "--recover")
    companion.wait_for(watching, lambda lines: any(json.loads(line).get("recovered", 0) > 3 for line in lines), "recovery")
    assert companion.interrupt(watching) == 0
    assert [json.loads(line) for line in watching.lines if '"missing"' in line][-1]["missing"] == 0


def open_terminal(doors):
    """A watch on a terminal of 24 lines and 80 columns: (process, the test's side of the terminal)."""
    leader, follower = pty.openpty()
    fcntl.ioctl(follower, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))
    process = subprocess.Popen(companion.command_line(doors, "watch"), stdin=follower, stdout=follower,
                               stderr=follower, env={**os.environ, "TERM": "xterm"})
    os.close(follower)
    return process, leader


def read_screen(leader, wanted, seconds=10):
    """What was drawn until the wanted bytes came, without the terminal's own language."""
    drawn = b""
    give_up = time.monotonic() + harness.bound(seconds)
    while wanted not in KEYS_AND_COLOURS.sub(b"", drawn):
        if time.monotonic() > give_up:
            raise AssertionError(f"{wanted!r} was not drawn: {drawn[-2000:]!r}")
        if select.select([leader], [], [], 0.1)[0]:
            drawn += os.read(leader, 65536)
    return drawn


def test_the_screen_shows_the_bench_and_q_ends_it(launch):
    bench = launch()
    process, leader = open_terminal(bench.doors)
    drawn = read_screen(leader, b"q ends it")
    assert b"\x1b[?1049h" in drawn
    reporter = harness.open_reporter(bench)
    reports.report(reporter, price="98.5")
    read_screen(leader, b"98.500000")
    control.command(bench.control, f"halt {reports.AAPL} T.1")
    read_screen(leader, b"HALTED")
    os.write(leader, b"xq")
    ended = b""
    while process.poll() is None or select.select([leader], [], [], 0)[0]:
        try:
            ended += os.read(leader, 65536)
        except OSError:
            break
    assert process.wait(harness.bound(10)) == 0
    assert b"\x1b[?1049l" in ended  # the terminal is given back
    os.close(leader)


def test_a_signal_gives_the_terminal_back(launch):
    bench = launch()
    process, leader = open_terminal(bench.doors)
    read_screen(leader, b"q ends it")
    process.send_signal(signal.SIGTERM)
    drawn = b""
    while b"\x1b[?1049l" not in drawn:
        drawn += os.read(leader, 65536)
    assert process.wait(harness.bound(10)) == 0
    os.close(leader)
