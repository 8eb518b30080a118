"""The audit of a running bench: no false alarm, and figures that are the bench's own."""

import dataclasses
import re
import threading

import pytest

import auditing
import companion
import control
import everything
import harness
import receiver
import reports

FULL = ("cancel_every=5,correct_every=7,asof_every=11,reversal_every=13,special_every=17,late_every=6,"
        "after_hours_every=19,wavg_every=23,ats_every=4,halt_after_s=1,halt_ms=600,idle_after_s=3,idle_ms=2500,"
        "idle_drop=2,close_after_s=7")
FAULT = re.compile(r"vorbeld fault: (dropped|duplicated|reordered) seq (\d+)")


def deaf(bench):
    """The bench's doors for an audit that may not ask for anything."""
    return dataclasses.replace(bench.doors, retrans=0)


@pytest.mark.parametrize("seed", [7, 8, 9])
def test_an_unaltered_run_raises_no_alarm(launch, seed):
    bench = launch("--rate-ms", 7, "--seed", seed, "--drop-every", 7, "--dup-every", 11, "--reorder-every", 13,
                   "--scenario", FULL, listen=False)
    status, verdict = auditing.audit(bench, "--until-end", "--seconds", 60)
    assert (status, verdict["verdict"], verdict["differences"]) == (0, "equal", 0), auditing.explain(verdict)
    assert verdict["ended_by"] == "end of session"
    numbers = control.stats(bench.control)
    assert verdict["last"] == verdict["messages"] == numbers["seq"]
    assert (verdict["trades"], verdict["cancels"], verdict["corrections"], verdict["halts"]) == (
        numbers["reports"], numbers["cancels"], numbers["corrections"], numbers["halts"])
    assert (verdict["missing"], verdict["summaries"], verdict["controls"]) == (0, 4, 6)


def test_losses_duplicates_and_disorder_are_counted_as_the_bench_made_them(launch):
    bench = launch("--rate-ms", 0, listen=False)
    running = auditing.start(bench, "--until-end")
    assert control.command(bench.control, "drop_every 5") == "ok"
    assert control.command(bench.control, "dup_every 7") == "ok"
    assert control.command(bench.control, "reorder_every 11") == "ok"
    reporter = harness.open_reporter(bench)
    for _ in range(200):
        reports.report(reporter)
    assert control.command(bench.control, "reorder_every 0") == "ok"    # nothing stays held at the end
    reports.report(reporter)
    assert control.command(bench.control, "close") == "ok"
    assert companion.finish(running, 40) == 0
    verdict = companion.objects(running)[0]
    numbers = control.stats(bench.control)
    assert verdict["lost"] == verdict["recovered"] == numbers["dropped"] > 30
    assert verdict["duplicates"] == numbers["duplicated"] > 20
    assert verdict["out_of_order"] == numbers["reordered"] > 10
    assert verdict["messages"] == numbers["seq"]
    assert verdict["faults"] >= verdict["duplicates"]


def test_messages_from_before_joining_are_fetched(launch):
    bench = launch("--rate-ms", 5, "--drop-every", 9, "--quiet")
    receiver.wait_for_sequence(bench.feed, 300, harness.bound(30))
    status, verdict = auditing.audit(bench, "--seconds", 1)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert verdict["fetched"] == verdict["joined"] - 1 >= 300
    assert verdict["lost"] == verdict["recovered"] > 0
    assert verdict["messages"] == verdict["last"] > verdict["joined"]
    assert verdict["ended_by"] == "time"


def test_a_run_that_starts_later_may_begin_anywhere(launch):
    bench = launch("--rate-ms", 5, "--scenario", "cancel_every=3,correct_every=4", "--quiet")
    receiver.wait_for_sequence(bench.feed, 400, harness.bound(30))
    status, verdict = auditing.audit(bench, "--seconds", 3, "--from", 390)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert verdict["first"] == 390
    assert verdict["messages"] == verdict["last"] - 389
    assert verdict["cancels"] > 10


def test_without_retransmissions_the_audit_starts_with_what_comes(launch):
    bench = launch("--rate-ms", 5, "--quiet")
    receiver.wait_for_sequence(bench.feed, 100, harness.bound(30))
    status, verdict = auditing.audit(bench, "--seconds", 1, doors=deaf(bench))
    assert (status, verdict["verdict"], verdict["missing"]) == (0, "equal", 0), auditing.explain(verdict)
    assert verdict["first"] == verdict["joined"] > 100
    assert verdict["requests"] == 0


def test_what_cannot_be_recovered_is_lost(launch):
    bench = launch("--rate-ms", 20, "--drop-every", 5, "--quiet")
    status, verdict = auditing.audit(bench, "--seconds", 2, doors=deaf(bench))
    assert (status, verdict["verdict"], verdict["differences"]) == (1, "lost", 0), auditing.explain(verdict)
    ranges = verdict["missing_ranges"]
    assert sum(last - first + 1 for first, last in ranges) == verdict["missing"] == verdict["lost"] > 5
    dropped = {int(match[2]) for match in map(FAULT.match, harness.console_lines(bench)) if match}
    assert {number for first, last in ranges for number in range(first, last + 1)} <= dropped
    assert auditing.first_wrong(verdict) == (ranges[0][0], "seq")


def test_an_interrupt_ends_it_with_everything_judged(launch):
    bench = launch("--rate-ms", 5, "--drop-every", 4, "--quiet")
    running = auditing.start(bench)
    receiver.wait_for_sequence(bench.feed, 400, harness.bound(30))
    assert companion.interrupt(running) == 0
    verdict = companion.objects(running)[0]
    assert verdict["ended_by"] == "interrupt"
    assert verdict["messages"] == verdict["last"] >= 350
    assert verdict["missing"] == 0


def test_a_feed_that_falls_silent_ends_it(launch):
    bench = launch("--rate-ms", 10)
    receiver.wait_for_sequence(bench.feed, 50, harness.bound(20))
    stopper = threading.Timer(harness.bound(1), control.command, (bench.control, "stop"))
    stopper.start()
    status, verdict = auditing.audit(bench, "--timeout", harness.bound(2))
    stopper.join()
    assert (status, verdict["verdict"], verdict["ended_by"]) == (0, "equal", "silence"), auditing.explain(verdict)


def test_the_latest_of_several_runs_in_the_files_counts(launch, pool):
    doors = harness.claim_doors(pool)
    first = launch("--rate-ms", 5, doors=doors)
    receiver.wait_for_sequence(first.feed, 200, harness.bound(20))
    harness.stop(first)
    truth, tape = first.folder / "truth.jsonl", first.folder / "tape.jsonl"
    second = launch("--rate-ms", 5, "--seed", 11, "--truth-out", truth, "--tape-out", tape, doors=doors)
    receiver.wait_for_sequence(second.feed, 100, harness.bound(20))
    status, verdict = auditing.audit(second, "--seconds", 1, truth=truth, tape=tape)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert verdict["truth_records"] < 1000


def test_three_reporters_and_a_hand_at_the_controls_raise_no_alarm(launch):
    bench = launch(*everything.options(10, 0))
    running = auditing.start(bench, "--until-end")
    _, problems, numbers = everything.run(bench, 12)
    assert problems == []
    status = companion.finish(running, 40)
    verdict = companion.objects(running)[0]
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert verdict["messages"] == numbers["seq"]
