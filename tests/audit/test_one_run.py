"""Files and messages that are not of one run are told apart from wrong ones: status 2, naming the file, in every mode.
What has anything in common with the run is judged."""

import os
import time

import pytest

import auditing
import control
import handler
import harness
import pcap_files
import publisher
import receiver
import recording
import reports
import wire


@pytest.fixture(scope="module")
def right(run):
    """What a handler without flaws believes."""
    return handler.believe(handler.Handler(), run)


def finished(launch, *options, **settings):
    """The folder of a short run that is over."""
    bench = launch("--rate-ms", 2, "--quiet", *options, **settings)
    receiver.wait_for_sequence(bench.feed, 80, harness.bound(20))
    harness.stop(bench)
    return bench.folder


def running(launch, *options):
    """A bench that has sent something and goes on."""
    bench = launch("--rate-ms", 5, "--quiet", *options)
    receiver.wait_for_sequence(bench.feed, 80, harness.bound(20))
    return bench


def refused(doors, truth, *words, tape=None):
    """What an audit that ends with status 2 and no verdict says."""
    tape = [] if tape is None else ["--tape", tape]
    status, output, errors = auditing.run_raw(
        "audit", "--truth", truth, *tape, *words, "--mcast", doors.group, "--port", doors.feed, "--retrans-port",
        doors.retrans)
    assert (status, output) == (2, ""), errors
    return errors


def sources(run, right, folder):
    """The two kinds of file that messages come from, as words of a command line."""
    return (("--pcap", pcap_files.write_pcap(folder / "feed.pcap", pcap_files.RAW, pcap_files.of_messages(run))),
            ("--capture", handler.write_lines(folder / "beliefs.jsonl", right)))


# One kind of file for another.

def test_a_tape_is_no_truth_file(run, right, launch, tmp_path):
    tape = run.folder / "tape.jsonl"
    for words in (*sources(run, right, tmp_path), ("--offline",), ()):
        assert f"{tape} is a tape and no truth file" in refused(run.doors, tape, *words)


def test_a_truth_file_is_no_tape(run, right, tmp_path):
    truth = run.folder / "truth.jsonl"
    for words in (*sources(run, right, tmp_path), ("--offline",), ()):
        assert f"{truth} is a truth file and no tape" in refused(run.doors, truth, *words, tape=truth)


@pytest.mark.parametrize("content", [b"", b"\x7fELF garbage\n", b'{"started_ms":5}\n{"more":1}\n'])
@pytest.mark.parametrize("seconds", [0.3, 60])
def test_a_file_without_records_is_no_truth_file_of_a_bench_that_sends(launch, tmp_path, content, seconds):
    bench = running(launch)
    truth = tmp_path / "none.jsonl"
    truth.write_bytes(content)
    begun = time.monotonic()
    errors = refused(bench.doors, truth, "--seconds", seconds)
    assert f"there is no record of a message in {truth}" in errors
    assert time.monotonic() - begun < harness.bound(8)


# Another run.

def test_the_truth_file_of_another_run_is_named(run, right, launch, tmp_path):
    truth = finished(launch, "--seed", 77) / "truth.jsonl"
    for words in sources(run, right, tmp_path):
        assert f"{words[1]} is not of the run of {truth}: hardly one of the first trades is the same in both; #" in refused(
            run.doors, truth, *words)


def test_the_truth_file_of_an_earlier_run_is_named(launch):
    truth = finished(launch) / "truth.jsonl"
    bench = running(launch, "--seed", 77)
    assert f"{truth} is not of the run on 127.0.0.1:{bench.doors.retrans}: " in refused(bench.doors, truth, "--offline")
    assert f"{truth} is not of the run on {bench.doors.group}:{bench.doors.feed}: " in refused(bench.doors, truth)
    assert f"{truth} is not of the run on " in refused(bench.doors, truth, "--seconds", 0.5)


def test_an_earlier_run_with_the_same_trades_is_told_by_its_time(launch):
    truth = finished(launch, clock_shift_s=-100) / "truth.jsonl"
    os.utime(truth, (time.time() - 100,) * 2)
    bench = running(launch)
    for words in (("--offline",), ("--seconds", 1)):
        assert "it has the same trades at other times, and was last written before that run began" in refused(
            bench.doors, truth, *words)


def test_the_tape_of_another_run_is_named(run, right, launch, tmp_path):
    tape = finished(launch, "--seed", 77) / "tape.jsonl"
    truth = run.folder / "truth.jsonl"
    for words in (*sources(run, right, tmp_path), ("--offline",), ()):
        assert f"{tape} is not of the run of {truth}: hardly one of the first trades" in refused(
            run.doors, truth, *words, tape=tape)


# What is wrong and yet of this run.

def altered(record, names):
    """A trade with other values in these fields."""
    others = {"price": 1.25, "quantity": 77.0, "executed_at": "20200101120000", "cusip": "NOBODY000"}
    return {**record, **{name: others[name] for name in names if name in record}}


@pytest.mark.parametrize("names", [
    ("price",), ("quantity",), ("executed_at",), ("cusip",), ("price", "quantity"), ("price", "executed_at"),
    ("quantity", "executed_at", "cusip")])
def test_a_handler_that_reads_all_trades_wrong_is_a_wrong_handler(run, right, tmp_path, names):
    lines = [altered(line, names) if line["event"] == "trade" else line for line in right]
    status, verdict = auditing.audit(run, "--capture", handler.write_lines(tmp_path / "beliefs.jsonl", lines))
    assert (status, verdict["verdict"]) == (1, "different")
    assert auditing.first_wrong(verdict)[0] == recording.numbers_of(run, "trade")[0]


@pytest.mark.parametrize("shift", [-1, 1, 7])
def test_a_handler_that_counts_wrong_is_a_wrong_handler(run, right, tmp_path, shift):
    lines = [{**line, "seq": line["seq"] + shift} for line in right if line["seq"] + shift > 0]
    status, verdict = auditing.audit(run, "--capture", handler.write_lines(tmp_path / "beliefs.jsonl", lines))
    assert (status, verdict["verdict"]) == (1, "different")


@pytest.mark.parametrize("name", ["price", "qty", "exec", "cusip"])
def test_a_feed_that_lies_in_one_field_is_a_wrong_feed(run, tmp_path, name):
    def lie(raw):
        end = 0
        for field, width in wire.LAYOUTS[wire.decode(raw).kind]:
            end += width
            if field == name:
                return raw[:end - width] + b"7" * 3 + raw[end - width + 3:]
        return raw

    messages = {number: lie(raw) if raw[:2] == b"TM" else raw for number, raw in run.messages.items()}
    pcap = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.RAW, pcap_files.of_messages(run, messages))
    assert auditing.audit(run, "--pcap", pcap)[0] == 1
    first = min(number for number, raw in run.messages.items() if raw[:2] == b"TM")
    once = {**run.messages, first: lie(run.messages[first])}
    pcap = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.RAW, pcap_files.of_messages(run, once))
    status, verdict = auditing.audit(run, "--pcap", pcap)
    assert (status, verdict["first_wrong"]["seq"]) == (1, first)


@pytest.mark.parametrize(("key", "value"), [("price", 1.25), ("qty", 77.0), ("exec", "20200101120000"), ("cusip", "NOBODY000")])
def test_a_truth_file_that_is_wrong_in_one_field_is_a_wrong_truth_file(run, right, copy, tmp_path, key, value):
    truth = copy("truth.jsonl")
    records = recording.truth_of(truth)
    for number in recording.numbers_of(run, "trade")[:25]:
        index, record = records[number]
        recording.replace_line(truth, index, {**record, key: value})
    for words in sources(run, right, tmp_path):
        status, verdict = auditing.audit(run, *words, truth=truth)
        assert (status, verdict["first_wrong"]["seq"]) == (1, recording.numbers_of(run, "trade")[0])


# A retransmission port that has less than the truth file.

def test_a_truth_file_that_goes_further_does_not_keep_an_audit_busy(launch, tmp_path):
    bench = running(launch)
    assert control.command(bench.control, "pause") == "ok"
    last = control.stats(bench.control)["seq"]
    more = "".join(f'{{"seq":{number},"cat":"A","type":"H","event":"halt","cusip":"{reports.AAPL}",'
                   f'"symbol":"AAPL 3.85 43","action":"H","reason":"T.1","at":"20260105120000"}}\n'
                   for number in range(last + 1, last + 100001))
    longer = tmp_path / "longer.jsonl"
    longer.write_bytes((bench.folder / "truth.jsonl").read_bytes() + more.encode("ascii"))
    begun = time.monotonic()
    status, verdict = auditing.audit(bench, "--offline", "--timeout", 1, truth=longer)
    assert time.monotonic() - begun < harness.bound(15)
    assert (status, verdict["verdict"], verdict["ended_by"]) == (1, "lost", "silence"), auditing.explain(verdict)
    assert verdict["missing_ranges"] == [[last + 1, last + 100000]]
    assert verdict["notes"] == [
        f"the retransmission port 127.0.0.1:{bench.doors.retrans} has been silent for 1 s: it goes to #{last} and the "
        f"truth file to #{last + 100000}; is {longer} of an earlier run?"]


def test_a_port_that_is_silent_about_the_oldest_messages_alone_is_asked_on(run):
    """As a bench that does not keep them any more, while the truth file has them."""
    kept_from, last = len(run.messages) - 20, len(run.messages)
    fake = publisher.open_publisher(run.doors)
    fake.answer = lambda first, count: [pcap_files.packed(number, run.messages[number])
                                        for number in range(max(first, kept_from), min(first + count, last + 1))]
    try:
        status, verdict = auditing.audit(run, "--offline", "--timeout", 0.5)
    finally:
        publisher.close_publisher(fake)
    assert (status, verdict["verdict"], verdict["ended_by"]) == (1, "lost", "end of input"), auditing.explain(verdict)
    assert (verdict["missing_ranges"], verdict["notes"]) == ([[1, kept_from - 1]], [])
    assert verdict["fetched"] == 21
