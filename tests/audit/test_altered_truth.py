"""Every key of every kind of record in the truth file and on the tape, altered once: the audit finds each, at its place."""

import json

import pytest

import auditing
import mutations
import pcap_files
import recording

# What the audit calls the key's value where the message has a field for it, or the place where it must show.
FIELDS = {"cat": "category", "qty": "quantity", "qty_ind": "quantity_indicator", "sale3": "sale_condition_3",
          "sale4": "sale_condition_4", "exec": "executed_at", "settle": "settlement", "rpt": "reporting_party",
          "contra": "contra_party", "orig_trade_id": "original_id", "at": "sent_at"}

RECORD_KEYS = {
    "control": "seq cat type event",
    "trade": "seq cat type event cusip symbol trade_id qty capped qty_ind price yield side as_of special sale3 sale4 "
             "exec settle remuneration rpt contra ats change summary.traded summary.high summary.low summary.last "
             "summary.prints",
    "cancel": "seq cat type event orig_trade_id function change",
    "correction": "seq cat type event cusip symbol trade_id qty capped qty_ind price yield side as_of special sale3 "
                  "sale4 exec settle remuneration rpt contra ats orig_trade_id function change summary.traded "
                  "summary.high summary.low summary.last summary.prints",
    "halt": "seq cat type event cusip symbol action reason at",
    "summary": "seq cat type event cusip symbol high low close"}
TAPE_KEYS = ("seq ts_ms cusip symbol price quantity cap side reporting_party contra_party exec_ts_ms report_lag_ms settle "
             "trade_id venue where")


@pytest.fixture(scope="module")
def pcap(run, tmp_path_factory):
    """The run's feed without losses."""
    return pcap_files.write_pcap(tmp_path_factory.mktemp("pcap") / "feed.pcap", pcap_files.ETHERNET,
                                 pcap_files.of_messages(run))


def chosen(run, kind):
    """A message of the kind from the middle of the run, so that the books are full and its bond is known; none beside
    the mark, which would be displaced with it."""
    marked = next(record["seq"] for record in map(json.loads, (run.folder / "truth.jsonl").read_bytes().splitlines())
                  if "mark" in record)
    numbers = [number for number in recording.numbers_of(run, kind) if abs(number - marked) > 2]
    return numbers[len(numbers) // 2]


def cases(keys):
    """(kind, key) of every key of every kind."""
    return [(kind, key) for kind, names in keys.items() for key in names.split()]


def test_the_untouched_files_are_equal_to_the_feed(run, pcap):
    status, verdict = auditing.audit(run, "--pcap", pcap)
    assert (status, verdict["verdict"], verdict["discrepancies"]) == (0, "equal", 0), auditing.explain(verdict)
    assert verdict["messages"] == verdict["truth_records"] == len(run.messages)
    assert verdict["tape_lines"] == verdict["trades"]
    assert verdict["marks"] == 1


def test_the_keys_are_all_that_there_are(run):
    records = recording.truth_of(run.folder / "truth.jsonl")
    for kind, keys in RECORD_KEYS.items():
        _, record = records[chosen(run, kind)]
        assert [".".join(path) for path in mutations.leaves(record)] == keys.split()
    tape = recording.truth_of(run.folder / "tape.jsonl")
    assert all(list(record) == TAPE_KEYS.split() for _, record in tape.values())


@pytest.mark.parametrize(("kind", "key"), cases(RECORD_KEYS))
def test_an_altered_record_is_found(run, pcap, copy, kind, key):
    truth = copy("truth.jsonl")
    number = chosen(run, kind)
    index, record = recording.truth_of(truth)[number]
    recording.replace_line(truth, index, mutations.alter_leaf(record, key.split(".")))
    status, verdict = auditing.audit(run, "--pcap", pcap, truth=truth)
    assert (status, verdict["verdict"]) == (1, "different")
    assert auditing.first_wrong(verdict) == (number, FIELDS.get(key, key)), auditing.explain(verdict)


@pytest.mark.parametrize("key", TAPE_KEYS.split())
def test_an_altered_line_of_the_tape_is_found(run, pcap, copy, key):
    tape = copy("tape.jsonl")
    lines = recording.truth_of(tape)
    truth = recording.truth_of(run.folder / "truth.jsonl")
    # Where a trade was reported to shows in its ATS mark only.
    number = [each for each in sorted(lines) if truth[each][1]["ats"] == "Y"][10]
    index, line = lines[number]
    value = line[key] + 100_000 if key in ("ts_ms", "report_lag_ms") else mutations.alter_value(line[key])
    value = value + 999 if key == "exec_ts_ms" else value
    recording.replace_line(tape, index, {**line, key: value})
    status, verdict = auditing.audit(run, "--pcap", pcap, tape=tape)
    assert (status, verdict["verdict"]) == (1, "different")
    expected = {"ts_ms": "report_lag_ms", "venue": "where"}.get(key, key)
    assert auditing.first_wrong(verdict) == (number, f"tape.{expected}"), auditing.explain(verdict)


def test_a_displaced_mark_is_found(run, pcap, copy):
    truth = copy("truth.jsonl")
    content = truth.read_text(encoding="latin-1")
    at = content.index('{"mark":"half way","seq":')
    number = int(content[at:].split(":")[2].split("}")[0])
    truth.write_text(content.replace(f'"half way","seq":{number}', f'"half way","seq":{number + 3}'), encoding="latin-1")
    status, verdict = auditing.audit(run, "--pcap", pcap, truth=truth)
    assert (status, auditing.first_wrong(verdict)) == (1, (number, "mark.seq"))


@pytest.mark.parametrize("name", ["truth.jsonl", "tape.jsonl"])
def test_a_lost_line_is_one_finding(run, pcap, copy, name):
    path = copy(name)
    lines = path.read_bytes().splitlines(keepends=True)
    number = chosen(run, "trade")
    index, _ = recording.truth_of(path)[number]
    path.write_bytes(b"".join(lines[:index] + lines[index + 1:]))
    status, verdict = auditing.audit(run, "--pcap", pcap, **{name.removesuffix(".jsonl"): path})
    assert status == 1
    field = "seq" if name == "truth.jsonl" else "tape.seq"
    assert auditing.first_wrong(verdict) == (number, field), auditing.explain(verdict)


@pytest.mark.parametrize("name", ["truth.jsonl", "tape.jsonl"])
def test_a_doubled_line_is_found(run, pcap, copy, name):
    path = copy(name)
    lines = path.read_bytes().splitlines(keepends=True)
    number = chosen(run, "trade")
    index, _ = recording.truth_of(path)[number]
    path.write_bytes(b"".join(lines[:index] + [lines[index]] + lines[index:]))
    status, verdict = auditing.audit(run, "--pcap", pcap, **{name.removesuffix(".jsonl"): path})
    assert (status, verdict["discrepancies"]) == (1, 1), auditing.explain(verdict)


@pytest.mark.parametrize("damage", [b"", b"{}", b"nonsense", b"[1,2]", b'{"seq":', b"\x00\xff\xfe", b'"text"',
                                    b'{"seq":"x","cat":"T"}', b'{"a":' * 200])
def test_a_line_that_does_not_read_is_found_and_survived(run, pcap, copy, damage):
    truth = copy("truth.jsonl")
    lines = truth.read_bytes().splitlines(keepends=True)
    number = chosen(run, "halt")
    index, _ = recording.truth_of(truth)[number]
    truth.write_bytes(b"".join(lines[:index] + [damage + b"\n"] + lines[index + 1:]))
    status, verdict = auditing.audit(run, "--pcap", pcap, truth=truth)
    assert (status, verdict["messages"]) == (1, len(run.messages))
    assert verdict["first_wrong"]["seq"] == number, auditing.explain(verdict)


def test_a_line_of_two_megabytes_is_survived(run, pcap, copy):
    truth = copy("truth.jsonl")
    lines = truth.read_bytes().splitlines(keepends=True)
    lines[100] = b'{"seq":101,"cat":"' + b"x" * (2 << 20) + b'"}\n'
    truth.write_bytes(b"".join(lines))
    status, verdict = auditing.audit(run, "--pcap", pcap, truth=truth)
    assert (status, verdict["messages"]) == (1, len(run.messages))
    assert verdict["first_wrong"]["seq"] == 101
