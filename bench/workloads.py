"""The workloads: what is done to the daemon, and to what it is compared with, in one pair, and the figures of it.

`backwards` says which of the two goes first, so that neither always finds the machine as the other left it. The two run
side by side; the one that is not being measured sleeps but for its hundred passes a second.
"""

import collections
import contextlib
from collections.abc import Callable

from figures import Figure, record
from loads import CONTROL_MESSAGES, Sizes, alternate, come_and_go, command, report, request
from programs import (Failure, Place, Running, addresses, ask, check, count_lines, count_message_packets,
                      feed_receiver, free_ports, program_of, random_group, resident_bytes, run_load, start)

Figures = dict[str, Figure]
Sums = dict[str, collections.Counter]  # of "bench" and "base"

EVERYTHING = 4294967295  # the largest count that a command takes


def record_pair(figures: Figures, name: str, unit: str, counts: str, sums: Sums, against: str,
                figure_of: Callable[[collections.Counter], float]) -> None:
    record(figures, name, unit, counts, figure_of(sums["bench"]), figure_of(sums["base"]), against)


@contextlib.contextmanager
def start_pair(place: Place, base: str, files: bool = False):
    """The daemon and what it is compared with: the floor, or a daemon in another state."""
    with start(place, "bench", files) as bench, start(place, base, files) as other:
        yield {"bench": bench, "base": other}


def probe_wire(running: Running, sizes: Sizes) -> None:
    """Each report is one packet on the multicast group. The program is warm afterwards."""
    with feed_receiver(running) as receiver:
        report(running, sizes, sizes.probed)
        check("packets on the wire", count_message_packets(receiver), sizes.probed)


def check_files(running: Running) -> float:
    """Bytes per report in truth file and tape, after both were seen to hold a line for each."""
    check("truth lines", count_lines(running.truth), running.reported + (CONTROL_MESSAGES if running.is_daemon else 0))
    check("tape lines", count_lines(running.tape), running.reported)
    return (running.truth.stat().st_size + running.tape.stat().st_size) / running.reported


def measure_reports(place: Place, sizes: Sizes, backwards: bool, figures: Figures) -> None:
    with start_pair(place, "floor", files=True) as programs:
        for running in programs.values():
            probe_wire(running, sizes)
        sums = alternate(programs, backwards, sizes.slices, lambda running: report(running, sizes, sizes.reports))
        single = alternate(programs, backwards, sizes.slices,
                           lambda running: report(running, sizes, sizes.single_reports, single=True))
        lengths = {name: check_files(running) for name, running in programs.items()}
        lines = programs["bench"].reported
    if abs(lengths["bench"] / lengths["base"] - 1) > 0.03:
        raise Failure(f"the floor's lines are not as long as the daemon's: {lengths}")

    replies = sizes.slices * sizes.reports
    counts = f"{replies} replies, {lines} truth and tape lines"
    record_pair(figures, "CPU per report", "ns", counts, sums, "floor", lambda sum_: sum_["cpu_ns"] / replies)
    record_pair(figures, "reports per second", "1/s", counts, sums, "floor",
                lambda sum_: replies / sum_["wall_ns"] * 1e9)
    counts = f"{single['bench']['reports']} replies"
    for name, key in (("p50", "p50_ns"), ("p99", "p99_ns"), ("p99.9", "p999_ns")):  # means of the slices' percentiles
        record_pair(figures, f"reply latency {name}, window 1", "us", counts, single, "floor",
                    lambda sum_: sum_[key] / sizes.slices / 1e3)


def measure_retransmissions(place: Place, sizes: Sizes, backwards: bool, figures: Figures) -> None:
    with start_pair(place, "floor") as programs:
        report(programs["bench"], sizes, sizes.stored)  # the floor makes its answers up
        for running in programs.values():
            request(running, sizes)
        sums = alternate(programs, backwards, sizes.slices, lambda running: request(running, sizes))
    check("packets of the bench and the floor", sums["bench"]["packets"], sums["base"]["packets"])
    messages = sums["bench"]["messages"]
    counts = f"{messages} messages in {sums['bench']['packets']} packets"
    record_pair(figures, "CPU per retransmitted message", "ns", counts, sums, "floor",
                lambda sum_: sum_["cpu_ns"] / messages)
    record_pair(figures, "retransmitted messages per second", "1/s", counts, sums, "floor",
                lambda sum_: messages / sum_["wall_ns"] * 1e9)


def grow(running: Running, sizes: Sizes, figures: Figures) -> None:
    """Makes a long history, and records what it takes in memory."""
    resident = {0: resident_bytes(running)}
    for trades in (sizes.stored, sizes.grown_from, sizes.long_history):
        report(running, sizes, trades - running.reported)
        resident[trades] = resident_bytes(running)
    grown = sizes.long_history - sizes.grown_from
    per_trade = (resident[sizes.long_history] - resident[sizes.grown_from]) / grown
    store = resident[sizes.stored] - resident[0] - sizes.stored * per_trade
    record(figures, "resident bytes per trade kept", "B", f"{grown} trades more, store full", per_trade)
    record(figures, "resident bytes of the store", "B", f"{sizes.stored} trade messages", store)


def measure_cancels(running: Running, floor: Running, sizes: Sizes, figures: Figures) -> None:
    """A bulk cancel against the system calls of it, then one of all that is left, then one that finds nothing."""
    bulk = f"cancel {sizes.bulk}"
    seconds = [command(program, bulk, f"cancelled {sizes.bulk}")["wall_ns"] / 1e9 for program in (running, floor)]
    record(figures, f'"{bulk}"', "s", f"reply: cancelled {sizes.bulk}", *seconds, "floor")
    left = sizes.long_history - sizes.slices * sizes.amendments - sizes.bulk
    command(running, f"cancel {EVERYTHING}", f"cancelled {left}")
    idle = command(running, f"cancel {EVERYTHING}", "cancelled 0", sizes.idle_asks)
    check("every trade was cancelled once", f" cancels {sizes.long_history} " in ask(running, "stats"), True)
    record(figures, "cancel with nothing left, p50", "ms", f"{sizes.idle_asks} replies: cancelled 0",
           idle["p50_ns"] / 1e6)


def measure_history(place: Place, sizes: Sizes, backwards: bool, figures: Figures) -> None:
    """Whether anything costs more, or too much memory, when a million trades were made."""
    with start_pair(place, "bench") as programs:
        grow(programs["bench"], sizes, figures)
        report(programs["base"], sizes, sizes.short_history)
        each = sizes.amendments
        counts = f"{sizes.slices * each} at {sizes.long_history} trades"
        for kind, done in (("correct", "corrected"), ("cancel", "cancelled")):
            sums = alternate(programs, backwards, sizes.slices,
                             lambda running: command(running, f"{kind} {each}", f"{done} {each}"))
            record_pair(figures, f"CPU per {kind} of the newest trade", "ns", counts, sums,
                        f"at {sizes.short_history} trades", lambda sum_: sum_["cpu_ns"] / (each * sizes.slices))
        with start(place, "floor") as floor:
            measure_cancels(programs["bench"], floor, sizes, figures)


def measure_bonds(place: Place, sizes: Sizes, backwards: bool, figures: Figures) -> None:
    with start_pair(place, "bench", files=True) as programs:
        bonds = {programs["bench"].pid: sizes.many_bonds, programs["base"].pid: sizes.few_bonds}
        for running in programs.values():  # so that each bond is known, and both have made as many trades
            report(running, sizes, sizes.many_bonds, bonds[running.pid])
        sums = alternate(programs, backwards, sizes.slices,
                         lambda running: report(running, sizes, sizes.reports, bonds[running.pid]))
        for running in programs.values():
            check_files(running)
    replies = sizes.slices * sizes.reports
    record_pair(figures, f"CPU per report, {sizes.many_bonds} bonds", "ns", f"{replies} replies", sums,
                f"{sizes.few_bonds} bonds", lambda sum_: sum_["cpu_ns"] / replies)


def measure_passes(place: Place, sizes: Sizes, backwards: bool, figures: Figures) -> None:
    """A command that changes nothing wakes the main loop for one pass; each waits for the reply to the one before."""
    with start_pair(place, "bench") as programs:
        come_and_go(programs["bench"], sizes.past_connections)
        sums = alternate(programs, backwards, sizes.slices,
                         lambda running: command(running, "stats", "seq 2 ", sizes.passes))
    record_pair(figures, f"CPU per pass, {sizes.past_connections} past connections", "ns",
                f"{sums['bench']['commands']} passes", sums, "none", lambda sum_: sum_["cpu_ns"] / sum_["commands"])


def measure_start(place: Place, sizes: Sizes, backwards: bool, figures: Figures) -> None:
    ms = {}
    for name in ("floor", "bench") if backwards else ("bench", "floor"):
        group, ports = random_group(), free_ports()
        result = run_load(place, "load_start", "--mcast", group, "--port", ports["feed"], "--starts", sizes.starts,
                          "--", program_of(place, name), *addresses(group, ports), "--quiet", pinned=False)
        check("starts", result["starts"], sizes.starts)
        ms[name] = result["p50_ns"] / 1e6
    record(figures, "start to first packet", "ms", f"{sizes.starts} starts", ms["bench"], ms["floor"], "floor")


WORKLOADS = {
    "reports": measure_reports,
    "retransmissions": measure_retransmissions,
    "history": measure_history,
    "bonds": measure_bonds,
    "passes": measure_passes,
    "start": measure_start,
}
