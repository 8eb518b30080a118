"""vorbelctl doctor: one finding for each thing that can stand in the way."""

import contextlib
import socket
import subprocess

import pytest

import companion
import control
import harness
import publisher
from doctor import DOORS, INDEPENDENT, LOCAL, findings, where_it_is


def test_a_running_bench_is_fine(launch):
    bench = launch("--rate-ms", 100)
    assert findings(bench.doors)[0] == []
    status, output, _ = companion.run(bench.doors, "doctor")
    assert status == 0
    assert output.endswith("nothing is wrong here\n")
    assert companion.run(bench.doors, "doctor", "--quiet")[:2] == (0, "")


def test_nobody_there(doors):
    problems, found = findings(doors, "--seconds", "0.3", checks=LOCAL)
    assert problems == ["feed"]
    assert "it does not run here" in found["feed"]["says"]
    status, output, _ = companion.run(doors, "doctor", "--seconds", "0.3")
    assert status == 1
    assert "WRONG  feed" in output
    assert f"type: {found['feed']['type']}" in output


def run_as(path, folder, *arguments, search=None):
    """Runs the companion by this path with this PATH, the programs of the system behind it."""
    search = f"{search}:/usr/bin:/bin" if search else "/usr/bin:/bin"
    return subprocess.run([path, *arguments], cwd=folder, env={"PATH": search}, capture_output=True, text=True,
                          timeout=harness.bound(20), check=False)


def bench_command(doors, program):
    """The line that starts a bench behind these doors."""
    return (f"{program} --mcast {doors.group} --port {doors.feed} --report-port {doors.reports} "
            f"--retrans-port {doors.retrans} --control-port {doors.control} --rate-ms 500")


def test_the_bench_that_it_names_is_there(doors, tmp_path):
    where = companion.addresses(doors)
    (tmp_path / "bin").mkdir()
    companion_there = tmp_path / "bin/vorbelctl"
    companion_there.symlink_to(companion.binary())
    ask = ["doctor", "--seconds", "0.1", *where]
    assert "vorbeld" not in run_as("bin/vorbelctl", tmp_path, *ask).stdout
    (tmp_path / "bin/vorbeld").symlink_to(harness.binary())
    assert f"type: {bench_command(doors, 'bin/vorbeld')}\n" in run_as("bin/vorbelctl", tmp_path, *ask).stdout
    assert f"type: {bench_command(doors, 'vorbeld')}\n" in run_as(
        "vorbelctl", tmp_path, *ask, search=tmp_path / "bin").stdout


def test_a_bench_started_as_it_says_is_found(doors, follow):
    _, found = findings(doors, "--seconds", "0.1", checks=LOCAL)
    with subprocess.Popen(["bash", "-c", f"exec {found['feed']['type']}"], stderr=subprocess.DEVNULL) as bench:
        try:
            assert companion.run(doors, "wait")[0] == 0
            assert findings(doors)[0] == []
        finally:
            bench.terminate()


def test_doors_that_were_asked_for_must_be_open(launch):
    bench = launch("--rate-ms", 50)
    closed = harness.dataclasses.replace(bench.doors, reports=1, retrans=1)
    problems, found = findings(closed)
    assert problems == ["reports", "retrans"]
    assert found["reports"]["says"] == (
        "the report port 127.0.0.1:1 is closed; start the bench with this --report-port, or give its own")
    assert found["retrans"]["says"].startswith("the retransmission port 127.0.0.1:1 is closed")
    status, output, _ = companion.run(bench.doors, "doctor", "--control-port", "1")
    assert status == 2    # given twice


def test_doors_that_there_are_not_are_not_spoken_of(launch):
    bench = launch("--rate-ms", 50)
    assert findings(harness.dataclasses.replace(bench.doors, control=0, reports=0, retrans=0), checks=LOCAL)[0] == []


def test_ports_of_other_programs_are_problems(launch, pool):
    bench = launch("--rate-ms", 50)
    with contextlib.ExitStack() as held:
        taken = {name: held.enter_context(socket.socket(socket.AF_INET, socket.SOCK_DGRAM))
                 for name in ("control", "retrans")}
        for holder in taken.values():
            holder.bind(("127.0.0.1", 0))
        listener = held.enter_context(socket.create_server(("127.0.0.1", 0)))
        doors = harness.dataclasses.replace(
            bench.doors, reports=listener.getsockname()[1],
            **{name: holder.getsockname()[1] for name, holder in taken.items()})
        problems, found = findings(doors)
    assert problems == DOORS
    for check, kind in (("control", "u"), ("reports", "t"), ("retrans", "u")):
        assert "does not answer as a bench does; it may be another program" in found[check]["says"]
        assert (found[check]["type"] or "").startswith("ss -" if where_it_is("ss -") else "")
    assert f"ss -ulpn 'sport = :{doors.control}'" == found["control"]["type"] or not where_it_is("ss -")


def test_a_control_port_of_another_program_is_a_problem_without_a_bench_too(doors):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as holder:
        holder.bind(("127.0.0.1", doors.control))
        assert findings(doors, "--seconds", "0.2", checks=[*LOCAL, "control"])[0] == ["feed", "control"]


def test_asking_the_doors_changes_nothing(launch):
    bench = launch()
    before = control.stats(bench.control)
    findings(bench.doors)
    after = control.stats(bench.control)
    assert after == {**before, "retrans": before["retrans"] + 1}


def test_an_interface_that_is_none_is_one_problem(doors):
    problems, found = findings(doors, "--iface", "192.0.2.1", "--seconds", "0.3", checks=["interface", *INDEPENDENT])
    assert problems == ["interface"]
    assert "no interface has the address 192.0.2.1; there are: " in found["interface"]["says"]
    assert "lo 127.0.0.1" in found["interface"]["says"]
    assert found["interface"]["type"] == where_it_is("ip -brief address")


def test_an_address_that_is_none_is_wrong_usage(doors):
    nowhere = harness.dataclasses.replace(doors, group="foo")
    for status, output, errors in (companion.run(nowhere, "doctor"), companion.run(doors, "doctor", "--iface", "foo")):
        assert (status, output) == (2, "")
        assert '"foo" is no IPv4 address' in errors


def test_a_control_port_that_was_not_given_is_not_spoken_of(doors):
    problems, found = findings(harness.dataclasses.replace(doors, control=0), "--seconds", "0.2",
                               checks=LOCAL)
    assert problems == ["feed"]
    assert "no bench runs here" in found["feed"]["says"]


def test_a_port_in_use(doors):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as taken:
        taken.bind(("0.0.0.0", doors.feed))
        problems, found = findings(doors, "--seconds", "0.3", checks=["interface", "route", "membership", *INDEPENDENT])
    assert problems == ["membership"]
    assert "Address already in use" in found["membership"]["says"]
    assert found["membership"]["type"] == where_it_is(
        f"ss -ulpn 'sport = :{doors.feed}'; sysctl net.ipv4.igmp_max_memberships")


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
        problems, found = findings(doors, "--seconds", "0.3", checks=LOCAL)
    publisher.close_publisher(sender)
    assert "losses" in problems
    assert "they read too slowly" in found["losses"]["says"]


def test_an_interface_that_is_down(doors):
    """In a network of its own, where the loopback interface begins its life down."""
    alone = [harness.need("unshare"), "--user", "--map-root-user", "--net"]
    if subprocess.run([*alone, "true"], check=False, capture_output=True).returncode != 0:
        pytest.skip("this system lets nobody make a network of his own (unshare --user --net)")
    result = subprocess.run([*alone, *companion.command_line(doors, "doctor", "--seconds", "0.1")], capture_output=True,
                            text=True, check=False, timeout=harness.bound(20))
    assert result.returncode == 1
    assert "WRONG  interface" in result.stdout
    assert (where_it_is("ip link set lo up") or "") in result.stdout
