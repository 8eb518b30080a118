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

import pytest

import companion
import control
import harness
import publisher
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


def open_terminal(doors, *options, rows=24, columns=80, **environment):
    """A watch on a terminal: (process, the test's side of the terminal)."""
    leader, follower = pty.openpty()
    fcntl.ioctl(follower, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
    usual = {name: value for name, value in os.environ.items() if name != "NO_COLOR"} | {"TERM": "xterm"}
    process = subprocess.Popen(companion.command_line(doors, "watch", *options), stdin=follower, stdout=follower,
                               stderr=follower, env=usual | environment)
    os.close(follower)
    return process, leader


def quit_watch(process, leader):
    """Ends the watch by its key: its exit status."""
    os.write(leader, b"q")
    while process.poll() is None or select.select([leader], [], [], 0)[0]:
        try:
            os.read(leader, 65536)
        except OSError:
            break
    os.close(leader)
    return process.wait(harness.bound(10))


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


@pytest.mark.parametrize(("environment", "coloured"), [({}, True), ({"NO_COLOR": "1"}, False)])
@pytest.mark.parametrize(("rows", "columns"), [(12, 40), (24, 80), (50, 200)])
def test_losses_and_halts_are_seen_from_afar(fake, rows, columns, environment, coloured):
    process, leader = open_terminal(fake.doors, rows=rows, columns=columns, **environment)
    companion.wait_until_member(companion.Running(process), fake.doors)
    publisher.send(fake, publisher.numbered(1))
    publisher.send(fake, publisher.numbered(3))
    drawn = read_screen(leader, b" LOST 1 ")
    drawn += read_screen(leader, b"(1 message) given up") if b"given up" not in drawn else b""
    shown = [parts.split(b";") for parts in re.findall(rb"\x1b\[([0-9;]*)m", drawn)]
    assert any(b"41" in parts for parts in shown) == coloured    # a red ground
    assert any(re.fullmatch(rb"[34][0-7]", part) for parts in shown for part in parts) == coloured
    assert any(b"7" in parts for parts in shown) != coloured     # reversed letters in its place
    assert quit_watch(process, leader) == 1


def test_a_dumb_terminal_gets_plain_lines(fake):
    process, leader = open_terminal(fake.doors, TERM="dumb")
    companion.wait_until_member(companion.Running(process), fake.doors)
    publisher.send(fake, publisher.numbered(1))
    publisher.send(fake, publisher.numbered(3))
    assert b"\x1b" not in read_screen(leader, b"messages 2  missing 1")
    process.send_signal(signal.SIGINT)
    assert process.wait(harness.bound(10)) == 1
    os.close(leader)


def test_bonds_scroll_by_keys(launch):
    bench = launch("--rate-ms", 0)
    process, leader = open_terminal(bench.doors, rows=12, columns=40)
    read_screen(leader, b"q ends it")
    reporter = harness.open_reporter(bench)
    # They differ in every letter, as only what differs is drawn. Four have room.
    cusips = ["".join(chr(ord("A") + (bond + place) % 26) for place in range(9)) for bond in range(20)]
    for cusip in cusips:
        reports.report(reporter, cusip=cusip)
    read_screen(leader, cusips[1].encode())
    for key, bond in ((b"\x1bOF", 19), (b"\x1bOH", 0), (b"\x1b[6~", 4), (b"\x1b[5~", 0), (b"\x1bOB", 4), (b"\x1bOA", 0)):
        os.write(leader, key)
        read_screen(leader, cusips[bond].encode())
    assert quit_watch(process, leader) == 0


def test_halted_bonds_come_first(launch):
    bench = launch("--rate-ms", 0)
    reporter = harness.open_reporter(bench)
    process, leader = open_terminal(bench.doors, rows=12, columns=40)
    companion.wait_until_member(companion.Running(process), bench.doors)
    for bond in range(30):
        reports.report(reporter, cusip=f"A{bond:08d}")
    reports.report(reporter, cusip="ZZHALTED9")
    control.command(bench.control, "halt ZZHALTED9 T.1")
    read_screen(leader, b"HALTED ZZHALTED9")
    assert quit_watch(process, leader) == 0


def test_a_restart_is_said_on_the_screen(launch):
    bench = launch("--rate-ms", 20)
    process, leader = open_terminal(bench.doors, "--timeout", "30", rows=12, columns=40)
    read_screen(leader, b"037833DT4")
    harness.stop(bench)
    launch("--rate-ms", 20, doors=bench.doors)
    read_screen(leader, b" BEGAN AGAIN ")
    assert quit_watch(process, leader) in (1, 5)    # 1: what the old one sent last was lost


def test_a_silent_feed_is_said_on_the_screen(launch):
    bench = launch("--rate-ms", 20)
    process, leader = open_terminal(bench.doors, "--timeout", "30", rows=12, columns=40)
    read_screen(leader, b"nothing is lost or halted")
    bench.process.send_signal(signal.SIGSTOP)
    try:
        read_screen(leader, b" FEED SILENT ")
    finally:
        bench.process.send_signal(signal.SIGCONT)
    assert quit_watch(process, leader) == 0
