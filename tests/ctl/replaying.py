"""Runs `vorbelctl replay` with somebody who listens to it.

A Listener stands for a bench where the helpers of the bench's own tests want one: it has its doors and its feed.
"""

import contextlib
import dataclasses

import companion
import harness
import receiver
from pcap_files import Datagram

START_NS = 1_700_000_000_000_000_000


@dataclasses.dataclass
class Listener:
    """`feed` keeps every datagram that arrives behind the doors."""
    doors: harness.Doors
    feed: receiver.Receiver
    closing: contextlib.ExitStack


@contextlib.contextmanager
def listening(doors):
    """Somebody who listens behind these doors from now on."""
    with contextlib.ExitStack() as closing:
        feed = receiver.open_receiver(doors.group, doors.feed)
        closing.callback(receiver.close_receiver, feed)
        yield Listener(doors, feed, closing)


def on_feed(doors, *packets, every_ms=0, sender_port=40000, begin_ms=0):
    """The packets as datagrams of the feed, one every so many milliseconds."""
    return [Datagram(START_NS + (begin_ms + place * every_ms) * 1_000_000, packet, doors.group, doors.feed,
                     from_port=sender_port)
            for place, packet in enumerate(packets)]


def answer(doors, packet, at_ms=0):
    """The packet as a datagram from the retransmission port."""
    return Datagram(START_NS + at_ms * 1_000_000, packet, "127.0.0.1", 50000, from_port=doors.retrans)


def received(listener):
    """Everything that has arrived, as bytes."""
    receiver.settle(listener.feed, harness.bound(10))
    with listener.feed.changed:
        return [arrival.data for arrival in listener.feed.arrivals]


def wait_for_packets(listener, count):
    """Waits until so many datagrams have arrived."""
    receiver.wait_for(listener.feed, lambda arrivals: len(arrivals) >= count, harness.bound(10), f"{count} packets")


def replay(doors, pcap, *options, seconds=20):
    """Replays to the end: (exit status, standard output, standard error)."""
    return companion.run(doors, "replay", pcap, *options, seconds=seconds)


def totals_of(doors, pcap, *options, seconds=20):
    """Replays to the end without a linger: (exit status, the object of the last line)."""
    status, lines = companion.run_json(doors, "replay", pcap, "--linger", "0", *options, seconds=seconds)
    return status, lines[-1]
