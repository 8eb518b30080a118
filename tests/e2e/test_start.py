"""The start of a run: the two lines on the console, the first two messages, and what the defaults are."""

import re
import signal
import socket

import pytest

import feedtime
import harness
import ports
import probe
import receiver
import texts

DOT = " · "
COMMANDS = ("pause | resume | drop N | dup N | reorder N | drop_every N | dup_every N | reorder_every N | rate MS | "
            "cancel N | correct N | halt CUSIP [REASON] | resume_halt CUSIP | close | mark LABEL | stats | stop")


def banner(doors, session="BTDS000001", bonds=4, flow="reported trades only", scenario="", iface="127.0.0.1"):
    """The banner line for a configuration, without its line feed."""
    return (f"[vorbeld] BTDS 2.1 / MoldUDP64 {doors.group}:{doors.feed} (iface {iface}) session {session}{DOT}"
            f"retransmission udp :{doors.retrans}{DOT}reports tcp :{doors.reports}{DOT}{bonds} bonds{DOT}flow {flow}"
            + (f"{DOT}scenario {scenario}" if scenario else ""))


def control_line(doors):
    """The line that announces the control port."""
    return f"bench: control on 127.0.0.1:{doors.control} ({COMMANDS})"


def test_starts_and_stops(launch):
    bench = launch()
    harness.stop(bench)
    assert harness.console_lines(bench) == [
        banner(bench.doors), control_line(bench.doors),
        "[vorbeld] #1 control C/I", "[vorbeld] #2 control C/O",
        "bench: stop → ok", "[vorbeld] stopped: seq 2 reports 0"]


def test_first_messages_open_the_day(launch):
    bench = launch()
    receiver.wait_for_sequence(bench.feed, 2, harness.bound(5))
    harness.stop(bench)
    found = receiver.messages(bench.feed)
    assert [(found[number]["category"], found[number]["type"]) for number in (1, 2)] == [("C", "I"), ("C", "O")]
    arrivals = receiver.arrival_times(bench.feed)
    for number in (1, 2):
        message = found[number]
        assert (message["counter"], message["origin"]) == (" " * 7, "O")
        sent_s = arrivals[number] // 1_000_000_000
        assert message["sent_at"] in {feedtime.local_text(sent_s - late) for late in range(3)}
        assert harness.truth_lines(bench)[number - 1].decode() == texts.truth_line(number, message)


def test_each_start_message_has_a_packet_and_the_session_is_padded(launch):
    bench = launch("--session", "AB")
    harness.stop(bench)
    found = [packet for _, packet in receiver.packets(bench.feed)][:2]
    assert [(packet.sequence, packet.count, packet.session) for packet in found] == [
        (1, 1, b"AB        "), (2, 1, b"AB        ")]
    assert harness.console_lines(bench)[0] == banner(bench.doors, session="AB")


def test_a_long_session_is_cut_on_the_wire_and_whole_in_the_banner(launch):
    bench = launch("--session", "ABCDEFGHIJKLM")
    harness.stop(bench)
    assert {packet.session for _, packet in receiver.packets(bench.feed)} == {b"ABCDEFGHIJ"}
    assert harness.console_lines(bench)[0] == banner(bench.doors, session="ABCDEFGHIJKLM")


def test_packets_live_for_one_hop(launch):
    bench = launch()
    harness.stop(bench)
    assert {arrival.ttl for arrival, _ in receiver.packets(bench.feed)} == {1}


def test_banner_names_rate_and_scenario(launch):
    bench = launch("--rate-ms", 60000, "--scenario", "late_every=2,x")
    harness.stop(bench)
    assert harness.console_lines(bench)[0] == banner(bench.doors, flow="every ~60000 ms", scenario="late_every=2,x")


def test_quiet_keeps_banner_and_control_line(launch):
    bench = launch("--quiet")
    harness.stop(bench)
    assert harness.console_lines(bench) == [
        banner(bench.doors), control_line(bench.doors), "bench: stop → ok", "[vorbeld] stopped: seq 2 reports 0"]


def test_closed_ports_are_named_and_not_opened(launch, pool):
    doors = harness.claim_doors(pool, reports=0, retrans=0)
    bench = launch(doors=doors)
    sockets = probe.open_sockets(bench)
    harness.stop(bench)
    assert harness.console_lines(bench)[0] == banner(doors)
    assert sockets == {"udp": 2, "tcp": 0}


def test_open_ports_give_four_sockets(launch):
    bench = launch()
    sockets = probe.open_sockets(bench)
    harness.stop(bench)
    assert sockets == {"udp": 3, "tcp": 1}


def test_no_control_port_no_control_line(launch, pool):
    bench = launch(doors=harness.claim_doors(pool, control=0))
    bench.process.send_signal(signal.SIGTERM)
    assert harness.finish(bench) == 0
    assert harness.console_lines(bench)[:2] == [banner(bench.doors), "[vorbeld] #1 control C/I"]


def test_an_unreadable_group_leaves_the_zero_address(launch, pool):
    doors = harness.claim_doors(pool)
    here = harness.Doors(doors.feed, doors.reports, doors.retrans, doors.control, group="127.0.0.1")
    bench = launch("--mcast", "nonsense", doors=here)
    # The system delivers what is sent to 0.0.0.0 to this machine itself.
    receiver.wait_for_sequence(bench.feed, 2, harness.bound(5))
    harness.stop(bench)
    assert harness.console_lines(bench)[0].startswith(f"[vorbeld] BTDS 2.1 / MoldUDP64 nonsense:{doors.feed} (iface")


def test_an_interface_is_shown_as_given(launch):
    bench = launch("--iface", "127.0.0.1 ")
    harness.stop(bench)
    assert harness.console_lines(bench)[0] == banner(bench.doors, iface="127.0.0.1 ")


def test_no_arguments_take_all_defaults(pool, tmp_path):
    busy = ports.lock_ports_within(pool, (28977, 28978, 28979), harness.bound(20))
    if busy:
        pytest.skip(f"default port {busy} stayed in use by another program on this machine")
    doors = harness.Doors(28977, 28978, 28979, 0, "233.54.19.111")
    bench = harness.start(tmp_path, doors, bare=True)
    try:
        harness.wait_for_line(bench, "[vorbeld] #2 control C/O")
        assert harness.console_lines(bench)[0] == (
            "[vorbeld] BTDS 2.1 / MoldUDP64 233.54.19.111:28977 (iface 127.0.0.1) session BTDS000001 · "
            "retransmission udp :28979 · reports tcp :28978 · 4 bonds · flow reported trades only")
        receiver.wait_for(bench.feed, lambda arrivals: len(arrivals) > 2, harness.bound(5), "a heartbeat")
        socket.create_connection(("127.0.0.1", 28978), timeout=harness.bound(5)).close()
        bench.process.send_signal(signal.SIGINT)
        assert harness.finish(bench) == 0
        assert not any(re.match("bench: control", line) for line in harness.console_lines(bench))
        assert sorted(path.name for path in tmp_path.iterdir()) == ["stdout"]
    finally:
        assert harness.release(bench) == []
