"""Numbers on the command line that are accepted: prefixes, signs, and values wider than their field."""

import re

import pytest

import control
import harness
import ports
import probe
import receiver
import reports
import wire


def flow_of(bench):
    """The flow text of the banner."""
    return re.search("flow (.*)$", harness.console_lines(bench)[0]).group(1)


@pytest.mark.parametrize("value, port", (
    ("70000", 4464), ("28977x", 28977), (" 123", 123), ("+77", 77), ("-1", 65535), ("65536", 0), ("0x10", 0),
    ("012", 12), ("2147483647", 65535), ("-2147483648", 0)))
def test_the_feed_port_is_cut_to_sixteen_bits(launch, value, port):
    bench = launch("--port", value, listen=False)
    harness.stop(bench)
    assert f"MoldUDP64 {harness.GROUP}:{port} (iface" in harness.console_lines(bench)[0]


def test_wide_and_negative_service_ports_open_where_they_wrap_to(launch, pool):
    retrans, report, steer = (ports.claim_port(pool) for _ in range(3))
    doors = harness.claim_doors(pool, retrans=retrans, reports=report, control=steer)
    bench = launch("--retrans-port", retrans + 65536, "--report-port", report - 65536, "--control-port",
                   f"{steer + 131072}ms", doors=doors)
    assert control.command(bench.control, "pause") == "ok"
    assert reports.report(harness.open_reporter(bench)) == 1
    answers = probe.ask(bench, wire.request(1, 1))
    harness.stop(bench)
    assert [answer[20:23] for answer in answers] == [b"\0\x18C"]
    banner = harness.console_lines(bench)[0]
    assert f"retransmission udp :{retrans} · reports tcp :{report} ·" in banner


def test_a_control_port_that_wraps_to_zero_is_closed(launch, pool):
    doors = harness.claim_doors(pool, control=0)
    bench = launch("--control-port", "65536", doors=doors)
    assert probe.open_sockets(bench) == {"udp": 2, "tcp": 1}
    harness.wait_for_line(bench, "[vorbeld] #2 control C/O")
    assert not any(line.startswith("bench: control on") for line in harness.console_lines(bench))


@pytest.mark.parametrize("value, flow", (
    ("-1", "every ~4294967295 ms"), ("60000ms", "every ~60000 ms"), ("0", "reported trades only"),
    ("4294967296", "reported trades only"), ("4294967297000", "every ~1000 ms"), (" +60000", "every ~60000 ms")))
def test_the_rate_is_cut_to_thirty_two_bits(launch, value, flow):
    bench = launch("--rate-ms", value)
    harness.stop(bench)
    assert flow_of(bench) == flow


def test_fault_periods_wrap_and_ignore_what_follows_the_number(launch):
    bench = launch("--drop-every", "4294967296", "--dup-every", "1st", "--reorder-every", "-1")
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals) >= 4, harness.bound(5), "both messages, twice")
    numbers = control.stats(bench.control)
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == [1, 1, 2, 2]
    assert (numbers["dropped"], numbers["duplicated"], numbers["reordered"]) == (0, 2, 0)


@pytest.mark.parametrize("value, dropped", (
    ("2", [2]), ("1:2", [1, 2]), ("2x:1y", [2]), ("2:4294967296", []), ("2:1:9", [2]), ("0:2", [1]), ("", []),
    ("18446744073709551615:3", [])))
def test_a_burst_starts_at_a_packet_and_lasts_a_count(launch, value, dropped):
    bench = launch("--drop-burst", value)
    numbers = control.stats(bench.control)
    harness.stop(bench)
    said = [line for line in harness.console_lines(bench) if line.startswith("vorbeld fault")]
    assert said == [f"vorbeld fault: dropped seq {number} (packet {number}, 1 message(s))" for number in dropped]
    assert numbers["dropped"] == len(dropped)
    assert receiver.sequences(bench.feed) == [number for number in (1, 2) if number not in dropped]


def test_later_values_replace_earlier_ones(launch):
    bench = launch("--session", "FIRST", "--session", "SECOND", "--rate-ms", 9, "--rate-ms", 0)
    harness.stop(bench)
    banner = harness.console_lines(bench)[0]
    assert "session SECOND ·" in banner and flow_of(bench) == "reported trades only"


def test_a_seed_wider_than_its_field_is_the_seed_it_wraps_to(launch):
    benches = [launch("--rate-ms", 20, "--seed", seed) for seed in (7, 7 + 2**32)]
    for bench in benches:
        receiver.wait_for_sequence(bench.feed, 12, harness.bound(10))
        harness.stop(bench)
    first, second = (receiver.messages(bench.feed) for bench in benches)
    for number in range(3, 13):
        assert [first[number][name] for name in ("cusip", "price", "qty", "side", "contra")] == \
            [second[number][name] for name in ("cusip", "price", "qty", "side", "contra")]
