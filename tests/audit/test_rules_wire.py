"""Packets and heartbeats that no right bench sends, in a capture of a run that is right otherwise; and packets that are
late, lost or doubled, of which nothing may be said."""

import dataclasses

import pytest

import auditing
import pcap_files
import wire

SECOND_NS = 10**9


def beat(run, at_ns, number, end=False):
    """A heartbeat, or the end of session."""
    data = bytearray(pcap_files.packed(number))
    if end:
        data[18:20] = wire.END_OF_SESSION.to_bytes(2, "big")
    return pcap_files.Datagram(at_ns, bytes(data), run.doors.group, run.doors.feed)


def feed_of(run):
    """All messages, each in a packet of its own, a millisecond apart."""
    begin_ns = run.arrivals[0][0]
    return [dataclasses.replace(each, at_ns=begin_ns + place * 10**6)
            for place, each in enumerate(pcap_files.of_messages(run))]


def paused(datagrams, place, pause_ns):
    """Everything from this place on comes so much later."""
    return datagrams[:place] + [dataclasses.replace(each, at_ns=each.at_ns + pause_ns) for each in datagrams[place:]]


def audit_feed(run, folder, datagrams):
    """Audits the datagrams. They are timed by the test and not by the run, so the tape is left out: it would make the
    trades too late."""
    pcap = pcap_files.write_pcap(folder / "feed.pcap", pcap_files.ETHERNET, datagrams)
    return auditing.audit(run, "--pcap", pcap, tape=False)


def ended(run, datagrams, silence_ns=10**6, times=2):
    """The datagrams with the end of session behind them."""
    end_ns = datagrams[-1].at_ns
    return datagrams + [beat(run, end_ns + silence_ns + each * SECOND_NS, len(run.messages) + 1, end=True)
                        for each in range(times)]


def with_heartbeat(run, number):
    """In a pause of two seconds behind message 100 a heartbeat comes with this number."""
    datagrams = paused(feed_of(run), 100, 2 * SECOND_NS)
    at_ns = datagrams[99].at_ns + SECOND_NS
    return ended(run, datagrams[:100] + [beat(run, at_ns, number)] + datagrams[100:])


def early(run, silence_ns, times):
    """Heartbeats that wait so long only."""
    datagrams = paused(feed_of(run), 100, times * silence_ns)
    beats = [beat(run, datagrams[99].at_ns + (each + 1) * silence_ns, 101) for each in range(times)]
    return ended(run, datagrams[:100] + beats + datagrams[100:])


def behind_the_close(run, at_once_ns, end):
    """What comes behind the last message, every second from then on."""
    datagrams = feed_of(run)
    return datagrams + [beat(run, datagrams[-1].at_ns + at_once_ns + each * SECOND_NS, len(run.messages) + 1, end)
                        for each in range(3)]


def late_duplicate(run):
    """A packet comes again ten packets later."""
    datagrams = feed_of(run)
    return ended(run, datagrams[:110] + [dataclasses.replace(datagrams[100], at_ns=datagrams[109].at_ns)] + datagrams[110:])


def two_in_a_packet(run):
    """Two messages share a packet."""
    datagrams = feed_of(run)
    data = pcap_files.packed(101, run.messages[101], run.messages[102])
    return ended(run, datagrams[:100] + [dataclasses.replace(datagrams[100], data=data)] + datagrams[102:])


def ended_too_soon(run):
    """The end of session is announced in the middle of the day."""
    datagrams = paused(feed_of(run), 100, 2 * SECOND_NS)
    return datagrams[:100] + [beat(run, datagrams[99].at_ns + SECOND_NS, 101, end=True)] + datagrams[100:]


WRONG = {
    "a heartbeat names the last number": (lambda run: with_heartbeat(run, 100), "a heartbeat names the next number"),
    "heartbeats come every half second": (lambda run: early(run, SECOND_NS // 2, 4),
                                          "a heartbeat waits for a second of silence"),
    "heartbeats go on behind the close": (lambda run: behind_the_close(run, SECOND_NS, False),
                                          "heartbeats behind C/Z announce the end of session"),
    "the end is announced a second late": (lambda run: behind_the_close(run, SECOND_NS + 4 * 10**6, True),
                                           "the end of session is announced at once"),
    "the end is announced in the middle": (ended_too_soon, "the end of session comes behind C/Z"),
    "a duplicate comes late": (late_duplicate, "a packet that is sent twice is sent twice in a row"),
    "a packet carries two messages": (two_in_a_packet, "a packet of the feed carries one message"),
}


@pytest.mark.parametrize("name", WRONG)
def test_packets_that_no_bench_sends_are_found(run, tmp_path, name):
    make, rule = WRONG[name]
    status, verdict = audit_feed(run, tmp_path, make(run))
    assert status == 1, "the audit believes it"
    found = [(each["field"], each["source"], each["expected"]) for each in verdict["discrepancy_list"]]
    assert found == [("packet", "rule", rule)], auditing.explain(verdict)


def lost(run):
    """Packets are lost, so a heartbeat is ahead of what came."""
    return [each for place, each in enumerate(with_heartbeat(run, 101)) if place not in (97, 98, 99)]


def doubled(run):
    """Packets come twice, one of them in front of one that was held back."""
    datagrams = feed_of(run)
    held = [datagrams[101], datagrams[101], datagrams[100]]
    return ended(run, datagrams[:50] + [datagrams[49]] + datagrams[50:100] + held + datagrams[102:])


def delayed(run):
    """One packet was captured late, together with the heartbeat behind it: half a second after it, as it seems."""
    return early(run, SECOND_NS // 2, 1)


RIGHT = {
    "nothing is special": lambda run: ended(run, feed_of(run)),
    "a heartbeat names the next number": lambda run: with_heartbeat(run, 101),
    "heartbeats come every second": lambda run: early(run, SECOND_NS, 4),
    "packets come twice and out of order": doubled,
    "one packet was delayed": delayed,
    "a busy machine ends late": lambda run: behind_the_close(run, 3 * SECOND_NS, True),
}


@pytest.mark.parametrize("name", RIGHT)
def test_packets_of_a_right_bench_are_equal(run, tmp_path, name):
    status, verdict = audit_feed(run, tmp_path, RIGHT[name](run))
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)


def test_a_loss_in_front_of_a_heartbeat_is_a_loss_only(run, tmp_path):
    status, verdict = audit_feed(run, tmp_path, lost(run))
    assert (status, verdict["verdict"], verdict["discrepancies"]) == (1, "lost", 0), auditing.explain(verdict)
