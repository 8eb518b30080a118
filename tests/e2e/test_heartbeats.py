"""Heartbeats: when they come, which number they carry, and what they are not touched by."""

import control
import harness
import probe
import receiver
import reports
import wire

SECOND_NS = 1_000_000_000


def beat_times(bench):
    """Arrival of every packet without messages, in ns."""
    return [arrival.at_ns for arrival, _ in receiver.heartbeats(bench.feed)]


def wait_for_beats(bench, count):
    """Waits until so many packets without messages have come."""
    receiver.wait_for(bench.feed, lambda arrivals: sum(len(each.data) == 20 for each in arrivals) >= count,
                      harness.bound(count * 1.2 + 5), f"{count} heartbeats")


def assert_spaced(bench, times):
    """Every silence lasted a second (to the millisecond that the clock rounds by) and one wait of 10 ms at most."""
    for earlier, later in zip(times, times[1:]):
        assert later - earlier >= 0.998 * SECOND_NS
        harness.assert_lasted(bench, earlier, later, 1, usual_s=0.05)


def test_an_idle_run_beats_once_a_second(launch):
    bench = launch()
    wait_for_beats(bench, 5)
    numbers = control.stats(bench.control)
    harness.stop(bench)
    start = receiver.arrival_times(bench.feed)[2]
    assert_spaced(bench, [start, *beat_times(bench)[:5]])
    assert {(packet.sequence, packet.count, len(arrival.data))
            for arrival, packet in receiver.heartbeats(bench.feed)} == {(3, 0, 20)}
    assert (numbers["seq"], numbers["packets"], numbers["sent"]) == (2, 2, 2)


def test_a_heartbeat_waits_for_a_second_of_silence(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    wait_for_beats(bench, 1)
    assert reports.report(reporter) == 1
    assert reports.report(reporter) == 2
    wait_for_beats(bench, 3)
    harness.stop(bench)
    beats = receiver.heartbeats(bench.feed)
    assert [packet.sequence for _, packet in beats[:3]] == [3, 5, 5]
    last_trade = receiver.arrival_times(bench.feed)[4]
    assert_spaced(bench, [last_trade, beats[1][0].at_ns, beats[2][0].at_ns])


def test_a_dropped_packet_counts_as_sent_for_the_silence(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    wait_for_beats(bench, 1)
    assert control.command(bench.control, "drop 1") == "ok"
    assert reports.report(reporter) == 1
    wait_for_beats(bench, 2)
    harness.stop(bench)
    beats = receiver.heartbeats(bench.feed)
    assert [packet.sequence for _, packet in beats[:2]] == [3, 4]
    # The drop came a moment after the first beat and started a silence of its own.
    written_ms = int(harness.tape_lines(bench)[0].split(b'"ts_ms":')[1].split(b",")[0])
    assert beats[1][0].at_ns - written_ms * 1_000_000 >= 0.995 * SECOND_NS


def test_a_steady_flow_needs_no_heartbeat(launch):
    bench = launch("--rate-ms", 50)
    receiver.wait_for_sequence(bench.feed, 40, harness.bound(20))
    harness.stop(bench)
    assert receiver.heartbeats(bench.feed) == []


def test_faults_leave_heartbeats_alone(launch):
    bench = launch("--drop-every", 1, "--dup-every", 1, "--reorder-every", 1)
    wait_for_beats(bench, 2)
    numbers = control.stats(bench.control)
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == []
    assert [packet.sequence for _, packet in receiver.packets(bench.feed)][:2] == [3, 3]
    assert (numbers["packets"], numbers["dropped"], numbers["sent"]) == (2, 2, 0)


def test_a_held_packet_is_not_released_by_heartbeats(launch):
    bench = launch("--reorder-every", 2)
    wait_for_beats(bench, 2)
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == [1]


def test_retransmissions_are_no_sign_of_life(launch):
    bench = launch()
    wait_for_beats(bench, 1)
    for _ in range(20):
        probe.ask(bench, wire.request(1, 2))
    wait_for_beats(bench, 3)
    harness.stop(bench)
    assert_spaced(bench, beat_times(bench)[:3])


def test_end_markers_replace_heartbeats_after_the_close(launch):
    bench = launch()
    wait_for_beats(bench, 1)
    assert control.command(bench.control, "close") == "ok"
    wait_for_beats(bench, 4)
    assert control.command(bench.control, f"halt {reports.AAPL}") == "ok"
    wait_for_beats(bench, 6)
    harness.stop(bench)
    beats = receiver.heartbeats(bench.feed)
    assert [(packet.sequence, packet.count) for _, packet in beats[:6]] == [
        (3, 0), (7, 0xFFFF), (7, 0xFFFF), (7, 0xFFFF), (8, 0xFFFF), (8, 0xFFFF)]
    times = receiver.arrival_times(bench.feed)
    harness.assert_lasted(bench, times[6], beats[1][0].at_ns, 0, usual_s=0.05)
    assert_spaced(bench, [arrival.at_ns for arrival, _ in beats[1:4]])
    assert_spaced(bench, [times[7], beats[4][0].at_ns, beats[5][0].at_ns])
