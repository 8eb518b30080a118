"""The run with everything switched on: every period, every fault, halts, an idle time, reporters, commands, the close.

Owns the cast (a follower, three reporters, a hand at the control port) and the verdict on the run. Used by a short test
and by the long soak.
"""

import dataclasses
import random
import re
import threading
import time

import control
import follow
import harness
import reports
import verify

FAULTS = ("--drop-every", 7, "--dup-every", 11, "--reorder-every", 13, "--drop-burst", "40:5")
PERIODS = ("cancel_every=5,correct_every=7,asof_every=11,reversal_every=13,special_every=17,late_every=3,"
           "after_hours_every=19,wavg_every=23,ats_every=4")
TIMERS = "halt_after_s=3,halt_ms=1500,idle_after_s=6,idle_ms=5000,idle_drop=3"
IDLE_LINE = b"bench: idle for 5000 ms (heartbeats only, the prints just before it lost)"
QUIET_S = 4.8             # within the idle time; amendments still come for 3 s, then there is room for a heartbeat
BONDS = (reports.AAPL, reports.MSFT, reports.JPM, reports.FORD)
FAULT_SEQ = re.compile(r"vorbeld fault: (dropped|reordered|duplicated) seq (\d+)")


@dataclasses.dataclass
class Reported:
    """What one reporter did: accepted trades by id as (exec_ms, venue, where), and what went wrong."""
    trades: dict = dataclasses.field(default_factory=dict)
    refused: int = 0
    malformed: int = 0
    problems: list = dataclasses.field(default_factory=list)


def options(rate_ms, close_after_s):
    """The command line of the run; close_after_s 0 leaves the close to a command."""
    return ("--rate-ms", rate_ms, *FAULTS, "--hy", reports.JPM,
            "--scenario", f"{PERIODS},{TIMERS},close_after_s={close_after_s}")


@dataclasses.dataclass
class Stage:
    """What the cast listens to: nobody reports while it is quiet, everybody leaves at the end."""
    quiet: threading.Event = dataclasses.field(default_factory=threading.Event)
    ending: threading.Event = dataclasses.field(default_factory=threading.Event)


def keep_reporting(bench, number, stage):
    """Reports trades until told to end; runs in a thread of its own. Returns the Reported and the thread."""
    reported = Reported()
    thread = threading.Thread(target=_report_until, args=(bench, number, stage, reported))
    thread.start()
    return reported, thread


def _report_until(bench, number, stage, reported):
    choice = random.Random(number)
    try:
        reporter = reports.open_reporter(bench.doors.reports, harness.bound(10))
        while not stage.ending.wait(0.05):      # the pace of the reports
            if stage.quiet.is_set():
                continue
            if choice.random() < 0.05:
                reports.send_lines(reporter, "T|not|enough|fields")
                _expect(reported, reports.read_line(reporter) == "E malformed", "a malformed line was not refused")
                reported.malformed += 1
            _report_batch(choice, number, reporter, reported)
        reports.close_reporter(reporter)
    except OSError as problem:
        reported.problems.append(f"reporter {number}: {problem}")


def _expect(reported, condition, text):
    if not condition:
        reported.problems.append(text)


def _report_batch(choice, number, reporter, reported):
    """One to four trades in one piece; their replies come in the same order."""
    batch = []
    for _ in range(choice.randrange(1, 5)):
        exec_ms = time.time_ns() // 1_000_000 - choice.randrange(0, 3_600_000)
        batch.append({"cusip": choice.choice((*BONDS, f"REPORTER{number}")), "price": f"{choice.uniform(95, 105):.3f}",
                      "quantity": choice.choice(("1000", "250000.50", "1500000", "5000001")),
                      "side": choice.choice(("B", "S", "D", "")), "venue": f"CLIENT{number}", "exec_ms": str(exec_ms),
                      "settle": choice.choice(("20301231", "")), "where": choice.choice(("book", "away")),
                      "symbol": f"REP {number}"})
    reports.send_lines(reporter, *(reports.report_line(**parts) for parts in batch))
    for parts in batch:
        reply = reports.read_line(reporter)
        if reply == "A 0000000":
            reported.refused += 1
        elif reply is None or not reply.startswith("A "):
            reported.problems.append(f"reply {reply!r}")
        else:
            reported.trades[int(reply[2:])] = (int(parts["exec_ms"]), parts["venue"], parts["where"])


def random_command(choice):
    """One command of those that a harness would send, with the replies that are right for it."""
    cusip = choice.choice(BONDS)
    text = choice.choice((
        f"cancel {choice.randrange(1, 4)}", f"correct {choice.randrange(1, 4)}", f"drop {choice.randrange(1, 4)}",
        f"dup {choice.randrange(1, 3)}", f"reorder {choice.randrange(1, 3)}", f"halt {cusip} LUDP",
        f"resume_halt {cusip}", f"mark moment {choice.randrange(1000)}", "halt NOBOND", "drop_every 7", "dup_every 11",
        "reorder_every 13", "pause", "resume", "resume", "nonsense"))
    word = text.split()[0]
    reply = {"cancel": r"cancelled \d+", "correct": r"corrected \d+", "nonsense": "unknown command"}.get(word, "ok")
    return text, "unknown cusip" if text == "halt NOBOND" else reply


def command_at_random(bench, choice, problems):
    """Sends one command and checks the reply's form."""
    text, wanted = random_command(choice)
    reply = control.command(bench.control, text)
    if not re.fullmatch(wanted, reply):
        problems.append(f"{text!r} was answered {reply!r}")


def wake_up(bench):
    """Undoes what the random commands may have left behind."""
    for text in ("resume", *(f"resume_halt {cusip}" for cusip in BONDS)):
        control.command(bench.control, text)


def run(bench, seconds, close_by_command=True, at_end=None):
    """Plays the whole run on a freshly started bench and stops it: (follower, what went wrong, counts).

    `at_end` is called when the run is over and the process still there.
    """
    follower, problems = follow.open_follower(bench), []
    stage = Stage()
    cast = [keep_reporting(bench, number, stage) for number in (1, 2, 3)]
    commands = steer(bench, follower, stage, seconds, problems)
    wake_up(bench)
    if close_by_command:
        control.command(bench.control, "close")
    wait_for_end(follower)
    stage.ending.set()
    for _, thread in cast:
        thread.join()
    numbers = control.stats(bench.control)
    finish_following(follower, numbers["seq"])
    if at_end:
        at_end()
    harness.stop(bench)
    for reported, _ in cast:
        problems += reported.problems
    problems += follower.problems + verdict(bench, follower, [reported for reported, _ in cast], numbers)
    return follower, problems, numbers | {"commands": commands}


def steer(bench, follower, stage, seconds, problems):
    """Follows the feed and sends commands for so long, with a rest in the idle time; how many commands were sent."""
    choice = random.Random(1)
    until_s = time.monotonic() + seconds
    quiet_until_s, commands = None, 0
    while time.monotonic() < until_s:
        stage.ending.wait(0.1)      # the pace of the commands
        follow.catch_up(follower)
        follow.recover(follower)
        if quiet_until_s is None and IDLE_LINE in bench.console.lines:
            quiet_until_s = time.monotonic() + QUIET_S
        if quiet_until_s is not None and time.monotonic() < quiet_until_s:
            stage.quiet.set()
            continue
        stage.quiet.clear()
        command_at_random(bench, choice, problems)
        commands += 1
    return commands


def wait_for_end(follower):
    """Follows until two end-of-session markers have come, the second one after a whole second of silence."""
    def ended():
        follow.catch_up(follower)
        follow.recover(follower)
        return follower.end_markers >= 2
    harness.until(ended, 20, "the end of the session")


def finish_following(follower, last):
    """Recovers all that is still missing up to the last number, the tail that no heartbeat announced included."""
    follow.catch_up(follower)
    follower.ahead = max(follower.ahead, last)
    for _ in range(follow.TRIES):
        if follow.recover(follower, 0):
            break
        follow.catch_up(follower)


def verdict(bench, follower, cast, numbers):
    """Everything that the run's records and the received messages disagree about."""
    truth, tape = harness.truth_lines(bench), harness.tape_lines(bench)
    trades = {trade: row for reported in cast for trade, row in reported.trades.items()}
    verify.read_executions(follower.messages, tape)
    problems = verify.compare_truth(follower.messages, truth) + verify.compare_tape(follower.messages, tape, trades)
    problems += verify.compare_console(follower.messages, harness.console_lines(bench))
    problems += compare_faults(bench, follower, numbers)
    if len(follower.messages) != numbers["seq"]:
        problems.append(f"{len(follower.messages)} messages of {numbers['seq']}")
    if sum(len(reported.trades) for reported in cast) != sum(b'"venue":"CLIENT' in line for line in tape):
        problems.append("reporters and tape disagree about the reported trades")
    return problems


def compare_faults(bench, follower, numbers):
    """The fault lines against what the live feed showed, and against the counters."""
    found = {"dropped": set(), "reordered": set(), "duplicated": set()}
    for line in harness.console_lines(bench):
        match = FAULT_SEQ.match(line)
        if match:
            found[match.group(1)].add(int(match.group(2)))
    lost = set(range(1, numbers["seq"] + 1)) - follower.live
    problems = [f"{name}: {len(found[name])} lines, counter {numbers[name]}" for name in found
                if len(found[name]) != numbers[name]]
    if not found["dropped"] <= lost:
        problems.append(f"dropped but received: {sorted(found['dropped'] - lost)[:10]}")
    # A held packet is lost when another one takes its place before it was released.
    if not lost - found["dropped"] <= found["reordered"]:
        problems.append(f"lost without a fault: {sorted(lost - found['dropped'] - found['reordered'])[:10]}")
    if follower.duplicates != numbers["duplicated"]:
        problems.append(f"{follower.duplicates} duplicates received, {numbers['duplicated']} sent")
    return problems
