"""vorbelctl doctor: one finding for each thing that can stand in the way."""

import os
import pathlib
import shutil
import socket
import subprocess

import pytest

import companion
import harness
import publisher

CHECKS = ["interface", "route", "membership", "probe", "filters", "buffer", "losses", "control", "feed"]
INDEPENDENT = ["filters", "losses", "control"]  # of whether the feed can be joined


def findings(doors, *arguments, checks=None):
    """(names of the problems, findings by check); the checks that are made are all of them, or those given."""
    status, lines = companion.run_json(doors, "doctor", *arguments)
    assert [line["check"] for line in lines[:-1]] == (checks or CHECKS)
    problems = [line["check"] for line in lines[:-1] if line["verdict"] == "problem"]
    assert lines[-1] == {"event": "totals", "problems": len(problems)}
    assert status == (1 if problems else 0)
    assert not any("vorbelctl doctor" in str(line) for line in lines)
    return problems, {line["check"]: line for line in lines[:-1]}


def test_a_running_bench_is_fine(launch):
    bench = launch("--rate-ms", 100)
    assert findings(bench.doors)[0] == []
    status, output, _ = companion.run(bench.doors, "doctor")
    assert status == 0
    assert output.endswith("nothing is wrong here\n")
    assert companion.run(bench.doors, "doctor", "--quiet")[:2] == (0, "")


def test_nobody_there(doors):
    problems, found = findings(doors, "--seconds", "0.3")
    assert problems == ["feed"]
    assert "it does not run here" in found["feed"]["says"]
    assert found["feed"]["type"] == "script/server"
    status, output, _ = companion.run(doors, "doctor", "--seconds", "0.3")
    assert status == 1
    assert "WRONG  feed" in output
    assert "type: script/server" in output


def test_another_session(launch):
    bench = launch("--session", "OTHER", "--rate-ms", 50)
    problems, found = findings(bench.doors)
    assert problems == ["feed"]
    assert 'is of the session "OTHER", not "BTDS000001"' in found["feed"]["says"]
    assert found["feed"]["type"] == (
        f"vorbelctl listen --mcast {bench.doors.group} --port {bench.doors.feed} --session 'OTHER'")


def test_what_to_type_works(launch, monkeypatch):
    bench = launch("--session", "OTHER", "--rate-ms", 50)
    _, found = findings(bench.doors)
    monkeypatch.setenv("PATH", f"{pathlib.Path(companion.binary()).parent}:{os.environ['PATH']}")
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


def test_an_interface_that_is_none_is_one_problem(doors):
    problems, found = findings(doors, "--iface", "192.0.2.1", "--seconds", "0.3", checks=["interface", *INDEPENDENT])
    assert problems == ["interface"]
    assert "no interface has the address 192.0.2.1; there are: " in found["interface"]["says"]
    assert "lo 127.0.0.1" in found["interface"]["says"]
    assert found["interface"]["type"] == "ip -brief address"


def test_a_group_that_is_none_is_one_problem(doors):
    problems, found = findings(harness.dataclasses.replace(doors, group="10.1.2.3"), "--seconds", "0.3",
                               checks=["interface", "route", *INDEPENDENT])
    assert problems == ["route"]
    assert "10.1.2.3 is no multicast group" in found["route"]["says"]
    assert found["route"]["type"] is None


def test_an_address_that_is_none_is_wrong_usage(doors):
    nowhere = harness.dataclasses.replace(doors, group="foo")
    for status, output, errors in (companion.run(nowhere, "doctor"), companion.run(doors, "doctor", "--iface", "foo")):
        assert (status, output) == (2, "")
        assert '"foo" is no IPv4 address' in errors


def test_a_control_port_that_was_not_given_is_not_spoken_of(doors):
    problems, found = findings(harness.dataclasses.replace(doors, control=0), "--seconds", "0.2",
                               checks=[check for check in CHECKS if check != "control"])
    assert problems == ["feed"]
    assert "no bench runs here" in found["feed"]["says"]


def test_a_port_in_use(doors):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as taken:
        taken.bind(("0.0.0.0", doors.feed))
        problems, found = findings(doors, "--seconds", "0.3", checks=["interface", "route", "membership", *INDEPENDENT])
    assert problems == ["membership"]
    assert "Address already in use" in found["membership"]["says"]
    assert f"sport = :{doors.feed}" in found["membership"]["type"]


def test_what_arrives_is_no_feed(fake, follow):
    watching = follow(fake.doors, "doctor", "--json", "--seconds", harness.bound(2))
    companion.wait_until_member(watching, fake.doors)
    harness.until(lambda: publisher.send(fake, b"hello") or watching.process.poll() is not None, 20, "the end")
    assert companion.finish(watching) == 1
    found = {line["check"]: line for line in companion.objects(watching) if "check" in line}
    assert "is no feed" in found["feed"]["says"]
    assert found["feed"]["type"] == f"vorbelctl listen --mcast {fake.doors.group} --port {fake.doors.feed}"


def test_a_receiver_that_reads_too_slowly(doors):
    sender = publisher.open_publisher(doors)
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sleeper:
        sleeper.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        sleeper.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        sleeper.bind((doors.group, doors.feed))
        sleeper.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP,
                           socket.inet_aton(doors.group) + socket.inet_aton("127.0.0.1"))
        for _ in range(200):
            publisher.send(sender, publisher.heartbeat(1))
        problems, found = findings(doors, "--seconds", "0.3")
    publisher.close_publisher(sender)
    assert "losses" in problems
    assert "they read too slowly" in found["losses"]["says"]


def test_an_interface_that_is_down(doors):
    """In a network of its own, where the loopback interface begins its life down."""
    unshare = shutil.which("unshare")
    alone = [unshare, "--user", "--map-root-user", "--net"]
    if not unshare or subprocess.run([*alone, "true"], check=False, capture_output=True).returncode != 0:
        pytest.skip("this system lets nobody make a network of his own (unshare --user --net)")
    result = subprocess.run([*alone, *companion.command_line(doors, "doctor", "--seconds", "0.1")], capture_output=True,
                            text=True, check=False, timeout=harness.bound(20))
    assert result.returncode == 1
    assert "WRONG  interface" in result.stdout
    assert "ip link set lo up" in result.stdout
