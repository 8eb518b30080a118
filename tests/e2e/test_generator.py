"""What a seed produces: two runs alike, and a generator replayed draw by draw beside the bench."""

import pytest

import control
import generator
import harness
import receiver
import replay_check
import reports

CHOSEN = ("cusip", "qty", "price", "remuneration", "special", "side", "as_of", "sale3", "sale4", "yield", "modifier2",
          "rpt", "contra", "ats", "change", "counter", "symbol")


def run(launch, trades, *options, **settings):
    """Starts a run, lets it make so many trades and stops it."""
    bench = launch(*options, **settings)
    receiver.wait_for_sequence(bench.feed, trades + 2, harness.bound(30))
    harness.stop(bench)
    return bench


def choices(bench, trades):
    """The chosen fields of the first trades, in order."""
    found = receiver.messages(bench.feed)
    return [[found[number][name] for name in CHOSEN] for number in range(3, trades + 3)]


def test_two_runs_of_a_seed_choose_alike(launch):
    benches = [launch("--rate-ms", 10, "--seed", seed) for seed in (42, 42, 43)]
    for bench in benches:
        receiver.wait_for_sequence(bench.feed, 152, harness.bound(20))
        harness.stop(bench)
    first, second, other = (choices(bench, 150) for bench in benches)
    # Change indicators depend on execution times, which are taken from the clock: the same second apart from rounding.
    strip = [[row[:14] + row[15:] for row in rows] for rows in (first, second, other)]
    assert strip[0] == strip[1]
    assert strip[0] != strip[2]


@pytest.mark.parametrize("options, seed", ((("--rate-ms", 10), 7), (("--rate-ms", 10, "--seed", 0), 0),
                                           (("--rate-ms", 10, "--seed", 4294967295), 4294967295)))
def test_the_flow_is_the_replayed_generators(launch, options, seed):
    bench = run(launch, 250, *options)
    found = receiver.messages(bench.feed)
    problems, gaps = replay_check.walk(generator.open_replay(seed), found, 10)
    assert problems == []
    assert len(gaps) >= 250
    assert {message.kind for message in found.values()} == {"C", "T/M"}    # no follow-ups unless asked for


def test_the_console_shows_the_quantities_that_were_drawn(launch):
    bench = run(launch, 120, "--rate-ms", 10)
    replay = generator.open_replay(7)
    shown = [line for line in harness.console_lines(bench) if " T/M " in line]
    capped = 0
    for line in shown:
        choice = generator.next_choice(replay)
        generator.next_gap_ms(replay, 10)
        cap = 1_000_000 if choice.bond.high_yield else 5_000_000
        capped += choice.quantity > cap
        assert f" {choice.quantity:.0f}{' (capped)' if choice.quantity > cap else ''} @{choice.price:.6f} " in line
    assert capped > 0


def test_gaps_are_drawn_around_the_rate(launch):
    bench = run(launch, 60, "--rate-ms", 100)
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


def test_bonds_that_share_a_cusip_are_picked_apart_and_found_as_the_first(launch):
    bonds = "SAME00001:One a:FIRST:IG:50:4,SAME00001:Two b:SECOND:HY:200:8"
    bench = run(launch, 150, "--rate-ms", 10, "--bonds", bonds)
    found = receiver.messages(bench.feed)
    replay = generator.open_replay(7, bonds)
    first, second = replay.bonds
    for number in range(3, 153):
        choice = generator.next_choice(replay)
        generator.next_gap_ms(replay, 10)
        message = found[number]
        assert (message["symbol"].rstrip(), message["short_name"].rstrip()) == ("FIRST", "One")
        assert message["price"] == f"{choice.price:011.6f}"
        # Quantities are drawn by the picked record's grade and capped by the first one's; so are the yields made.
        wanted = "5MM+".ljust(14) if choice.quantity > 5_000_000 else f"{choice.quantity:014.2f}"
        assert message["qty"] == wanted
        assert message["yield"] == f" {100 * first.coupon / choice.price:013.6f}"
    assert 40 < first.mid < 60 and 190 < second.mid < 210


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
