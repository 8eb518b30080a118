"""vorbelctl doctor: what arrives, but is not the feed that was asked for."""

import os
import pathlib
import re
import subprocess

import companion
import harness
import publisher
from doctor import findings


def test_another_session(launch):
    bench = launch("--session", "OTHER", "--rate-ms", 50)
    problems, found = findings(bench.doors)
    assert problems == ["feed"]
    assert 'is of the session "OTHER", not "BTDS000001"' in found["feed"]["says"]
    assert found["feed"]["type"] == (
        f"{companion.binary()} listen --mcast {bench.doors.group} --port {bench.doors.feed} --session 'OTHER'")


def test_what_to_type_works(launch, monkeypatch):
    bench = launch("--session", "OTHER", "--rate-ms", 50)
    monkeypatch.setenv("PATH", f"{pathlib.Path(companion.binary()).parent}:{os.environ['PATH']}")
    _, found = findings(bench.doors)
    assert found["feed"]["type"].startswith("vorbelctl listen ")
    result = subprocess.run(["bash", "-c", found["feed"]["type"] + " --count 1"], capture_output=True, text=True,
                            check=False, timeout=harness.bound(20))
    assert result.returncode == 0
    assert result.stderr.startswith("1 message, ")


def test_a_session_name_never_reaches_a_shell(fake, follow):
    watching = follow(fake.doors, "doctor", "--json", "--seconds", harness.bound(2))
    companion.wait_until_member(watching, fake.doors)
    foreign = publisher.heartbeat(1, session=b"';ls;'")
    harness.until(lambda: publisher.send(fake, foreign) or watching.process.poll() is not None, 60, "the end")
    assert companion.finish(watching) == 1
    feed = next(line for line in companion.objects(watching) if line.get("check") == "feed")
    assert "is of the session \"';ls;'\"" in feed["says"]
    assert feed["type"] is None


def test_a_bench_on_another_group(launch):
    bench = launch("--rate-ms", 50)
    elsewhere = harness.dataclasses.replace(bench.doors, group="239.255.28.98")
    problems, found = findings(elsewhere, "--seconds", "0.5")
    assert problems == ["feed"]
    assert "a bench answers on its control port, but nothing arrives" in found["feed"]["says"]


def test_what_arrives_is_no_feed(fake, follow):
    watching = follow(fake.doors, "doctor", "--json", "--seconds", harness.bound(2))
    companion.wait_until_member(watching, fake.doors)
    harness.until(lambda: publisher.send(fake, b"hello") or watching.process.poll() is not None, 20, "the end")
    assert companion.finish(watching) == 1
    found = {line["check"]: line for line in companion.objects(watching) if "check" in line}
    assert "is no feed" in found["feed"]["says"]
    assert found["feed"]["type"] == (
        f"{companion.binary()} listen --mcast {fake.doors.group} --port {fake.doors.feed}")


def test_a_second_bench_on_the_feed_is_a_problem(launch, pool):
    """Each alone is as it should be; a handler would get every number twice."""
    bench = launch("--rate-ms", 50)
    other = harness.claim_doors(pool)
    launch("--rate-ms", 50, doors=harness.dataclasses.replace(other, group=bench.doors.group, feed=bench.doors.feed))
    problems, found = findings(bench.doors)
    assert problems == ["feed"]
    assert re.fullmatch(r"\S+:\d+ sends packets of the session beside \S+:\d+", found["feed"]["says"])
