"""Where the scenario text comes from, how it is folded together, and which bonds the bond and high-yield lists give."""

import pytest

import control
import harness
import receiver
import reports

HALT_NOW = "halt_ms=60000,halt_after_s"


def scenario_of(bench):
    """The scenario text of the banner; None when it names none."""
    banner = next(line for line in harness.console_lines(bench) if line.startswith("[vorbeld] BTDS"))
    return banner.split(" · scenario ", 1)[1] if " · scenario " in banner else None


@pytest.mark.parametrize("options, variable, text", (
    (("--scenario", "late_every=1", "--cancel-every", "5"), None, "late_every=1,cancel_every=5"),
    (("--cancel-every", "5", "--scenario", "late_every=1"), None, "late_every=1"),
    (("--cancel-every", "3", "--cancel-every", "4"), None, "cancel_every=3,cancel_every=4"),
    (("--cancel-every", "4"), "idle_after_s=1", "idle_after_s=1,cancel_every=4"),
    (("--scenario", "late_every=2"), "idle_after_s=1", "late_every=2"),
    (("--cancel-every", "4", "--scenario", "late_every=2"), "idle_after_s=1", "late_every=2"),
    (("--scenario", ""), "idle_after_s=1", None),
    (("--scenario", "", "--cancel-every", "4"), "idle_after_s=1", "cancel_every=4"),
    ((), "idle_after_s=9", "idle_after_s=9"), ((), "", None), ((), None, None),
    (("--scenario", "a", "--scenario", "b"), None, "b"),
    (("--cancel-every", " 7 of them"), None, "cancel_every= 7 of them")))
def test_the_text_is_folded_in_the_order_of_the_options(launch, options, variable, text):
    bench = launch(*options, scenario=variable)
    harness.stop(bench)
    assert scenario_of(bench) == text


@pytest.mark.parametrize("text, unknown", (
    ("foo=1", ["foo"]), ("foo=1,late_every=2,bar=3=y", ["foo", "bar"]), ("close", []), (",,,", []),
    (" late_every=1", [" late_every"]), ("Late_every=1", ["Late_every"]), ("=5", [""]),
    ("late_every =1,foo=10s,foo=-1", ["late_every ", "foo", "foo"]), ("late_every=1=2", [])))
def test_unknown_keys_are_named_before_the_banner(launch, text, unknown):
    bench = launch("--scenario", text)
    harness.stop(bench)
    lines = harness.console_lines(bench)
    assert lines[:len(unknown)] == [f"vorbeld: unknown scenario key {key}" for key in unknown]
    assert lines[len(unknown)].startswith("[vorbeld] BTDS 2.1")


def test_the_last_of_equal_keys_wins_and_trailing_text_is_ignored(launch):
    first = launch("--scenario", "cancel_every=1,cancel_every=0,halt_after_s=1s")
    second = launch("--scenario", "cancel_every=0x,cancel_every=1")
    for bench in (first, second):
        reporter = harness.open_reporter(bench)
        assert reports.report(reporter) == 1
    receiver.wait_for_sequence(second.feed, 4, harness.bound(8))
    receiver.wait_for_sequence(first.feed, 4, harness.bound(8))
    assert receiver.messages(second.feed)[4].kind == "T/N"
    assert receiver.messages(first.feed)[4].kind == "A/H"
    assert control.stats(first.control)["cancels"] == 0


def test_negative_scenario_values_wrap(launch):
    # 4294967295 divides no report count, and the wait of that many seconds does not end.
    bench = launch("--scenario", "cancel_every=-1,halt_after_s=-1,close_after_s=4294967296")
    reporter = harness.open_reporter(bench)
    for trade in range(1, 4):
        assert reports.report(reporter) == trade
    numbers = control.stats(bench.control)
    harness.stop(bench)
    assert (numbers["seq"], numbers["halts"], numbers["cancels"]) == (5, 0, 0)


def bond_count(bench):
    """The count of bonds in the banner."""
    banner = next(line for line in harness.console_lines(bench) if line.startswith("[vorbeld] BTDS"))
    return int(banner.split(" bonds ·")[0].rsplit(" ", 1)[1])


@pytest.mark.parametrize("text, count", (
    (",,,", 0), ("", 0), ("A:B:C", 0), ("A:B:C:IG", 1), ("A:B:C:IG,", 1), (",A:B:C:IG,,D:E:F:HY:99", 2),
    (":::", 1), ("A:B:C:IG:98.5x:1y:more:and more", 1), ("A:B:C:IG,A:B:C:HY", 2), ("A:B:C:IG: 98,D:E:F:IG:0x10", 2),
    ("A:B:C:IG:nan:inf", 1)))
def test_records_with_four_fields_count(launch, text, count):
    bench = launch("--bonds", text)
    harness.stop(bench)
    assert bond_count(bench) == count


def halted(bench, cusip):
    """The halt message of the bond, which shows its whole description."""
    before = control.stats(bench.control)["seq"]
    assert control.command(bench.control, f"halt {cusip}") == "ok"
    receiver.wait_for_sequence(bench.feed, before + 1, harness.bound(5))
    return receiver.messages(bench.feed)[before + 1]


def test_fields_of_a_bond(launch):
    bench = launch("--bonds", "ABC:Some Bond:SB:IG,LONGCUSIPNUMBER:Verylongissuername and a description beyond thirty "
                              "characters:Symbol of twenty char:HY,NOBLANK:Issuer:S:IG,BLANK: first:T:IG")
    expected = (("ABC", "SB", "Some", "Some Bond"),
                ("LONGCUSIPNUMBER", "Symbol of twenty char", "Verylongissuername",
                 "Verylongissuername and a description beyond thirty characters"),
                ("NOBLANK", "S", "Issuer", "Issuer"), ("BLANK", "T", "", " first"))
    for cusip, symbol, issuer, description in expected:
        message = halted(bench, cusip)
        assert message["symbol"] == f"{symbol:14.14}" and message["cusip"] == f"{cusip:9.9}"
        assert message["short_name"] == f"{issuer:12.12}" and message["sub_product"] == "CORP "
        assert message["description"] == f"{description:30.30}"


def grade_and_coupon(bench, cusip):
    """(capped text, yield) of a trade of 2 million at 100: only a high-yield bond caps it, and the yield is the
    coupon."""
    reports.report(harness.open_reporter(bench), cusip=cusip, price="100", quantity="2000000")
    number = control.stats(bench.control)["seq"]
    receiver.wait_for_sequence(bench.feed, number, harness.bound(5))
    message = receiver.messages(bench.feed)[number]
    return message["qty"].strip(), float(message["yield"])


def test_grade_and_coupon_of_a_bond(launch):
    bench = launch("--bonds", "A:a:a:IG,B:b:b:HY,C:c:c:hy,D:d:d::99:7.25,E:e:e:HY :99:2e0x,F:f:f:IG:99:-3,G:g:g:IG:5",
                   "--hy", ",C,C,,F,Z")
    plain = "00002000000.00"
    assert grade_and_coupon(bench, "A") == (plain, 5.0)
    assert grade_and_coupon(bench, "B") == ("1MM+", 5.0)
    assert grade_and_coupon(bench, "C") == ("1MM+", 5.0)
    assert grade_and_coupon(bench, "D") == (plain, 7.25)
    assert grade_and_coupon(bench, "E") == (plain, 2.0)
    assert grade_and_coupon(bench, "F") == ("1MM+", -3.0)
    assert grade_and_coupon(bench, "G") == (plain, 5.0)


def test_the_high_yield_list_regrades_the_default_bonds(launch):
    bench = launch("--hy", reports.AAPL)
    assert grade_and_coupon(bench, reports.AAPL)[0] == "1MM+"
    assert grade_and_coupon(bench, reports.MSFT)[0] == "00002000000.00"
    assert grade_and_coupon(bench, reports.JPM)[0] == "00002000000.00"
    assert grade_and_coupon(bench, reports.FORD)[0] == "1MM+"


def test_an_empty_universe_runs_and_waits_for_its_first_bond(launch):
    bench = launch("--bonds", ",,", "--rate-ms", 20, "--scenario", f"{HALT_NOW}=1")
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals) >= 4, harness.bound(8), "two heartbeats")
    assert receiver.sequences(bench.feed) == [1, 2]
    assert reports.report(harness.open_reporter(bench), cusip="NEW", symbol="FIRST") == 1
    receiver.wait_for_sequence(bench.feed, 4, harness.bound(5))
    found = receiver.messages(bench.feed)
    # The halt was still owed, and the only bond there is takes it in the same pass; then nothing can be picked.
    assert [found[number].kind for number in (3, 4)] == ["T/M", "A/H"]
    assert (found[4]["cusip"], found[4]["action"]) == ("NEW      ", "H")
    beats = len(receiver.heartbeats(bench.feed))
    receiver.wait_for(bench.feed, lambda arrivals: len(receiver_beats(arrivals)) > beats, harness.bound(5), "a beat")
    assert control.command(bench.control, "resume_halt NEW") == "ok"
    receiver.wait_for_sequence(bench.feed, 8, harness.bound(5))
    assert {receiver.messages(bench.feed)[number]["cusip"] for number in range(6, 9)} == {"NEW      "}


def receiver_beats(arrivals):
    """The arrivals that carry no message."""
    return [arrival for arrival in arrivals if len(arrival.data) == 20]
