"""The status on the console: two lines every ten seconds, whatever --quiet says."""

import re
import time

import control
import harness
import probe
import receiver
import reports
import wire

STATUS_S = 10
STATUS = re.compile(
    rb"\[vorbeld\] seq (\d+) reports (\d+) capped (\d+) cancels (\d+) corrections (\d+) halts (\d+) as-of (\d+) "
    rb"retrans (\d+) packets (\d+) dropped (\d+) heartbeats (\d+) reporters (\d+)( \(session closed\))?")
NAMES = ("seq", "reports", "capped", "cancels", "corrections", "halts", "as_of", "retrans", "packets", "dropped",
         "heartbeats", "reporters")


def next_status(bench, start_at=0):
    """(numbers by name, closed, the line behind, index) of the next status, which is also parsed to the byte."""
    index = harness.wait_for_line(bench, STATUS, 15, start_at)
    harness.until(lambda: len(bench.console.lines) > index + 1, 5, "the second line of the status")
    match = STATUS.fullmatch(bench.console.lines[index])
    numbers = dict(zip(NAMES, map(int, match.groups()[:12])))
    return numbers, match.group(13) is not None, harness.console_lines(bench)[index + 1], index


def test_the_status_of_three_runs(launch):
    idle = launch()
    busy = launch("--quiet", "--drop-every", 4, "--dup-every", 3, "--reorder-every", 7)
    shut = launch("--rate-ms", 40, "--scenario", "asof_every=3")
    fill(busy)
    receiver.wait_for_sequence(shut.feed, 12, harness.bound(10))
    assert control.command(shut.control, "close") == "ok"

    numbers, closed, faults, index = next_status(idle)
    harness.assert_lasted(idle, receiver.arrival_times(idle.feed)[2], time.time_ns(), STATUS_S)
    check_beats(idle, numbers.pop("heartbeats"), STATUS_S)
    assert not closed
    assert numbers == {name: 2 if name in ("seq", "packets") else 0 for name in NAMES if name != "heartbeats"}
    assert faults == "vorbeld faults: sent 2 dropped 0 duplicated 0 reordered 0"

    numbers, closed, faults, _ = next_status(busy)
    del numbers["heartbeats"]
    assert not closed
    # Packets 1 to 14: 4, 8 and 12 dropped; of 3, 6 and 9 each sent twice; 7 and 14 held.
    assert numbers == {"seq": 14, "reports": 8, "capped": 2, "cancels": 1, "corrections": 1, "halts": 2, "as_of": 0,
                       "retrans": 3, "packets": 14, "dropped": 3, "reporters": 3}
    assert faults == "vorbeld faults: sent 11 dropped 3 duplicated 3 reordered 2"

    numbers, closed, _, _ = next_status(shut)
    assert closed and numbers["as_of"] == numbers["reports"] // 3 > 0
    check_second_status(idle, index)


def fill(bench):
    """Eight reports over three connections that then go away, an amendment of each kind, a halt, three requests."""
    for first in (1, 4, 7):
        reporter = harness.open_reporter(bench)
        for trade in range(first, min(first + 3, 9)):
            assert reports.report(reporter, quantity="6000000" if trade % 4 == 0 else "1000") == trade
        reports.close_reporter(reporter)
    assert control.command(bench.control, "cancel") == "cancelled 1"
    assert control.command(bench.control, "correct") == "corrected 1"
    assert control.command(bench.control, f"halt {reports.MSFT}") == "ok"
    assert control.command(bench.control, f"resume_halt {reports.MSFT}") == "ok"
    probe.ask(bench, wire.request(1, 5), wire.request(99, 5))


def check_second_status(bench, first_index):
    """The next status comes ten seconds after the first; until then no other line is printed."""
    numbers, _, _, index = next_status(bench, first_index + 1)
    check_beats(bench, numbers["heartbeats"], 2 * STATUS_S)
    assert index == first_index + 2


def check_beats(bench, counted, seconds):
    """The count is that of the heartbeats which came: one a second, and the last one perhaps after the status."""
    assert len(receiver.heartbeats(bench.feed)) - counted in (0, 1)
    assert counted <= seconds
