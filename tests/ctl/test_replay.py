"""vorbelctl replay: what was captured is sent again, byte for byte and at its pace, and answered for."""

import signal
import time

import pytest

import companion
import harness
import pcap_files
import probe
import receiver
import wire
from publisher import end_of_session, heartbeat, numbered, packet
from replaying import answer, listening, on_feed, received, replay, totals_of, wait_for_packets


def text(number, run="first"):
    """The bytes of a message: no two numbers and no two runs have the same."""
    return f"message {number} of the {run} run".encode("ascii")


def of_run(number, run="first"):
    """A packet with this one message."""
    return packet(number, text(number, run))


def write(tmp_path, datagrams, link=pcap_files.RAW):
    """A capture of these datagrams."""
    return pcap_files.write_pcap(tmp_path / "feed.pcap", link, datagrams)


def asked(listener, first, count, session=b"BTDS000001"):
    """What the retransmission port answers: (number, message) of each, in order."""
    found = []
    for data in probe.ask(listener, wire.request(first, count, session)):
        answered = wire.parse_packet(data)
        assert answered.session == session
        found += enumerate(answered.messages, answered.sequence)
    return found


def test_packets_are_sent_byte_for_byte_in_captured_order(doors, tmp_path):
    packets = [of_run(1), of_run(3), of_run(2), of_run(2), heartbeat(4), b"no packet at all", numbered(7, session=b"OTHER"),
               packet(4, text(4), text(5)), end_of_session(6), end_of_session(6)]
    pcap = write(tmp_path, on_feed(doors, *packets))
    with listening(doors) as listener:
        status, output, errors = replay(doors, pcap, "--linger", "0")
        assert received(listener) == packets
        assert {arrival.ttl for arrival in listener.feed.arrivals} == {1}  # as a bench's own
    assert status == 0
    assert output.startswith("10 packets with 6 messages sent in ") and output.count("\n") == 1
    assert output.endswith("; 0 requests answered with 0 messages\n")
    assert errors == f"replaying 10 packets of {pcap} on {doors.group}:{doors.feed} (Ctrl-C ends it)\n"


def test_only_the_feed_is_sent(doors, tmp_path):
    others = [pcap_files.Datagram(1, b"x", "239.1.1.1", doors.feed), pcap_files.Datagram(1, b"x", doors.group, 9),
              answer(doors, of_run(2))]
    pcap = write(tmp_path, [*others, *on_feed(doors, of_run(1))])
    with listening(doors) as listener:
        assert replay(doors, pcap, "--linger", "0")[0] == 0
        assert received(listener) == [of_run(1)]


def test_it_may_be_sent_elsewhere(pool, doors, tmp_path):
    elsewhere = harness.claim_doors(pool, group="239.255.28.98")
    pcap = write(tmp_path, [*on_feed(doors, of_run(1), of_run(3)), answer(doors, of_run(2))])
    captured = ["--captured-mcast", doors.group, "--captured-port", doors.feed, "--captured-retrans-port", doors.retrans]
    with listening(elsewhere) as listener:
        running = companion.start(elsewhere, "replay", pcap, *captured, "--linger", "20")
        wait_for_packets(listener, 2)
        assert asked(listener, 1, 9) == [(number, text(number)) for number in (1, 2, 3)]
        companion.interrupt(running)
        assert received(listener) == [of_run(1), of_run(3)]
    status, _, errors = replay(elsewhere, pcap)
    assert status == 3
    assert f"to {elsewhere.group}:{elsewhere.feed} among the 3 frames" in errors


def moments(listener):
    """When the datagrams arrived, in seconds from the first on."""
    received(listener)
    times = [arrival.at_ns for arrival in listener.feed.arrivals]
    return [(at_ns - times[0]) / 1e9 for at_ns in times]


@pytest.mark.parametrize(("options", "took_s"), [([], 1.2), (["--speed", "4"], 0.3), (["--speed", "0.75"], 1.6)])
def test_the_pace_is_the_captured_one_or_a_multiple(doors, tmp_path, options, took_s):
    pcap = write(tmp_path, on_feed(doors, *map(of_run, range(1, 61)), every_ms=20) + on_feed(doors, of_run(61), begin_ms=1200))
    with listening(doors) as listener:
        status, totals = totals_of(doors, pcap, *options)
        times = moments(listener)
    assert status == 0
    # No packet is early, and the last is no later than any other may be: what one loses the next does not.
    late = [at_s - place * took_s / 60 for place, at_s in enumerate(times)]
    assert len(late) == 61 and min(late) > -harness.slowness() * 0.05
    assert took_s - 0.05 * harness.slowness() <= times[-1] <= took_s + 0.25 * harness.slowness()
    assert took_s <= totals["seconds"] <= took_s + 0.25 * harness.slowness()
    assert 0 < totals["behind_ms"] < 250 * harness.slowness()


def test_as_fast_as_possible_waits_for_nothing(doors, tmp_path):
    pcap = write(tmp_path, on_feed(doors, *map(of_run, range(1, 201)), every_ms=60_000))
    with listening(doors) as listener:
        status, totals = totals_of(doors, pcap, "--as-fast-as-possible")
        assert received(listener) == list(map(of_run, range(1, 201)))
    assert (status, totals["packets"], totals["messages"], totals["behind_ms"]) == (0, 200, 200, None)
    assert totals["seconds"] < harness.bound(5)


def test_times_that_run_backwards_keep_the_order(doors, tmp_path):
    pcap = write(tmp_path, on_feed(doors, of_run(1), begin_ms=500) + on_feed(doors, of_run(2)) +
                 on_feed(doors, of_run(3), begin_ms=600))
    with listening(doors) as listener:
        assert totals_of(doors, pcap)[0] == 0
        assert received(listener) == [of_run(1), of_run(2), of_run(3)]


def test_requests_are_answered_from_the_feed_and_from_captured_answers(doors, tmp_path, follow):
    pcap = write(tmp_path, [*on_feed(doors, of_run(1), of_run(2)), *on_feed(doors, of_run(5), of_run(8)),
                            answer(doors, packet(3, text(3), text(4))), answer(doors, of_run(6))])
    with listening(doors) as listener:
        running = follow(doors, "replay", "--json", pcap, "--linger", "20")
        wait_for_packets(listener, 4)
        known = [(number, text(number)) for number in (1, 2, 3, 4, 5, 6, 8)]  # nobody captured 7
        assert asked(listener, 1, 65535) == known
        assert asked(listener, 3, 2) == known[2:4]
        assert asked(listener, 0, 2) == known[:1]  # the count is from the number that was asked for
        assert asked(listener, 7, 1) == asked(listener, 9, 5) == asked(listener, 1, 0) == []
        assert asked(listener, 5, 1, b"SOMEBODY  ") == known[4:5]  # under the name that the request has
        assert probe.ask(listener, b"short", b"x" * 19) == []
        # Bytes behind the header are ignored.
        assert wire.parse_packet(probe.ask(listener, wire.request(8, 1) + b"behind")[0]).messages == (text(8),)
        assert companion.interrupt(running) == 0
        totals = companion.objects(running)[-1]
    assert (totals["requests"], totals["answered"]) == (8 + 9, 7 + 2 + 1 + 1 + 1 + 9)  # with the marks that end answers


def test_answers_are_packed_as_a_bench_packs_them(doors, tmp_path, follow):
    messages = {number: bytes([48 + number % 10]) * (100 + number % 7 * 40) for number in range(1, 101)}
    pcap = write(tmp_path, on_feed(doors, *(packet(number, raw) for number, raw in messages.items())))
    with listening(doors) as listener:
        follow(doors, "replay", pcap, "--linger", "20")
        wait_for_packets(listener, 100)
        answers = [wire.parse_packet(data) for data in probe.ask(listener, wire.request(1, 100))]
    assert [(each.sequence, each.count) for each in answers] == wire.in_packets(1, messages.values())
    assert {number: raw for each in answers for number, raw in enumerate(each.messages, each.sequence)} == messages


def test_only_what_has_been_sent_is_answered(doors, tmp_path, follow):
    pcap = write(tmp_path, on_feed(doors, of_run(1), of_run(3)) + [answer(doors, of_run(2))] +
                 on_feed(doors, of_run(4), of_run(5), begin_ms=600_000))
    with listening(doors) as listener:
        running = follow(doors, "replay", pcap)
        wait_for_packets(listener, 2)
        assert [number for number, _ in asked(listener, 1, 100)] == [1, 2, 3]
        assert companion.interrupt(running) == 3
    assert running.errors[-1] == "vorbelctl: the replay ended after 2 of 4 packets"


def test_a_heartbeat_tells_that_what_is_before_it_was_sent(doors, tmp_path, follow):
    pcap = write(tmp_path, on_feed(doors, of_run(1), heartbeat(3)) + [answer(doors, of_run(2))] +
                 on_feed(doors, of_run(3), begin_ms=600_000))
    with listening(doors) as listener:
        follow(doors, "replay", pcap)
        wait_for_packets(listener, 2)
        assert asked(listener, 1, 100) == [(1, text(1)), (2, text(2))]


def test_a_capture_may_begin_in_the_middle(doors, tmp_path, follow):
    pcap = write(tmp_path, on_feed(doors, of_run(1000), of_run(1002)) + [answer(doors, of_run(1001)), answer(doors, of_run(7))])
    with listening(doors) as listener:
        follow(doors, "replay", pcap, "--linger", "20")
        wait_for_packets(listener, 2)
        found = [each.messages for each in map(wire.parse_packet, probe.ask(
            listener, wire.request(1, 65535), known=1000))]
    assert found == [(text(7),), (text(1000), text(1001), text(1002))]


def test_it_lingers_after_the_last_packet_and_ends(doors, tmp_path, follow):
    pcap = write(tmp_path, on_feed(doors, of_run(1)))
    with listening(doors) as listener:
        running = follow(doors, "replay", pcap, "--linger", "1")
        wait_for_packets(listener, 1)
        sent = time.monotonic()
        assert asked(listener, 1, 1) == [(1, text(1))]
        assert companion.finish(running) == 0
        assert 0.9 <= time.monotonic() - sent <= harness.bound(3)
    assert "--linger FLOAT:0 to 1000000=5" in companion.run(doors, "replay", "--help")[1]


@pytest.mark.parametrize(("options", "places"), [
    (["--from", "4"], range(4, 11)), (["--from", "5"], range(6, 11)), (["--to", "4"], range(6)),
    (["--from", "3", "--to", "3"], [2, 3]), (["--from", "7", "--to", "7"], [8]), (["--from", "8"], [8, 9, 10])])
def test_a_range_leaves_out_what_has_no_number_in_it(doors, tmp_path, options, places):
    packets = [of_run(1), of_run(2), of_run(3), of_run(3), of_run(4), heartbeat(5), of_run(5), of_run(6),
               packet(7, text(7), text(8)), heartbeat(9), end_of_session(9)]
    pcap = write(tmp_path, on_feed(doors, *packets))
    with listening(doors) as listener:
        assert totals_of(doors, pcap, *options)[0] == 0
        assert received(listener) == [packets[place] for place in places]


def test_what_has_no_number_is_sent_within_the_range(doors, tmp_path):
    strange = [b"no packet", numbered(2, session=b"OTHER")]
    pcap = write(tmp_path, on_feed(doors, b"before", of_run(1), *strange, of_run(2), of_run(3), b"behind"))
    with listening(doors) as listener:
        assert totals_of(doors, pcap, "--from", "1", "--to", "2")[0] == 0
        assert received(listener) == [of_run(1), *strange, of_run(2)]


def test_messages_before_the_range_are_answered_and_those_behind_it_not(doors, tmp_path, follow):
    pcap = write(tmp_path, on_feed(doors, *map(of_run, range(1, 10))))
    with listening(doors) as listener:
        follow(doors, "replay", pcap, "--from", "4", "--to", "6", "--linger", "20")
        wait_for_packets(listener, 3)
        assert [number for number, _ in asked(listener, 1, 100)] == [1, 2, 3, 4, 5, 6]


def test_a_range_is_not_waited_for(doors, tmp_path):
    pcap = write(tmp_path, on_feed(doors, *map(of_run, range(1, 4)), every_ms=600_000))
    with listening(doors) as listener:
        status, totals = totals_of(doors, pcap, "--from", "3")
        assert (status, received(listener), totals["packets"]) == (0, [of_run(3)], 1)


def test_each_run_of_a_restarted_bench_is_answered_by_its_own_messages(doors, tmp_path, follow):
    """The second run lost its number 2 on the wire; the answer came behind 3."""
    old, new = (lambda number: of_run(number, "first")), (lambda number: of_run(number, "second"))
    pcap = write(tmp_path, on_feed(doors, old(1), old(2), old(3), old(4)) +
                 on_feed(doors, new(1), new(3), heartbeat(4), heartbeat(4), heartbeat(4), begin_ms=10_000, every_ms=1000,
                         sender_port=40001) + [answer(doors, new(2), at_ms=14_100)] +
                 on_feed(doors, new(4), sender_port=40001, begin_ms=15_000))
    with listening(doors) as listener:
        running = follow(doors, "replay", pcap, "--speed", "5", "--linger", "20")
        wait_for_packets(listener, 4)
        assert asked(listener, 1, 9) == [(number, text(number, "first")) for number in (1, 2, 3, 4)]
        wait_for_packets(listener, 6)
        assert asked(listener, 1, 9) == [(number, text(number, "second")) for number in (1, 2, 3)]
        wait_for_packets(listener, 10)
        assert asked(listener, 1, 9) == [(number, text(number, "second")) for number in (1, 2, 3, 4)]
        assert companion.interrupt(running) == 0


def test_a_second_sender_is_sent_again_but_not_answered_for(doors, tmp_path, follow):
    """Another bench of the same session stands a few numbers further on, with other messages."""
    packets = []
    for number in range(1, 40):
        packets += on_feed(doors, of_run(number), begin_ms=number * 200)
        packets += on_feed(doors, of_run(number, "other"), begin_ms=number * 200 + 100, sender_port=40001)
    pcap = write(tmp_path, packets)
    with listening(doors) as listener:
        follow(doors, "replay", pcap, "--as-fast-as-possible", "--linger", "20")
        wait_for_packets(listener, 78)
        assert received(listener) == [each.data for each in packets]
        assert asked(listener, 1, 100) == [(number, text(number)) for number in range(1, 40)]


def test_of_an_altered_repeat_the_first_counts(doors, tmp_path, follow):
    pcap = write(tmp_path, on_feed(doors, of_run(1), of_run(2), of_run(1, "altered"), of_run(3)))
    with listening(doors) as listener:
        follow(doors, "replay", pcap, "--linger", "20")
        wait_for_packets(listener, 4)
        assert received(listener)[2] == of_run(1, "altered")
        assert asked(listener, 1, 3) == [(number, text(number)) for number in (1, 2, 3)]


def test_a_loop_begins_again_after_the_linger_from_another_port(doors, tmp_path, follow):
    """Until a turn has sent a message, it is not answered, as by a bench that was started anew."""
    pcap = write(tmp_path, on_feed(doors, of_run(1)) + on_feed(doors, of_run(2), begin_ms=500))
    with listening(doors) as listener:
        heard = follow(doors, "listen", "--json", "--seconds", "60")
        companion.wait_until_member(heard, doors)
        looping = follow(doors, "replay", "--json", pcap, "--loop", "--linger", "0.5")
        wait_for_packets(listener, 2)
        assert asked(listener, 1, 9) == [(1, text(1)), (2, text(2))]
        wait_for_packets(listener, 5)
        assert asked(listener, 1, 9) == [(1, text(1))]
        wait_for_packets(listener, 6)
        assert companion.interrupt(looping) == 0
        assert received(listener) == [of_run(1), of_run(2)] * 3
        assert companion.interrupt(heard) == 0  # the same bytes again are duplicates
    totals = companion.objects(looping)[-1]
    assert (totals["turns"], totals["packets"], companion.objects(heard)[-1]["duplicates"]) == (3, 6, 4)
    assert 2.5 <= totals["seconds"] <= harness.bound(2.5)


def test_a_loop_ends_with_its_time(doors, tmp_path):
    pcap = write(tmp_path, on_feed(doors, of_run(1), of_run(2)))
    with listening(doors) as listener:
        status, totals = totals_of(doors, pcap, "--loop", "--seconds", "0.5", "--as-fast-as-possible")
        assert received(listener)[:4] == [of_run(1), of_run(2)] * 2
    assert (status, totals["packets"] // 2, totals["packets"] > 4) == (0, totals["turns"], True)


def test_what_ends_before_all_is_sent_is_status_3(doors, tmp_path):
    pcap = write(tmp_path, on_feed(doors, *map(of_run, range(1, 4)), every_ms=600_000))
    status, output, errors = replay(doors, pcap, "--seconds", "0.3")
    assert status == 3
    assert output.startswith("1 packet with 1 message sent in ")
    assert errors.endswith("vorbelctl: the replay ended after 1 of 3 packets\n")


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_a_signal_in_the_linger_is_an_orderly_end(doors, tmp_path, follow, number):
    pcap = write(tmp_path, on_feed(doors, of_run(1)))
    with listening(doors) as listener:
        running = follow(doors, "replay", pcap, "--quiet", "--linger", "600")
        wait_for_packets(listener, 1)
        assert asked(listener, 1, 1) == [(1, text(1))]
        assert companion.interrupt(running, number) == 0
    assert (len(running.lines), running.errors) == (1, [])


def test_a_capture_without_the_session_is_status_3(doors, tmp_path):
    for datagrams in ([], on_feed(doors, b"no packet"), on_feed(doors, numbered(1, session=b"OTHER")),
                      [answer(doors, of_run(1))]):
        status, output, errors = replay(doors, write(tmp_path, datagrams))
        assert (status, output) == (3, "")
        assert "no packet of the session BTDS000001 to " in errors
    pcap = write(tmp_path, on_feed(doors, of_run(1)))
    status, output, errors = replay(doors, pcap, "--from", "2")
    assert (status, output, errors) == (3, "", f"vorbelctl: {pcap} has no packet of the numbers asked for\n")


@pytest.mark.parametrize("content", [b"", b"no capture at all, but long enough for a header"])
def test_what_is_no_capture_is_wrong_usage(doors, tmp_path, content):
    (tmp_path / "feed.pcap").write_bytes(content)
    status, output, errors = replay(doors, tmp_path / "feed.pcap")
    assert (status, output) == (2, "")
    assert "cannot read the capture" in errors


def test_wrong_usage_is_said(doors, tmp_path):
    pcap = write(tmp_path, on_feed(doors, of_run(1)))
    for options, why in ((["--from", "3", "--to", "2"], "--from 3 is behind --to 2"),
                         (["--speed", "2", "--as-fast-as-possible"], "cannot stand together"),
                         (["--speed", "0"], '"0" is no number above 0, up to 1000000'),
                         (["--speed", "nan"], '"nan" is no number above 0'),
                         (["--captured-mcast", "10.0.0.1"], "is no multicast group")):
        status, output, errors = replay(doors, pcap, *options)
        assert (status, output) == (2, "")
        assert why in errors
    assert replay(doors, tmp_path / "none.pcap")[0] == 2
    assert replay(doors, tmp_path)[0] == 2


def test_a_port_that_somebody_has_is_named(launch, tmp_path):
    bench = launch()
    pcap = write(tmp_path, on_feed(bench.doors, of_run(1)))
    status, output, errors = replay(bench.doors, pcap)
    assert (status, output) == (3, "")
    assert f"cannot answer on the retransmission port 127.0.0.1:{bench.doors.retrans}: Address already in use" in errors


def test_without_a_retransmission_port_nothing_is_answered(launch, doors, tmp_path):
    pcap = write(tmp_path, on_feed(doors, of_run(1)))
    status, totals = totals_of(harness.dataclasses.replace(doors, retrans=0), pcap)
    assert (status, totals["packets"], totals["requests"]) == (0, 1, 0)


def test_a_packet_that_was_captured_in_part_is_left_out_and_told(doors, tmp_path):
    cut, *whole = on_feed(doors, of_run(1), of_run(2), of_run(3))
    pcap = write(tmp_path, [whole[0], harness.dataclasses.replace(cut, kept=40), whole[1]])
    with listening(doors) as listener:
        status, output, errors = replay(doors, pcap, "--linger", "0", "--quiet")
        assert received(listener) == [of_run(2), of_run(3)]
    assert (status, errors) == (1, "vorbelctl: 1 packet captured only in part and not sent\n")
    assert output.startswith("2 packets with 2 messages sent in ")


def test_a_capture_that_is_cut_off_is_sent_as_far_as_it_goes(doors, tmp_path):
    pcap = write(tmp_path, on_feed(doors, of_run(1), of_run(2), of_run(3)))
    pcap.write_bytes(pcap.read_bytes()[:-5])
    with listening(doors) as listener:
        status, _, errors = replay(doors, pcap, "--linger", "0", "--quiet")
        assert received(listener) == [of_run(1), of_run(2)]
    assert (status, errors) == (0, f"vorbelctl: note: {pcap} is cut off: it is sent as far as it goes\n")
