"""The feed seen through someone else's eyes: tshark captures and decodes it, and must read what this decoder reads."""

import signal
import socket
import subprocess
import threading

import pytest

import control
import harness
import probe
import receiver
import reports
import wire

FIELDS = ("session", "sequence", "count", "msglen", "msgseq", "msglen.invalid", "count.invalid",
          "end_of_session_extra")


class Capture_refused(Exception):
    """tshark ended before it captured anything; the text says why."""


def start_capture(doors, file, rows):
    """Starts tshark on both UDP ports and waits until it really captures. `rows` receives the fields of each packet."""
    process = subprocess.Popen(
        ["tshark", "-i", "lo", "-f", f"udp port {doors.feed} or udp port {doors.retrans}", "-w", str(file), "-P", "-l",
         "-T", "fields", "-e", "udp.srcport", "-e", "ip.dst", "-e", "udp.length"],
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    problems = []
    readers = [threading.Thread(target=collect, args=(process.stdout, rows), daemon=True),
               threading.Thread(target=lambda: problems.extend(process.stderr), daemon=True)]
    for reader in readers:
        reader.start()
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        def captured():
            probe.sendto(b"probe", ("127.0.0.1", doors.feed))
            return rows or process.poll() is not None
        harness.until(captured, 30, "the first captured packet")
    if process.poll() is not None:
        readers[1].join()
        raise Capture_refused("".join(problems))
    return process


def collect(stream, rows):
    """Reads tab-separated lines into `rows` until the stream ends."""
    for line in stream:
        rows.append(line.rstrip("\n").split("\t"))


def is_packet(row, doors):
    """Whether a captured datagram is one of the feed, and not a receiver's mark, which is shorter."""
    return row[1] == doors.group and int(row[2]) >= 8 + wire.HEADER_SIZE


def is_answer(row, doors):
    """Whether a captured datagram comes from the retransmission port."""
    return row[0] == str(doors.retrans)


def dissect(file, doors, display_filter):
    """tshark's own reading of the captured packets: one dict of text lists per packet."""
    command = ["tshark", "-r", str(file), "-Y", display_filter, "-d", f"udp.port=={doors.feed},moldudp64",
               "-d", f"udp.port=={doors.retrans},moldudp64", "-T", "fields", "-E", "occurrence=a", "-E", "aggregator=,"]
    for name in FIELDS:
        command += ["-e", f"moldudp64.{name}"]
    command += ["-e", "udp.payload"]
    text = subprocess.run(command, check=True, capture_output=True, text=True, timeout=harness.bound(60)).stdout
    rows = [line.split("\t") for line in text.splitlines()]
    return [dict(zip((*FIELDS, "payload"), row)) for row in rows]


def ours_as_fields(data):
    """This decoder's reading of a datagram, in the form of tshark's fields."""
    packet = wire.parse_packet(data)
    return {"session": packet.session.decode(), "sequence": str(packet.sequence), "count": str(packet.count),
            "msglen": ",".join(str(len(raw)) for raw in packet.messages),
            "msgseq": ",".join(str(packet.sequence + index) for index in range(len(packet.messages))),
            "msglen.invalid": "", "count.invalid": "", "end_of_session_extra": "", "payload": data.hex()}


def make_traffic(launch, doors):
    """A run with heartbeats, trades, amendments, the close and a retransmission: (bench, answers)."""
    bench = launch("--rate-ms", 20, "--scenario", "cancel_every=3,correct_every=2", doors=doors)
    receiver.wait_for_sequence(bench.feed, 60, harness.bound(20))
    assert control.command(bench.control, "cancel 3") == "cancelled 3"
    assert control.command(bench.control, f"halt {reports.AAPL}") == "ok"
    assert control.command(bench.control, "pause") == "ok"
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals[-1].data) == 20, harness.bound(8), "a heartbeat")
    assert control.command(bench.control, "close") == "ok"
    receiver.wait_for(bench.feed, lambda arrivals: arrivals[-1].data[18:] == b"\xff\xff", harness.bound(3), "the end")
    answers = probe.ask(bench, wire.request(1, 50), wire.request(20, 40, b"OTHER-NAME"))
    harness.stop(bench)
    return bench, answers


def test_tshark_reads_the_feed_as_we_do(launch, pool, tmp_path):
    harness.need("tshark")
    doors = harness.claim_doors(pool)
    file, rows = tmp_path / "feed.pcapng", []
    try:
        process = start_capture(doors, file, rows)
    except Capture_refused as refusal:
        pytest.skip(f"tshark may not capture on lo here: {refusal}")
    try:
        bench, answers = make_traffic(launch, doors)
        live = [arrival.data for arrival, _ in receiver.packets(bench.feed)]
        wanted = len(live) + len(answers) + 1    # the last answer marks the end of the asking
        harness.until(lambda: sum(is_answer(row, doors) or is_packet(row, doors) for row in rows) >= wanted, 20,
                      "the whole traffic in the capture")
    finally:
        process.send_signal(signal.SIGINT)
        process.wait(harness.bound(20))
    feed = dissect(file, doors, f"ip.dst == {doors.group} && udp.length >= {8 + wire.HEADER_SIZE}")
    assert feed == [ours_as_fields(data) for data in live]
    assert {row["count"] for row in feed} >= {"0", "1", "65535"}
    replies = dissect(file, doors, f"udp.srcport == {doors.retrans}")
    assert replies[:-1] == [ours_as_fields(data) for data in answers]
    assert max(int(row["count"]) for row in replies) > 5
