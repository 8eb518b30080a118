"""Right benches of every kind, each audited in every way: none may raise an alarm. Run by hand, as long as one likes:
random_runs.py --runs 1000 --seed 1 --jobs 6.

A run's options, commands and reports follow from its number alone; their timing is the machine's. Ends with one line
and status 0 when every verdict was "equal"; otherwise each run that was not is named, with the command that repeats it.
"""

import argparse
import concurrent.futures
import pathlib
import random
import sys
import tempfile
import threading
import time

if __name__ == "__main__":
    for folder in ("e2e", "ctl"):
        sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / folder))

import companion
import control
import harness
import ports
import reports

PERIODS = ("asof_every", "reversal_every", "special_every", "late_every", "after_hours_every", "wavg_every", "ats_every",
           "cancel_every", "correct_every")
FAULTS = ("--drop-every", "--dup-every", "--reorder-every")
BONDS = (reports.AAPL, reports.MSFT, reports.JPM, reports.FORD)
COMMANDS = ("pause", "resume", "drop 2", "dup 2", "reorder", "cancel 3", "correct 2", "mark here", "rate 3",
            "halt {bond} LUDP", "resume_halt {bond}", "drop_every 5", "drop_every 0", "dup_every 6", "dup_every 0",
            "reorder_every 9", "reorder_every 0", "stats")


def options(draw):
    """The bench's command line."""
    periods = [f"{key}={draw.randint(1, 20)}" for key in PERIODS if draw.random() < 0.5]
    if draw.random() < 0.3:
        periods.append(f"halt_after_s=1,halt_ms={draw.randint(100, 800)}")
    if draw.random() < 0.3:
        periods.append(f"idle_after_s=1,idle_ms={draw.randint(100, 1500)},idle_drop={draw.randint(0, 4)}")
    faults = [word for name in FAULTS if draw.random() < 0.5 for word in (name, draw.randint(2, 20))]
    if draw.random() < 0.3:
        faults += ["--drop-burst", f"{draw.randint(1, 60)}:{draw.randint(1, 40)}"]
    if draw.random() < 0.3:
        faults += ["--hy", draw.choice(BONDS)]
    return ["--rate-ms", draw.choice((3, 5, 10, 30)), "--seed", draw.randint(0, 10**9), *faults, "--scenario",
            ",".join(periods)]


def act(bench, draw, seconds):
    """Commands and reports at random moments, and at last the close. No packet may stay held back then."""
    reporter = harness.open_reporter(bench)
    until = time.monotonic() + seconds
    while time.monotonic() < until:
        if draw.random() < 0.5:
            control.command(bench.control, draw.choice(COMMANDS).format(bond=draw.choice(BONDS)))
        else:
            reports.report(reporter, cusip=draw.choice((*BONDS, "REPORTED1")), price=f"{draw.uniform(80, 120):.3f}",
                           quantity=str(draw.randint(1, 9_000_000)), side=draw.choice("BS"),
                           where=draw.choice(("book", "away")))
        time.sleep(draw.uniform(0, 0.1))
    for command in ("reorder_every 0", "close"):
        assert control.command(bench.control, command) == "ok"


def audit(bench, *how):
    """(how, exit status, what was said) of one audit of the bench's files."""
    status, output, errors = companion.run(bench.doors, "audit", "--truth", bench.folder / "truth.jsonl", "--tape",
                                           bench.folder / "tape.jsonl", *how, seconds=60)
    return str(how[0]), status, output + errors


def follow(bench, name, *words):
    """Starts a command that follows the feed, and waits until it listens. Its first message is #1, however late."""
    running = companion.start(bench.doors, name, *words)
    companion.wait_until_member(running, bench.doors, 20)
    return running


def run_once(number, folder, pool):
    """One bench, followed, driven, closed and audited: texts of what was not "equal"."""
    draw = random.Random(number)
    with CLAIMING:
        doors = harness.claim_doors(pool)
    bench = harness.start(folder, doors, *options(draw), listen=False)
    try:
        live = follow(bench, "audit", "--truth", folder / "truth.jsonl", "--tape", folder / "tape.jsonl", "--until-end")
        listening = follow(bench, "listen", "--json", "--from", 1, "--until-end")
        act(bench, draw, draw.uniform(0.5, 2.5))
        verdicts = [("--until-end", companion.finish(live, 60), "\n".join(live.lines + live.errors)),
                    ("listen", companion.finish(listening, 60), "\n".join(listening.lines[-3:] + listening.errors))]
        recording = folder / "recording.jsonl"
        recording.write_text("".join(line + "\n" for line in listening.lines), encoding="utf-8")
        verdicts += [audit(bench, "--offline"), audit(bench, "--capture", recording)]
    finally:
        complaints = harness.release(bench)
    return [f"{how} ended with {status}:\n{said}" for how, status, said in verdicts if status != 0] + complaints


CLAIMING = threading.Lock()


def run_all(numbers, jobs):
    """Runs these numbers, so many at a time: {number: problems} of those that have any."""
    pool, wrong = ports.open_pool(), {}
    with tempfile.TemporaryDirectory(prefix="random-runs-") as folder, \
            concurrent.futures.ThreadPoolExecutor(jobs) as workers:
        ended = {workers.submit(run_once, number, pathlib.Path(folder) / str(number), pool): number
                 for number in numbers}
        for run in concurrent.futures.as_completed(ended):
            if problems := run.result():
                wrong[ended[run]] = problems
    return wrong


def main():
    """Prints what was wrong and a line of figures; the exit status."""
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--runs", type=int, default=20, help="how many (default 20)")
    parser.add_argument("--seed", type=int, default=1, help="number of the first one (default 1)")
    parser.add_argument("--jobs", type=int, default=4, help="how many at a time (default 4)")
    arguments = parser.parse_args()
    begun = time.monotonic()
    wrong = run_all(range(arguments.seed, arguments.seed + arguments.runs), arguments.jobs)
    for number, problems in sorted(wrong.items()):
        print(f"run {number} (--runs 1 --seed {number}):", *problems, sep="\n")
    print(f"{arguments.runs} runs, 4 verdicts each, {len(wrong)} with an alarm; {time.monotonic() - begun:.0f} s")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
