"""What wakes the bench from its wait of 10 ms: a command, a connection, a report."""

import time

import control
import harness
import probe
import reports


def assert_wakes(bench, exchange):
    """The exchange is over long before the wait would have been. Each begins as soon as the bench waits again, so without
    a waking it would take the whole wait; on a busy machine a few of many are quick, and that is enough."""
    took_ms = []
    for _ in range(60):
        harness.until(lambda: probe.process_state(bench) == "S", 5, "the wait of the loop")
        begun = time.monotonic()
        exchange()
        took_ms.append(1000 * (time.monotonic() - begun))
    assert sorted(took_ms)[5] < 5, sorted(took_ms)
    harness.stop(bench)


def test_a_command_does(launch):
    bench = launch()
    assert_wakes(bench, lambda: control.command(bench.control, "stats"))


def test_a_report_does(launch):
    bench = launch("--quiet")
    reporter = harness.open_reporter(bench)
    assert_wakes(bench, lambda: reports.report(reporter))


def test_a_connection_does(launch):
    bench = launch("--quiet")
    assert_wakes(bench, lambda: reports.report(harness.open_reporter(bench)))
