"""Captures instead of the network: every kind of link, what is lost and answered in them, and what no capture should
hold."""

import dataclasses
import json
import random
import struct

import pytest

import auditing
import pcap_files
import wire
from pcap_files import Datagram


def written(run, path, datagrams, link=pcap_files.ETHERNET, **settings):
    """The audit's word on a capture of these datagrams."""
    return auditing.audit(run, "--pcap", pcap_files.write_pcap(path / "feed.pcap", link, datagrams, **settings))


@pytest.mark.parametrize("link", pcap_files.ALL_LINKS)
def test_every_kind_of_link_is_understood(run, tmp_path, link):
    status, verdict = written(run, tmp_path, pcap_files.with_answers(run), pcap_files.ALL_LINKS[link])
    assert (status, verdict["verdict"], verdict["origin"]) == (0, "equal", "pcap"), auditing.explain(verdict)
    assert verdict["messages"] == len(run.messages)
    assert verdict["lost"] == verdict["recovered"] == len(pcap_files.lost_numbers(run)) > 30
    assert verdict["duplicates"] > 20 and verdict["out_of_order"] > 10


def test_nanosecond_captures_are_understood(run, tmp_path):
    status, verdict = written(run, tmp_path, pcap_files.with_answers(run), nanoseconds=True)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)


def test_without_the_answers_losses_are_losses(run, tmp_path):
    status, verdict = written(run, tmp_path, pcap_files.of_arrivals(run))
    assert (status, verdict["verdict"], verdict["discrepancies"]) == (1, "lost", 0), auditing.explain(verdict)
    numbers = [number for first, last in verdict["missing_ranges"] for number in range(first, last + 1)]
    assert numbers == pcap_files.lost_numbers(run)
    assert verdict["messages"] == len(run.messages) - len(numbers)


def test_gaps_are_timed_by_the_capture(run, tmp_path):
    _, verdict = written(run, tmp_path, pcap_files.with_answers(run, delay_ns=333_000_000))
    assert 333 <= verdict["longest_gap_ms"] <= 335


def place_in_order(run):
    """Where in the second half of the arrivals everything before is of lower numbers, and everything from there on is
    not: (time, number)."""
    numbers = [wire.parse_packet(data).sequence for _, data in run.arrivals]
    return next((run.arrivals[place][0], numbers[place]) for place in range(len(numbers) // 2, len(numbers))
                if max(numbers[:place]) < numbers[place] == min(numbers[place:]))


def test_a_capture_may_begin_in_the_middle(run, tmp_path):
    start_ns, first = place_in_order(run)
    datagrams = [each for each in pcap_files.with_answers(run) if each.at_ns >= start_ns]
    status, verdict = written(run, tmp_path, datagrams)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert (verdict["first"], verdict["last"]) == (first, len(run.messages))
    assert verdict["cancels"] > 10


def test_with_a_start_given_what_is_before_the_capture_is_missing(run, tmp_path):
    datagrams = [each for each in pcap_files.of_messages(run) if wire.parse_packet(each.data).sequence > 100]
    pcap = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.RAW, datagrams)
    status, verdict = auditing.audit(run, "--pcap", pcap, "--from", 1)
    assert (status, verdict["missing_ranges"], verdict["missing"]) == (1, [[1, 100]], 100)


def test_both_sights_of_a_datagram_on_all_interfaces_are_one(run, tmp_path):
    both = [dataclasses.replace(each, direction=direction) for each in pcap_files.with_answers(run)
            for direction in (pcap_files.OUTGOING, pcap_files.INCOMING)]
    single = written(run, tmp_path, pcap_files.with_answers(run), pcap_files.COOKED)[1]
    for link in (pcap_files.COOKED, pcap_files.COOKED_2):
        status, verdict = written(run, tmp_path, both, link)
        assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
        assert verdict["duplicates"] == single["duplicates"]


def test_tags_and_options_are_climbed_over(run, tmp_path):
    datagrams = [dataclasses.replace(each, vlan=b"\x88\xa8\x00\x05\x81\x00\x00\x07", options=bytes(8))
                 for each in pcap_files.with_answers(run)]
    status, verdict = written(run, tmp_path, datagrams)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)


def test_what_belongs_to_nobody_is_passed_over(run, tmp_path):
    good = pcap_files.with_answers(run)
    stray = good[5]
    strays = [dataclasses.replace(stray, port=1), dataclasses.replace(stray, to="239.1.1.1"),
              dataclasses.replace(stray, fragment=0x2000), dataclasses.replace(stray, fragment=5),
              dataclasses.replace(stray, kept=9), dataclasses.replace(stray, kept=30), dataclasses.replace(stray, kept=60)]
    status, verdict = written(run, tmp_path, [*good[:5], *strays, *good[5:]])
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert verdict["duplicates"] == written(run, tmp_path, good)[1]["duplicates"]


def test_foreign_sessions_and_malformed_packets_are_counted_and_ignored(run, tmp_path):
    good = pcap_files.of_messages(run)
    strange = [dataclasses.replace(good[0], data=data) for data in (
        b"short", pcap_files.packed(1, b"CI") + b"!", pcap_files.packed(7, b"TM", session=b"SOMEBODY  "),
        pcap_files.packed(0, b"TM"), b"\xff" * 20)]
    status, verdict = written(run, tmp_path, [*good[:50], *strange, *good[50:]])
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert (verdict["malformed_packets"], verdict["foreign_packets"]) == (3, 2)


@pytest.mark.parametrize("seed", range(5))
def test_noise_in_every_place_is_survived(run, tmp_path, seed):
    """Frames with bytes altered anywhere, cut anywhere, and frames of nothing but noise."""
    choice = random.Random(seed)
    path = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.ETHERNET, pcap_files.with_answers(run))
    content = bytearray(path.read_bytes())
    at = 24
    while at < len(content):
        kept = int.from_bytes(content[at + 8:at + 12], "little")
        for _ in range(choice.choice((0, 0, 1, 3, 20))):
            content[at + 16 + choice.randrange(kept)] = choice.randrange(256)
        at += 16 + kept
    path.write_bytes(content)
    status, output, errors = auditing.run_raw("audit", "--json", "--truth", run.folder / "truth.jsonl", "--pcap", path,
                                              "--mcast", run.doors.group, "--port", run.doors.feed, seconds=60)
    assert status in (1, 3, 5), errors  # noise may also look like a feed that fell back and went on from there
    assert (status == 3) == ("error" in json.loads(output))


def test_an_end_of_session_at_the_end_of_numbers_is_survived(run, tmp_path):
    good = pcap_files.of_messages(run)
    end = pcap_files.packed(2**64 - 2)[:-2] + wire.END_OF_SESSION.to_bytes(2, "big")
    mad = dataclasses.replace(good[-1], data=end)
    status, verdict = written(run, tmp_path, [*good, mad])
    assert (status, verdict["verdict"]) == (1, "lost"), auditing.explain(verdict)
    assert verdict["missing_ranges"] == [[len(run.messages) + 1, 2**64 - 3]]


def test_a_capture_without_the_feed_is_no_feed(run, tmp_path):
    pcap = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.RAW,
                                 [Datagram(10**18, b"hello", "127.0.0.1", 9)] * 3)
    status, output, errors = auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--pcap", pcap)
    assert (status, output) == (3, "")
    assert "among the 3 frames" in errors


@pytest.mark.parametrize(("content", "complaint"), [
    (b"", "cannot read the capture"), (b"no capture at all, but long enough for a header", "cannot read the capture"),
    (struct.pack("=IHHiIII", 0xa1b2c3d4, 2, 4, 0, 0, 65535, 105), "was captured on a link of type"),
    (struct.pack("=IHHiIII", 0xa1b2c3d4, 2, 4, 0, 0, 65535, 1) + b"\xff" * 16, "cannot be read to its end")])
def test_what_is_no_capture_is_a_wrong_use(run, tmp_path, content, complaint):
    path = tmp_path / "feed.pcap"
    path.write_bytes(content)
    status, output, errors = auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--pcap", path)
    assert (status, output) == (2, "")
    assert complaint in errors
