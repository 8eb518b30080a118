"""A run with everything in it, replayed: whoever recovers has the same messages as the first time, and the audits of the
recording and of its replay say what the first one said."""

import contextlib

import pytest

import auditing
import companion
import follow
import harness
import pcap_files
import replaying

FIGURES = ("verdict", "messages", "trades", "cancels", "corrections", "halts", "summaries", "controls", "missing", "lost",
           "recovered", "duplicates", "out_of_order", "end_of_sessions", "discrepancies", "bonds", "books")


@pytest.fixture(name="pcap")
def recorded(run, tmp_path):
    """The run as a capture, with the answers by which its losses were recovered."""
    return pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.ETHERNET, pcap_files.with_answers(run))


@contextlib.contextmanager
def replayed(run, doors, pcap, *options):
    """Replays the run behind these doors until the block is left."""
    running = companion.start(doors, "replay", "--json", pcap, "--captured-port", run.doors.feed,
                              "--captured-retrans-port", run.doors.retrans, "--linger", "60", *options)
    try:
        yield running
        assert companion.interrupt(running) == 0
    finally:
        assert companion.release(running) == []


def follow_to_the_end(follower, last, seconds):
    """Recovers whatever is lost until all messages are there."""
    def is_complete():
        follow.catch_up(follower)
        follow.recover(follower)
        return follower.complete_to == last

    harness.until(is_complete, seconds, f"message {last}")


def assert_same(run, listener, follower):
    """All messages are the run's own, byte for byte."""
    assert follower.problems == []
    assert {number: message.raw for number, message in follower.messages.items()} == run.messages
    assert replaying.received(listener) == []  # all of it was caught up with


def test_as_fast_as_possible_a_receiver_that_recovers_has_the_same_messages(run, pool, pcap):
    doors = harness.claim_doors(pool)
    with replaying.listening(doors) as listener:
        follower = follow.open_follower(listener)
        with replayed(run, doors, pcap, "--as-fast-as-possible") as running:
            follow_to_the_end(follower, len(run.messages), 20)
            replaying.received(listener)
            follow.catch_up(follower)
            assert_same(run, listener, follower)
        assert follower.recovered >= len(pcap_files.lost_numbers(run)) > 30
        totals = companion.objects(running)[-1]
        assert totals["packets"] == len(run.arrivals)


def test_at_its_own_pace_packets_messages_and_verdicts_are_the_same(run, pool, pcap):
    doors = harness.claim_doors(pool)
    first_status, first = auditing.audit(run, "--pcap", pcap)
    assert (first_status, first["verdict"]) == (0, "equal"), auditing.explain(first)
    with replaying.listening(doors) as listener:
        follower = follow.open_follower(listener)
        audit = auditing.start(harness.dataclasses.replace(run, doors=doors), "--until-end")
        try:
            with replayed(run, doors, pcap):
                harness.until(lambda: audit.process.poll() is not None, 60, "the verdict")
                sent = [arrival.data for arrival in listener.feed.arrivals]
                follow_to_the_end(follower, len(run.messages), 20)
                assert_same(run, listener, follower)
            assert companion.finish(audit) == 0
            verdict = companion.objects(audit)[0]
        finally:
            assert companion.release(audit) == []
    assert sent == [data for _, data in run.arrivals][:len(sent)] and len(sent) > 600
    assert {key: verdict[key] for key in FIGURES} == {key: first[key] for key in FIGURES}, auditing.explain(verdict)
