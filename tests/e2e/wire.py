"""What goes over the wire, decoded from the layout tables below and from nothing else.

Owns the MoldUDP64 packet and request layouts and the six BTDS message kinds. Knows nothing of books, files or faults.
"""

import dataclasses
import struct

HEADER_SIZE = 20          # session, sequence number, message count
PACKET_LIMIT = 1500
END_OF_SESSION = 0xFFFF   # message count that marks the end; a heartbeat has 0

# Rows are (name, width) in the order of the bytes; every message is ASCII, padded with spaces.
COMMON = (("category", 1), ("type", 1), ("counter", 7), ("origin", 1), ("sent_at", 14))
SECURITY = (("symbol", 14), ("cusip", 9), ("short_name", 12), ("sub_product", 5))
BODY = (("qty_ind", 1), ("qty", 14), ("price", 11), ("remuneration", 1), ("special", 1), ("side", 1), ("as_of", 1),
        ("exec", 14), ("gap", 2), ("sale3", 1), ("sale4", 1), ("settle", 8), ("yield", 14), ("modifier2", 1),
        ("rpt", 1), ("contra", 1), ("ats", 1))
BOOK = (("high", 11), ("high_yield", 14), ("low", 11), ("low_yield", 14), ("last", 11), ("last_yield", 14),
        ("change", 1))
ORIGINAL = (("report_date", 8), ("orig_id", 7), ("function", 1))


def _named(prefix, rows):
    return tuple((prefix + name, width) for name, width in rows)


LAYOUTS = {
    "C": COMMON,
    "A/H": COMMON + SECURITY + (("description", 30), ("action", 1), ("at", 14), ("reason", 4)),
    "A/E": COMMON + SECURITY + (("blank", 1),) + BOOK[:6],
    "T/M": COMMON + SECURITY + (("orig_date", 8),) + BODY + (("change", 1),),
    "T/N": COMMON + SECURITY + ORIGINAL + BODY + BOOK,
    "T/O": COMMON + SECURITY + ORIGINAL + _named("old_", BODY) + BODY + BOOK,
}
SIZES = {kind: sum(width for _, width in rows) for kind, rows in LAYOUTS.items()}


class Wire_error(Exception):
    """Bytes that no publisher may send."""


@dataclasses.dataclass(frozen=True)
class Mold_packet:
    """One downstream packet; `count` is 0 for a heartbeat and END_OF_SESSION for the end marker."""
    session: bytes
    sequence: int
    count: int
    messages: tuple


@dataclasses.dataclass(frozen=True)
class Message:
    """One decoded message. Fields are texts of exactly their width; Latin-1, so that every byte survives."""
    kind: str
    raw: bytes
    fields: dict

    def __getitem__(self, name):
        return self.fields[name]


def parse_packet(data):
    """Takes a datagram apart. Raises Wire_error when length, count and blocks do not agree."""
    if not HEADER_SIZE <= len(data) <= PACKET_LIMIT:
        raise Wire_error(f"packet of {len(data)} bytes")
    session, sequence, count = struct.unpack_from(">10sQH", data)
    messages = []
    at = HEADER_SIZE
    if count != END_OF_SESSION:
        for _ in range(count):
            if at + 2 > len(data):
                raise Wire_error(f"packet {sequence}: block {len(messages)} is missing")
            size = struct.unpack_from(">H", data, at)[0]
            messages.append(data[at + 2:at + 2 + size])
            at += 2 + size
    if at != len(data):
        raise Wire_error(f"packet {sequence}: blocks end at {at}, the packet at {len(data)}")
    return Mold_packet(session, sequence, count, tuple(messages))


def decode(raw):
    """One message by its table. Raises Wire_error for an unknown kind or a wrong length."""
    category = raw[:1].decode("latin-1")
    kind = "C" if category == "C" else category + "/" + raw[1:2].decode("latin-1")
    if kind not in LAYOUTS:
        raise Wire_error(f"unknown message {raw[:2]!r}")
    if len(raw) != SIZES[kind]:
        raise Wire_error(f"{kind} of {len(raw)} bytes, expected {SIZES[kind]}")
    text = raw.decode("latin-1")
    fields = {}
    at = 0
    for name, width in LAYOUTS[kind]:
        fields[name] = text[at:at + width]
        at += width
    return Message(kind, raw, fields)


def body_of(message, prefix=""):
    """The 74 characters of a trade body, as one text."""
    return "".join(message[prefix + name] for name, _ in BODY)


def book_of(message):
    """The 76 characters of a cancel's or correction's book block, as one text."""
    return "".join(message[name] for name, _ in BOOK)


def request(sequence, count, session=b"BTDS000001"):
    """A retransmission request. `sequence` is 64 bits wide, `count` 16."""
    return struct.pack(">10sQH", session, sequence, count)


def in_packets(first, messages):
    """The retransmission packets that `messages`, numbered from `first`, fill in order: (first, count) of each."""
    packets = []
    used = PACKET_LIMIT
    for number, raw in enumerate(messages, first):
        if used + 2 + len(raw) > PACKET_LIMIT:
            packets.append([number, 0])
            used = HEADER_SIZE
        packets[-1][1] += 1
        used += 2 + len(raw)
    return [tuple(packet) for packet in packets]
