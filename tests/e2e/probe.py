"""Looks into a running bench: what it answers to requests, which sockets it has, and what one pass of its loop does.

Leaves starting and stopping to the harness.
"""

import contextlib
import os
import pathlib
import signal
import socket
import sys
import time

import control
import harness
import receiver
import wire


def retransmission_client(bench):
    """A socket to the retransmission port that is closed with the bench and gives up on a read after a while."""
    sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    bench.closing.callback(sock.close)
    sock.connect(("127.0.0.1", bench.doors.retrans))
    receiver.widen_buffer(sock)
    sock.settimeout(harness.bound(10))
    return sock


def ask(bench, *datagrams, known=1):
    """Sends the datagrams to the retransmission port and returns all answers, as bytes.

    A last request, for the message `known` under a session name of its own, tells where the answers end: they come in
    order.
    """
    sock = retransmission_client(bench)
    for datagram in datagrams:
        sock.send(datagram)
    sock.send(wire.request(known, 1, b"~~marker~~"))
    answers = []
    while not (answer := sock.recv(65536)).startswith(b"~~marker~~"):
        answers.append(answer)
    return answers


@contextlib.contextmanager
def frozen(bench):
    """Holds the process still in its wait, so that what is sent meanwhile meets it all in one pass of its loop.

    An answered command begins a new wait of 10 ms; a stop that came later than that may have hit the pass behind it
    and is taken back.
    """
    give_up = time.monotonic() + harness.bound(10)
    while True:
        if time.monotonic() > give_up:
            raise AssertionError("the process could not be stopped in time in its wait: this machine is too busy")
        control.command(bench.control, "stats")
        answered = time.monotonic()
        harness.until(lambda: process_state(bench) == "S", 5, "the wait of the loop")
        os.kill(bench.process.pid, signal.SIGSTOP)
        in_time = time.monotonic() - answered < 0.008
        harness.until(lambda: process_state(bench) == "T", 5, "the stopped state")
        if in_time:
            break
        os.kill(bench.process.pid, signal.SIGCONT)
    try:
        yield
    finally:
        os.kill(bench.process.pid, signal.SIGCONT)


def let_pass(bench):
    """Returns after at least one whole pass of the loop has seen everything sent so far."""
    for _ in range(2):      # the first answer may come from a pass that had read its other sockets already
        control.command(bench.control, "stats")


def process_state(bench):
    """The kernel's one-letter state of the process."""
    text = pathlib.Path(f"/proc/{bench.process.pid}/stat").read_text(encoding="latin-1")
    return text.rsplit(")", 1)[1].split()[0]


def cpu_s(bench):
    """The processor time that the process has used, system and user together."""
    text = pathlib.Path(f"/proc/{bench.process.pid}/stat").read_text(encoding="latin-1")
    user, system = text.rsplit(")", 1)[1].split()[11:13]
    return (int(user) + int(system)) / os.sysconf("SC_CLK_TCK")


def open_files(bench):
    """What the process's descriptors lead to; one that is closed meanwhile is no longer among them."""
    targets = set()
    for link in pathlib.Path(f"/proc/{bench.process.pid}/fd").iterdir():
        try:
            targets.add(os.readlink(link))
        except FileNotFoundError:
            continue
    return targets


def count_descriptors(bench):
    """How many descriptors the process has open."""
    return sum(1 for _ in pathlib.Path(f"/proc/{bench.process.pid}/fd").iterdir())


def socket_rows(bench, protocol):
    """Local (address, port) of every "udp" or "tcp" socket that the process has open."""
    own = open_files(bench)
    table = pathlib.Path(f"/proc/{bench.process.pid}/net/{protocol}").read_text(encoding="ascii")
    found = []
    for row in (line.split() for line in table.splitlines()[1:]):
        if f"socket:[{row[9]}]" in own:
            address, port = row[1].split(":")
            found.append((socket.inet_ntoa(int(address, 16).to_bytes(4, sys.byteorder)), int(port, 16)))
    return found


def open_sockets(bench):
    """How many UDP and TCP sockets the process has open."""
    return {protocol: len(socket_rows(bench, protocol)) for protocol in ("udp", "tcp")}
