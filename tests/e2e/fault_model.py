"""Which datagrams the feed must show for a series of packets under given faults, and what is said about them."""

import dataclasses


@dataclasses.dataclass
class Faults:
    """Settings as they stand, armed counts that run down, and what has happened so far.

    `wire` lists packets in the order of sending; `lines` the console lines.
    """
    drop_every: int = 0
    burst_start: int = 0
    burst_length: int = 0
    dup_every: int = 0
    reorder_every: int = 0
    drop: int = 0
    dup: int = 0
    reorder: int = 0
    packets: int = 0
    dropped: int = 0
    duplicated: int = 0
    reordered: int = 0
    held: object = None
    wire: list = dataclasses.field(default_factory=list)
    lines: list = dataclasses.field(default_factory=list)


def every(period, number):
    """Whether the period is on and divides the packet number."""
    return period > 0 and number % period == 0


def flush(faults, sequence):
    """One packet with one message leaves the publisher; drop comes before duplicate, duplicate before reorder."""
    faults.packets += 1
    number = faults.packets
    in_burst = faults.burst_start <= number < faults.burst_start + faults.burst_length
    if every(faults.drop_every, number) or in_burst or faults.drop > 0:
        faults.drop -= faults.drop > 0
        faults.dropped += 1
        faults.lines.append(f"vorbeld fault: dropped seq {sequence} (packet {number}, 1 message(s))")
        return
    twice = every(faults.dup_every, number) or faults.dup > 0
    faults.dup -= faults.dup > 0
    hold = every(faults.reorder_every, number) or faults.reorder > 0
    faults.reorder -= faults.reorder > 0
    if hold:
        faults.held = sequence
        faults.reordered += 1
        faults.lines.append(f"vorbeld fault: reordered seq {sequence} (held behind the next packet)")
        return
    faults.wire.append(sequence)
    if twice:
        faults.wire.append(sequence)
        faults.duplicated += 1
        faults.lines.append(f"vorbeld fault: duplicated seq {sequence}")
    if faults.held is not None:
        faults.wire.append(faults.held)
        faults.held = None


def summary(faults):
    """The one-line fault summary of the status and statistics texts."""
    return (f"vorbeld faults: sent {faults.packets - faults.dropped} dropped {faults.dropped} "
            f"duplicated {faults.duplicated} reordered {faults.reordered}")
