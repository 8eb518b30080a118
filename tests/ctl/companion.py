"""Runs vorbelctl: once to its end, or as a process whose lines are waited for.

Owns the processes that it starts; each is only ever ended through its own process id.
"""

import contextlib
import dataclasses
import json
import os
import pathlib
import signal
import subprocess
import threading

import harness

SANITIZER_MARKS = ("AddressSanitizer", "LeakSanitizer", "runtime error:")


@dataclasses.dataclass
class Running:
    """A companion that runs on; `lines` grows with its standard output."""
    process: subprocess.Popen
    lines: list = dataclasses.field(default_factory=list)
    errors: list = dataclasses.field(default_factory=list)
    changed: threading.Condition = dataclasses.field(default_factory=threading.Condition)
    threads: list = dataclasses.field(default_factory=list)


def binary():
    """The companion under test: VORBELCTL_BIN, or the release build of this tree."""
    path = pathlib.Path(os.environ.get("VORBELCTL_BIN", harness.REPOSITORY / "build/release/vorbelctl"))
    if not path.is_file():
        raise RuntimeError(f"no vorbelctl at {path}: build it, or name one in VORBELCTL_BIN")
    return str(path.resolve())


def addresses(doors):
    """Options that lead a companion to the bench behind these doors."""
    return ["--mcast", doors.group, "--port", str(doors.feed), "--report-port", str(doors.reports),
            "--retrans-port", str(doors.retrans), "--control-port", str(doors.control)]


def command_line(doors, *arguments):
    """The whole command; options go before a "--", behind which words may look like anything."""
    words = [str(argument) for argument in arguments]
    return [binary(), words[0], *addresses(doors), *words[1:]]


def run(doors, *arguments, text="", seconds=20):
    """Runs to the end with `text` as standard input: (exit status, standard output, standard error)."""
    result = subprocess.run(command_line(doors, *arguments), input=text, capture_output=True, text=True,
                            errors="surrogateescape", timeout=harness.bound(seconds), check=False)
    for mark in SANITIZER_MARKS:
        if mark in result.stderr:
            raise AssertionError(result.stderr)
    return result.returncode, result.stdout, result.stderr


def parse_lines(lines):
    """The objects of JSON lines, without the times of receipt: they are numbers that a test cannot know."""
    found = [json.loads(line) for line in lines]
    for each in found:
        assert isinstance(each.pop("received_ms", 0), int)
    return found


def run_json(doors, *arguments, text="", seconds=20):
    """Runs with --json: (exit status, the objects of its lines, without the times of receipt)."""
    status, output, _ = run(doors, arguments[0], "--json", *arguments[1:], text=text, seconds=seconds)
    return status, parse_lines(output.splitlines())


def start(doors, *arguments, stdin=subprocess.DEVNULL):
    """Starts a companion and reads along."""
    process = subprocess.Popen(command_line(doors, *arguments), stdin=stdin, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True, errors="surrogateescape")
    running = Running(process)
    for stream, lines in ((process.stdout, running.lines), (process.stderr, running.errors)):
        running.threads.append(threading.Thread(target=_read, args=(running, stream, lines), daemon=True))
        running.threads[-1].start()
    return running


def _read(running, stream, lines):
    for line in stream:
        with running.changed:
            lines.append(line.rstrip("\n"))
            running.changed.notify_all()
    stream.close()


def wait_for(running, condition, what, seconds=10):
    """Waits until condition(lines) holds for the lines of standard output so far."""
    with running.changed:
        if not running.changed.wait_for(lambda: condition(running.lines), harness.bound(seconds)):
            raise AssertionError(f"{what} did not come: {running.lines[-20:]} {running.errors[-20:]}")


def open_inodes(process):
    """The inodes of the sockets that the process has open; one that closes meanwhile does not matter."""
    inodes = set()
    for link in pathlib.Path(f"/proc/{process.pid}/fd").iterdir():
        with contextlib.suppress(FileNotFoundError):
            target = os.readlink(link)
            if target.startswith("socket:["):
                inodes.add(target[len("socket:["):-1])
    return inodes


def wait_until_member(running, doors, seconds=10):
    """Waits until the companion listens on the feed port, so that nothing sent from now on is missed.

    It joins the group before it binds the port.
    """
    def listens():
        if running.process.poll() is not None:
            raise AssertionError(f"ended with {running.process.returncode}: {running.errors}")
        table = pathlib.Path("/proc/net/udp").read_text(encoding="ascii").splitlines()[1:]
        bound = {row.split()[9] for row in table if row.split()[1].endswith(f":{doors.feed:04X}")}
        return bound & open_inodes(running.process)

    harness.until(listens, seconds, "the companion's membership")


def objects(running):
    """The JSON objects of the lines so far, without the times of receipt."""
    with running.changed:
        return parse_lines(running.lines)


def finish(running, seconds=20):
    """Waits for the end: the exit status, with everything read."""
    status = running.process.wait(harness.bound(seconds))
    for thread in running.threads:
        thread.join(harness.bound(10))
    return status


def interrupt(running, number=signal.SIGINT):
    """Sends the signal and waits for the end: the exit status."""
    running.process.send_signal(number)
    return finish(running)


def release(running):
    """Frees everything, killing the process if it still runs. The sanitizer lines it printed, normally none."""
    if running.process.poll() is None:
        running.process.send_signal(signal.SIGKILL)
    finish(running)
    return [line for line in running.errors if any(mark in line for mark in SANITIZER_MARKS)]
