"""The retransmission server: which messages it answers with, cut into which packets, under which name."""

import socket

import pytest

import control
import harness
import probe
import receiver
import reports
import wire

TOP = 2**64


def with_trades(launch, count, *options):
    """A bench whose feed holds the two start messages and so many reported trades."""
    bench = launch(*options)
    reporter = harness.open_reporter(bench)
    reports.send_lines(reporter, *[reports.report_line(price=str(90 + trade % 20)) for trade in range(count)])
    for trade in range(1, count + 1):
        assert reports.read_line(reporter) == f"A {trade:07d}"
    receiver.wait_for_sequence(bench.feed, count + 2, harness.bound(10))
    return bench


def answered(bench, sequence, count, session=b"BTDS000001"):
    """The parsed packets of one request's answer."""
    return [wire.parse_packet(answer) for answer in probe.ask(bench, wire.request(sequence, count, session))]


def numbers(packets):
    """Sequence numbers of all messages in the packets, in order."""
    return [packet.sequence + index for packet in packets for index in range(len(packet.messages))]


@pytest.fixture(scope="module")
def hundred(pool, tmp_path_factory):
    """A bench with sequences 1 to 100, shared by the tests that only ask."""
    folder = tmp_path_factory.mktemp("hundred") / "bench"
    started = []

    def launch(*options):
        started.append(harness.start(folder, harness.claim_doors(pool), *options))
        return started[0]

    yield with_trades(launch, 98)
    assert harness.release(started[0]) == []


@pytest.mark.parametrize("sequence, count, first, last", (
    (1, 1, 1, 1), (1, 100, 1, 100), (50, 3, 50, 52), (100, 1, 100, 100), (0, 5, 1, 4), (0, 1, 1, 0), (0, 0, 1, 0),
    (1, 0, 1, 0), (100, 50, 100, 100), (101, 1, 1, 0), (101, 65535, 1, 0), (99, 65535, 99, 100),
    (1, 65535, 1, 100), (5000, 9, 1, 0), (TOP - 1, 1, 1, 0), (TOP - 1, 2, 1, 0), (TOP - 1, 65535, 1, 0),
    (TOP - 65535, 65535, 1, 0), (2**63, 65535, 1, 0), (2**32 + 1, 5, 1, 0)))
def test_a_request_is_answered_from_what_the_store_holds(hundred, sequence, count, first, last):
    packets = answered(hundred, sequence, count)
    assert numbers(packets) == list(range(first, last + 1))
    live = receiver.messages(hundred.feed)
    for packet in packets:
        for number, raw in enumerate(packet.messages, packet.sequence):
            assert raw == live[number].raw


def test_a_long_answer_is_split_at_1500_bytes(hundred):
    live = [message.raw for _, message in sorted(receiver.messages(hundred.feed).items())]
    answers = probe.ask(hundred, wire.request(1, 100))
    packets = [wire.parse_packet(answer) for answer in answers]
    assert [(packet.sequence, packet.count) for packet in packets] == wire.in_packets(1, live)
    assert (len(answers), max(map(len, answers))) == (11, 20 + 2 * 26 + 9 * 149)


@pytest.mark.parametrize("session", (b"ANOTHER001", b"\0" * 10, bytes(range(246, 256)), b"%s%n%s%n%s"))
def test_the_session_of_the_request_comes_back(hundred, session):
    packets = answered(hundred, 3, 20, session)
    assert {packet.session for packet in packets} == {session}
    assert numbers(packets) == list(range(3, 23))


@pytest.mark.parametrize("size", (21, 63, 64, 65, 2000, 60000))
def test_bytes_behind_the_request_are_ignored(hundred, size):
    answers = probe.ask(hundred, wire.request(7, 2).ljust(size, b"\xff"))
    assert numbers([wire.parse_packet(answer) for answer in answers]) == [7, 8]


@pytest.mark.parametrize("size", (0, 1, 10, 19))
def test_short_datagrams_are_neither_answered_nor_counted(hundred, size):
    before = control.stats(hundred.control)["retrans"]
    assert probe.ask(hundred, wire.request(7, 2)[:size]) == []
    assert control.stats(hundred.control)["retrans"] == before + 1    # the marker of the asking itself


def test_a_short_datagram_ends_the_reading_of_a_pass(hundred):
    before = control.stats(hundred.control)["retrans"]
    client = probe.retransmission_client(hundred)
    with probe.frozen(hundred):
        client.send(wire.request(5, 1)[:19])
        client.send(wire.request(5, 1))
        control.send_raw(hundred.control, b"stats")
    in_the_same_pass = control.STATS_TEXT.fullmatch(control.read_reply(hundred.control))
    assert int(in_the_same_pass["retrans"]) == before
    assert numbers([wire.parse_packet(client.recv(2000))]) == [5]
    assert control.stats(hundred.control)["retrans"] == before + 1


def test_several_requests_of_a_pass_are_all_answered(hundred):
    before = control.stats(hundred.control)["retrans"]
    client = probe.retransmission_client(hundred)
    with probe.frozen(hundred):
        for first in range(1, 51):
            client.send(wire.request(first, 1))
        control.send_raw(hundred.control, b"stats")
    in_the_same_pass = control.STATS_TEXT.fullmatch(control.read_reply(hundred.control))
    assert int(in_the_same_pass["retrans"]) == before + 50
    assert numbers(wire.parse_packet(client.recv(2000)) for _ in range(50)) == list(range(1, 51))


def test_each_requester_gets_its_own_answer_from_the_server_port(hundred):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as first, \
            socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as second:
        for sock, sequence in ((first, 10), (second, 20)):
            sock.settimeout(harness.bound(10))
            sock.sendto(wire.request(sequence, 1), ("127.0.0.1", hundred.doors.retrans))
        for sock, sequence in ((first, 10), (second, 20)):
            data, sender = sock.recvfrom(2000)
            assert sender == ("127.0.0.1", hundred.doors.retrans)
            assert wire.parse_packet(data).sequence == sequence


def test_every_request_leaves_a_console_line(launch):
    bench = with_trades(launch, 5)
    client = probe.retransmission_client(bench)
    asked = ((1, 7, 7), (0, 5, 4), (6, 65535, 2), (8, 1, 0), (3, 0, 0), (TOP - 1, 9, 0))
    for sequence, count, _ in asked:
        client.send(wire.request(sequence, count, b"other name"))
    harness.until(lambda: control.stats(bench.control)["retrans"] == len(asked), 5, "all requests")
    harness.stop(bench)
    port = client.getsockname()[1]
    assert [line for line in harness.console_lines(bench) if "retransmission:" in line] == [
        f"[vorbeld] retransmission: seq {sequence} count {count} → {sent} message(s) to 127.0.0.1:{port}"
        for sequence, count, sent in asked]


def test_a_quiet_run_serves_and_counts_in_silence(launch):
    bench = with_trades(launch, 3, "--quiet")
    assert numbers(answered(bench, 1, 9)) == [1, 2, 3, 4, 5]
    assert control.stats(bench.control)["retrans"] == 2
    harness.stop(bench)
    assert not any("retransmission:" in line for line in harness.console_lines(bench))


def test_messages_of_all_kinds_are_kept_and_mixed_in_packets(launch):
    bench = with_trades(launch, 6)
    for command, reply in (("cancel 2", "cancelled 2"), ("correct 3", "corrected 3"), (f"halt {reports.AAPL}", "ok"),
                           ("close", "ok")):
        assert control.command(bench.control, command) == reply
    last = control.stats(bench.control)["seq"]
    receiver.wait_for_sequence(bench.feed, last, harness.bound(5))
    live = [message for _, message in sorted(receiver.messages(bench.feed).items())]
    assert {message.kind for message in live} == set(wire.SIZES)
    for first in range(1, last + 1):
        packets = answered(bench, first, 65535)
        assert [(packet.sequence, packet.count) for packet in packets] == wire.in_packets(
            first, [message.raw for message in live[first - 1:]])
        assert [raw for packet in packets for raw in packet.messages] == [message.raw for message in live[first - 1:]]


def test_what_the_live_feed_lost_can_be_had(launch):
    bench = launch("--drop-every", 2, "--reorder-every", 3)
    reporter = harness.open_reporter(bench)
    for _ in range(20):
        reports.report(reporter)
    receiver.wait_for_sequence(bench.feed, 19, harness.bound(5))
    recovered = answered(bench, 1, 22)
    assert numbers(recovered) == list(range(1, 23))
    live = receiver.messages(bench.feed)
    assert len(live) < 22
    flat = [raw for packet in recovered for raw in packet.messages]
    assert all(flat[number - 1] == message.raw for number, message in live.items())
    harness.stop(bench)
    assert [line.split(b",", 1)[0] for line in harness.truth_lines(bench)] == [
        b'{"seq":%d' % number for number in range(1, 23)]


def test_requests_are_served_after_the_close(launch):
    bench = with_trades(launch, 2)
    assert control.command(bench.control, "close") == "ok"
    assert numbers(answered(bench, 1, 50)) == list(range(1, 10))    # I O, two trades, C, summary, X J Z
