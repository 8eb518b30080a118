"""A bench whose descriptors clients have used up: it idles, its files stay fresh, and it accepts again when they leave."""

import resource
import time

import harness
import probe
import receiver
import reports
from test_stats_file import read, wait_for_snapshot

MOST_FILES = 40
WAITING = 5     # fewer than the system keeps for the bench to accept


def limited():
    """For the new process to call."""
    hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (MOST_FILES, hard))


def exhaust(bench):
    """Connects until all descriptors are used and some clients wait: those that were answered, and those that were not."""
    probe.let_pass(bench)
    room = MOST_FILES - probe.count_descriptors(bench)
    clients = [harness.open_reporter(bench) for _ in range(room + WAITING)]
    for client in clients:
        reports.send_lines(client, reports.report_line())
    for client in clients[:room]:
        assert reports.read_line(client).startswith("A ")
    assert probe.count_descriptors(bench) == MOST_FILES
    return clients[:room], clients[room:]


def test_it_does_not_spin_and_its_snapshot_stays_fresh(launch):
    bench = launch(prepare=limited)
    answered, _ = exhaust(bench)
    since, before = time.monotonic(), probe.cpu_s(bench)
    wait_for_snapshot(bench, lambda numbers, _: numbers["reports"] == len(answered), "the trades")
    heartbeats = read(bench)[0]["heartbeats"]
    wait_for_snapshot(bench, lambda numbers, _: numbers["heartbeats"] >= heartbeats + 2, "two more heartbeats")
    share = (probe.cpu_s(bench) - before) / (time.monotonic() - since)
    assert share < 0.15 * harness.slowness(), f"{share:.0%} of a processor"
    assert reports.report(answered[0]) == len(answered) + 1
    harness.stop(bench)


def test_it_accepts_again_when_clients_leave(launch):
    bench = launch(prepare=limited)
    answered, waiting = exhaust(bench)
    for client in answered[:len(waiting)]:
        reports.close_reporter(client)
    for client in waiting:
        client.socket.settimeout(harness.bound(5))
        assert reports.read_line(client).startswith("A ")
    trades = len(answered) + len(waiting)
    receiver.wait_for_sequence(bench.feed, trades + 2, harness.bound(5))
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == list(range(1, trades + 3))


def test_a_thousand_clients_are_served_side_by_side(launch):
    count = 1000
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    wanted = min(hard, 4 * count) if hard != resource.RLIM_INFINITY else 4 * count
    resource.setrlimit(resource.RLIMIT_NOFILE, (max(soft, wanted), hard))
    bench = launch("--quiet")
    clients = []
    for trade in range(1, count + 1):
        clients.append(harness.open_reporter(bench))
        assert reports.report(clients[-1]) == trade         # answered, so accepted: none waits before the listener
    for client in clients:
        reports.send_lines(client, reports.report_line())
    ids = sorted(int(reports.read_line(client)[2:]) for client in clients)
    assert ids == list(range(count + 1, 2 * count + 1))
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == list(range(1, 2 * count + 3))
