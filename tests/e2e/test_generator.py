"""What a seed produces: two runs alike, and a generator replayed draw by draw beside the bench."""

import pytest

import generator
import harness
import receiver
import replay_check

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
