"""Packets that the companion loses at its own receive buffer: status 7, and never a loss on the wire."""

import signal

import auditing
import companion
import control
import harness
import publisher
import reports

MORE_THAN_FIT = 16000    # packets of messages in a receive buffer of 8 MB, of which each takes more than 700 bytes


def send_reports(reporter, count):
    """Reports many trades, and waits for the answers."""
    for _ in range(count // 500):
        reports.send_lines(reporter, *[reports.report_line()] * 500)
        assert all(int(reports.read_line(reporter)[1:]) for _ in range(500))


def test_an_audit_that_could_not_keep_up_says_so(launch):
    bench = launch("--rate-ms", 0, listen=False)
    running = auditing.start(bench, "--until-end")
    reporter = harness.open_reporter(bench)
    send_reports(reporter, 500)
    running.process.send_signal(signal.SIGSTOP)
    send_reports(reporter, MORE_THAN_FIT)
    running.process.send_signal(signal.SIGCONT)
    assert control.command(bench.control, "close") == "ok"
    status = companion.finish(running, 60)
    verdict = companion.objects(running)[0]
    assert (status, verdict["verdict"]) == (7, "could not keep up"), auditing.explain(verdict)
    assert verdict["dropped_here"] >= verdict["recovered"] > 0
    assert (verdict["messages"], verdict["missing"]) == (control.stats(bench.control)["seq"], 0)


def test_a_listener_that_could_not_keep_up_says_so(pool):
    doors = harness.claim_doors(pool)
    fake = publisher.open_publisher(doors)
    running = companion.start(doors, "listen", "--json", "--until-end")
    try:
        companion.wait_until_member(running, doors)
        publisher.send(fake, publisher.numbered(1))
        companion.wait_for(running, lambda lines: any('"via"' in line for line in lines), "the first message")
        running.process.send_signal(signal.SIGSTOP)
        for number in range(2, MORE_THAN_FIT):
            publisher.send(fake, publisher.numbered(number))
        running.process.send_signal(signal.SIGCONT)

        def ended():
            publisher.send(fake, publisher.end_of_session(MORE_THAN_FIT))    # the first ones may find no room either
            return running.process.poll() is not None

        harness.until(ended, 30, "the end of listening")
        assert companion.finish(running) == 7
    finally:
        companion.release(running)
        publisher.close_publisher(fake)
    last = companion.objects(running)[-1]
    assert last["status"] == 7
    assert last["error"].startswith("could not keep up: ")
