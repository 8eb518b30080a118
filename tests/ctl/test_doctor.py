"""vorbelctl doctor: one finding for each thing that can stand in the way."""

import shutil
import socket
import subprocess

import pytest

import companion
import harness
import publisher

CHECKS = ["interface", "route", "membership", "probe", "filters", "buffer", "losses", "control", "feed"]


def findings(doors, *arguments):
    """(exit status, findings by check)."""
    status, lines = companion.run_json(doors, "doctor", *arguments)
    assert [line["check"] for line in lines[:-1]] == CHECKS
    problems = [line["check"] for line in lines[:-1] if line["verdict"] == "problem"]
    assert lines[-1] == {"event": "totals", "problems": len(problems)}
    assert status == (1 if problems else 0)
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
    assert found["feed"]["type"] == "vorbelctl listen --session 'OTHER'"


def test_a_bench_on_another_group(launch):
    bench = launch("--rate-ms", 50)
    elsewhere = harness.dataclasses.replace(bench.doors, group="239.255.28.98")
    problems, found = findings(elsewhere, "--seconds", "0.5")
    assert problems == ["feed"]
    assert "a bench answers on its control port, but nothing arrives" in found["feed"]["says"]


def test_an_interface_that_is_none(doors):
    problems, found = findings(doors, "--iface", "192.0.2.1", "--seconds", "0.3")
    assert {"interface", "membership", "probe", "feed"} <= set(problems)
    assert "no interface has the address 192.0.2.1; there are: " in found["interface"]["says"]
    assert "lo 127.0.0.1" in found["interface"]["says"]


def test_a_group_that_is_none(doors):
    problems, found = findings(harness.dataclasses.replace(doors, group="10.1.2.3"), "--seconds", "0.3")
    assert "route" in problems
    assert "10.1.2.3 is no multicast group" in found["route"]["says"]


def test_a_port_in_use(doors):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as taken:
        taken.bind(("0.0.0.0", doors.feed))
        problems, found = findings(doors, "--seconds", "0.3")
    assert "membership" in problems
    assert "Address already in use" in found["membership"]["says"]
    assert f"sport = :{doors.feed}" in found["membership"]["type"]


def test_what_arrives_is_no_feed(fake, follow):
    watching = follow(fake.doors, "doctor", "--json", "--seconds", harness.bound(2))
    companion.wait_until_member(watching, fake.doors)
    harness.until(lambda: publisher.send(fake, b"hello") or watching.process.poll() is not None, 20, "the end")
    assert companion.finish(watching) == 1
    found = {line["check"]: line for line in companion.objects(watching) if "check" in line}
    assert "is no feed" in found["feed"]["says"]


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
