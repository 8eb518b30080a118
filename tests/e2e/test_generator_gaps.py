"""When a seed's trades come, and what leaves its draws as they are: the generator replayed beside the bench."""

import control
import generator
import harness
import receiver
import replay_check
import reports


def test_gaps_are_drawn_around_the_rate(launch):
    bench = launch("--rate-ms", 100)
    receiver.wait_for_sequence(bench.feed, 62, harness.bound(30))
    harness.stop(bench)
    found = receiver.messages(bench.feed)
    problems, gaps = replay_check.walk(generator.open_replay(7), found, 100)
    assert problems == []
    assert min(gaps.values()) >= 30 and max(gaps.values()) <= 170
    times_ms = {number: at_ns / 1e6 for number, at_ns in receiver.arrival_times(bench.feed).items()}
    assert replay_check.compare_gaps(gaps, times_ms, bench.watch) == []
    # The first trade is due one whole interval after the start, without a draw.
    harness.assert_lasted(bench, times_ms[2] * 1e6, times_ms[3] * 1e6, 0.1)


def test_a_halted_bonds_turn_costs_a_pick_and_a_gap(launch):
    bench = launch("--rate-ms", 0)
    for cusip in (reports.AAPL, reports.FORD):
        assert control.command(bench.control, f"halt {cusip}") == "ok"
    assert control.command(bench.control, "rate 10") == "ok"
    receiver.wait_for_sequence(bench.feed, 104, harness.bound(20))
    harness.stop(bench)
    found = receiver.messages(bench.feed)
    replay = generator.open_replay(7)
    replay.bonds[0].halted = replay.bonds[3].halted = True
    problems, _ = replay_check.walk(replay, found, 10)
    assert problems == []
    assert {found[number]["cusip"] for number in range(5, 105)} == {reports.MSFT, reports.JPM}


def test_reports_do_not_disturb_the_stream(launch):
    bench = launch("--rate-ms", 10)
    reporter = harness.open_reporter(bench)
    for _ in range(40):
        reports.report(reporter, venue="ELSEWHERE", symbol="")
    receiver.wait_for_sequence(bench.feed, 122, harness.bound(20))
    harness.stop(bench)
    generated = {line_sequence(line) for line in harness.tape_lines(bench) if b'"venue":"SYN"' in line}
    found = {number: message for number, message in receiver.messages(bench.feed).items() if number in generated}
    problems, _ = replay_check.walk(generator.open_replay(7), found, 10)
    assert problems == [] and len(found) >= 80


def line_sequence(line):
    """The sequence number that a tape line begins with."""
    return int(line[7:line.index(b",")])


def test_a_pause_draws_nothing(launch):
    bench = launch("--rate-ms", 10)
    receiver.wait_for_sequence(bench.feed, 30, harness.bound(10))
    for _ in range(3):
        assert control.command(bench.control, "pause") == "ok"
        paused = control.stats(bench.control)["seq"]
        beats = len(receiver.heartbeats(bench.feed))
        harness.until(lambda wanted=beats: len(receiver.heartbeats(bench.feed)) > wanted, 5, "a heartbeat")
        assert control.stats(bench.control)["seq"] == paused
        assert control.command(bench.control, "resume") == "ok"
        receiver.wait_for_sequence(bench.feed, paused + 20, harness.bound(10))
    harness.stop(bench)
    problems, _ = replay_check.walk(generator.open_replay(7), receiver.messages(bench.feed), 10)
    assert problems == []
