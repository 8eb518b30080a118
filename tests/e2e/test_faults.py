"""Faults on the way out: which packets are lost, doubled or late, what is said about each, and in which order."""

import random

import pytest

import control
import fault_model
import harness
import receiver
import reports


def fault_lines(bench):
    """The fault lines of the console, in order."""
    return [line for line in harness.console_lines(bench) if line.startswith("vorbeld fault")]


def run_reports(bench, reporter, faults, count):
    """Reports so many trades, in step with the model."""
    for _ in range(count):
        trade = reports.report(reporter)
        fault_model.flush(faults, trade + 2)


def assert_as_modelled(bench, faults):
    """Feed, console and counters against the model, after the last packet that it says was sent."""
    expected = len(faults.wire)
    receiver.wait_for(bench.feed, lambda arrivals: sum(len(each.data) > 20 for each in arrivals) >= expected,
                      harness.bound(5), f"{expected} data packets")
    numbers = control.stats(bench.control)
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == faults.wire
    assert fault_lines(bench) == faults.lines
    assert (numbers["packets"], numbers["sent"], numbers["dropped"], numbers["duplicated"], numbers["reordered"]) == (
        faults.packets, faults.packets - faults.dropped, faults.dropped, faults.duplicated, faults.reordered)


def started(launch, faults, *options):
    """A bench with the model's settings, in step with it behind the two start messages; and a report connection."""
    bench = launch("--quiet", *options)
    fault_model.flush(faults, 1)
    fault_model.flush(faults, 2)
    return bench, harness.open_reporter(bench)


@pytest.mark.parametrize("settings, options", (
    ({"drop_every": 3}, ("--drop-every", 3)), ({"drop_every": 1}, ("--drop-every", 1)),
    ({"burst_start": 10, "burst_length": 3}, ("--drop-burst", "10:3")),
    ({"burst_start": 5, "burst_length": 1}, ("--drop-burst", "5")),
    ({"dup_every": 4}, ("--dup-every", 4)), ({"dup_every": 1}, ("--dup-every", 1)),
    ({"reorder_every": 4}, ("--reorder-every", 4)), ({"reorder_every": 1}, ("--reorder-every", 1)),
    ({"reorder_every": 2, "dup_every": 3}, ("--reorder-every", 2, "--dup-every", 3)),
    ({"drop_every": 3, "dup_every": 2, "reorder_every": 5, "burst_start": 7, "burst_length": 4},
     ("--drop-every", 3, "--dup-every", 2, "--reorder-every", 5, "--drop-burst", "7:4"))))
def test_scheduled_faults(launch, settings, options):
    faults = fault_model.Faults(**settings)
    bench, reporter = started(launch, faults, *options)
    run_reports(bench, reporter, faults, 30)
    assert_as_modelled(bench, faults)


@pytest.mark.parametrize("armed", (
    {"drop": 2}, {"dup": 3}, {"reorder": 1}, {"reorder": 2}, {"dup": 1, "reorder": 1}, {"drop": 1, "reorder": 1},
    {"drop": 2, "dup": 2, "reorder": 2}, {"dup": 4, "reorder": 2}))
def test_armed_faults_run_down(launch, armed):
    faults = fault_model.Faults()
    bench, reporter = started(launch, faults)
    run_reports(bench, reporter, faults, 2)
    for name, count in armed.items():
        assert control.command(bench.control, f"{name} {count}") == "ok"
        setattr(faults, name, count)
    run_reports(bench, reporter, faults, 10)
    assert_as_modelled(bench, faults)


def test_a_packet_that_falls_anyway_uses_up_an_armed_drop(launch):
    faults = fault_model.Faults(drop_every=4)
    bench, reporter = started(launch, faults, "--drop-every", 4)
    run_reports(bench, reporter, faults, 1)
    assert control.command(bench.control, "drop 2") == "ok"
    faults.drop = 2
    run_reports(bench, reporter, faults, 5)
    assert faults.wire == [1, 2, 3, 6, 7]
    assert_as_modelled(bench, faults)


def test_a_drop_leaves_the_other_armed_faults_and_the_held_packet(launch):
    faults = fault_model.Faults()
    bench, reporter = started(launch, faults)
    for name, count in (("reorder", 1), ("dup", 2)):
        assert control.command(bench.control, f"{name} {count}") == "ok"
        setattr(faults, name, count)
    run_reports(bench, reporter, faults, 1)         # held, and one duplicate spent
    assert control.command(bench.control, "drop 2") == "ok"
    faults.drop = 2
    run_reports(bench, reporter, faults, 3)         # two lost, then one sent twice with the held one behind it
    assert faults.wire == [1, 2, 6, 6, 3]
    assert_as_modelled(bench, faults)


def test_the_fault_line_stands_before_the_message_line(launch):
    bench = launch("--drop-every", 3, "--reorder-every", 4, "--dup-every", 5)
    reporter = harness.open_reporter(bench)
    for _ in range(3):
        reports.report(reporter)
    harness.stop(bench)
    lines = [line for line in harness.console_lines(bench) if "#" in line or "fault" in line]
    assert [line.split(" T/M")[0] for line in lines] == [
        "[vorbeld] #1 control C/I", "[vorbeld] #2 control C/O",
        "vorbeld fault: dropped seq 3 (packet 3, 1 message(s))", "[vorbeld] #3",
        "vorbeld fault: reordered seq 4 (held behind the next packet)", "[vorbeld] #4",
        "vorbeld fault: duplicated seq 5", "[vorbeld] #5"]


def test_a_doubled_packet_is_sent_twice_to_the_byte(launch):
    bench = launch("--dup-every", 3)
    reports.report(harness.open_reporter(bench))
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals) >= 4, harness.bound(5), "the duplicate")
    harness.stop(bench)
    arrivals = [arrival for arrival, _ in receiver.packets(bench.feed)]
    assert arrivals[2].data == arrivals[3].data
    assert receiver.sequences(bench.feed)[:4] == [1, 2, 3, 3]


def test_every_message_of_the_close_can_be_hit(launch):
    faults = fault_model.Faults(drop_every=4, reorder_every=3)
    bench, reporter = started(launch, faults, "--drop-every", 4, "--reorder-every", 3)
    run_reports(bench, reporter, faults, 4)
    assert control.command(bench.control, "close") == "ok"
    for sequence in range(7, 12):
        fault_model.flush(faults, sequence)
    assert_as_modelled(bench, faults)


def test_a_held_packet_is_never_released_without_a_next_one(launch):
    faults = fault_model.Faults(reorder_every=7)
    bench, _ = started(launch, faults, "--reorder-every", 7)
    assert control.command(bench.control, f"halt {reports.AAPL}") == "ok"
    assert control.command(bench.control, "close") == "ok"      # packets 4 to 7; the last one stays held
    for sequence in range(3, 8):
        fault_model.flush(faults, sequence)
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals[-1].data) == 20, harness.bound(3), "the end marker")
    assert 7 not in receiver.sequences(bench.feed)
    assert_as_modelled(bench, faults)


@pytest.mark.parametrize("seed", range(6))
def test_any_mixture_of_faults(launch, seed):
    choice = random.Random(seed)
    faults = fault_model.Faults()
    bench, reporter = started(launch, faults)
    for _ in range(150):
        if choice.random() < 0.4:
            name = choice.choice(("drop", "dup", "reorder", "drop_every", "dup_every", "reorder_every"))
            value = choice.choice((0, 0, 1, 2, 3, 5, 7)) if name.endswith("every") else choice.randrange(4)
            assert control.command(bench.control, f"{name} {value}") == "ok"
            setattr(faults, name, value)
        run_reports(bench, reporter, faults, choice.randrange(1, 4))
    assert faults.dropped and faults.duplicated and faults.reordered, f"seed {seed} makes too few faults"
    assert_as_modelled(bench, faults)
