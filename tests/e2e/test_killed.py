"""A bench that is killed at any moment: its files hold whole lines, and all that was seen but at most the last."""

import json
import random
import signal
import time

import control
import harness
import receiver
import reports

TIMES = 30
SEED = 20240607


def records(path):
    """The records in a file, of which the last line may have been cut."""
    *lines, rest = path.read_bytes().split(b"\n")
    return [json.loads(line) for line in lines], rest


def kill_within(bench, moment_s):
    """Kills the bench that long after it began to be busy in every way."""
    reporter = harness.open_reporter(bench)
    reports.send_lines(reporter, *[reports.report_line()] * 2000)
    control.send_raw(bench.control, b"correct 500")
    control.send_raw(bench.control, b"mark busy")
    control.send_raw(bench.control, b"cancel 500")
    since = time.monotonic()
    while time.monotonic() - since < moment_s:
        continue
    bench.process.kill()
    assert harness.finish(bench) == -signal.SIGKILL


def test_the_files_of_a_killed_bench_hold_what_was_seen(launch):
    chance = random.Random(SEED)
    lengths = set()
    for _ in range(TIMES):
        bench = launch("--quiet", "--rate-ms", 1)
        kill_within(bench, chance.uniform(0, 0.06))
        truth, _ = records(bench.folder / "truth.jsonl")
        numbers = [record["seq"] for record in truth if "mark" not in record]
        assert numbers == list(range(1, len(numbers) + 1))
        seen = receiver.sequences(bench.feed)
        assert set(seen[:-1]) <= set(numbers) and len(numbers) in (seen[-1], seen[-1] - 1)
        trades = [record["seq"] for record in truth if record.get("event") == "trade"]
        tape = [line["seq"] for line in records(bench.folder / "tape.jsonl")[0]]
        assert tape in (trades, trades[:-1])
        assert json.loads((bench.folder / "stats.json").read_bytes())
        lengths.add(len(numbers))
    assert len(lengths) > TIMES // 3        # it was at work, and not always at the same
