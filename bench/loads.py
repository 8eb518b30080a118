"""The loads that workloads are made of: how much of each, applying one to a running program, and taking turns.

Each load checks what the program under load gave back before its cost is believed.
"""

import collections
import dataclasses
import socket
from collections.abc import Callable

from programs import Running, check, load

CONTROL_MESSAGES = 2  # that the daemon sends first of all, hence its first trade has sequence number 3


@dataclasses.dataclass(frozen=True)
class Sizes:
    """How much work; the defaults are those that the goals speak of."""

    pairs: int = 5
    slices: int = 5  # of each measured stretch: within a pair, the two programs take turns as often
    probed: int = 200  # reports whose packets are counted on the wire before a measurement
    connections: int = 4
    window: int = 64
    reports: int = 40_000  # a slice: half a second or so, some hundred times the scheduler's grain
    single_reports: int = 4_000  # a slice, one at a time; its 99.9th percentile is the fifth worst
    stored: int = 400_000  # a full store
    requests: int = 4  # a slice
    request_count: int = 65_535
    short_history: int = 1_000
    grown_from: int = 500_000  # trades from which on memory per trade is taken, well after the store is full
    long_history: int = 1_000_000
    # A slice, as one command, beside which its pass of the main loop costs little. Five slices of cancels leave more
    # than half of the short history, which is what they take from.
    amendments: int = 80
    bulk: int = 100_000
    idle_asks: int = 200  # commands that find nothing left to cancel
    few_bonds: int = 4
    many_bonds: int = 50_000
    past_connections: int = 10_000
    passes: int = 4_000  # a slice
    starts: int = 20


QUICK = Sizes(pairs=1, slices=2, probed=20, reports=1_000, single_reports=100, stored=3_000, requests=2,
              request_count=1_000, short_history=200, grown_from=4_000, long_history=5_000, amendments=20, bulk=500,
              idle_asks=10, many_bonds=500, past_connections=50, passes=100, starts=3)


def alternate(programs: dict[str, Running], backwards: bool, slices: int,
              work: Callable[[Running], dict]) -> dict[str, collections.Counter]:
    """Does the work on each program in turn, `slices` times, and sums up what it gave for each."""
    order = list(reversed(programs)) if backwards else list(programs)
    sums = {name: collections.Counter() for name in programs}
    for _ in range(slices):
        for name in order:
            sums[name].update(work(programs[name]))
    return sums


def report(running: Running, sizes: Sizes, total: int, cusips: int = 4, single: bool = False) -> dict:
    """Reports trades, one at a time where `single`, and makes sure that each became a trade of its own."""
    connections, window = (1, 1) if single else (sizes.connections, sizes.window)
    result = load(running, "load_reports", "report", "--total", total, "--connections", connections, "--window", window,
                  "--cusips", cusips)
    check("reports answered", result["reports"], total)
    if running.is_daemon:
        check("sum of trade ids", result["id_sum"], total * running.reported + total * (total + 1) // 2)
    running.reported += total
    return result


def request(running: Running, sizes: Sizes) -> dict:
    """Requests retransmissions of trades; every message must come, in order."""
    result = load(running, "load_retransmissions", "retrans", "--oldest", CONTROL_MESSAGES + 1, "--stored",
                  sizes.stored, "--count", sizes.request_count, "--requests", sizes.requests)
    check("messages retransmitted", result["messages"], sizes.requests * sizes.request_count)
    return result


def command(running: Running, text: str, expected: str, total: int = 1) -> dict:
    """One command, `total` times, each when the one before was answered."""
    result = load(running, "load_commands", "control", "--command", text, "--expect", expected, "--total", total)
    check("commands answered", result["commands"], total)
    return result


def come_and_go(running: Running, connections: int) -> None:
    """Each connection is answered before it closes, so none is still in the listener's queue when the next comes."""
    for _ in range(connections):
        with socket.create_connection(("127.0.0.1", running.ports["report"]), timeout=10) as connection:
            connection.sendall(b"x\n")
            check("reply to no report", connection.recv(64), b"E malformed\n")
