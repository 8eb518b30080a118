"""Port numbers that no other test process is using.

Owns the lock files that keep concurrent test processes apart: a port is claimed by an exclusive lock on a file named
after it, held until the process ends. Leaves binding to whoever the port is for.
"""

import dataclasses
import fcntl
import os
import pathlib
import socket
import tempfile
import time

FIRST_PORT = 20100   # below the range from which the kernel picks ports for connections
LAST_PORT = 28900    # above this begin the bench's own default ports


@dataclasses.dataclass
class Port_pool:
    """The claims of one process; the locks live as long as their open files."""
    folder: pathlib.Path
    next_port: int
    locks: list = dataclasses.field(default_factory=list)


def open_pool():
    """A pool with nothing claimed. Processes begin at different places, so that they seldom try each other's ports."""
    folder = pathlib.Path(tempfile.gettempdir()) / f"bench-test-ports-{os.getuid()}"
    folder.mkdir(exist_ok=True)
    return Port_pool(folder, FIRST_PORT + os.getpid() * 61 % (LAST_PORT - FIRST_PORT))


def claim_port(pool):
    """The next port that is neither claimed nor bound by anyone. Raises RuntimeError when the range is used up."""
    for _ in range(LAST_PORT - FIRST_PORT):
        port = pool.next_port
        pool.next_port = FIRST_PORT + (port + 1 - FIRST_PORT) % (LAST_PORT - FIRST_PORT)
        if lock_port(pool, port):
            return port
    raise RuntimeError(f"no free port between {FIRST_PORT} and {LAST_PORT}")


def lock_port(pool, port):
    """Claims one given port; False when another process has it or something is bound to it."""
    lock = open(pool.folder / f"{port}.lock", "w", encoding="ascii")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except OSError:
        lock.close()
        return False
    if not port_is_free(port):
        lock.close()
        return False
    pool.locks.append(lock)
    return True


def lock_ports_within(pool, ports, seconds):
    """Claims all the given ports, trying for so many seconds. The first that stayed busy, or None when all are ours."""
    give_up = time.monotonic() + seconds
    for port in ports:
        while not lock_port(pool, port):
            if time.monotonic() > give_up:
                return port
            time.sleep(0.05)
    return None


def port_is_free(port):
    """Whether both a TCP listener and a UDP socket could be bound now."""
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as stream, \
            socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as datagram:
        # Old connections of an earlier run may linger on the port; a listener is still refused with this option.
        stream.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            stream.bind(("0.0.0.0", port))
            stream.listen(1)
            datagram.bind(("0.0.0.0", port))
        except OSError:
            return False
    return True
