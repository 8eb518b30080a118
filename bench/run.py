#!/usr/bin/env python3
"""Measures the daemon against the floor, the program that makes the same system calls and nothing else.

Both are run in turn, pair by pair, so that what the machine does beside hits both alike; what counts are the medians of
the ratios. Ends with status 1 when any work was not done as it must be, whatever the figures say; a goal that is missed
is shown and does not change the status.
"""

import argparse
import dataclasses
import json
import os
import pathlib
import platform
import sys
import tempfile

from figures import Figure, Goal, as_json, figure_table, goal_table, judge
from loads import QUICK, Sizes
from programs import Failure, find_place
from workloads import WORKLOADS


def goals(sizes: Sizes) -> dict[str, list[Goal]]:
    """By workload."""
    history, short = f"{sizes.long_history:,}", f"{sizes.short_history:,}"
    bulk = f'"cancel {sizes.bulk}"'
    return {
        "reports": [
            Goal("CPU per report, bench / floor", "CPU per report", "ratio", True, 1.15),
            Goal("reports per second, bench / floor", "reports per second", "ratio", False, 0.88),
            Goal("reply latency p50 at window 1, bench / floor", "reply latency p50, window 1", "ratio", True, 1.10),
            Goal("reply latency p99 at window 1, bench / floor", "reply latency p99, window 1", "ratio", True, 1.10),
        ],
        "retransmissions": [
            Goal("CPU per retransmitted message, bench / floor", "CPU per retransmitted message", "ratio", True, 1.05),
        ],
        "history": [
            Goal(f"one cancel, at {history} / {short} trades", "CPU per cancel of the newest trade", "ratio", True,
                 1.5),
            Goal(f"one correction, at {history} / {short} trades", "CPU per correct of the newest trade", "ratio", True,
                 1.5),
            Goal(f"{bulk} at {history} trades, more than its calls", bulk, "difference", True, 1, unit="s"),
            Goal("cancel with nothing left to cancel", "cancel with nothing left, p50", "bench", True, 1, unit="ms"),
            Goal("resident bytes per trade kept", "resident bytes per trade kept", "bench", True, 224, unit="B"),
            Goal(f"store: {sizes.stored:,} trade messages", "resident bytes of the store", "bench", True, 80,
                 scale=1e-6, unit="MB"),
        ],
        "bonds": [
            Goal(f"CPU per report, {sizes.many_bonds:,} / {sizes.few_bonds} bonds",
                 f"CPU per report, {sizes.many_bonds} bonds", "ratio", True, 1.3),
        ],
        "passes": [
            Goal(f"CPU per pass, {sizes.past_connections:,} / no past connections",
                 f"CPU per pass, {sizes.past_connections} past connections", "ratio", True, 1.1),
        ],
        "start": [Goal("start to first packet on the wire", "start to first packet", "bench", True, 5, unit="ms")],
    }


def read_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--daemon", default="build/release/vorbeld", help="default: %(default)s")
    parser.add_argument("--tools", default="build/release/bench",
                        help="folder of the floor and the load programs; default: %(default)s")
    parser.add_argument("--scratch", help="where truth files and tapes are written; default: a temporary folder")
    parser.add_argument("--pairs", type=int, help=f"default: {Sizes.pairs}, with --quick {QUICK.pairs}")
    parser.add_argument("--only", choices=WORKLOADS, action="append", help="this workload; may be given again")
    parser.add_argument("--quick", action="store_true", help="little of everything: all checks, no judgement of goals")
    parser.add_argument("--json", metavar="FILE", help="also write figures and goals here")
    return parser.parse_args()


def measure(arguments: argparse.Namespace, sizes: Sizes, scratch: pathlib.Path) -> dict[str, Figure]:
    place = find_place(arguments.daemon, arguments.tools, scratch)
    figures: dict[str, Figure] = {}
    for pair in range(sizes.pairs):
        for name in arguments.only or WORKLOADS:
            print(f"pair {pair + 1} of {sizes.pairs}: {name}", file=sys.stderr, flush=True)
            WORKLOADS[name](place, sizes, pair % 2 == 1, figures)
    return figures


def main() -> int:
    arguments = read_arguments()
    sizes = QUICK if arguments.quick else Sizes()
    if arguments.pairs is not None:
        sizes = dataclasses.replace(sizes, pairs=arguments.pairs)
    try:
        with tempfile.TemporaryDirectory(prefix="vorbeld-bench-", dir=arguments.scratch) as scratch:
            figures = measure(arguments, sizes, pathlib.Path(scratch))
    except Failure as failure:
        print(f"bench: {failure}", file=sys.stderr)
        return 1

    judged = not arguments.quick
    verdicts = [judge(goal, figures) for name, some in goals(sizes).items() if name in (arguments.only or WORKLOADS)
                for goal in some]
    print(f"{platform.platform()}, {os.cpu_count()} CPUs, {sizes.pairs} pairs\n")
    print(figure_table(figures), end="\n\n")
    print(goal_table(verdicts, judged))
    if arguments.json:
        pathlib.Path(arguments.json).write_text(json.dumps(as_json(figures, verdicts, judged), indent=1) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
