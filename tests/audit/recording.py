"""Records one true run: the bench's files, everything that came over the wire, and every message.

The run has all kinds of messages and faults in it, so that each test can find what it needs. It takes place soon after
noon of the day before, whenever the tests run: at midnight dates change, and in the hour that autumn repeats local times
are not enough to tell a wrong book from a right one.
"""

import dataclasses
import json
import pathlib
import time

import control
import harness
import probe
import receiver
import reports
import wire

# Two bonds of one issuer, one of high yield, and one with a negative coupon, hence negative yields.
BONDS = ",".join((
    "037833DT4:AAPL 3.85 05/04/43:AAPL 3.85 43:IG:98.25:3.85", "037833AK6:AAPL 2.40 05/03/33:AAPL 2.4 33:IG:96.50:2.40",
    "594918BY9:MSFT 3.30 02/06/27:MSFT 3.3 27:IG:99.10:3.30", "345370CS9:F 4.35 12/08/26:F 4.35 26:HY:97.80:4.35",
    "912833XX1:NEG -0.50 01/15/31:NEG -0.5 31:IG:103.20:-0.50"))
FAULTS = ("--drop-every", 17, "--dup-every", 23, "--reorder-every", 29, "--drop-burst", "120:4")
SCENARIO = ("cancel_every=5,correct_every=7,asof_every=11,reversal_every=13,special_every=17,late_every=6,"
            "after_hours_every=19,wavg_every=23,ats_every=4,halt_after_s=1,halt_ms=700,"
            "idle_after_s=4,idle_ms=1500,idle_drop=2")
DAY_S = 86400
NOON_S = 17 * 3600 + 1800  # into a day of UTC: half past noon, feed local time, or an hour later
ENOUGH = 620               # messages, by which all amendments have come into their stride
NAMES = {"C": "control", "A/H": "halt", "A/E": "summary", "T/M": "trade", "T/N": "cancel", "T/O": "correction"}


@dataclasses.dataclass(frozen=True)
class Run:
    """A finished run. `arrivals` are the datagrams of the feed with their times in ns by the run's clock, in order;
    `messages` are the bytes of all messages by number, those that were lost on the wire fetched afterwards."""
    folder: pathlib.Path
    doors: harness.Doors
    arrivals: tuple
    messages: dict


def record_run(folder, pool):
    """Runs a bench until everything has happened, closes the session and takes all there is to take."""
    shift_s = int(-time.time() % DAY_S) - 2 * DAY_S + NOON_S
    bench = harness.start(folder, harness.claim_doors(pool), "--rate-ms", 8, "--bonds", BONDS, *FAULTS, "--scenario",
                          SCENARIO, clock_shift_s=shift_s)
    try:
        _report_some(bench)
        receiver.wait_for_sequence(bench.feed, ENOUGH // 2, harness.bound(30))
        assert control.command(bench.control, "mark half way") == "ok"
        for command in ("halt 345370CS9 LUDP", "resume_halt 345370CS9", "halt 594918BY9 M", "resume_halt 594918BY9"):
            assert control.command(bench.control, command) == "ok"
        _cancel_a_high(bench)
        receiver.wait_for_sequence(bench.feed, ENOUGH, harness.bound(30))
        assert control.command(bench.control, "close") == "ok"
        receiver.wait_for(bench.feed, _is_over, harness.bound(10), "the end of session")
        messages = _all_messages(bench)
        arrivals = tuple((arrival.at_ns + shift_s * 1_000_000_000, arrival.data)
                         for arrival, _ in receiver.packets(bench.feed))
        harness.stop(bench)
    finally:
        complaints = harness.release(bench)
    assert complaints == []
    return Run(folder, bench.doors, arrivals, messages)


def _report_some(bench):
    reporter = harness.open_reporter(bench)
    for number, where in enumerate(("book", "away", "book")):
        reports.report(reporter, price=f"98.{number}25", quantity="7000000", where=where)
    reports.report(reporter, cusip="REPORTED1", symbol="NEW BOND", price="101.5", side="S")


def _cancel_a_high(bench):
    """The day's high of the reported bond is cancelled, and the one below it too, whatever else is due meanwhile."""
    assert control.command(bench.control, "pause") == "ok"
    reporter = harness.open_reporter(bench)
    for price in ("110", "111", "112", "113"):
        reports.report(reporter, cusip="REPORTED1", symbol="NEW BOND", price=price, side="S")
    assert control.command(bench.control, "cancel 4") == "cancelled 4"
    assert control.command(bench.control, "resume") == "ok"


def _is_over(arrivals):
    return any(wire.parse_packet(arrival.data).count == wire.END_OF_SESSION for arrival in arrivals)


def _all_messages(bench):
    """Every message by number: one request for all of them, which loopback answers in full."""
    last = control.stats(bench.control)["seq"]
    messages = {}
    for first in range(1, last + 1, 50):
        for answer in probe.ask(bench, wire.request(first, 50)):
            packet = wire.parse_packet(answer)
            messages.update(enumerate(packet.messages, packet.sequence))
    assert sorted(messages) == list(range(1, last + 1))
    return messages


def kind_of(raw):
    """The kind of a message by the name that the audit gives it."""
    return NAMES[wire.decode(raw).kind]


def numbers_of(run, kind):
    """The sequence numbers of all messages of a kind, ascending."""
    return [number for number, raw in sorted(run.messages.items()) if kind_of(raw) == kind]


def truth_of(path):
    """The records of a truth file by sequence number, as pairs of line index and object; marks are left out."""
    lines = path.read_bytes().splitlines()
    found = {}
    for index, line in enumerate(lines):
        record = json.loads(line)
        if "mark" not in record:
            found[record["seq"]] = (index, record)
    return found


def replace_line(path, index, record):
    """Puts an object in place of one line."""
    lines = path.read_bytes().splitlines(keepends=True)
    lines[index] = json.dumps(record, separators=(",", ":")).encode("ascii") + b"\n"
    path.write_bytes(b"".join(lines))
