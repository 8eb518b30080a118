"""Listens to the feed like a real receiver: joins the group on the loopback interface and keeps every packet.

Owns the socket and the thread that reads it. Only collects; following sequence numbers is left to others.
"""

import dataclasses
import socket
import struct
import threading
import time

import wire

SO_TIMESTAMPNS = 35    # kernel time of arrival with each datagram; the socket module has no name for it
SO_RCVBUFFORCE = 33    # a buffer beyond the system's limit, for privileged processes
IP_RECVTTL = 12        # hands the hop limit over with each datagram
BUFFER_BYTES = 64 << 20
SETTLE_MARK = b"settle "   # begins datagrams of our own that are not kept; shorter than any packet


@dataclasses.dataclass(frozen=True)
class Arrival:
    """A datagram and the wall-clock nanosecond at which the kernel took it in."""
    at_ns: int
    data: bytes
    ttl: int


@dataclasses.dataclass
class Receiver:
    """`arrivals` grows in order of arrival; read it after one of the waits below or under `changed`."""
    socket: socket.socket
    arrivals: list = dataclasses.field(default_factory=list)
    changed: threading.Condition = dataclasses.field(default_factory=threading.Condition)
    highest: int = 0       # largest sequence number seen in a data packet
    settled: bytes = b""   # the last mark that came by
    closing: bool = False
    thread: threading.Thread = None


def widen_buffer(sock):
    """Asks for room for a burst; without privilege the system's own limit applies. The bytes granted."""
    try:
        sock.setsockopt(socket.SOL_SOCKET, SO_RCVBUFFORCE, BUFFER_BYTES)
    except PermissionError:
        sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, BUFFER_BYTES)
    return sock.getsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF)


def open_receiver(group, port):
    """Joins `group` on 127.0.0.1; an address that is no group is listened to as it is."""
    sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    sock.bind((group, port))
    if 224 <= int(group.split(".", maxsplit=1)[0]) <= 239:
        membership = socket.inet_aton(group) + socket.inet_aton("127.0.0.1")
        sock.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)
    widen_buffer(sock)
    sock.setsockopt(socket.SOL_SOCKET, SO_TIMESTAMPNS, 1)
    sock.setsockopt(socket.IPPROTO_IP, IP_RECVTTL, 1)
    sock.settimeout(0.05)  # how soon the thread notices that it is to end
    receiver = Receiver(sock)
    receiver.thread = threading.Thread(target=_collect, args=(receiver,), daemon=True)
    receiver.thread.start()
    return receiver


def close_receiver(receiver):
    """Ends the thread and leaves the group. What was collected stays readable."""
    receiver.closing = True
    receiver.thread.join()
    receiver.socket.close()


def settle(receiver, seconds):
    """Returns when everything that was sent before has been read: a mark of our own has come through the socket."""
    mark = SETTLE_MARK + str(time.monotonic_ns() % 10**9).encode()
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        sender.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton("127.0.0.1"))
        sender.sendto(mark, receiver.socket.getsockname())
    wait_for(receiver, lambda _: receiver.settled == mark, seconds, "the receiver's own mark")


def _collect(receiver):
    while not receiver.closing:
        try:
            data, extras, _, _ = receiver.socket.recvmsg(65536, 256)
        except TimeoutError:
            continue
        if data.startswith(SETTLE_MARK):
            with receiver.changed:
                receiver.settled = data
                receiver.changed.notify_all()
            continue
        at_ns, ttl = time.time_ns(), 0
        for level, kind, value in extras:
            if (level, kind) == (socket.SOL_SOCKET, SO_TIMESTAMPNS):
                seconds, nanoseconds = struct.unpack("=qq", value)
                at_ns = seconds * 1_000_000_000 + nanoseconds
            elif (level, kind) == (socket.IPPROTO_IP, socket.IP_TTL):
                ttl = struct.unpack("=i", value)[0]
        with receiver.changed:
            receiver.arrivals.append(Arrival(at_ns, data, ttl))
            receiver.highest = max(receiver.highest, _last_sequence(data))
            receiver.changed.notify_all()


def wait_for(receiver, condition, seconds, what="the expected packets"):
    """Waits until condition(arrivals) holds. AssertionError, naming `what`, when it does not within the time."""
    with receiver.changed:
        if not receiver.changed.wait_for(lambda: condition(receiver.arrivals), seconds):
            tail = [arrival.data[:60] for arrival in receiver.arrivals[-5:]]
            raise AssertionError(f"{what} did not come within {seconds} s; {len(receiver.arrivals)} arrived, {tail}")


def wait_for_sequence(receiver, sequence, seconds):
    """Waits until a data packet that carries or passes `sequence` has arrived."""
    wait_for(receiver, lambda _: receiver.highest >= sequence, seconds, f"message {sequence}")


def _last_sequence(data):
    """The last number in a data packet, 0 for anything else. Reads the header only: judging the rest is for later."""
    if len(data) < wire.HEADER_SIZE:
        return 0
    sequence, count = struct.unpack_from(">QH", data, 10)
    return 0 if count in (0, wire.END_OF_SESSION) else sequence + count - 1


def packets(receiver):
    """Everything that arrived so far, as (arrival, packet)."""
    with receiver.changed:
        arrivals = list(receiver.arrivals)
    return [(each, wire.parse_packet(each.data)) for each in arrivals]


def heartbeats(receiver):
    """The packets without messages: heartbeats and end-of-session markers."""
    return [(arrival, packet) for arrival, packet in packets(receiver) if not packet.messages]


def sequences(receiver):
    """Sequence numbers of the messages in the order in which they arrived, duplicates included."""
    return [packet.sequence + index for _, packet in packets(receiver) for index in range(len(packet.messages))]


def messages(receiver):
    """Decoded messages by sequence number. A number that came twice must have come with the same bytes."""
    found = {}
    for _, packet in packets(receiver):
        for sequence, raw in enumerate(packet.messages, packet.sequence):
            message = wire.decode(raw)
            if found.setdefault(sequence, message).raw != raw:
                raise AssertionError(f"message {sequence} came in two versions")
    return found


def arrival_times(receiver):
    """Wall-clock ns at which each sequence number first arrived."""
    found = {}
    for arrival, packet in packets(receiver):
        for index in range(len(packet.messages)):
            found.setdefault(packet.sequence + index, arrival.at_ns)
    return found
