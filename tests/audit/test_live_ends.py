"""What ends the audit of a running bench before its session does."""

import re
import threading

import auditing
import companion
import control
import harness
import receiver


def test_an_interrupt_ends_it_with_everything_judged(launch):
    bench = launch("--rate-ms", 5, "--drop-every", 4, "--quiet")
    running = auditing.start(bench)
    receiver.wait_for_sequence(bench.feed, 400, harness.bound(30))
    assert companion.interrupt(running) == 0
    verdict = companion.objects(running)[0]
    assert verdict["ended_by"] == "interrupt"
    assert verdict["messages"] == verdict["last"] >= 350
    assert verdict["missing"] == 0


def test_a_feed_that_falls_silent_ends_it(launch):
    bench = launch("--rate-ms", 10)
    receiver.wait_for_sequence(bench.feed, 50, harness.bound(20))
    stopper = threading.Timer(harness.bound(1), control.command, (bench.control, "stop"))
    stopper.start()
    status, verdict = auditing.audit(bench, "--timeout", harness.bound(2))
    stopper.join()
    assert (status, verdict["verdict"], verdict["ended_by"]) == (0, "equal", "silence"), auditing.explain(verdict)
