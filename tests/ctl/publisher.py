"""A publisher that sends exactly what a test says and answers retransmission requests only as far as it is told.

Owns its sockets and the thread that answers. Messages are real ones, taken from wire.py's field tables.
"""

import dataclasses
import socket
import struct
import threading

END_OF_SESSION = 0xffff


@dataclasses.dataclass
class Publisher:
    """`requests` collects (first, count) in order; `answer` is called with each and sends what the test wants."""
    doors: object
    feed: socket.socket
    retrans: socket.socket
    session: bytes = b"BTDS000001"
    requests: list = dataclasses.field(default_factory=list)
    answer: object = None
    closing: bool = False
    thread: threading.Thread = None


def open_publisher(doors):
    """Opens the feed towards the doors' group and the retransmission port; without `answer` requests meet silence."""
    feed = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    feed.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton("127.0.0.1"))
    retrans = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    retrans.bind(("127.0.0.1", doors.retrans))
    retrans.settimeout(0.05)  # how soon the thread notices that it is to end
    made = Publisher(doors, feed, retrans)
    made.thread = threading.Thread(target=_serve, args=(made,), daemon=True)
    made.thread.start()
    return made


def close_publisher(publisher):
    """Ends the thread and closes the sockets."""
    publisher.closing = True
    publisher.thread.join()
    publisher.feed.close()
    publisher.retrans.close()


def _serve(publisher):
    while not publisher.closing:
        try:
            data, sender = publisher.retrans.recvfrom(2048)
        except TimeoutError:
            continue
        first, count = struct.unpack_from(">QH", data, 10)
        publisher.requests.append((first, count))
        if publisher.answer:
            for packet in publisher.answer(first, count):
                publisher.retrans.sendto(packet, sender)


def send(publisher, packet):
    """Sends the bytes to the group."""
    publisher.feed.sendto(packet, (publisher.doors.group, publisher.doors.feed))


def control_message(code="I"):
    """A whole control message."""
    return f"C{code}       O20240701120000".encode("ascii")


def packet(first, *messages, session=b"BTDS000001"):
    """A packet of these messages."""
    blocks = b"".join(struct.pack(">H", len(message)) + message for message in messages)
    return session.ljust(10) + struct.pack(">QH", first, len(messages)) + blocks


def numbered(first, count=1, session=b"BTDS000001"):
    """A packet of `count` control messages."""
    return packet(first, *[control_message()] * count, session=session)


def heartbeat(following, session=b"BTDS000001"):
    """A heartbeat: `following` is the next number to come."""
    return session.ljust(10) + struct.pack(">QH", following, 0)


def end_of_session(following, session=b"BTDS000001"):
    """The end of session."""
    return session.ljust(10) + struct.pack(">QH", following, END_OF_SESSION)
