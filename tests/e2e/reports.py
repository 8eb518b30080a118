"""Client of the report port: trade report lines over TCP, one reply line each."""

import dataclasses
import socket

AAPL = "037833DT4"   # the default universe
MSFT = "594918BY9"
JPM = "46647PAP1"
FORD = "345370CS9"   # the only high-yield bond of it


@dataclasses.dataclass
class Reporter:
    """One connection; `unread` holds bytes behind the last reply that was taken."""
    socket: socket.socket
    unread: bytes = b""


def open_reporter(port, seconds):
    """Connects; reads give up after so many seconds."""
    sock = socket.create_connection(("127.0.0.1", port), timeout=seconds)
    sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    return Reporter(sock)


def close_reporter(reporter):
    """Closes the connection."""
    reporter.socket.close()


def report_line(cusip=AAPL, price="98.5", quantity="1000000", side="B", venue="ATS1", exec_ms="1700000000000",
                settle="20231116", where="away", symbol="X"):
    """A well-formed line without its line feed; any part may be replaced."""
    return f"T|{cusip}|{symbol}|{price}|{quantity}|{side}|{venue}|{exec_ms}|{settle}|{where}"


def send_lines(reporter, *lines):
    """Sends the lines in one piece, a line feed after each. Text goes out as UTF-8."""
    data = [line if isinstance(line, bytes) else line.encode("utf-8") for line in lines]
    reporter.socket.sendall(b"".join(line + b"\n" for line in data))


def read_line(reporter):
    """The next reply without its line feed; None when the bench has closed the connection."""
    while b"\n" not in reporter.unread:
        chunk = reporter.socket.recv(65536)
        if not chunk:
            return None
        reporter.unread += chunk
    line, reporter.unread = reporter.unread.split(b"\n", 1)
    return line.decode("ascii")


def report(reporter, **parts):
    """Reports one trade and returns its id. AssertionError when the line was not accepted."""
    send_lines(reporter, report_line(**parts))
    reply = read_line(reporter)
    if reply is None or not reply.startswith("A "):
        raise AssertionError(f"not accepted: {reply!r}")
    return int(reply[2:])
