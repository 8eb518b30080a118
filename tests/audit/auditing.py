"""Runs `vorbelctl audit` and takes its verdict apart."""

import json
import subprocess

import companion
import harness
import probe


def audit(run_or_bench, *options, truth=None, tape=None, doors=None, seconds=60):
    """Audits with --json: the exit status and the verdict. Truth file and doors are the run's own unless others are
    given; the tape is left out when `tape` is False."""
    truth = truth or run_or_bench.folder / "truth.jsonl"
    tape = [] if tape is False else ["--tape", str(tape or run_or_bench.folder / "tape.jsonl")]
    status, verdicts = companion.run_json(doors or run_or_bench.doors, "audit", "--truth", truth, *tape, *options,
                                          seconds=seconds)
    assert len(verdicts) == 1, verdicts
    return status, verdicts[0]


def start(bench, *options):
    """Starts an audit of a bench that runs on, and waits until it listens."""
    running = companion.start(bench.doors, "audit", "--json", "--truth", bench.folder / "truth.jsonl", "--tape",
                              bench.folder / "tape.jsonl", *options)
    wanted = (bench.doors.group, bench.doors.feed)

    def listens():
        assert running.process.poll() is None, running.errors
        return wanted in probe.socket_rows(running, "udp")

    harness.until(listens, 10, "the audit's membership")
    return running


def first_wrong(verdict):
    """(sequence number, field) of the first finding; None when all is equal."""
    first = verdict["first_wrong"]
    return first and (first["seq"], first["field"])


def run_raw(*arguments, seconds=20):
    """Runs vorbelctl with exactly these arguments: (exit status, standard output, standard error)."""
    result = subprocess.run([companion.binary(), *map(str, arguments)], capture_output=True, text=True,
                            timeout=harness.bound(seconds), check=False, stdin=subprocess.DEVNULL)
    for mark in companion.SANITIZER_MARKS:
        assert mark not in result.stderr, result.stderr
    return result.returncode, result.stdout, result.stderr


def explain(verdict):
    """The verdict's findings, short enough for an assertion's message."""
    return json.dumps({"first_wrong": verdict["first_wrong"], "missing": verdict["missing_ranges"][:5],
                       "list": verdict["discrepancy_list"][:5]}, indent=1)
