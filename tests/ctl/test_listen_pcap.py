"""listen --pcap: what is received becomes a capture; and when it was received."""

import json
import resource
import socket
import struct
import subprocess
import time

import pytest

import auditing
import companion
import control
import harness
import publisher
import receiver
import replaying

ETHERNET, IP, UDP = 14, 20, 8


def frames(path):
    """Everything in a capture of our own: (ns, frame) in the order of the file."""
    content = path.read_bytes()
    magic, major, minor, _, _, length, link = struct.unpack_from("=IHHiIII", content)
    assert (magic, major, minor, link) == (0xa1b23c4d, 2, 4, 1) and length > 65549
    found, at = [], 24
    while at < len(content):
        seconds, nanoseconds, kept, whole = struct.unpack_from("=IIII", content, at)
        assert kept == whole and nanoseconds < 10**9
        found.append((seconds * 10**9 + nanoseconds, content[at + 16:at + 16 + kept]))
        at += 16 + kept
    assert at == len(content)
    return found


def sum_of(data):
    """The sum in one's complement that checksums are made of; 0xffff over bytes that hold their own checksum."""
    total = sum(struct.unpack(f">{len(data + b'?') // 2}H", data + bytes(len(data) % 2)))
    while total > 0xffff:
        total = (total & 0xffff) + (total >> 16)
    return total


def datagram(frame):
    """(source, destination, contents) of a frame, which must be right in every field."""
    to, sender, kind = struct.unpack_from(">6s6sH", frame)
    ip, udp, data = frame[ETHERNET:ETHERNET + IP], frame[ETHERNET + IP:], frame[ETHERNET + IP + UDP:]
    from_port, to_port, length, checksum = struct.unpack_from(">HHHH", udp)
    assert (kind, ip[0], ip[9], length) == (0x0800, 0x45, 17, len(udp))
    assert struct.unpack_from(">H", ip, 2)[0] == IP + len(udp) == len(frame) - ETHERNET
    assert checksum != 0 and sum_of(ip) == 0xffff
    assert sum_of(ip[12:20] + struct.pack(">HH", 17, len(udp)) + udp) == 0xffff
    if ip[16] >= 224:
        assert to == b"\x01\x00\x5e" + bytes([ip[17] & 0x7f]) + ip[18:20]
    assert not sender[0] & 1  # the sender is one machine
    return (socket.inet_ntoa(ip[12:16]), from_port), (socket.inet_ntoa(ip[16:20]), to_port), data


def test_every_datagram_is_kept_as_it_came_and_when(fake, follow, tmp_path):
    pcap = tmp_path / "feed.pcap"
    listening = follow(fake.doors, "listen", "--json", "--pcap", pcap, "--count", 3)
    companion.wait_until_member(listening, fake.doors)
    packets = [publisher.numbered(1), publisher.numbered(1), b"odd", b"", publisher.numbered(7, session=b"OTHER"),
               publisher.heartbeat(2), publisher.packet(2, b"x" * 3001), publisher.numbered(3)]
    begun_ns = time.time_ns()
    for each in packets:
        publisher.send(fake, each)
    assert companion.finish(listening) == 0
    kept = frames(pcap)
    assert [datagram(frame) for _, frame in kept] == [
        (("127.0.0.1", fake.feed.getsockname()[1]), (fake.doors.group, fake.doors.feed), each) for each in packets]
    times = [at_ns for at_ns, _ in kept]
    assert times == sorted(times) and begun_ns <= times[0] <= times[-1] <= time.time_ns()


def test_answers_are_kept_with_the_addresses_they_had(fake, follow, tmp_path):
    pcap = tmp_path / "feed.pcap"
    fake.answer = lambda first, count: [publisher.numbered(first, count)]
    listening = follow(fake.doors, "listen", "--pcap", pcap, "--recover", "--count", 4)
    companion.wait_until_member(listening, fake.doors)
    for number in (1, 4):
        publisher.send(fake, publisher.numbered(number))
    assert companion.finish(listening) == 0
    sender, to, data = datagram(frames(pcap)[-1][1])
    assert (sender, to[0], data) == (("127.0.0.1", fake.doors.retrans), "127.0.0.1", publisher.numbered(2, 2))


def test_the_capture_can_be_read_while_it_grows(fake, follow, tmp_path):
    pcap = tmp_path / "feed.pcap"
    listening = follow(fake.doors, "listen", "--json", "--pcap", pcap)
    companion.wait_until_member(listening, fake.doors)
    publisher.send(fake, publisher.numbered(1))
    companion.wait_for(listening, lambda lines: any('"control"' in line for line in lines), "the message")
    assert [datagram(frame)[2] for _, frame in frames(pcap)] == [publisher.numbered(1)]
    assert companion.interrupt(listening) == 0


@pytest.fixture(name="recorded")
def record(launch, follow, tmp_path):
    """A bench that drops, doubles and holds packets, recorded to its end by a listener that recovers."""
    bench = launch("--rate-ms", 5, "--drop-every", 7, "--dup-every", 9, "--reorder-every", 11, "--quiet", listen=True)
    pcap = tmp_path / "feed.pcap"
    listening = follow(bench.doors, "listen", "--json", "--from", 1, "--until-end", "--pcap", pcap)
    companion.wait_until_member(listening, bench.doors)
    receiver.wait_for_sequence(bench.feed, 200, harness.bound(30))
    assert control.command(bench.control, "close") == "ok"
    assert companion.finish(listening) == 0
    assert companion.objects(listening)[-1]["recovered"] > 20
    (tmp_path / "listened.jsonl").write_text("\n".join(listening.lines) + "\n", encoding="utf-8")
    return bench, pcap


def test_audit_and_replay_read_the_capture(recorded, pool):
    bench, pcap = recorded
    status, verdict = auditing.audit(bench, "--pcap", pcap, "--from", 1)
    assert (status, verdict["verdict"], verdict["first"]) == (0, "equal", 1), auditing.explain(verdict)
    assert verdict["recovered"] > 20 and verdict["duplicates"] > 10 and verdict["out_of_order"] > 5
    harness.stop(bench)
    elsewhere = harness.claim_doors(pool)
    with replaying.listening(elsewhere) as listener:
        assert replaying.replay(elsewhere, pcap, "--captured-port", bench.doors.feed, "--captured-retrans-port",
                                bench.doors.retrans, "--as-fast-as-possible", "--linger", 0)[0] == 0
        sent = replaying.received(listener)
    live = [arrival.data for arrival in bench.feed.arrivals]
    assert sent == live[live.index(sent[0]):][:len(sent)] and len(sent) > 150


def test_what_was_listened_to_is_a_recording_of_which_everything_is_compared(recorded, tmp_path):
    bench, _ = recorded
    status, verdict = auditing.audit(bench, "--capture", tmp_path / "listened.jsonl")
    assert (status, verdict["verdict"], verdict["not_compared"]) == (0, "equal", []), auditing.explain(verdict)


def test_tshark_reads_the_capture_and_finds_every_checksum_right(recorded):
    bench, pcap = recorded
    read = subprocess.run(
        [harness.need("tshark"), "-r", pcap, "-o", "udp.check_checksum:TRUE", "-o", "ip.check_checksum:TRUE", "-T", "fields",
         "-e", "udp.dstport", "-e", "ip.checksum.status", "-e", "udp.checksum.status", "-e", "data.len", "-e", "udp.length"],
        capture_output=True, text=True, check=True, timeout=harness.bound(30))
    rows = [line.split("\t") for line in read.stdout.splitlines()]
    assert len(rows) == len(frames(pcap)) > 200
    assert {(ip, udp) for _, ip, udp, _, _ in rows} == {("1", "1")}  # good
    assert sum(row[0] == str(bench.doors.feed) for row in rows) > 150


def test_a_file_that_cannot_be_made_is_wrong_usage(doors, tmp_path):
    for path in (tmp_path / "none/feed.pcap", tmp_path):
        status, output, errors = companion.run(doors, "listen", "--pcap", path)
        assert (status, output) == (2, "")
        assert errors.startswith(f"vorbelctl: cannot write the capture {path}: ")
    status, output, errors = companion.run(doors, "listen", "--pcap", "-")
    assert (status, output) == (2, "")
    assert "--pcap needs a file: standard output has the lines" in errors


def limit_files():
    """For a process to come: files may not grow beyond a kilobyte, and writing beyond is an error."""
    resource.setrlimit(resource.RLIMIT_FSIZE, (1024, 1024))


@pytest.mark.parametrize("wrong", [False, True])
def test_a_capture_that_cannot_be_written_whole_is_status_6_when_nothing_else_is_amiss(fake, tmp_path, wrong):
    command = companion.command_line(fake.doors, "listen", "--json", "--count", "40", "--pcap", tmp_path / "feed.pcap")
    ignoring = ["env", "--ignore-signal=XFSZ", *command]
    with subprocess.Popen(ignoring, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, preexec_fn=limit_files) as made:
        running = companion.Running(made)
        companion.wait_until_member(running, fake.doors)
        for number in range(1, 40 + wrong * 2):
            if number != 20 or not wrong:
                publisher.send(fake, publisher.numbered(number))
        if not wrong:
            publisher.send(fake, publisher.numbered(40))
        output, errors = made.communicate(timeout=harness.bound(20))
    assert made.returncode == (1 if wrong else 6), errors
    assert f"the capture {tmp_path}/feed.pcap could not be written whole" in errors
    assert json.loads(output.splitlines()[-1])["messages"] == 40


def test_every_event_says_when_it_was_received(fake, follow):
    fake.answer = lambda first, count: []
    listening = follow(fake.doors, "listen", "--json", "--recover", "--until-end")
    companion.wait_until_member(listening, fake.doors)
    moments = {}
    for number, each in ((1, publisher.numbered(1)), (3, publisher.numbered(3))):
        moments[number] = time.time_ns() // 10**6
        publisher.send(fake, each)
    harness.until(lambda: fake.requests, 10, "a request")
    moments[2] = time.time_ns() // 10**6
    publisher.send(fake, publisher.numbered(2))
    publisher.send(fake, publisher.end_of_session(4))
    assert companion.finish(listening) == 0
    *lines, totals = map(json.loads, listening.lines)
    assert all(isinstance(line["received_ms"], int) for line in lines) and "received_ms" not in totals
    assert all(list(line)[-1] == "received_ms" for line in lines)
    received = {line["seq"]: line["received_ms"] for line in lines if "via" in line}
    # 3 was held back behind 2, but came before it.
    assert received[1] <= received[3] < moments[2] <= received[2] + 1
    for number, at_ms in moments.items():
        assert at_ms - 1 <= received[number] <= at_ms + 1000 * harness.bound(1)


def test_a_fetched_message_says_when_it_came(launch):
    bench = launch()
    begun_ms = time.time_ns() // 10**6
    output = companion.run(bench.doors, "fetch", "--json", "1")[1]
    assert begun_ms - 1 <= json.loads(output)["received_ms"] <= time.time_ns() // 10**6
