"""Programs under load and the programs that load them: starting, finding ports, memory, files, stopping.

Knows nothing of what is measured; whatever goes wrong is raised as Failure, because a figure of work that was only half
done is worth nothing.
"""

import contextlib
import dataclasses
import json
import os
import pathlib
import random
import socket
import struct
import subprocess
import time

PATIENCE_S = 10
FIRST_PORT, LAST_PORT = 11_000, 20_000  # below those that the kernel gives to connections, and so to anybody
SO_RCVBUFFORCE = 33


class Failure(Exception):
    """A program or its work was not as it must be."""


@dataclasses.dataclass
class Place:
    """Where the programs are and where they run."""

    daemon: pathlib.Path
    tools: pathlib.Path  # folder of the floor and the load programs
    scratch: pathlib.Path  # for truth files and tapes
    cpu_of_program: int | None  # None: wherever the kernel likes, on a machine with one CPU
    cpu_of_load: int | None


@dataclasses.dataclass
class Running:
    """A program under load. Its ports are of its own, so several benchmarks can run at once."""

    place: Place
    process: subprocess.Popen
    group: str
    ports: dict[str, int]  # report, retrans, control, feed
    truth: pathlib.Path | None
    tape: pathlib.Path | None
    reported: int = 0  # trades, by whoever loads it

    @property
    def pid(self) -> int:
        return self.process.pid

    @property
    def is_daemon(self) -> bool:
        return self.process.args[0] == self.place.daemon


def find_place(daemon: str, tools: str, scratch: pathlib.Path) -> Place:
    """The program and its load on CPUs of their own where there are two: they would push each other around."""
    programs = [pathlib.Path(daemon).resolve(), pathlib.Path(tools, "floor").resolve()]
    for program in programs:
        if not os.access(program, os.X_OK):
            raise Failure(f"no program {program}: build the release preset, or name it")
    cpus = sorted(os.sched_getaffinity(0))
    pinned = (cpus[0], cpus[1]) if len(cpus) > 1 else (None, None)
    return Place(programs[0], programs[1].parent, scratch, *pinned)


def check(what: str, actual, expected) -> None:
    if actual != expected:
        raise Failure(f"{what}: {actual}, expected {expected}")


def hold_free_port(held: contextlib.ExitStack, kind: socket.SocketKind) -> int:
    """A port that nobody has, and that nobody else gets while `held` is open."""
    for _ in range(100):
        holder = held.enter_context(socket.socket(socket.AF_INET, kind))
        with contextlib.suppress(OSError):
            holder.bind(("0.0.0.0", random.randrange(FIRST_PORT, LAST_PORT)))
            return holder.getsockname()[1]
    raise Failure(f"no free port between {FIRST_PORT} and {LAST_PORT}")


def free_ports() -> dict[str, int]:
    """One for each door; all are held until the last is found, so that they differ."""
    kinds = {"report": socket.SOCK_STREAM, "retrans": socket.SOCK_DGRAM, "control": socket.SOCK_DGRAM,
             "feed": socket.SOCK_DGRAM}
    with contextlib.ExitStack() as held:
        return {name: hold_free_port(held, kind) for name, kind in kinds.items()}


def pin(cpu: int | None):
    """What a child does before exec to stay on one CPU."""
    return None if cpu is None else lambda: os.sched_setaffinity(0, {cpu})


def addresses(group: str, ports: dict[str, int]) -> list[str]:
    return ["--mcast", group, "--iface", "127.0.0.1", "--port", str(ports["feed"]), "--report-port",
            str(ports["report"]), "--retrans-port", str(ports["retrans"]), "--control-port", str(ports["control"])]


def random_group() -> str:
    return f"239.192.{random.randrange(1, 255)}.{random.randrange(1, 255)}"


def program_of(place: Place, name: str) -> pathlib.Path:
    """The daemon, which everything is about, or the floor."""
    return place.daemon if name == "bench" else place.tools / name


def ask(running: Running, command: str) -> str:
    """The reply to a control command, without its line feed."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as control:
        control.settimeout(PATIENCE_S)
        control.connect(("127.0.0.1", running.ports["control"]))
        control.send(command.encode())
        return control.recv(1024).decode().rstrip("\n")


def wait_until_up(running: Running) -> None:
    deadline = time.monotonic() + PATIENCE_S
    while running.process.poll() is None and time.monotonic() < deadline:
        try:
            ask(running, "stats")
            return
        except ConnectionRefusedError:
            time.sleep(0.002)  # not bound yet; refused at once, so this bounds the rate of asking
    raise Failure("does not come up: " + " ".join(map(str, running.process.args)))


@contextlib.contextmanager
def start(place: Place, name: str, files: bool = False):
    """Runs a program until the block is left; with a truth file and a tape in the scratch folder where asked for."""
    group, ports = random_group(), free_ports()
    truth = tape = None
    arguments = [program_of(place, name), *addresses(group, ports), "--quiet"]
    if files:
        truth, tape = (place.scratch / f"{kind}-{ports['control']}.jsonl" for kind in ("truth", "tape"))
        arguments += ["--truth-out", truth, "--tape-out", tape]
    process = subprocess.Popen(arguments, stderr=subprocess.DEVNULL, preexec_fn=pin(place.cpu_of_program))
    running = Running(place, process, group, ports, truth, tape)
    try:
        wait_until_up(running)
        yield running
        check("reply to stop", ask(running, "stop"), "ok")
        check("exit status", process.wait(PATIENCE_S), 0)
    finally:
        process.kill()
        process.wait()
        for file in (truth, tape):
            if file is not None:
                file.unlink(missing_ok=True)


def run_load(place: Place, name: str, *options, pinned: bool = True) -> dict:
    """What a load program printed."""
    arguments = [str(place.tools / name), *map(str, options)]
    result = subprocess.run(arguments, capture_output=True, text=True, check=False,
                            preexec_fn=pin(place.cpu_of_load if pinned else None))
    if result.returncode != 0:
        raise Failure(f"{' '.join(arguments)}: status {result.returncode}\n{result.stdout}{result.stderr}")
    return json.loads(result.stdout)


def load(running: Running, name: str, port: str, *options) -> dict:
    """Loads a running program at one of its ports."""
    return run_load(running.place, name, "--port", running.ports[port], "--pid", running.pid, *options)


def resident_bytes(running: Running) -> int:
    for line in pathlib.Path(f"/proc/{running.pid}/smaps_rollup").read_text().splitlines():
        if line.startswith("Rss:"):
            return int(line.split()[1]) * 1024
    raise Failure("smaps_rollup has no Rss line")


def count_lines(file: pathlib.Path) -> int:
    with file.open("rb") as stream:
        return sum(piece.count(b"\n") for piece in iter(lambda: stream.read(1 << 20), b""))


@contextlib.contextmanager
def feed_receiver(running: Running):
    """A socket that has joined the feed, wide enough for some hundred packets nobody reads yet."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as receiver:
        try:
            receiver.setsockopt(socket.SOL_SOCKET, SO_RCVBUFFORCE, 4 << 20)
        except PermissionError:
            receiver.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4 << 20)  # cut to the system's limit
        receiver.bind((running.group, running.ports["feed"]))
        membership = struct.pack("4s4s", socket.inet_aton(running.group), socket.inet_aton("127.0.0.1"))
        receiver.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)
        receiver.setblocking(False)
        yield receiver


def count_message_packets(receiver: socket.socket) -> int:
    """Packets that wait, heartbeats aside."""
    count = 0
    with contextlib.suppress(BlockingIOError):
        while packet := receiver.recv(2048):
            count += len(packet) > 20
    return count
