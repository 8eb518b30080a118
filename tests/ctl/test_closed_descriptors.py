"""Programs started with standard input, output or error closed: no socket may take their places."""

import os
import pathlib
import re
import socket
import subprocess

import pytest

import companion
import control
import harness
import receiver

CLOSING = {0: "<&-", 1: ">&-", 2: "2>&-"}


def without(number, command):
    """The command as a shell starts it with this descriptor closed."""
    return ["bash", "-c", f'exec "$@" {CLOSING[number]}', "bash", *command]


def run_without(number, doors, *arguments):
    """Runs a companion to its end: (exit status, standard output, standard error)."""
    result = subprocess.run(without(number, companion.command_line(doors, *arguments)), stdin=subprocess.DEVNULL,
                            capture_output=True, text=True, timeout=harness.bound(20), check=False)
    return result.returncode, result.stdout, result.stderr


def test_a_reply_does_not_go_to_the_bench(launch):
    bench = launch()
    assert run_without(1, bench.doors, "control", "stats") == (
        6, "", "vorbelctl: standard output cannot be written\n")
    assert control.command(bench.control, "mark behind") == "ok"    # served after whatever came before
    harness.wait_for_line(bench, re.compile("bench: mark behind → ok".encode()))
    assert [line for line in harness.console_lines(bench) if " → " in line] == ["bench: mark behind → ok"]


def test_an_error_does_not_go_to_the_bench(doors):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as silent:
        silent.bind(("127.0.0.1", doors.control))
        silent.settimeout(harness.bound(5))
        assert run_without(2, doors, "control", "--timeout", "0.2", "pause") == (3, "", "")
        assert silent.recv(300) == b"pause"
        silent.setblocking(False)
        with pytest.raises(BlockingIOError):
            silent.recv(300)


def test_a_program_does_without_its_standard_input(launch):
    bench = launch()
    assert run_without(0, bench.doors, "control", "pause") == (0, "ok\n", "")
    status, _, errors = run_without(0, bench.doors, "report")
    assert status == 2
    assert errors == "vorbelctl: cannot read standard input: Bad file descriptor\n"


@pytest.mark.parametrize("number", CLOSING)
def test_a_bench_keeps_its_sockets_to_itself(number, doors, tmp_path):
    feed = receiver.open_receiver(doors.group, doors.feed)
    command = [harness.binary(), *harness.arguments(doors, tmp_path), "--rate-ms", "20"]
    with subprocess.Popen(without(number, command), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, env=harness.environment()) as bench:
        try:
            harness.until(lambda: (tmp_path / "stats.json").exists(), 20, "the first pass")
            assert os.readlink(f"/proc/{bench.pid}/fd/{number}") == "/dev/null"
            client = control.open_control(doors.control, harness.bound(10))
            assert control.command(client, "mark here") == "ok"
            assert control.command(client, "stop") == "ok"
            client.socket.close()
            assert bench.wait(harness.bound(20)) == 0
        finally:
            bench.kill()
    receiver.settle(feed, harness.bound(10))
    receiver.close_receiver(feed)
    assert len(feed.arrivals) >= 2
    assert all(arrival.data.startswith(b"BTDS000001") for arrival in feed.arrivals)
    files = "".join(pathlib.Path(tmp_path / name).read_text(encoding="utf-8") for name in ("truth.jsonl", "tape.jsonl"))
    assert "bench:" not in files and "[vorbeld]" not in files
