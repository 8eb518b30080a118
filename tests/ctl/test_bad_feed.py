"""vorbelctl listen on a feed that misbehaves, sent by the tests themselves."""

import signal

import companion
import publisher


def listen(follow, fake, *arguments):
    """A companion that is listening."""
    listening = follow(fake.doors, "listen", "--json", *arguments)
    companion.wait_until_member(listening, fake.doors)
    return listening


def short(lines):
    """Messages as their numbers, other events by name and what they name."""
    return [line["seq"] if "via" in line else
            (line["event"], *(line[name] for name in ("seq", "first", "last") if name in line))
            for line in lines if line["event"] != "totals"]


def test_several_messages_in_a_packet(fake, follow):
    listening = listen(follow, fake, "--count", 4)
    publisher.send(fake, publisher.numbered(1, 3))
    publisher.send(fake, publisher.numbered(4))
    assert companion.finish(listening) == 0
    assert short(companion.objects(listening)) == [("joined", 1), 1, 2, 3, 4]


def test_malformed_packets_are_dumped_and_ignored(fake, follow):
    listening = follow(fake.doors, "listen", "--count", 2)
    companion.wait_until_member(listening, fake.doors)
    publisher.send(fake, publisher.numbered(1))
    for bad in (b"", b"short", publisher.numbered(2, 2)[:-1], publisher.numbered(2) + b"!", b"\x00" * 20, b"\xff" * 1500):
        publisher.send(fake, bad)
    publisher.send(fake, publisher.numbered(2))
    assert companion.finish(listening) == 0
    assert sum("malformed    no packet: " in line for line in listening.lines) == 6
    assert "  0000  73 68 6f 72 74                                   short" in listening.lines
    assert any("control" in line for line in listening.lines[-1:])


def test_a_malformed_message_is_named_with_its_field(fake, follow):
    listening = listen(follow, fake, "--count", 2)
    publisher.send(fake, publisher.packet(1, b"CI       X20240701120000", publisher.control_message()))
    assert companion.finish(listening) == 0
    lines = companion.objects(listening)
    assert lines[1]["event"] == "malformed_message"
    assert (lines[1]["seq"], lines[1]["field"], lines[1]["length"]) == (1, "origin", 24)
    assert bytes.fromhex(lines[1]["bytes"]) == b"CI       X20240701120000"
    assert lines[2]["seq"] == 2


def test_another_session_is_reported_once_and_ignored(fake, follow):
    listening = listen(follow, fake, "--count", 2)
    publisher.send(fake, publisher.numbered(1))
    for number in (7, 8, 9):
        publisher.send(fake, publisher.numbered(number, session=b"OTHER"))
    publisher.send(fake, publisher.numbered(2))
    assert companion.finish(listening) == 0
    lines = companion.objects(listening)
    assert [line for line in lines if line["event"] == "foreign_session"] == [
        {"event": "foreign_session", "session": "OTHER", "seq": 7}]
    assert lines[-1]["foreign"] == 3
    assert short(lines)[1] == 1


def test_a_session_can_be_chosen(fake, follow):
    listening = follow(fake.doors, "listen", "--json", "--count", 1, "--session", "OTHER")
    companion.wait_until_member(listening, fake.doors)
    publisher.send(fake, publisher.numbered(7, session=b"OTHER"))
    assert companion.finish(listening) == 0


def test_lost_answers_are_asked_for_again(fake, follow):
    listening = listen(follow, fake, "--recover", "--until-end")

    def third_time(first, count):
        return [publisher.numbered(first, count)] if len(fake.requests) >= 3 else []

    fake.answer = third_time
    publisher.send(fake, publisher.numbered(1))
    publisher.send(fake, publisher.numbered(4))
    publisher.send(fake, publisher.end_of_session(5))
    assert companion.finish(listening) == 0
    assert fake.requests == [(2, 2)] * 3
    assert [line for line in short(companion.objects(listening)) if isinstance(line, int)] == [1, 2, 3, 4]


def test_a_silent_server_is_asked_five_times_and_what_is_lacking_is_missing(fake, follow):
    listening = listen(follow, fake, "--recover", "--until-end")
    publisher.send(fake, publisher.numbered(1))
    publisher.send(fake, publisher.numbered(4))
    publisher.send(fake, publisher.end_of_session(5))
    assert companion.finish(listening) == 1
    assert fake.requests == [(2, 2)] * 5
    assert ("missing", 2, 3) in short(companion.objects(listening))


def test_a_partial_answer_is_completed(fake, follow):
    listening = listen(follow, fake, "--recover", "--until-end")
    fake.answer = lambda first, count: [publisher.numbered(first, 1)]
    publisher.send(fake, publisher.numbered(1))
    publisher.send(fake, publisher.numbered(5))
    publisher.send(fake, publisher.end_of_session(6))
    assert companion.finish(listening) == 0
    assert fake.requests == [(2, 3), (3, 2), (4, 1)]


def test_answers_that_are_no_packets_hurt_nobody(fake, follow):
    listening = listen(follow, fake, "--recover", "--until-end")
    fake.answer = lambda first, count: [b"", b"nonsense", publisher.numbered(first, count, session=b"OTHER"),
                                        publisher.numbered(first, count)]
    publisher.send(fake, publisher.numbered(1))
    publisher.send(fake, publisher.numbered(3))
    publisher.send(fake, publisher.end_of_session(4))
    assert companion.finish(listening) == 0
    lines = companion.objects(listening)
    assert (lines[-1]["malformed"], lines[-1]["foreign"], lines[-1]["missing"]) == (2, 1, 0)


def test_an_absurd_jump_costs_neither_memory_nor_life(fake, follow):
    listening = listen(follow, fake)
    publisher.send(fake, publisher.numbered(1))
    publisher.send(fake, publisher.heartbeat(2 ** 64 - 1))
    companion.wait_for(listening, lambda lines: any('"missing"' in line for line in lines), "the loss")
    assert companion.interrupt(listening) == 1
    lines = companion.objects(listening)
    assert {"event": "missing", "first": 2, "last": 2 ** 64 - 2} in lines


def test_a_feed_that_went_back_is_reported(fake, follow):
    listening = listen(follow, fake)
    publisher.send(fake, publisher.numbered(1, 5))
    publisher.send(fake, publisher.heartbeat(3))
    companion.wait_for(listening, lambda lines: any('"behind"' in line for line in lines), "the report")
    assert companion.interrupt(listening) == 0
    assert ("behind", 3) in short(companion.objects(listening))


def test_a_fresh_number_after_the_end_is_still_taken(fake, follow):
    listening = listen(follow, fake, "--count", 2)
    publisher.send(fake, publisher.numbered(1))
    publisher.send(fake, publisher.end_of_session(2))
    publisher.send(fake, publisher.numbered(2))
    assert companion.finish(listening) == 0
    assert short(companion.objects(listening)) == [("joined", 1), 1, ("end_of_session", 2), 2]


def test_a_loss_behind_the_last_message_shown_is_not_counted(fake, follow):
    listening = follow(fake.doors, "listen", "--count", 2)
    companion.wait_until_member(listening, fake.doors)
    listening.process.send_signal(signal.SIGSTOP)  # so that it finds all packets at once, and gives up both gaps at once
    for number in (1, 3, 5):
        publisher.send(fake, publisher.numbered(number))
    listening.process.send_signal(signal.SIGCONT)
    assert companion.finish(listening) == 1
    assert listening.errors == [
        "2 messages, 3 packets on the feed; 2 gaps of 2 messages: 0 late, 0 recovered, 1 missing; 0 duplicates",
        "missing: 2"]


def test_a_silent_server_is_named_once(fake, follow):
    listening = follow(fake.doors, "listen", "--recover", "--until-end")
    companion.wait_until_member(listening, fake.doors)
    for number in (1, 4, 6):
        publisher.send(fake, publisher.numbered(number))
    publisher.send(fake, publisher.end_of_session(7))
    assert companion.finish(listening) == 1
    told = f"no answer came from the retransmission port 127.0.0.1:{fake.doors.retrans} in time"
    assert sum(told in line for line in listening.errors) == 1
