"""Truth files and tapes with lines lost, cut, torn or added: one damage is one finding or two, and never silence."""

import json

import pytest

import auditing
import pcap_files
import recording


@pytest.fixture(scope="module")
def pcap(run, tmp_path_factory):
    """The run's feed without losses."""
    return pcap_files.write_pcap(tmp_path_factory.mktemp("pcap") / "feed.pcap", pcap_files.ETHERNET,
                                 pcap_files.of_messages(run))


def amended_trade(run):
    """(sequence number, line index) of a last sale that a cancel takes back later."""
    records = recording.truth_of(run.folder / "truth.jsonl")
    cancelled = {record["orig_trade_id"] for _, record in records.values() if record["event"] == "cancel"}
    return next((number, index) for number, (index, record) in sorted(records.items())
                if record["event"] == "trade" and record["trade_id"] in cancelled and record["change"] != "0")


def damaged(path, index, lines):
    """Puts these lines, bytes without line feeds, in place of the line at the index."""
    all_lines = path.read_bytes().splitlines()
    all_lines[index:index + 1] = lines
    path.write_bytes(b"".join(line + b"\n" for line in all_lines))
    return path


def findings(run, pcap, **files):
    """The findings of an audit that must have some, as a set of (sequence number, field)."""
    status, verdict = auditing.audit(run, "--pcap", pcap, **files)
    assert (status, verdict["verdict"]) == (1, "different")
    assert verdict["messages"] == len(run.messages)
    found = {(each["seq"], each["field"]) for each in verdict["discrepancy_list"]}
    assert len(found) == verdict["discrepancies"], auditing.explain(verdict)
    return found


def test_a_lost_record_is_found_at_its_place_only(run, pcap, copy):
    number, index = amended_trade(run)
    found = findings(run, pcap, truth=damaged(copy("truth.jsonl"), index, []))
    assert found == {(number, "seq"), (number, "tape.seq")}


@pytest.mark.parametrize("rest", [b"", b'{"seq":', b"\xff\x00 garbage"])
def test_a_record_that_does_not_read_is_found_at_its_place_only(run, pcap, copy, rest):
    number, index = amended_trade(run)
    found = findings(run, pcap, truth=damaged(copy("truth.jsonl"), index, [rest]))
    assert found == {(number, "truth.line"), (number, "tape.seq")}


def test_a_record_cut_in_half_is_found_at_its_place_only(run, pcap, copy):
    number, index = amended_trade(run)
    line = (run.folder / "truth.jsonl").read_bytes().splitlines()[index]
    found = findings(run, pcap, truth=damaged(copy("truth.jsonl"), index, [line[:len(line) // 2]]))
    assert found == {(number, "truth.line"), (number, "tape.seq")}


@pytest.mark.parametrize("more", [b"", b"{}", b"what is this", b'{"mark":"torn'])
def test_a_line_that_is_neither_record_nor_mark_is_found_where_it_stands(run, pcap, copy, more):
    number, index = amended_trade(run)
    line = (run.folder / "truth.jsonl").read_bytes().splitlines()[index]
    assert findings(run, pcap, truth=damaged(copy("truth.jsonl"), index, [more, line])) == {(number, "truth.line")}


def test_a_last_record_without_a_line_feed_counts(run, pcap, copy):
    truth, tape = copy("truth.jsonl"), copy("tape.jsonl")
    for path in (truth, tape):
        path.write_bytes(path.read_bytes()[:-1])
    status, verdict = auditing.audit(run, "--pcap", pcap, truth=truth, tape=tape)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)


def test_a_tape_line_behind_the_last_trade_is_found(run, pcap, copy):
    tape = copy("tape.jsonl")
    line = json.loads(tape.read_bytes().splitlines()[-1])
    line["seq"], line["trade_id"] = line["seq"] + 1, "0099999"
    with tape.open("ab") as file:
        file.write(json.dumps(line, separators=(",", ":")).encode("ascii") + b"\n")
    assert findings(run, pcap, tape=tape) == {(line["seq"], "tape.seq")}


@pytest.mark.parametrize("content", [b"", b"\x7fELF garbage\n", b'{"started_ms":5}\n'])
@pytest.mark.parametrize("source", ["--capture", "--offline"])
def test_a_truth_file_without_records_is_status_2(run, tmp_path, content, source):
    truth = tmp_path / "none.jsonl"
    truth.write_bytes(content)
    beliefs = tmp_path / "beliefs.jsonl"
    beliefs.write_bytes(b"")
    words = ("--capture", beliefs) if source == "--capture" else ("--offline", "--retrans-port", run.doors.retrans)
    status, output, errors = auditing.run_raw("audit", "--truth", truth, *words)
    assert (status, output) == (2, "")
    assert f"there is no record of a message in {truth}" in errors


@pytest.mark.parametrize("source", ["--capture", "--offline", "--pcap"])
def test_nothing_to_compare_is_no_verdict(run, pcap, tmp_path, source):
    beliefs = tmp_path / "beliefs.jsonl"
    beliefs.write_bytes(b"")
    words = {"--capture": ("--capture", beliefs), "--pcap": ("--pcap", pcap),
             "--offline": ("--offline", "--retrans-port", run.doors.retrans)}[source]
    status, output, errors = auditing.run_raw(
        "audit", "--truth", run.folder / "truth.jsonl", "--mcast", run.doors.group, "--port", run.doors.feed,
        "--from", len(run.messages) + 1, *words)
    assert (status, output) == (3, "")
    assert f"there is no message from #{len(run.messages) + 1} on" in errors


def test_a_capture_of_another_session_is_no_feed(run, tmp_path):
    datagrams = pcap_files.of_arrivals(run) + [pcap_files.of_answer(run, 1, 5, 10**18)]
    path = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.ETHERNET, datagrams)
    status, output, errors = auditing.run_raw(
        "audit", "--truth", run.folder / "truth.jsonl", "--mcast", run.doors.group, "--port", run.doors.feed,
        "--retrans-port", run.doors.retrans, "--session", "OTHER", "--pcap", path)
    assert (status, output) == (3, "")
    assert "no packet of the session OTHER" in errors
