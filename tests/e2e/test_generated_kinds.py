"""The generator with its periods on: which trades are shaped how, and the amendments that follow them."""

import statistics

import pytest

import generator
import harness
import machine
import receiver
import replay_check
import verify

RATE_MS = 10


def run(launch, trades, **periods):
    """A run with the given periods, stopped after so many messages; its messages."""
    text = ",".join(f"{name}={value}" for name, value in periods.items())
    bench = launch("--rate-ms", RATE_MS, "--scenario", text)
    receiver.wait_for_sequence(bench.feed, trades + 2, harness.bound(40))
    harness.stop(bench)
    return bench, receiver.messages(bench.feed)


def assert_as_drawn(bench, found, periods):
    """Messages equal the replay and every record of the run; the drawn gaps come back."""
    problems, gaps = replay_check.walk(generator.open_replay(7, **periods), found, RATE_MS)
    assert problems == []
    verify.read_executions(found, harness.tape_lines(bench))
    assert verify.compare_truth(found, harness.truth_lines(bench)) == []
    assert verify.compare_tape(found, harness.tape_lines(bench)) == []
    assert verify.compare_console(found, harness.console_lines(bench)) == []
    return gaps


@pytest.mark.parametrize("periods", (
    {"asof_every": 3, "reversal_every": 2, "late_every": 5, "after_hours_every": 4, "special_every": 7,
     "wavg_every": 11, "ats_every": 6},
    {"asof_every": 1, "late_every": 2, "ats_every": 1}, {"reversal_every": 1, "after_hours_every": 1},
    {"special_every": 1, "wavg_every": 1, "late_every": 1, "after_hours_every": 1}))
def test_shaped_trades_are_the_replayed_ones(launch, periods):
    bench, found = run(launch, 170, **periods)
    assert_as_drawn(bench, found, periods)


def test_cancels_and_corrections_come_as_drawn(launch):
    periods = {"cancel_every": 3, "correct_every": 2, "asof_every": 4, "late_every": 7}
    bench, found = run(launch, 500, **periods)
    assert_as_drawn(bench, found, periods)
    assert {"T/M", "T/N", "T/O"} <= {message.kind for message in found.values()}
    times_ms = {number: at_ns / 1e6 for number, at_ns in receiver.arrival_times(bench.feed).items()}
    amendments = {number: message for number, message in found.items() if replay_check.is_amendment(message)}
    pending = replay_check.follow_ups(found)
    # Front first: an entry that is due waits for all that were queued before it.
    assert [(replay_check.original_number(found, message), {"T/N": "C", "T/O": "O"}[message.kind])
            for _, message in sorted(amendments.items())] == [entry[:2] for entry in pending[:len(amendments)]]
    due_ms, late = 0.0, []
    for (trade, _, wait_ms), number in zip(pending, sorted(amendments)):
        assert 1500 <= wait_ms < 3000
        due_ms = max(due_ms, times_ms[trade] + wait_ms)
        late.append(times_ms[number] - due_ms)
    assert min(late) >= -3
    assert statistics.median(late) <= 13 + 4000 * machine.typical_lateness(bench.watch)


def test_a_cancel_goes_before_a_correction_of_the_same_trade(launch):
    bench, found = run(launch, 300, cancel_every=2, correct_every=2)
    assert_as_drawn(bench, found, {"cancel_every": 2, "correct_every": 2})
    assert {message.kind for message in found.values()} == {"C", "T/M", "T/N"}
    cancelled = [int(message["orig_id"]) for _, message in sorted(found.items()) if message.kind == "T/N"]
    assert cancelled == list(range(2, 2 * len(cancelled) + 2, 2))


def test_every_trade_corrected(launch):
    bench, found = run(launch, 300, correct_every=1)
    problems, _ = replay_check.walk(generator.open_replay(7, correct_every=1), found, RATE_MS)
    assert problems == []
    verify.read_executions(found, harness.tape_lines(bench))
    assert verify.compare_truth(found, harness.truth_lines(bench)) == []
    doubled = [message for message in found.values() if message.kind == "T/O" and message["qty_ind"] == "A"
               and message["old_qty_ind"] == "A" and float(message["qty"]) == 2 * float(message["old_qty"])]
    assert doubled
