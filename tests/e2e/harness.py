"""Runs one bench: its folder, its doors, its console, its end.

Owns the process and everything opened to talk to it. A bench is only ever stopped through its own process id.
"""

import contextlib
import dataclasses
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import threading
import time

import control
import machine
import ports
import receiver
import reports

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
GROUP = "239.255.28.97"
SANITIZER_MARKS = (b"AddressSanitizer", b"LeakSanitizer", b"runtime error:")


@dataclasses.dataclass(frozen=True)
class Doors:
    """Where a bench can be reached; a port of 0 is not opened."""
    feed: int
    reports: int
    retrans: int
    control: int
    group: str = GROUP


@dataclasses.dataclass
class Console:
    """Standard error, line by line, without line feeds; `ended` once the process has closed it."""
    lines: list = dataclasses.field(default_factory=list)
    changed: threading.Condition = dataclasses.field(default_factory=threading.Condition)
    ended: bool = False


@dataclasses.dataclass
class Bench:
    """A running bench. `feed` and `control` are None where they were not asked for."""
    process: subprocess.Popen
    doors: Doors
    folder: pathlib.Path
    console: Console
    reader: threading.Thread
    feed: receiver.Receiver
    control: control.Control
    closing: contextlib.ExitStack
    watch: machine.Watch


def need(program):
    """The path of a program that a test cannot do without. One that is missing fails the test: skipped, it would hide
    that nothing was tested."""
    found = shutil.which(program)
    if not found:
        raise RuntimeError(f"{program} is not installed: script/bootstrap test installs it")
    return found


def binary():
    """The daemon under test: VORBELD_BIN, or the release build of this tree."""
    path = pathlib.Path(os.environ.get("VORBELD_BIN", REPOSITORY / "build/release/vorbeld"))
    if not path.is_file():
        raise RuntimeError(f"no daemon at {path}: build it, or name one in VORBELD_BIN")
    return str(path.resolve())


def slowness():
    """How much slower than a release build the daemon may be: VORBELD_SLOW, 1 by default."""
    return float(os.environ.get("VORBELD_SLOW", "1"))


def bound(seconds):
    """How long to wait for what takes no longer than so many seconds on an idle machine."""
    return 4 * seconds * slowness()


def slack_s(bench, since_s, until_s, usual_s=0.25):
    """By how much an event may be late that was due between two moments of the wall clock.

    What a pass of the loop and a slow build take, and twice what this machine lost in that time.
    """
    return usual_s * slowness() + 2 * machine.late_between(bench.watch, since_s, until_s)


def assert_lasted(bench, since_ns, until_ns, wanted_s, usual_s=0.25):
    """The time between two wall-clock moments in ns is the wanted one, to the millisecond, or a little more.

    It may be shorter by what the machine lost: the first event may have come out late.
    """
    since_s, until_s = since_ns / 1e9, until_ns / 1e9
    took_s, late_s = until_s - since_s, slack_s(bench, since_s, until_s, usual_s)
    if not wanted_s - 0.003 - (late_s - usual_s * slowness()) <= took_s <= wanted_s + late_s:
        raise AssertionError(f"took {took_s:.4f} s, not {wanted_s} s to {wanted_s + late_s:.4f} s")


def claim_doors(pool, **chosen):
    """Doors on ports of this process's own, except those given by name."""
    for name in ("feed", "reports", "retrans", "control"):
        if name not in chosen:
            chosen[name] = ports.claim_port(pool)
    return Doors(**chosen)


def environment(scenario=None, clock_shift_s=None):
    """The environment of a bench: no scenario from outside unless one is given, the system's time unless shifted."""
    variables = {name: value for name, value in os.environ.items() if name != "VORBELD_SCENARIO"}
    if clock_shift_s is not None:
        variables.update(LD_PRELOAD=os.environ["SHIFTED_CLOCK"], CLOCK_SHIFT_S=str(clock_shift_s),
                         ASAN_OPTIONS="verify_asan_link_order=0")
    if scenario is not None:
        variables["VORBELD_SCENARIO"] = scenario
    return variables


def arguments(doors, folder):
    """Options that give a bench its doors and its files; later ones on the command line win."""
    return ["--mcast", doors.group, "--port", str(doors.feed), "--report-port", str(doors.reports),
            "--retrans-port", str(doors.retrans), "--control-port", str(doors.control),
            "--truth-out", str(folder / "truth.jsonl"), "--tape-out", str(folder / "tape.jsonl"),
            "--stats-out", str(folder / "stats.json")]


def start(folder, doors, *options, listen=True, ready=True, scenario=None, bare=False, clock_shift_s=None,
          console=None, prefix=(), prepare=None):
    """Starts a bench and waits until its main loop runs (the statistics file appears in its first pass).

    ready=False returns at once. bare=True gives it none of the options for doors and files, and does not wait either.
    `clock_shift_s` sets its wall clock ahead of the system's; times of arrival stay the system's.
    `console`, a file or descriptor, becomes its standard error, of which bench.console then has nothing. `prefix` is a
    command that executes the one behind it. `prepare` is called in the new process before it executes anything.
    AssertionError with the console text when the process ends instead.
    """
    folder.mkdir(parents=True, exist_ok=True)
    closing, watch = contextlib.ExitStack(), machine.open_watch()
    closing.callback(machine.close_watch, watch)
    feed = receiver.open_receiver(doors.group, doors.feed) if listen else None
    if feed:
        closing.callback(receiver.close_receiver, feed)
    with open(folder / "stdout", "wb") as output:
        given = [] if bare else arguments(doors, folder)
        process = subprocess.Popen([*prefix, binary(), *given, *map(str, options)], cwd=folder, stdout=output,
                                   stdin=subprocess.DEVNULL, stderr=subprocess.PIPE if console is None else console,
                                   env=environment(scenario, clock_shift_s), preexec_fn=prepare)
    lines = Console()
    reader = threading.Thread(target=_read_console, args=(process.stderr or [], lines), daemon=True)
    reader.start()
    client = control.open_control(doors.control, bound(10)) if doors.control else None
    if client:
        closing.callback(client.socket.close)
    bench = Bench(process, doors, folder, lines, reader, feed, client, closing, watch)
    if ready and not bare:
        wait_until_running(bench)
    return bench


def wait_until_running(bench):
    """Waits for the first pass of the main loop and for what was sent before it to be received.

    A bench that does not get there is released.
    """
    try:
        until(lambda: (bench.folder / "stats.json").exists() or bench.process.poll() is not None, 20, "the first pass")
        if bench.process.poll() is not None:
            raise AssertionError(f"the bench ended at once: {finish(bench)}, {bench.console.lines}")
        if bench.feed:
            receiver.settle(bench.feed, bound(10))
    except AssertionError:
        release(bench)
        raise


def run_to_end(options, folder, scenario=None):
    """Runs the daemon with exactly these options until it ends by itself: (exit status, standard error)."""
    result = subprocess.run([binary(), *options], cwd=folder, stdin=subprocess.DEVNULL, capture_output=True,
                            timeout=bound(20), env=environment(scenario), check=False)
    if result.stdout:
        raise AssertionError(f"nothing belongs on standard output: {result.stdout!r}")
    return result.returncode, result.stderr


def _read_console(stream, console):
    for line in stream:
        with console.changed:
            console.lines.append(line.rstrip(b"\n"))
            console.changed.notify_all()
    if stream:
        stream.close()
    with console.changed:
        console.ended = True
        console.changed.notify_all()


def until(condition, seconds, what):
    """Polls until condition() is true, which is returned. AssertionError, naming `what`, after the bound."""
    give_up = time.monotonic() + bound(seconds)
    while not (result := condition()):
        if time.monotonic() > give_up:
            raise AssertionError(f"{what} did not come within {bound(seconds)} s")
        time.sleep(0.002)
    return result


def wait_for_line(bench, wanted, seconds=10, start_at=0):
    """Index of the first console line, from `start_at`, that equals the text or matches the pattern."""
    pattern = wanted if isinstance(wanted, re.Pattern) else re.compile(re.escape(wanted.encode("utf-8")))

    def found():
        for index in range(start_at, len(bench.console.lines)):
            if pattern.fullmatch(bench.console.lines[index]):
                return index + 1
        return None

    with bench.console.changed:
        number = bench.console.changed.wait_for(lambda: found() or bench.console.ended, bound(seconds)) and found()
        if not number:
            raise AssertionError(f"no line {wanted!r} within {bound(seconds)} s: {bench.console.lines[-20:]}")
        return number - 1


def console_lines(bench):
    """Everything printed so far, as text."""
    with bench.console.changed:
        return [line.decode("utf-8", "surrogateescape") for line in bench.console.lines]


def finish(bench, seconds=20):
    """Waits for the process to end by itself and returns its status (negative: the signal that killed it).

    Console and feed are complete then.
    """
    status = bench.process.wait(bound(seconds))
    bench.reader.join(bound(seconds))
    if bench.feed:
        receiver.settle(bench.feed, bound(seconds))
    output = (bench.folder / "stdout").read_bytes()
    if output:
        raise AssertionError(f"nothing belongs on standard output: {output[:200]!r}")
    return status


def stop(bench):
    """Stops by the control command; AssertionError unless the bench ends in order."""
    reply = control.command(bench.control, "stop")
    status = finish(bench)
    if (reply, status) != ("ok", 0):
        raise AssertionError(f"stop was answered {reply!r}, exit status {status}: {bench.console.lines[-20:]}")


def release(bench):
    """Frees everything, killing the process if it still runs. The sanitizer lines it printed, normally none."""
    if bench.process.poll() is None:
        bench.process.send_signal(signal.SIGKILL)
        bench.process.wait()
    bench.reader.join(bound(20))
    bench.closing.close()
    return [line for line in bench.console.lines if any(mark in line for mark in SANITIZER_MARKS)]


@contextlib.contextmanager
def launching(pool, folder, **usual):
    """Gives start_one(*options, doors=..., **settings), which starts benches in folders of their own below `folder`.

    What is usual is overruled by the settings of a bench. All are released at the end and must have been well.
    """
    benches = []

    def start_one(*options, doors=None, **settings):
        bench = start(folder / f"bench{len(benches)}", doors or claim_doors(pool), *options, **(usual | settings))
        benches.append(bench)
        return bench

    yield start_one
    complaints = [line for bench in benches for line in release(bench)]
    assert complaints == []


def open_reporter(bench):
    """A report connection that is closed with the bench."""
    reporter = reports.open_reporter(bench.doors.reports, bound(10))
    bench.closing.callback(reports.close_reporter, reporter)
    return reporter


def file_lines(bench, name):
    """The whole lines of a file of the bench, without line feeds; AssertionError when the last one is cut off."""
    data = (bench.folder / name).read_bytes()
    if data and not data.endswith(b"\n"):
        raise AssertionError(f"{name} ends within a line: {data[-80:]!r}")
    return data.split(b"\n")[:-1]


def truth_lines(bench):
    """The truth file's lines, as bytes."""
    return file_lines(bench, "truth.jsonl")


def tape_lines(bench):
    """The tape's lines, as bytes."""
    return file_lines(bench, "tape.jsonl")


def read_stats(bench):
    """The statistics snapshot, parsed."""
    return json.loads((bench.folder / "stats.json").read_bytes())
