"""What was asked for and did not happen is never status 0, and every wait ends."""

import os
import pty
import subprocess

import harness
import pytest

import companion
import publisher


@pytest.mark.parametrize("asked", [
    ("--count", 3, "--seconds", 0.3), ("--until-end", "--seconds", 0.3), ("--recover", "--from", 1, "--seconds", 0.3),
    ("--seconds", 0.3), ("--timeout", 0.3), ("--until-end", "--timeout", 0.3), ("--count", 1, "--timeout", 0.3)])
def test_without_a_bench_listen_ends_with_status_3(doors, asked):
    status, output, errors = companion.run(doors, "listen", *asked)
    assert (status, output) == (3, "")
    assert f"nothing of the session BTDS000001 came on the feed {doors.group}:{doors.feed}" in errors


@pytest.mark.parametrize("asked", [
    ("listen", "--seconds", 0.3), ("fetch", 1, "--timeout", 0.3), ("watch", "--seconds", 0.3)])
def test_what_did_not_come_is_an_object_too(doors, asked):
    status, lines = companion.run_json(doors, *asked)
    assert (status, lines[-1]["status"]) == (3, 3)
    assert "nobody answers" in lines[-1]["error"] or "nothing of the session" in lines[-1]["error"]


def test_listen_has_a_stated_timeout(doors):
    assert "=10" in companion.run(doors, "listen", "--help")[1].split("--timeout")[1].splitlines()[0]


def ended(follow, fake, packets, *arguments):
    """Listens, gets the packets and ends: (status, standard error)."""
    listening = follow(fake.doors, "listen", *arguments)
    companion.wait_until_member(listening, fake.doors)
    for packet in packets:
        publisher.send(fake, packet)
    return companion.finish(listening), "\n".join(listening.errors)


def test_fewer_messages_than_asked_for_are_status_3(fake, follow):
    status, errors = ended(follow, fake, [publisher.numbered(1, 2)], "--count", 3, "--seconds", harness.bound(0.5))
    assert status == 3
    assert "vorbelctl: 2 of the 3 messages asked for came: the last message was #2" in errors


def test_an_end_of_session_that_does_not_come_is_status_3(fake, follow):
    status, errors = ended(follow, fake, [publisher.numbered(1, 2)], "--until-end", "--timeout", harness.bound(0.5))
    assert status == 3
    assert "vorbelctl: the end of session did not come: the last message was #2, and the feed had been silent for" in errors


def test_what_did_not_come_beside_a_loss_has_the_losses_status(fake, follow):
    listening = follow(fake.doors, "listen", "--json", "--until-end", "--seconds", harness.bound(0.5))
    companion.wait_until_member(listening, fake.doors)
    for first in (1, 3):
        publisher.send(fake, publisher.numbered(first))
    assert companion.finish(listening) == 1
    last = companion.objects(listening)[-1]
    assert last["status"] == 1 and last["error"].startswith("the end of session did not come")


def test_a_start_that_the_feed_does_not_reach_is_status_3(fake, follow):
    status, errors = ended(follow, fake, [publisher.numbered(1, 2)], "--from", 50, "--seconds", harness.bound(0.5))
    assert status == 3
    assert "vorbelctl: #50 did not come" in errors


def test_a_loss_goes_before_what_did_not_come(fake, follow):
    packets = [publisher.numbered(1), publisher.numbered(3)]
    status, errors = ended(follow, fake, packets, "--until-end", "--seconds", harness.bound(0.5))
    assert status == 1
    assert "the end of session did not come" in errors


def test_an_interrupt_does_not_make_it_come(fake, follow):
    listening = follow(fake.doors, "listen", "--json", "--count", 3)
    companion.wait_until_member(listening, fake.doors)
    publisher.send(fake, publisher.numbered(1))
    companion.wait_for(listening, lambda lines: len(lines) == 2, "the message")
    assert companion.interrupt(listening) == 3


def test_what_came_and_nothing_else_was_asked_for_is_well(fake, follow):
    assert ended(follow, fake, [publisher.numbered(1, 2)], "--seconds", harness.bound(0.5))[0] == 0
    assert ended(follow, fake, [publisher.numbered(1, 2)], "--timeout", harness.bound(0.5))[0] == 0


def test_watch_without_a_bench_is_status_3_however_short(doors):
    assert companion.run(doors, "watch", "--seconds", 0.3)[0] == 3


def test_a_loss_in_watch_is_status_1(fake, follow):
    watching = follow(fake.doors, "watch", "--json")
    companion.wait_until_member(watching, fake.doors)
    publisher.send(fake, publisher.numbered(1))
    publisher.send(fake, publisher.numbered(3))
    companion.wait_for(watching, lambda lines: any('"missing":1' in line for line in lines), "the loss")
    assert companion.interrupt(watching) == 1


def test_a_gap_of_which_a_number_is_missing_does_not_close(fake, follow):
    listening = follow(fake.doors, "listen", "--count", 2)
    companion.wait_until_member(listening, fake.doors)
    publisher.send(fake, publisher.numbered(1))
    publisher.send(fake, publisher.numbered(3))
    assert companion.finish(listening) == 1
    assert sum(" missing " in line for line in listening.lines) == 1
    assert not any("gap closed" in line for line in listening.lines)


@pytest.mark.parametrize(("terminal", "coloured"), [("xterm", True), ("dumb", False), (None, False)])
def test_colours_are_for_terminals_that_know_them(fake, terminal, coloured):
    environment = {name: value for name, value in os.environ.items() if name not in ("TERM", "NO_COLOR")}
    environment.update({"TERM": terminal} if terminal else {})
    leader, follower = pty.openpty()
    process = subprocess.Popen(companion.command_line(fake.doors, "listen", "--count", 1), stdin=follower,
                               stdout=follower, stderr=subprocess.DEVNULL, env=environment)
    os.close(follower)
    companion.wait_until_member(companion.Running(process), fake.doors)
    publisher.send(fake, publisher.numbered(1))
    assert process.wait(harness.bound(10)) == 0
    shown = os.read(leader, 65536)
    os.close(leader)
    assert b"control" in shown
    assert (b"\x1b[" in shown) == coloured


@pytest.mark.parametrize(("asked", "why"), [
    (("listen", "--pcap", ""), "--pcap needs a file"),
    (("audit", "--truth", __file__, "--keep", ""), "--keep needs a folder")])
def test_a_place_without_a_name_is_wrong_usage(doors, asked, why):
    status, output, errors = companion.run(doors, *asked)
    assert (status, output) == (2, "")
    assert why in errors
