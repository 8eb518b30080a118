"""The audit of a running bench that begins late, or may not ask for what it lost."""

import dataclasses
import re

import auditing
import harness
import receiver

FAULT = re.compile(r"vorbeld fault: (dropped|duplicated|reordered) seq (\d+)")


def deaf(bench):
    """The bench's doors for an audit that may not ask for anything."""
    return dataclasses.replace(bench.doors, retrans=0)


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
    assert (status, verdict["verdict"], verdict["discrepancies"]) == (1, "lost", 0), auditing.explain(verdict)
    ranges = verdict["missing_ranges"]
    assert sum(last - first + 1 for first, last in ranges) == verdict["missing"] == verdict["lost"] > 5
    dropped = {int(match[2]) for match in map(FAULT.match, harness.console_lines(bench)) if match}
    assert {number for first, last in ranges for number in range(first, last + 1)} <= dropped
    assert auditing.first_wrong(verdict) == (ranges[0][0], "seq")


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
