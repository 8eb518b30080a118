"""Client of the control port: one command per datagram, one line of text back."""

import dataclasses
import re
import socket

STATS_TEXT = re.compile(
    r"seq (?P<seq>\d+) messages (?P<messages>\d+) packets (?P<packets>\d+) reports (?P<reports>\d+) "
    r"capped (?P<capped>\d+) cancels (?P<cancels>\d+) corrections (?P<corrections>\d+) halts (?P<halts>\d+) "
    r"retrans (?P<retrans>\d+) vorbeld faults: sent (?P<sent>\d+) dropped (?P<dropped>\d+) "
    r"duplicated (?P<duplicated>\d+) reordered (?P<reordered>\d+)")


@dataclasses.dataclass
class Control:
    """A socket that talks to one control port; replies come back in the order of the commands."""
    socket: socket.socket


def open_control(port, seconds):
    """A client of the port on 127.0.0.1 that gives up on a reply after so many seconds."""
    sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    sock.connect(("127.0.0.1", port))
    sock.settimeout(seconds)
    return Control(sock)


def send_raw(control, data):
    """Sends the bytes as they are."""
    control.socket.send(data)


def read_reply(control):
    """The next reply without its line feed. AssertionError when it is not exactly one line."""
    data = control.socket.recv(65536)
    if not data.endswith(b"\n") or data.count(b"\n") != 1:
        raise AssertionError(f"a reply must be one line: {data!r}")
    return data[:-1].decode("utf-8")


def command(control, text):
    """Sends one command (text or bytes) and returns the reply."""
    send_raw(control, text if isinstance(text, bytes) else text.encode("utf-8"))
    return read_reply(control)


def stats(control):
    """The numbers of the "stats" reply by name. AssertionError when the text has another form."""
    reply = command(control, "stats")
    match = STATS_TEXT.fullmatch(reply)
    if not match:
        raise AssertionError(f"not a statistics text: {reply!r}")
    return {name: int(value) for name, value in match.groupdict().items()}
