"""The control port: how a datagram becomes a command, and what every command answers, echoes and does."""

import time

import pytest

import control
import harness
import receiver
import reports


def echoes(bench):
    """The console lines of the control port, without the one that announces it."""
    return [line for line in harness.console_lines(bench)
            if line.startswith("bench: ") and not line.startswith("bench: control on")]


def drops_armed(bench, limit=12):
    """How many of the next packets are dropped, up to `limit`."""
    before = control.stats(bench.control)["dropped"]
    reporter = harness.open_reporter(bench)
    for _ in range(limit):
        reports.report(reporter)
    return control.stats(bench.control)["dropped"] - before


@pytest.mark.parametrize("data, shown", (
    (b"pause", "pause"), (b"pause\r\n", "pause"), (b"pause \n \r\n  ", "pause"), (b"pause\0junk", "pause"),
    (b"pause \0", "pause"), (b"pause now then", "pause now then"), (b"pause  x ", "pause  x"),
    (b"pause\n\0\t", "pause")))
def test_accepted_forms_of_one_command(launch, data, shown):
    bench = launch()
    assert control.command(bench.control, data) == "ok"
    harness.stop(bench)
    assert echoes(bench) == [f"bench: {shown} → ok", "bench: stop → ok"]


@pytest.mark.parametrize("data, shown", (
    (b"PAUSE", "PAUSE"), (b" pause", " pause"), (b"pause\t", "pause\t"), (b"pause\t now", "pause\t now"),
    (b"\0pause", ""), (b" ", ""), (b"\r\n", ""), (b"paus", "paus"), (b"pauses", "pauses"), (b"stats2", "stats2"),
    (b"help", "help"), (b"drop_Every 3", "drop_Every 3"), (b"%s%n", "%s%n"), (b"pau\nse", "pau\nse"),
    (b"x" * 300, "x" * 255)))
def test_unknown_commands(launch, data, shown):
    bench = launch()
    assert control.command(bench.control, data) == "unknown command"
    harness.stop(bench)
    assert f"\nbench: {shown} → unknown command\n" in "\n".join(harness.console_lines(bench))


def test_an_empty_datagram_has_no_answer(launch):
    bench = launch()
    control.send_raw(bench.control, b"")
    assert control.command(bench.control, "resume") == "ok"
    harness.stop(bench)
    assert echoes(bench) == ["bench: resume → ok", "bench: stop → ok"]


def test_a_command_is_cut_to_255_bytes(launch):
    bench = launch()
    assert control.command(bench.control, b"pause" + b" " * 250 + b"y") == "ok"
    assert control.command(bench.control, b"pause" + b" " * 249 + b"yz") == "ok"
    harness.stop(bench)
    assert echoes(bench)[:2] == ["bench: pause → ok", "bench: pause" + " " * 249 + "y → ok"]


@pytest.mark.parametrize("text, count", (
    ("drop", 1), ("drop x", 1), ("drop 3x", 3), ("drop 3", 3), ("drop 0", 0), ("drop 4294967296", 0),
    ("drop 4294967299", 3), ("drop -1", 12), ("drop  5", 1), ("drop +4", 4), ("drop \t4", 4), ("drop 4 9", 4),
    ("drop 18446744073709551616", 1), ("drop 18446744073709551615", 12), ("drop -18446744073709551614", 2),
    ("drop 0x4", 0), ("drop 007", 7), ("drop -", 1), ("drop \v2", 2)))
def test_numbers_of_a_command(launch, text, count):
    bench = launch("--quiet")
    assert control.command(bench.control, text) == "ok"
    assert drops_armed(bench) == count
    harness.stop(bench)


@pytest.mark.parametrize("first, second, dropped", (
    ("drop 5", "drop 2", 2), ("drop 5", "drop 0", 0), ("drop_every 2", "drop_every", 0),
    ("drop_every 2", "drop_every x", 0), ("drop_every 1", "drop_every 4", 3), ("drop_every 4294967297", "pause", 12)))
def test_later_settings_replace_earlier_ones(launch, first, second, dropped):
    bench = launch("--quiet")
    assert control.command(bench.control, first) == "ok"
    assert control.command(bench.control, second) == "ok"
    assert drops_armed(bench) == dropped
    harness.stop(bench)


@pytest.mark.parametrize("command, counter", (
    ("dup", "duplicated"), ("reorder", "reordered"), ("dup_every 1", "duplicated"), ("reorder_every 1", "reordered")))
def test_the_other_faults_default_alike(launch, command, counter):
    bench = launch("--quiet")
    assert control.command(bench.control, command) == "ok"
    drops_armed(bench, 4)
    wanted = 4 if "every" in command else 1
    assert control.stats(bench.control)[counter] == wanted
    assert control.command(bench.control, command.split()[0] + (" none" if "every" in command else " 0")) == "ok"
    drops_armed(bench, 4)
    assert control.stats(bench.control)[counter] == wanted
    harness.stop(bench)


def test_the_statistics_text(launch):
    bench = launch("--drop-every", 5)
    assert control.command(bench.control, "stats") == (
        "seq 2 messages 2 packets 2 reports 0 capped 0 cancels 0 corrections 0 halts 0 retrans 0 "
        "vorbeld faults: sent 2 dropped 0 duplicated 0 reordered 0")
    reporter = harness.open_reporter(bench)
    reports.report(reporter, quantity="5000000.01")
    reports.report(reporter)
    reports.report(reporter)
    for text in ("dup 2", "cancel", "correct", f"halt {reports.AAPL}", "stats and more"):
        control.command(bench.control, text)
    assert control.command(bench.control, "stats \r\n") == (
        "seq 8 messages 8 packets 8 reports 3 capped 1 cancels 1 corrections 1 halts 1 retrans 0 "
        "vorbeld faults: sent 7 dropped 1 duplicated 2 reordered 0")
    harness.stop(bench)
    assert not any("stats" in line for line in echoes(bench))


def test_the_flow_commands(launch):
    bench = launch("--rate-ms", 10)
    receiver.wait_for_sequence(bench.feed, 20, harness.bound(10))
    assert control.command(bench.control, "rate 0") == "ok"
    last = control.stats(bench.control)["seq"]
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals[-1].data) == 20, harness.bound(5), "a heartbeat")
    assert control.stats(bench.control)["seq"] == last
    assert control.command(bench.control, "rate 20") == "ok"
    receiver.wait_for_sequence(bench.feed, last + 10, harness.bound(10))
    assert control.command(bench.control, "rate 4294967296") == "ok"       # wraps to 0: off
    last = control.stats(bench.control)["seq"]
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals[-1].data) == 20, harness.bound(5), "a heartbeat")
    assert control.stats(bench.control)["seq"] == last
    harness.stop(bench)


def now_ms():
    """The wall clock in ms, which the times of arrival are in as well."""
    return time.time() * 1000


@pytest.mark.parametrize("text", ("rate", "rate x", "rate 1000", "rate  7"))
def test_a_rate_restarts_the_wait(launch, text):
    bench = launch("--rate-ms", 1000)
    started = receiver.arrival_times(bench.feed)[2] / 1e6
    harness.until(lambda: now_ms() > started + 600, 5, "the middle of the first wait")
    restarted = now_ms()
    assert control.command(bench.control, text) == "ok"
    receiver.wait_for_sequence(bench.feed, 3, harness.bound(5))
    harness.assert_lasted(bench, restarted * 1e6, receiver.arrival_times(bench.feed)[3], 1)
    harness.stop(bench)


def test_a_rate_without_a_flow_starts_one_after_a_whole_interval(launch):
    bench = launch()
    before_ms = now_ms()
    assert control.command(bench.control, "rate 300") == "ok"
    receiver.wait_for_sequence(bench.feed, 3, harness.bound(5))
    harness.assert_lasted(bench, before_ms * 1e6, receiver.arrival_times(bench.feed)[3], 0.3)
    harness.stop(bench)
