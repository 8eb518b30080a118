"""Measures what can be done to a bench from outside and is not prevented; run by script/limits.

Nothing is judged here: what must hold has a test. A line of figures for each limit, by the name on the page.
"""

import argparse
import contextlib
import multiprocessing
import os
import pathlib
import resource
import select
import signal
import socket
import statistics
import sys
import tempfile
import time

import control
import harness
import ports
import probe
import receiver
import reports
import soak
import wire


@contextlib.contextmanager
def running(*options, prepare=None, listen=True):
    """A quiet bench with ports and a folder of its own, released at the end."""
    with tempfile.TemporaryDirectory(prefix="limits-") as folder:
        bench = harness.start(pathlib.Path(folder) / "bench", harness.claim_doors(ports.open_pool()), "--quiet",
                              *options, prepare=prepare, listen=listen)
        try:
            yield bench
        finally:
            harness.release(bench)


def report_many(bench, count):
    """Reports so many trades, a thousand at a time."""
    reporter = harness.open_reporter(bench)
    for done in range(0, count, 1000):
        lines = [reports.report_line()] * min(1000, count - done)
        reports.send_lines(reporter, *lines)
        for _ in lines:
            reports.read_line(reporter)
    reports.close_reporter(reporter)


def longest_silence_s(bench, since):
    """The longest time between two packets of the feed from the given index of arrivals on."""
    times = [arrival.at_ns / 1e9 for arrival in bench.feed.arrivals[since:]]
    return max(later - earlier for earlier, later in zip(times, times[1:]))


def retransmissions():
    """300 requests at once, each for as many messages as one can name."""
    with running("--rate-ms", "50", "--truth-out", "", "--tape-out", "") as bench:
        report_many(bench, 65_600)
        receiver.settle(bench.feed, 60)
        since = len(bench.feed.arrivals) - 1
        sock = probe.retransmission_client(bench)
        for _ in range(300):
            sock.send(wire.request(1, 65535))
        control.command(bench.control, "stats")     # answered behind the requests
        last = bench.feed.highest
        receiver.wait_for_sequence(bench.feed, last + 5, 60)
        served = control.stats(bench.control)["retrans"]
        return (f"{served} of 300 requests of 20 bytes taken in, answered with {served * 65535:,} messages; the feed "
                f"was silent for {longest_silence_s(bench, since):.1f} s")


def repetitions():
    """ "correct -1", ended by a signal."""
    with running(listen=False) as bench:
        report_many(bench, 1)
        control.send_raw(bench.control, b"correct -1")
        before, since = soak.resident_bytes(bench), time.monotonic()
        harness.until(lambda: time.monotonic() - since > 3, 5, "three seconds")
        grown = soak.resident_bytes(bench) - before
        bench.process.send_signal(signal.SIGTERM)
        signalled = time.monotonic()
        count = int(control.read_reply(bench.control).split()[1])
        answered = time.monotonic()
        harness.finish(bench)
        return (f"{count / (answered - since):,.0f} corrections a second, nothing else meanwhile, and "
                f"{grown / 3 / 2**20:.0f} MB of memory a second; a signal ended it after {answered - signalled:.1f} s and "
                f"the bench after {time.monotonic() - signalled:.1f} s")


def _send_without_end(port, datagram):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sock:
        sock.connect(("127.0.0.1", port))
        while True:
            try:
                sock.send(datagram)
            except OSError:
                continue


def _flood(datagram, port_of):
    with running() as bench:
        senders = [multiprocessing.Process(target=_send_without_end, args=(port_of(bench.doors), datagram))
                   for _ in range(2)]
        since = len(bench.feed.arrivals)
        for sender in senders:
            sender.start()
        begin, used = time.monotonic(), probe.cpu_s(bench)
        harness.until(lambda: time.monotonic() - begin > 10, 12, "ten seconds")
        share = (probe.cpu_s(bench) - used) / (time.monotonic() - begin)
        for sender in senders:
            sender.terminate()
            sender.join()
        receiver.wait_for(bench.feed, lambda arrivals: len(arrivals) >= since + 2, 20)
        silence = longest_silence_s(bench, max(since - 1, 0))
        return (f"10 s of what two processes can send, {share:.0%} of a processor for the bench; longest time "
                f"between two heartbeats {silence:.1f} s")


def commands():
    """Commands from two processes that do not wait for their replies."""
    return _flood(b"stats", lambda doors: doors.control)


def requests():
    """Requests for two messages from two processes that do not wait for their answers."""
    return _flood(wire.request(1, 2), lambda doors: doors.retrans)


def _connect_at_once(count, seconds):
    """When, in seconds, each of so many clients had a reply that connected in one go and sent a trade; those that had."""
    with running() as bench, contextlib.ExitStack() as closing:
        begin, waiting, answered = time.monotonic(), select.poll(), []
        clients = [closing.enter_context(socket.socket()) for _ in range(count)]
        by_number = {sock.fileno(): sock for sock in clients}
        for sock in clients:
            sock.setblocking(False)
            sock.connect_ex(("127.0.0.1", bench.doors.reports))
            waiting.register(sock, select.POLLOUT)
        while len(answered) < count and time.monotonic() - begin < seconds:
            for number, event in waiting.poll(100):
                if event == select.POLLOUT:
                    by_number[number].send(reports.report_line().encode() + b"\n")
                    waiting.modify(number, select.POLLIN)
                else:
                    waiting.unregister(number)
                    answered.append(time.monotonic() - begin)
        return answered


def backlog():
    """Clients that connect in one go, more than the eight that may wait."""
    few, many = _connect_at_once(20, 20), _connect_at_once(1000, 20)
    return (f"of 20 clients that connect in one go {sum(each < 0.1 for each in few)} have their reply within 100 ms, "
            f"the last after {few[-1]:.1f} s; of 1,000 {sum(each < 0.1 for each in many)} within 100 ms, "
            f"{sum(each < 2 for each in many)} within 2 s, {len(many)} within 20 s")


def short_datagrams():
    """A request behind datagrams that are too short, each of which ends the reading of its pass."""
    with running() as bench:
        sock, times = probe.retransmission_client(bench), []
        for _ in range(20):
            begin = time.monotonic()
            for _ in range(10):
                sock.send(b"short")
            sock.send(wire.request(1, 1))
            sock.recv(2048)
            times.append(time.monotonic() - begin)
        return f"a request behind 10 short datagrams is answered after {1000 * statistics.median(times):.0f} ms (median)"


def close_with_lines():
    """Clients that send a trade and end their side in the same breath."""
    with running() as bench:
        lost = 0
        for _ in range(100):
            reporter = reports.open_reporter(bench.doors.reports, 10)
            reports.send_lines(reporter, reports.report_line())
            reporter.socket.shutdown(socket.SHUT_WR)
            with contextlib.suppress(ConnectionResetError):
                lost += reports.read_line(reporter) is None
            reports.close_reporter(reporter)
        return f"{lost} of 100 clients that sent a trade and closed at once had no reply and no trade"


def long_line():
    """A line of 50 megabytes."""
    with running() as bench:
        reporter, before, begin = harness.open_reporter(bench), probe.cpu_s(bench), time.monotonic()
        for _ in range(50):
            reporter.socket.sendall(bytes(1 << 20))
        reports.send_lines(reporter, b"")
        reports.read_line(reporter)
        return (f"50 MB without a line feed are taken in within {time.monotonic() - begin:.2f} s, "
                f"{probe.cpu_s(bench) - before:.2f} s of processor time; "
                f"the bench holds {soak.resident_bytes(bench) / 2**20:.0f} MB then")


def descriptors():
    """Clients that use up all descriptors."""
    hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    with running(prepare=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (40, hard))) as bench:
        clients = [harness.open_reporter(bench) for _ in range(34)]
        harness.until(lambda: probe.count_descriptors(bench) == 40, 5, "the last descriptor")
        begin, used = time.monotonic(), probe.cpu_s(bench)
        oldest = 0
        while time.monotonic() - begin < 5:
            oldest = max(oldest, time.time() - harness.read_stats(bench)["ts_ms"] / 1000)
            time.sleep(0.05)
        return (f"with {len(clients)} clients at 40 descriptors: {(probe.cpu_s(bench) - used) / 5:.1%} of a processor, "
                f"the snapshot at most {oldest:.1f} s old")


def console():
    """A pipe on standard error that nobody reads."""
    reading, writing = os.pipe()
    with open(reading, "rb"), open(writing, "wb") as unread, tempfile.TemporaryDirectory(prefix="limits-") as folder:
        bench = harness.start(pathlib.Path(folder) / "bench", harness.claim_doors(ports.open_pool()), console=unread,
                              listen=False)
        try:
            before = soak.resident_bytes(bench)
            begin = time.monotonic()
            report_many(bench, 250_000)
            took = time.monotonic() - begin
            grown = soak.resident_bytes(bench) - before
            signalled = time.monotonic()
            bench.process.send_signal(signal.SIGTERM)
            harness.finish(bench)
            return (f"250,000 trades in {took:.1f} s with a console that nobody reads, memory grown by "
                    f"{grown / 2**20:.0f} MB, trades included; a signal ended the bench after "
                    f"{time.monotonic() - signalled:.1f} s")
        finally:
            harness.release(bench)


LIMITS = (backlog, close_with_lines, commands, console, descriptors, long_line, repetitions, requests, retransmissions,
          short_datagrams)


def main():
    """Prints a line for each limit asked for."""
    by_name = {each.__name__: each for each in LIMITS}
    parser = argparse.ArgumentParser(description="Measures what can be done to a bench from outside.")
    parser.add_argument("names", nargs="*", metavar="NAME", help=f"any of {', '.join(by_name)}; all when none is given")
    names = parser.parse_args().names or by_name
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard if hard != resource.RLIM_INFINITY else max(soft, 4096), hard))
    for name in names:
        if name not in by_name:
            parser.error(f"no limit {name}")
        print(f"{name}: {by_name[name]()}", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
