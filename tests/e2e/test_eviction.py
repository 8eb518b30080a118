"""A run longer than the store: the newest 400000 messages can be had, older ones are passed over."""

import socket
import struct

import pytest

import control
import harness
import probe
import receiver
import reports
import wire

STORE = 400_000
EXTRA = 1234           # trades beyond what the store holds, so that the first numbers are gone
BATCH = 4000           # lines sent before their replies are read; both directions fit the socket buffers
PRICES = 50            # trades take turns with so many prices, by which a message is recognised


@pytest.fixture(scope="module")
def full(pool, tmp_path_factory):
    """A quiet bench with STORE + EXTRA messages."""
    folder = tmp_path_factory.mktemp("full") / "bench"
    bench = harness.start(folder, harness.claim_doors(pool), "--quiet", "--truth-out", "", "--tape-out", "",
                          listen=False)
    try:
        fill(bench)
        yield bench
    finally:
        assert harness.release(bench) == []


def fill(bench):
    """Reports trades until the last sequence number is STORE + EXTRA; every reply is checked."""
    reporter = harness.open_reporter(bench)
    trades = STORE + EXTRA - 2
    lines = [(reports.report_line(price=str(100 + turn)) + "\n").encode() for turn in range(PRICES)]
    for first in range(1, trades + 1, BATCH):
        batch = range(first, min(first + BATCH, trades + 1))
        reporter.socket.sendall(b"".join(lines[trade % PRICES] for trade in batch))
        wanted = b"".join(b"A %07d\n" % trade for trade in batch)
        got = bytearray()
        while len(got) < len(wanted):
            got += reporter.socket.recv(1 << 20)
        assert got == wanted


def ask_in_full(bench, sequence, count):
    """All packets of one answer."""
    return [wire.parse_packet(answer) for answer in probe.ask(bench, wire.request(sequence, count), known=STORE)]


def is_trade(raw, sequence):
    """Whether the bytes are the trade that was reported under this number."""
    message = wire.decode(raw)
    trade = sequence - 2
    return (message.kind == "T/M" and int(message["counter"]) == trade
            and float(message["price"]) == 100 + trade % PRICES)


def test_the_run_is_numbered_to_the_end(full):
    numbers = control.stats(full.control)
    assert (numbers["seq"], numbers["messages"], numbers["reports"]) == (
        STORE + EXTRA, STORE + EXTRA, STORE + EXTRA - 2)


@pytest.mark.parametrize("sequence, count, first, sent", (
    (1, 1, 0, 0), (0, EXTRA, 0, 0), (1, EXTRA, 0, 0), (1, EXTRA + 1, EXTRA + 1, 1), (0, EXTRA + 9, EXTRA + 1, 8),
    (EXTRA, 1, 0, 0), (EXTRA, 2, EXTRA + 1, 1), (EXTRA + 1, 1, EXTRA + 1, 1), (EXTRA + 2, 30, EXTRA + 2, 30),
    (100, 2000, EXTRA + 1, 2100 - EXTRA - 1), (STORE + EXTRA, 1, STORE + EXTRA, 1),
    (STORE + EXTRA - 4, 100, STORE + EXTRA - 4, 5), (STORE, 20, STORE, 20), (STORE + EXTRA + 1, 1, 0, 0)))
def test_evicted_numbers_are_answered_from_the_oldest_one_kept(full, sequence, count, first, sent):
    packets = ask_in_full(full, sequence, count)
    assert sum(packet.count for packet in packets) == sent
    expected = first
    for packet in packets:
        assert packet.sequence == expected
        assert all(is_trade(raw, number) for number, raw in enumerate(packet.messages, expected))
        expected += packet.count
    assert [packet.count for packet in packets[:-1]] == [9] * max(0, len(packets) - 1)


def test_the_largest_request_is_answered_in_full(full):
    sock = probe.retransmission_client(full)
    if sock.getsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF) < receiver.BUFFER_BYTES:
        pytest.skip("needs a receive buffer for 7282 packets, which takes privilege (CAP_NET_ADMIN)")
    start = EXTRA + 1000
    sock.send(wire.request(start, 65535, b"all of it "))
    expected = start
    while expected < start + 65535:
        data = sock.recv(2000)
        session, sequence, count = struct.unpack_from(">10sQH", data)
        assert (session, sequence) == (b"all of it ", expected)
        assert is_trade(wire.parse_packet(data).messages[-1], sequence + count - 1)
        expected += count
    assert expected == start + 65535
    sock.settimeout(0.2)
    with pytest.raises(TimeoutError):
        sock.recv(2000)


def test_new_messages_push_out_old_ones_one_by_one(full):
    oldest = control.stats(full.control)["seq"] - STORE + 1
    assert [packet.sequence for packet in ask_in_full(full, oldest - 1, 2)] == [oldest]
    reports.report(harness.open_reporter(full), price="77")
    assert ask_in_full(full, oldest, 1) == []
    assert [packet.sequence for packet in ask_in_full(full, oldest - 1, 3)] == [oldest + 1]
    newest = ask_in_full(full, oldest + STORE, 1)
    assert wire.decode(newest[0].messages[0])["price"] == "0077.000000"
