"""vorbelctl wait: the readiness probe."""

import socket
import time

import companion
import harness
import publisher


def test_a_running_bench_is_ready(launch):
    bench = launch()
    status, output, errors = companion.run(bench.doors, "wait", "--timeout", 5)
    assert (status, errors) == (0, "")
    assert output.startswith(f"ready: the control port 127.0.0.1:{bench.doors.control} answers after ")
    status, lines = companion.run_json(bench.doors, "wait")
    assert status == 0
    assert (lines[0]["ready"], lines[0]["by"], lines[0]["seq"]) == (True, "control", 2)


def test_a_bench_is_waited_for(doors, launch, follow):
    waiting = follow(doors, "wait", "--timeout", harness.bound(20))
    companion.wait_until_member(waiting, doors)
    assert waiting.process.poll() is None
    launch(doors=doors)
    assert companion.finish(waiting) == 0
    assert waiting.lines[0].startswith("ready: ")


def test_a_bench_without_control_port_is_heard_on_its_feed(pool, launch):
    bench = launch(doors=harness.claim_doors(pool, control=0))
    status, output, _ = companion.run(bench.doors, "wait")
    assert status == 0
    assert f"the feed {bench.doors.group}:{bench.doors.feed} answers" in output


def test_a_closed_control_port_does_not_matter_when_the_feed_is_heard(pool, doors, launch):
    bench = launch(doors=harness.claim_doors(pool, control=0))
    both = harness.dataclasses.replace(bench.doors, control=doors.control)
    status, lines = companion.run_json(both, "wait")
    assert (status, lines[0]["by"]) == (0, "feed")


def test_nobody_is_not_ready(doors):
    before = time.monotonic()
    status, output, errors = companion.run(doors, "wait", "--timeout", "0.3")
    assert time.monotonic() - before >= 0.3
    assert (status, output) == (3, "")
    assert "no answer within 0.3 s" in errors
    assert f"127.0.0.1:{doors.control}" in errors
    assert f"{doors.group}:{doors.feed}" in errors
    status, lines = companion.run_json(doors, "wait", "--timeout", "0")
    assert (status, len(lines), lines[0]["ready"], lines[0]["status"]) == (3, 1, False, 3)
    assert lines[0]["error"].startswith("no answer within 0 s, neither on the control port")


def test_a_feed_that_is_heard_is_not_denied(pool, launch):
    bench = launch("--rate-ms", 20, doors=harness.claim_doors(pool, control=0))
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as stranger:  # takes questions and answers none
        stranger.bind(("127.0.0.1", 0))
        doors = harness.dataclasses.replace(bench.doors, control=stranger.getsockname()[1])
        status, _, errors = companion.run(doors, "wait", "--timeout", "2")
    assert status == 3
    assert f"no answer within 2 s from the control port 127.0.0.1:{doors.control}, although the feed" in errors
    assert "is heard" in errors


def test_a_control_port_that_was_not_given_is_not_spoken_of(doors):
    status, _, errors = companion.run(harness.dataclasses.replace(doors, control=0), "wait", "--timeout", "0.2")
    assert status == 3
    assert f"no answer within 0.2 s on the feed {doors.group}:{doors.feed}" in errors
    assert "control port" not in errors


def test_another_session_is_not_ours(fake, follow):
    waiting = follow(fake.doors, "wait", "--timeout", harness.bound(20))
    companion.wait_until_member(waiting, fake.doors)
    publisher.send(fake, publisher.heartbeat(1, session=b"OTHER"))
    publisher.send(fake, b"no packet")
    publisher.send(fake, publisher.heartbeat(1))
    assert companion.finish(waiting) == 0
    alone = follow(fake.doors, "wait", "--timeout", "1")
    companion.wait_until_member(alone, fake.doors)
    publisher.send(fake, publisher.heartbeat(1, session=b"OTHER"))
    assert companion.finish(alone) == 3


def test_quiet_says_it_by_the_status_alone(launch):
    assert companion.run(launch().doors, "wait", "--quiet") == (0, "", "")
