"""Floods of commands and retransmission requests, as fast as they are answered: heartbeats and trades keep their cadence.

What a flood may come to that does not wait for its answers is not tested but told: it can hold the loop.
"""

import contextlib
import socket
import threading
import time

import control
import harness
import probe
import receiver
import wire

FLOOD_S = 3.2
MOST_WAITING = 100      # datagrams, fewer than a socket of the bench holds


@contextlib.contextmanager
def flood(send_some):
    """Calls send_some(), which sends datagrams and returns when they are answered, over and over beside the body."""
    ending, rounds, problems = threading.Event(), [], []

    def run():
        try:
            while not ending.is_set():
                send_some()
                rounds.append(time.monotonic())
        except OSError as problem:
            problems.append(problem)

    thread = threading.Thread(target=run)
    thread.start()
    try:
        yield rounds
    finally:
        ending.set()
        thread.join()
        assert problems == [] and rounds


def command_rounds(bench):
    """A function that has a hundred commands answered."""
    client = control.open_control(bench.doors.control, harness.bound(10))
    bench.closing.callback(client.socket.close)

    def send_some():
        for _ in range(MOST_WAITING):
            control.send_raw(client, b"rate")
        for _ in range(MOST_WAITING):
            control.read_reply(client)

    return send_some


def request_rounds(bench):
    """A function that has a hundred requests answered, each for all that there is at the start."""
    sock = probe.retransmission_client(bench)

    def send_some():
        for _ in range(MOST_WAITING):
            sock.send(wire.request(1, 2))
        for _ in range(MOST_WAITING):
            sock.recv(2048)

    return send_some


def assert_even(bench, times, wanted_s, longest_s):
    """Between any two of the moments lies the wanted time at least, and the longest or what the machine lost at most."""
    for earlier, later in zip(times, times[1:]):
        harness.assert_lasted(bench, earlier, later, wanted_s, usual_s=longest_s - wanted_s)


def flooded(launch, kind, *options):
    """Runs a bench under a flood for a while; the packets that it sent meanwhile, and how many rounds there were."""
    bench = launch("--quiet", *options)
    rounds_of = {"commands": command_rounds, "requests": request_rounds}[kind]
    since = time.monotonic()
    with flood(rounds_of(bench)) as rounds:
        harness.until(lambda: time.monotonic() - since > FLOOD_S, 5, "the end of the flood")
    packets = receiver.packets(bench.feed)
    harness.stop(bench)
    assert len(rounds) > 10
    return bench, packets


def test_commands_leave_heartbeats_their_cadence(launch):
    bench, packets = flooded(launch, "commands")
    beats = [arrival.at_ns for arrival, packet in packets if not packet.messages]
    assert len(beats) >= 2
    assert_even(bench, beats, 1.0, 1.1)


def test_requests_leave_heartbeats_their_cadence(launch):
    bench, packets = flooded(launch, "requests")
    beats = [arrival.at_ns for arrival, packet in packets if not packet.messages]
    assert len(beats) >= 2
    assert_even(bench, beats, 1.0, 1.1)


def test_requests_leave_trades_their_cadence(launch):
    bench, packets = flooded(launch, "requests", "--rate-ms", 100)
    trades = [arrival.at_ns for arrival, packet in packets if packet.sequence > 2]
    assert len(trades) > 5
    assert_even(bench, trades, 0.03, 0.2)


def test_clients_that_have_gone_are_answered_into_the_void(launch):
    bench = launch()
    for _ in range(20):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as gone:
            gone.sendto(wire.request(1, 65535), ("127.0.0.1", bench.doors.retrans))
            gone.sendto(b"mark gone", ("127.0.0.1", bench.doors.control))
    probe.let_pass(bench)
    assert len(probe.ask(bench, wire.request(1, 2))) == 1
    assert control.stats(bench.control)["retrans"] == 22
    harness.stop(bench)
    assert sum(b"mark" in line for line in harness.truth_lines(bench)) == 20


def test_short_datagrams_put_off_those_behind_them_and_lose_none(launch):
    bench = launch()
    answers = probe.ask(bench, *[b"short", wire.request(1, 1)] * 20)
    assert len(answers) == 20
    harness.stop(bench)
