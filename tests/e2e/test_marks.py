"""Marks in the truth file, and datagrams that meet in one pass of the bench."""

import pytest

import control
import harness
import probe
import receiver
import reports


def marks(bench):
    """The mark records of the truth file."""
    return [line for line in harness.truth_lines(bench) if line.startswith(b'{"mark"')]


def test_a_mark_names_the_last_sequence_number(launch):
    bench = launch()
    assert control.command(bench.control, "mark before fault") == "ok"
    reports.report(harness.open_reporter(bench))
    assert control.command(bench.control, "mark after") == "ok"
    harness.stop(bench)
    assert harness.truth_lines(bench)[2] == b'{"mark":"before fault","seq":2}'
    assert harness.truth_lines(bench)[4] == b'{"mark":"after","seq":3}'
    assert harness.console_lines(bench)[4:6] == ["bench: mark before fault at seq 2", "bench: mark before fault → ok"]


@pytest.mark.parametrize("data, label", (
    (b"mark", b""), (b"mark ", b""), (b"mark  two  blanks  ", b" two  blanks"), (b'mark a"b\\c', b'a\\"b\\\\c'),
    (b"mark \x01\t\x7f", b"\x01\t\x7f"), (b"mark caf\xc3\xa9 \xff", b"caf\xc3\xa9 \xff"),
    (b"mark " + b"y" * 400, b"y" * 250), (b"mark a\0b", b"a"), (b"mark %s%d%n", b"%s%d%n"), (b"mark x\n\r ", b"x")))
def test_labels(launch, data, label):
    bench = launch()
    assert control.command(bench.control, data) == "ok"
    harness.stop(bench)
    assert marks(bench) == [b'{"mark":"' + label + b'","seq":2}']
    shown = label.replace(b"\\\\", b"\\").replace(b'\\"', b'"')     # the console shows it unescaped
    assert b"bench: mark " + shown + b" at seq 2" in bench.console.lines


@pytest.mark.parametrize("path", ("", "/nonexistent/folder/truth"))
def test_a_mark_without_a_truth_file_is_only_shown(launch, path):
    bench = launch("--truth-out", path)
    assert control.command(bench.control, "mark here") == "ok"
    harness.stop(bench)
    assert harness.console_lines(bench)[4:6] == ["bench: mark here at seq 2", "bench: mark here → ok"]


def test_commands_of_a_pass_are_served_in_order(launch):
    bench = launch("--quiet")
    reporter = harness.open_reporter(bench)
    reports.report(reporter)
    with probe.frozen(bench):
        for text in ("mark one", "cancel", "cancel", "mark two", "stats", "close", "stats", "nothing"):
            control.send_raw(bench.control, text.encode())
    replies = [control.read_reply(bench.control) for _ in range(8)]
    assert [replies[index] for index in (0, 1, 2, 3, 5, 7)] == [
        "ok", "cancelled 1", "cancelled 0", "ok", "ok", "unknown command"]
    assert replies[4].startswith("seq 4 messages 4 ") and replies[6].startswith("seq 8 messages 8 ")
    harness.stop(bench)
    assert marks(bench) == [b'{"mark":"one","seq":3}', b'{"mark":"two","seq":4}']


def test_what_comes_behind_stop_in_the_same_pass_is_still_served(launch):
    bench = launch()
    with probe.frozen(bench):
        for text in ("stop", "mark late", "halt 037833DT4", "stats"):
            control.send_raw(bench.control, text.encode())
    replies = [control.read_reply(bench.control) for _ in range(4)]
    assert harness.finish(bench) == 0
    assert replies[:3] == ["ok", "ok", "ok"] and replies[3].startswith("seq 3 ")
    assert harness.console_lines(bench)[4:] == [
        "bench: stop → ok", "bench: mark late at seq 2", "bench: mark late → ok",
        "[vorbeld] #3 A/H halt 037833DT4 T.1", "bench: halt 037833DT4 → ok", "[vorbeld] stopped: seq 3 reports 0"]


def test_an_empty_datagram_ends_the_reading_of_a_pass(launch):
    bench = launch()
    with probe.frozen(bench):
        for data in (b"stop", b"", b"mark never"):
            control.send_raw(bench.control, data)
    assert control.read_reply(bench.control) == "ok"
    assert harness.finish(bench) == 0
    assert marks(bench) == []


def test_reports_of_a_pass_come_before_its_commands(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    reports.report(reporter)
    with probe.frozen(bench):
        control.send_raw(bench.control, b"mark after the report")
        reports.send_lines(reporter, reports.report_line())
    assert reports.read_line(reporter) == "A 0000002"
    assert control.read_reply(bench.control) == "ok"
    harness.stop(bench)
    assert marks(bench) == [b'{"mark":"after the report","seq":4}']


def test_each_client_gets_its_own_replies(launch):
    bench = launch()
    others = [control.open_control(bench.doors.control, harness.bound(10)) for _ in range(3)]
    with probe.frozen(bench):
        for number, client in enumerate(others):
            control.send_raw(client, b"cancel" if number == 1 else b"mark %d" % number)
    assert [control.read_reply(client) for client in others] == ["ok", "cancelled 0", "ok"]
    for client in others:
        client.socket.close()
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == [1, 2]
