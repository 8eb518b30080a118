"""Ports that are already taken, and what does not matter to the sockets."""

import signal
import socket

import pytest

import control
import harness
import probe
import receiver
import reports
import wire

TAKEN = b"Address already in use\n"


def udp_holder(address, port):
    """A socket that keeps the port busy."""
    holder = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    holder.bind((address, port))
    return holder


def test_a_taken_retransmission_port_ends_the_run(pool, tmp_path):
    doors = harness.claim_doors(pool)
    with udp_holder("0.0.0.0", doors.retrans):
        assert harness.run_to_end(harness.arguments(doors, tmp_path), tmp_path) == (
            1, b"vorbeld: retransmission port: " + TAKEN)
    assert list(tmp_path.iterdir()) == []    # the files come later


def test_a_taken_report_port_ends_the_run(pool, tmp_path):
    doors = harness.claim_doors(pool)
    with socket.create_server(("0.0.0.0", doors.reports)):
        assert harness.run_to_end(harness.arguments(doors, tmp_path), tmp_path) == (1, b"vorbeld: listen: " + TAKEN)
    assert sorted(path.name for path in tmp_path.iterdir()) == ["tape.jsonl", "truth.jsonl"]


def test_a_failed_start_sends_nothing(pool, tmp_path):
    doors = harness.claim_doors(pool)
    feed = receiver.open_receiver(doors.group, doors.feed)
    with socket.create_server(("0.0.0.0", doors.reports)):
        harness.run_to_end(harness.arguments(doors, tmp_path), tmp_path)
    receiver.close_receiver(feed)
    assert feed.arrivals == []


@pytest.mark.parametrize("address", ("127.0.0.1", "0.0.0.0"))
def test_a_taken_control_port_does_not_end_the_run(launch, pool, address):
    doors = harness.claim_doors(pool)
    with udp_holder(address, doors.control):
        bench = launch(doors=doors)
        harness.wait_for_line(bench, "[vorbeld] #2 control C/O")
        lines = harness.console_lines(bench)
        assert lines[0] == "vorbeld: control port: Address already in use"
        assert lines[1].startswith("[vorbeld] BTDS 2.1") and lines[2] == "[vorbeld] #1 control C/I"
        assert probe.open_sockets(bench) == {"udp": 2, "tcp": 1}
        assert reports.report(harness.open_reporter(bench)) == 1
        bench.process.send_signal(signal.SIGINT)
        assert harness.finish(bench) == 0


def test_a_second_bench_on_the_same_ports_fails_and_the_first_goes_on(launch, tmp_path):
    first = launch()
    # Sockets that allow the reuse of their address share a UDP port, so it is the listener that finds out.
    assert harness.run_to_end(harness.arguments(first.doors, tmp_path), tmp_path) == (1, b"vorbeld: listen: " + TAKEN)
    assert control.command(first.control, "pause") == "ok"
    harness.stop(first)


def test_the_control_port_answers_on_the_loopback_only(launch):
    bench = launch()
    rows = probe.socket_rows(bench, "udp")
    harness.stop(bench)
    assert ("127.0.0.1", bench.doors.control) in rows
    assert ("0.0.0.0", bench.doors.retrans) in rows
    assert ("0.0.0.0", bench.doors.control) not in rows


def test_the_report_port_listens_on_every_address(launch):
    bench = launch()
    rows = probe.socket_rows(bench, "tcp")
    harness.stop(bench)
    assert rows == [("0.0.0.0", bench.doors.reports)]


def test_the_listener_comes_back_at_once_after_a_run_with_connections(launch, pool):
    doors = harness.claim_doors(pool)
    for _ in range(2):
        bench = launch(doors=doors)
        reporter = harness.open_reporter(bench)
        assert reports.report(reporter) == 1
        harness.stop(bench)      # closes first, so that the connection lingers on the bench's side
        assert reports.read_line(reporter) is None


def test_feed_and_services_do_not_mix(launch):
    bench = launch()
    answers = probe.ask(bench, wire.request(1, 2, b"whatever  "))
    assert len(answers) == 1
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals) >= 3, harness.bound(5), "a heartbeat")
    harness.stop(bench)
    assert {packet.session for _, packet in receiver.packets(bench.feed)} == {b"BTDS000001"}
    assert receiver.sequences(bench.feed) == [1, 2]
