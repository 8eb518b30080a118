"""Every field of every kind of message, altered once in a capture of the feed: the audit finds each, at its place."""

import pytest

import auditing
import handler
import mutations
import pcap_files
import recording
import wire

KINDS = {name: kind for kind, name in recording.NAMES.items()}


def chosen(run, kind):
    """A message of the kind from the middle of the run whose bond has told all about itself before."""
    if kind == "halt":      # the description is known from the halt, so the resume can be held to it
        return next(number for number in recording.numbers_of(run, kind)
                    if wire.decode(run.messages[number])["action"] == "R")
    numbers = recording.numbers_of(run, kind)
    return numbers[len(numbers) // 2]


def cases():
    """(kind, field of the wire tables) of every field of every kind."""
    return [(name, row) for name, kind in KINDS.items() for row, _ in wire.LAYOUTS[kind]]


def expected_fields(kind, name):
    """The field under which the finding may stand: a message of another category or type is of another length."""
    if name == "category":
        return {"category", "type", "length"}
    if name == "type":
        return {"type", "length"}
    return {handler.name_of(KINDS[kind], name)}


@pytest.mark.parametrize(("kind", "name"), cases())
def test_an_altered_field_is_found(run, tmp_path, kind, name):
    number = chosen(run, kind)
    altered = {**run.messages, number: mutations.alter_field(run.messages[number], name)}
    pcap = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.ETHERNET, pcap_files.of_messages(run, altered))
    status, verdict = auditing.audit(run, "--pcap", pcap)
    assert (status, verdict["verdict"], verdict["missing"]) == (1, "different", 0)
    sequence, field = auditing.first_wrong(verdict)
    assert sequence == number and field in expected_fields(kind, name), auditing.explain(verdict)


def test_one_altered_price_is_one_finding(run, tmp_path):
    number = chosen(run, "trade")
    altered = {**run.messages, number: mutations.alter_field(run.messages[number], "price")}
    pcap = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.ETHERNET, pcap_files.of_messages(run, altered))
    _, verdict = auditing.audit(run, "--pcap", pcap)
    assert verdict["discrepancies"] == 1, auditing.explain(verdict)
    only = verdict["discrepancy_list"][0]
    truth = recording.truth_of(run.folder / "truth.jsonl")[number][1]
    assert (only["source"], float(only["expected"])) == ("truth", truth["price"])
    assert (only["place"], only["received"]) == ("message", wire.decode(altered[number])["price"].lstrip("0"))


@pytest.mark.parametrize("damage", [b"", b"T", b"TM", b"XX" + bytes(40), bytes(147), b"\xff" * 1478])
def test_a_message_that_does_not_read_is_found(run, tmp_path, damage):
    number = chosen(run, "trade")
    pcap = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.ETHERNET,
                                 pcap_files.of_messages(run, {**run.messages, number: damage}))
    status, verdict = auditing.audit(run, "--pcap", pcap)
    assert (status, verdict["malformed_messages"], verdict["discrepancies"]) == (1, 1, 1), auditing.explain(verdict)
    assert verdict["first_wrong"]["seq"] == number


def test_two_messages_that_changed_places_are_found(run, tmp_path):
    number = chosen(run, "trade")
    altered = {**run.messages, number: run.messages[number + 1], number + 1: run.messages[number]}
    pcap = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.ETHERNET, pcap_files.of_messages(run, altered))
    status, verdict = auditing.audit(run, "--pcap", pcap)
    assert (status, verdict["first_wrong"]["seq"]) == (1, number)
