"""Writes capture files: the datagrams of a feed on any of the links that captures are made on."""

import dataclasses
import socket
import struct

import wire

ETHERNET, NULL, RAW, LOOP, COOKED, IPV4, COOKED_2 = 1, 0, 101, 108, 113, 228, 276
ALL_LINKS = {"ethernet": ETHERNET, "null": NULL, "raw": RAW, "loop": LOOP, "cooked": COOKED, "ipv4": IPV4,
             "cooked_2": COOKED_2}
OUTGOING, INCOMING = 4, 2
MAC = b"\x01\x00\x5e\x00\x00\x01"


@dataclasses.dataclass(frozen=True)
class Datagram:
    """One UDP datagram at a time in ns since 1970; `kept` bytes of the frame were captured (None: all)."""
    at_ns: int
    data: bytes
    to: str
    port: int
    from_port: int = 40000
    sender: str = "127.0.0.1"
    direction: int = INCOMING
    kept: int = None
    fragment: int = 0
    options: bytes = b""
    vlan: bytes = b""


def ip_packet(datagram):
    """The datagram in its UDP and IPv4 headers. Checksums are left zero: captures are full of such."""
    header = 20 + len(datagram.options)
    udp = struct.pack(">HHHH", datagram.from_port, datagram.port, 8 + len(datagram.data), 0) + datagram.data
    return struct.pack(">BBHHHBBH4s4s", 0x40 | header // 4, 0, header + len(udp), 1, datagram.fragment, 1, 17, 0,
                       socket.inet_aton(datagram.sender), socket.inet_aton(datagram.to)) + datagram.options + udp


def frame(link, datagram):
    """The packet as it stands on the link."""
    packet = ip_packet(datagram)
    before = {
        ETHERNET: MAC + bytes(6) + datagram.vlan + b"\x08\x00",
        NULL: struct.pack("=I", socket.AF_INET),
        LOOP: struct.pack(">I", socket.AF_INET),
        RAW: b"",
        IPV4: b"",
        COOKED: struct.pack(">HHH8sH", datagram.direction, 772, 6, bytes(8), 0x0800),
        COOKED_2: struct.pack(">HHIHBB8s", 0x0800, 0, 1, 772, datagram.direction, 6, bytes(8)),
    }
    return before[link] + packet


def write_pcap(path, link, datagrams, nanoseconds=False):
    """A whole capture file; returns its path."""
    magic, unit = (0xa1b23c4d, 1) if nanoseconds else (0xa1b2c3d4, 1000)
    content = [struct.pack("=IHHiIII", magic, 2, 4, 0, 0, 65535, link)]
    for datagram in datagrams:
        data = frame(link, datagram)
        kept = data[:datagram.kept]
        content.append(struct.pack("=IIII", datagram.at_ns // 10**9, datagram.at_ns % 10**9 // unit, len(kept), len(data)))
        content.append(kept)
    path.write_bytes(b"".join(content))
    return path


def of_arrivals(run):
    """The run's datagrams as they arrived, losses and all."""
    return [Datagram(at_ns, data, run.doors.group, run.doors.feed) for at_ns, data in run.arrivals]


def of_messages(run, messages=None):
    """One datagram a message, nothing lost; timed by what arrived at about that number."""
    times = {}
    for at_ns, data in run.arrivals:
        packet = wire.parse_packet(data)
        if packet.messages:
            times.setdefault(packet.sequence, at_ns)
    datagrams = []
    at_ns = run.arrivals[0][0]
    for number, raw in sorted((messages or run.messages).items()):
        at_ns = max(at_ns, times.get(number, at_ns))
        datagrams.append(Datagram(at_ns, packed(number, raw), run.doors.group, run.doors.feed))
    return datagrams


def packed(number, *messages, session=b"BTDS000001"):
    """One downstream packet."""
    blocks = b"".join(struct.pack(">H", len(raw)) + raw for raw in messages)
    return struct.pack(">10sQH", session, number, len(messages)) + blocks


def of_answer(run, number, count, at_ns):
    """What the retransmission port sends for a request, in one datagram."""
    data = packed(number, *(run.messages[each] for each in range(number, number + count)))
    return Datagram(at_ns, data, "127.0.0.1", 50000, from_port=run.doors.retrans)


def lost_numbers(run):
    """Numbers that the feed never carried."""
    live = set()
    for _, data in run.arrivals:
        packet = wire.parse_packet(data)
        live.update(range(packet.sequence, packet.sequence + len(packet.messages)))
    return sorted(set(run.messages) - live)


def with_answers(run, delay_ns=50_000_000):
    """The feed as it came, with an answer from the retransmission port for every loss, a little after it."""
    datagrams = of_arrivals(run)
    for number in lost_numbers(run):
        noticed = next(each for each in datagrams
                       if each.port == run.doors.feed and wire.parse_packet(each.data).sequence > number)
        datagrams.append(of_answer(run, number, 1, noticed.at_ns + delay_ns))
    return sorted(datagrams, key=lambda each: each.at_ns)
