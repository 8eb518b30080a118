"""The scenario's timers: halt and resume, the idle period with and without lost trades, and what they leave alone."""

import pytest

import control
import harness
import receiver
import reports
import verify



def halts(bench):
    """(sequence, message) of every halt and resume so far."""
    return [(number, message) for number, message in sorted(receiver.messages(bench.feed).items())
            if message.kind == "A/H"]


def assert_after(bench, sequence, earlier, wait_s):
    """The message came so long after the other, and hardly later."""
    times = receiver.arrival_times(bench.feed)
    harness.assert_lasted(bench, times[earlier], times[sequence], wait_s)


def test_the_first_bond_is_halted_and_resumed(launch):
    bench = launch("--scenario", "halt_after_s=1,halt_ms=500")
    receiver.wait_for_sequence(bench.feed, 4, harness.bound(6))
    receiver.wait_for(bench.feed, lambda arrivals: sum(len(each.data) == 20 for each in arrivals) >= 2,
                      harness.bound(6), "heartbeats behind the halt")
    numbers = control.stats(bench.control)
    harness.stop(bench)
    found = [(message["cusip"], message["action"], message["reason"]) for _, message in halts(bench)]
    assert found == [(reports.AAPL, "H", "T.1 "), (reports.AAPL, "R", "T.2 ")]
    assert_after(bench, 3, 2, 1)
    assert_after(bench, 4, 3, 0.5)
    assert (numbers["seq"], numbers["halts"]) == (4, 2)
    assert [line for line in harness.console_lines(bench) if "A/H" in line] == [
        f"[vorbeld] #3 A/H halt {reports.AAPL} T.1", f"[vorbeld] #4 A/H resume {reports.AAPL} T.2"]


def test_a_halt_of_no_length_is_lifted_in_the_same_pass(launch):
    bench = launch("--scenario", "halt_after_s=1,halt_ms=0")
    receiver.wait_for_sequence(bench.feed, 4, harness.bound(6))
    harness.stop(bench)
    assert [message["action"] for _, message in halts(bench)] == ["H", "R"]
    assert_after(bench, 4, 3, 0)


def test_the_halted_bond_rests_and_the_others_trade(launch):
    bench = launch("--rate-ms", 10, "--scenario", "halt_after_s=1,halt_ms=1500")
    harness.until(lambda: len(halts(bench)) == 2, 8, "the resume")
    resumed = halts(bench)[1][0]
    receiver.wait_for_sequence(bench.feed, resumed + 40, harness.bound(6))
    harness.stop(bench)
    found = receiver.messages(bench.feed)
    first, last = (number for number, _ in halts(bench))
    during = {message["cusip"] for number, message in found.items() if message.kind == "T/M" and first < number < last}
    assert during == {reports.MSFT, reports.JPM, reports.FORD}
    assert reports.AAPL in {found[number]["cusip"] for number in range(last + 1, last + 41)}
    assert verify.compare_truth(found, harness.truth_lines(bench)) == []


def test_a_halt_by_hand_and_the_timers_go_their_own_ways(launch):
    bench = launch("--scenario", "halt_after_s=1,halt_ms=800")
    assert control.command(bench.control, f"halt {reports.AAPL} HAND") == "ok"
    receiver.wait_for_sequence(bench.feed, 4, harness.bound(6))
    assert control.command(bench.control, f"resume_halt {reports.AAPL}") == "ok"
    receiver.wait_for_sequence(bench.feed, 6, harness.bound(6))
    harness.stop(bench)
    assert [(message["action"], message["reason"]) for _, message in halts(bench)] == [
        ("H", "HAND"), ("H", "T.1 "), ("R", "T.2 "), ("R", "T.2 ")]


@pytest.mark.parametrize("lost", (0, 3))
def test_an_idle_period(launch, lost):
    bench = launch("--rate-ms", 10, "--scenario", f"idle_after_s=1,idle_ms=2300,idle_drop={lost}")
    suffix = ", the prints just before it lost" if lost else ""
    index = harness.wait_for_line(bench, f"bench: idle for 2300 ms (heartbeats only{suffix})", 5)
    before = control.stats(bench.control)
    receiver.wait_for_sequence(bench.feed, before["seq"] + 10, harness.bound(8))
    harness.stop(bench)
    lines = harness.console_lines(bench)
    dropped = [line for line in lines if line.startswith("vorbeld fault")]
    assert before["dropped"] == lost == len(dropped)
    last = before["seq"]
    assert dropped == [f"vorbeld fault: dropped seq {number} (packet {number}, 1 message(s))"
                       for number in range(last - lost + 1, last + 1)]
    if lost:    # each drop and its trade, then the notice
        assert lines[index - 2] == dropped[-1] and lines[index - 1].startswith(f"[vorbeld] #{last} T/M ")
    times = receiver.arrival_times(bench.feed)
    # The last trade that came through was up to one gap older than the idle period.
    harness.assert_lasted(bench, times[last - lost], times[last + 1], 2.3)
    beats = [packet.sequence for arrival, packet in receiver.heartbeats(bench.feed)
             if times[last - lost] < arrival.at_ns < times[last + 1]]
    assert beats in ([last + 1] * 2, [last + 1])     # one second and two seconds later; a stall may swallow one
    assert set(receiver.sequences(bench.feed)) == set(range(1, max(times) + 1)) - set(range(last - lost + 1, last + 1))


def test_the_idle_trades_come_even_without_a_flow(launch):
    bench = launch("--scenario", "idle_after_s=1,idle_ms=0,idle_drop=4")
    assert control.command(bench.control, "drop 9") == "ok"     # replaced, not added to
    assert control.command(bench.control, "pause") == "ok"
    harness.wait_for_line(bench, "bench: idle for 0 ms (heartbeats only, the prints just before it lost)", 5)
    numbers = control.stats(bench.control)
    reports.report(harness.open_reporter(bench))
    receiver.wait_for_sequence(bench.feed, 7, harness.bound(5))
    harness.stop(bench)
    assert (numbers["seq"], numbers["dropped"], numbers["reports"]) == (6, 4, 4)
    assert receiver.sequences(bench.feed) == [1, 2, 7]


def test_reports_and_heartbeats_go_on_while_idle(launch):
    bench = launch("--rate-ms", 10, "--scenario", "idle_after_s=1,idle_ms=60000")
    harness.wait_for_line(bench, "bench: idle for 60000 ms (heartbeats only)", 5)
    last = control.stats(bench.control)["seq"]
    assert reports.report(harness.open_reporter(bench)) == last - 1
    assert control.command(bench.control, "resume") == "ok"       # undoes a pause, not the idle period
    receiver.wait_for(bench.feed, lambda arrivals: sum(len(each.data) == 20 for each in arrivals) >= 2,
                      harness.bound(5), "two heartbeats")
    assert control.stats(bench.control)["seq"] == last + 1
    harness.stop(bench)


def test_idle_trades_refused_after_the_close_leave_the_drops_armed(launch):
    bench = launch("--scenario", "idle_after_s=3,idle_drop=2")
    assert control.command(bench.control, "close") == "ok"
    harness.wait_for_line(bench, "bench: idle for 5000 ms (heartbeats only, the prints just before it lost)", 6)
    for _ in range(3):
        assert control.command(bench.control, f"halt {reports.AAPL}") == "ok"
    receiver.wait_for_sequence(bench.feed, 9, harness.bound(5))
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == [1, 2, 3, 4, 5, 6, 9]
    assert "[vorbeld] the session is closed: trades reported now are not disseminated" in harness.console_lines(bench)


def test_picks_of_halted_bonds_leave_the_drops_armed(launch):
    bench = launch("--bonds", "ONLY:Only one:ONLY:IG", "--scenario", "halt_after_s=1,idle_after_s=1,idle_drop=2")
    harness.wait_for_line(bench, "bench: idle for 5000 ms (heartbeats only, the prints just before it lost)", 6)
    for _ in range(3):
        reports.report(harness.open_reporter(bench), cusip="ONLY")
    receiver.wait_for_sequence(bench.feed, 6, harness.bound(5))
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == [1, 2, 3, 6]


def test_all_timers_in_the_order_of_a_pass(launch):
    scenario = "halt_after_s=1,halt_ms=0,idle_after_s=1,idle_ms=0,idle_drop=1,close_after_s=1"
    bench = launch("--bonds", "ONE:One:ONE:IG", "--scenario", scenario)
    harness.wait_for_line(bench, "[vorbeld] session closed: 1 daily summaries, end of session on the wire", 5)
    harness.stop(bench)
    shown = [line for line in harness.console_lines(bench)[4:] if not line.startswith("bench: stop")]
    assert [line.split(" 0000001")[0] for line in shown] == [
        "[vorbeld] #3 A/H halt ONE T.1", "[vorbeld] #4 A/H resume ONE T.2",
        "vorbeld fault: dropped seq 5 (packet 5, 1 message(s))", "[vorbeld] #5 T/M",
        "bench: idle for 0 ms (heartbeats only, the prints just before it lost)", "[vorbeld] #6 control C/C",
        "[vorbeld] #8 control C/X", "[vorbeld] #9 control C/J", "[vorbeld] #10 control C/Z",
        "[vorbeld] session closed: 1 daily summaries, end of session on the wire",
        "[vorbeld] stopped: seq 10 reports 1"]
