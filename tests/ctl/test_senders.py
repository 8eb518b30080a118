"""A bench that began again, a second one beside the first, and messages that come twice with other contents: what
listen and watch say of them, and how they end."""

import json
import re
import socket

import companion
import control
import harness
import publisher
import reports


def altered_control():
    """A control message that is not publisher.control_message()."""
    return b"CI       O20240701120001"


def another_socket(fake):
    """From now on the feed comes from another port."""
    fake.feed.close()
    fake.feed = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    fake.feed.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton("127.0.0.1"))


def named(running, name):
    """The events of that name so far."""
    return [line for line in companion.objects(running) if line["event"] == name]


def wait_for_event(running, name):
    """Waits until the event of that name has come."""
    companion.wait_for(running, lambda lines: any(f'"event":"{name}"' in line for line in lines), name)


def test_a_message_that_comes_again_altered_is_told_with_both_sides(fake, follow):
    listening = follow(fake.doors, "listen", "--json", "--count", 5)
    companion.wait_until_member(listening, fake.doors)
    publisher.send(fake, publisher.numbered(1, 4))
    publisher.send(fake, publisher.packet(2, altered_control()))
    publisher.send(fake, publisher.numbered(3))
    publisher.send(fake, publisher.numbered(5))
    assert companion.finish(listening) == 1
    assert named(listening, "altered") == [{
        "event": "altered", "seq": 2, "field": "sent_at", "was": "20240701120000", "is": "20240701120001",
        "bytes": altered_control().hex(), "earlier_bytes": publisher.control_message().hex()}]
    assert named(listening, "duplicate") == [{"event": "duplicate", "seq": 3}]
    assert named(listening, "totals")[0]["altered"] == 1


def test_an_altered_message_is_a_line_for_people(fake, follow):
    listening = follow(fake.doors, "listen", "--count", 3)
    companion.wait_until_member(listening, fake.doors)
    publisher.send(fake, publisher.numbered(1, 2))
    publisher.send(fake, publisher.packet(2, altered_control()))
    publisher.send(fake, publisher.numbered(3))
    assert companion.finish(listening) == 1
    assert ('       2  altered      came again, with other contents: sent_at "20240701120001", before "20240701120000"; '
            'ignored') in listening.lines
    assert "1 altered" in listening.errors[0]


def test_an_altered_answer_is_told_too(fake, follow):
    listening = follow(fake.doors, "listen", "--json", "--recover", "--count", 4)
    companion.wait_until_member(listening, fake.doors)
    fake.answer = lambda first, count: [publisher.packet(1, altered_control(), *[publisher.control_message()] * 3)]
    publisher.send(fake, publisher.numbered(1, 2))
    publisher.send(fake, publisher.numbered(4))
    assert companion.finish(listening) == 1
    assert [line["seq"] for line in named(listening, "altered")] == [1]


def test_quiet_gives_the_reason_of_a_failure(fake, follow):
    listening = follow(fake.doors, "listen", "--quiet", "--count", 4)
    companion.wait_until_member(listening, fake.doors)
    publisher.send(fake, publisher.numbered(1, 2))
    publisher.send(fake, publisher.packet(2, altered_control()))
    publisher.send(fake, publisher.numbered(4))
    publisher.send(fake, publisher.numbered(6))
    assert companion.finish(listening) == 1
    assert len(listening.lines) == 4
    assert listening.errors == ["vorbelctl: 2 messages missing, 1 message altered; missing: 3, 5"]


def test_a_bench_that_is_started_anew_is_followed_and_ends_with_status_5(launch, follow):
    bench = launch("--rate-ms", 20)
    listening = follow(bench.doors, "listen", "--json", "--recover", "--until-end")
    companion.wait_for(listening, lambda lines: any('"seq":20' in line for line in lines), "a few messages")
    harness.stop(bench)
    again = launch("--rate-ms", 20, "--seed", 77, doors=bench.doors)
    wait_for_event(listening, "began_again")
    assert control.command(again.control, "close") == "ok"
    assert companion.finish(listening) == 5
    lines = companion.objects(listening)
    place = next(i for i, line in enumerate(lines) if line["event"] == "began_again")
    before = [line["seq"] for line in lines[:place] if "via" in line]
    after = [line["seq"] for line in lines[place:] if "via" in line]
    assert lines[place]["last"] == before[-1]
    assert before == list(range(before[0], before[-1] + 1))
    assert after == list(range(1, after[-1] + 1))
    assert lines[place]["sender"] != lines[place]["followed"]
    truth = [json.loads(line) for line in harness.truth_lines(again)]
    assert {line["seq"]: line["price"] for line in lines[place:] if line["event"] == "trade"} == {
        record["seq"]: record["price"] for record in truth if record.get("type") == "M"}


def test_two_benches_on_one_group_and_session_are_told_apart(pool, launch, follow):
    bench = launch("--rate-ms", 50)
    listening = follow(bench.doors, "listen", "--json")
    companion.wait_for(listening, lambda lines: any('"event":"trade"' in line for line in lines), "a trade")
    beside = harness.dataclasses.replace(harness.claim_doors(pool), group=bench.doors.group, feed=bench.doors.feed)
    launch("--rate-ms", 50, "--seed", 77, doors=beside)
    wait_for_event(listening, "second_sender")
    assert companion.interrupt(listening) == 1
    second = named(listening, "second_sender")
    assert len(second) == 1
    assert re.fullmatch(r"\d+\.\d+\.\d+\.\d+:\d+", second[0]["sender"]), second
    assert second[0]["sender"] != second[0]["followed"]
    numbers = [line["seq"] for line in companion.objects(listening) if "via" in line]
    assert numbers == list(range(numbers[0], numbers[-1] + 1)), "those of one bench"
    assert named(listening, "totals")[0]["ignored"] > 0


def test_watch_goes_on_with_the_new_run_and_ends_with_status_5(launch, follow):
    bench = launch("--rate-ms", 20)
    watching = follow(bench.doors, "watch", "--json", "--timeout", 30)
    companion.wait_for(watching, lambda lines: any('"event":"book"' in line for line in lines), "a book")
    harness.stop(bench)
    again = launch("--rate-ms", 0, doors=bench.doors)
    companion.wait_for(watching, lambda lines: any('"began_again":1' in line for line in lines), "the new run")
    reports.report(harness.open_reporter(again), price="91.5")
    companion.wait_for(watching, lambda lines: any('"last":91.5,' in line for line in lines), "the new run's trade")
    assert companion.interrupt(watching) == 5
    books = [json.loads(line) for line in watching.lines if '"event":"book"' in line and '"last":91.5,' in line]
    assert books[-1]["prints"] == 1, "nothing of the run before"


def test_a_restart_is_a_line_for_people(fake, follow):
    listening = follow(fake.doors, "listen")
    companion.wait_until_member(listening, fake.doors)
    publisher.send(fake, publisher.numbered(1, 5))
    companion.wait_for(listening, lambda lines: len(lines) >= 6, "the first run")
    another_socket(fake)
    publisher.send(fake, publisher.packet(1, altered_control()))
    companion.wait_for(listening, lambda lines: any("began again" in line for line in lines), "the new run")
    assert companion.interrupt(listening) == 5
    assert "       1  began again  a new run from here on; the one before ended with 5" in listening.lines
    assert listening.errors[0].endswith("; the feed began again")
