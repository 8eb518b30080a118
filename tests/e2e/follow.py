"""A receiver that loses nothing: follows the live feed and asks for every number that did not come.

Owns the messages by sequence number and the count of what the network did to them. Requests are small, repeated a
bounded number of times, and answered messages must equal live ones byte for byte.
"""

import dataclasses
import socket
import time

import harness
import probe
import receiver
import wire

ASK_AT_MOST = 60          # messages per request: a few packets, which any socket buffer holds
PATIENCE_S = 0.1          # how long a number may be late before it is asked for
TRIES = 5


@dataclasses.dataclass
class Follower:
    """Everything received. `complete_to`: all numbers up to it are there; `ahead`: the highest one known to exist."""
    feed: receiver.Receiver
    client: socket.socket
    messages: dict = dataclasses.field(default_factory=dict)
    read: int = 0
    complete_to: int = 0
    ahead: int = 0
    gap_since: float = None
    live: set = dataclasses.field(default_factory=set)
    duplicates: int = 0
    out_of_order: int = 0
    recovered: int = 0
    heartbeats: int = 0
    end_markers: int = 0
    problems: list = dataclasses.field(default_factory=list)


def open_follower(bench):
    """A follower of the bench's feed, from its first packet on."""
    client = probe.retransmission_client(bench)
    client.settimeout(harness.bound(2))
    return Follower(bench.feed, client)


def take(follower, sequence, raw):
    """Keeps one message; False when it was there already, in which case it must be the same."""
    known = follower.messages.get(sequence)
    if known is None:
        follower.messages[sequence] = wire.decode(raw)
        return True
    if known.raw != raw:
        follower.problems.append(f"message {sequence} came in two versions")
    return False


def catch_up(follower):
    """Takes in what has arrived since the last call; forgets the datagrams."""
    with follower.feed.changed:
        arrivals, follower.feed.arrivals = follower.feed.arrivals, []
    for arrival in arrivals:
        packet = wire.parse_packet(arrival.data)
        if packet.session != b"BTDS000001":
            follower.problems.append(f"session {packet.session!r}")
        if not packet.messages:
            follower.heartbeats += packet.count == 0
            follower.end_markers += packet.count == wire.END_OF_SESSION
            if packet.sequence <= follower.ahead:
                follower.problems.append(f"heartbeat {packet.sequence} behind message {follower.ahead}")
        for sequence, raw in enumerate(packet.messages, packet.sequence):
            if sequence in follower.live:
                follower.duplicates += 1
            elif sequence < follower.ahead:
                follower.out_of_order += 1
            follower.live.add(sequence)
            take(follower, sequence, raw)
        follower.ahead = max(follower.ahead, packet.sequence + len(packet.messages) - 1)
    while follower.complete_to + 1 in follower.messages:
        follower.complete_to += 1


def missing_ranges(follower):
    """Numbers known to exist that are not there, as (first, count) of at most ASK_AT_MOST each."""
    ranges = []
    for sequence in range(follower.complete_to + 1, follower.ahead + 1):
        if sequence in follower.messages:
            continue
        if ranges and sum(ranges[-1]) == sequence and ranges[-1][1] < ASK_AT_MOST:
            ranges[-1][1] += 1
        else:
            ranges.append([sequence, 1])
    return [tuple(each) for each in ranges]


def recover(follower, patience_s=PATIENCE_S):
    """Asks for what has been missing for longer than the patience. True when nothing is missing."""
    ranges = missing_ranges(follower)
    now = time.monotonic()
    if not ranges:
        follower.gap_since = None
        return True
    follower.gap_since = follower.gap_since or now
    if now - follower.gap_since >= patience_s:
        for first, count in ranges:
            fetch(follower, first, count)
        follower.gap_since = None
    return False


def fetch(follower, first, count):
    """One range by request, repeated when an answer is lost."""
    for _ in range(TRIES):
        follower.client.send(wire.request(first, count))
        try:
            while any(sequence not in follower.messages for sequence in range(first, first + count)):
                packet = wire.parse_packet(follower.client.recv(2000))
                for sequence, raw in enumerate(packet.messages, packet.sequence):
                    follower.recovered += take(follower, sequence, raw)
            return
        except TimeoutError:
            continue
    follower.problems.append(f"messages {first} to {first + count - 1} could not be had")
