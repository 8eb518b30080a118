"""The audit of a running bench: no false alarm, and figures that are the bench's own."""

import contextlib
import os
import pty
import re
import subprocess

import auditing
import companion
import control
import everything
import harness
import reports

FULL = ("cancel_every=5,correct_every=7,asof_every=11,reversal_every=13,special_every=17,late_every=6,"
        "after_hours_every=19,wavg_every=23,ats_every=4,halt_after_s=1,halt_ms=600,idle_after_s=3,idle_ms=2500,"
        "idle_drop=2,close_after_s=7")


def test_unaltered_runs_raise_no_alarm(launch):
    benches = [launch("--rate-ms", 7, "--seed", seed, "--drop-every", 7, "--dup-every", 11, "--reorder-every", 13,
                      "--scenario", FULL, listen=False) for seed in (7, 8, 9)]
    audits = [auditing.start(bench, "--until-end", "--seconds", 60) for bench in benches]
    for bench, running in zip(benches, audits):
        status = companion.finish(running, 60)
        verdict = companion.objects(running)[0]
        assert (status, verdict["verdict"], verdict["discrepancies"]) == (0, "equal", 0), auditing.explain(verdict)
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


def test_three_reporters_and_a_hand_at_the_controls_raise_no_alarm(launch):
    bench = launch(*everything.options(10, 0))
    running = auditing.start(bench, "--until-end")
    _, problems, numbers = everything.run(bench, 12)
    assert problems == []
    status = companion.finish(running, 40)
    verdict = companion.objects(running)[0]
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert verdict["messages"] == numbers["seq"]


def audit_on_terminal(bench, *options):
    """A live audit whose standard error is a terminal: (exit status, what it wrote there)."""
    leader, follower = pty.openpty()
    process = subprocess.Popen(companion.command_line(bench.doors, "audit", "--truth", bench.folder / "truth.jsonl",
                                                      "--seconds", "1.5", *options),
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=follower)
    os.close(follower)
    written = b""
    with contextlib.suppress(OSError):    # the other side was closed
        while some := os.read(leader, 65536):
            written += some
    os.close(leader)
    return process.wait(harness.bound(20)), written


def test_progress_is_a_line_on_a_terminal_that_is_taken_away(launch):
    bench = launch("--rate-ms", 20, listen=False)
    status, written = audit_on_terminal(bench)
    assert status == 0
    shown = re.findall(rb"\r\x1b\[Kaudit: #[\d,]+(?: of [\d,]+)?, \d s", written)
    assert 1 <= len(shown) <= 5, written
    assert written.endswith(shown[-1] + b"\r\x1b[K")


def test_no_progress_is_shown_where_nobody_looks(launch):
    bench = launch("--rate-ms", 20, listen=False)
    assert audit_on_terminal(bench, "--quiet") == (0, b"")
    running = auditing.start(bench, "--seconds", 1.5)
    assert companion.finish(running, 20) == 0
    assert not any("\x1b" in line or "audit: #" in line for line in running.errors)
