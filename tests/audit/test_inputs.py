"""In what form the files of an audit may come: packed, through a pipe, on standard input, cut off; and what is said
where a capture lacks something."""

import gzip
import json
import os
import re
import subprocess
import threading

import pytest

import auditing
import companion
import handler
import harness
import pcap_files
import wire


@pytest.fixture(scope="module")
def beliefs(run, tmp_path_factory):
    """A file of what a handler without flaws believes."""
    return handler.write_lines(tmp_path_factory.mktemp("beliefs") / "right.jsonl",
                               handler.believe(handler.Handler(), run))


@pytest.fixture(scope="module")
def pcap(run, tmp_path_factory):
    """The run's feed without losses."""
    return pcap_files.write_pcap(tmp_path_factory.mktemp("pcap") / "feed.pcap", pcap_files.ETHERNET,
                                 pcap_files.of_messages(run))


def packed(path, folder, name=None):
    """The file packed; its name need not tell."""
    target = folder / (name or path.name + ".gz")
    target.write_bytes(gzip.compress(path.read_bytes()))
    return target


def run_with_input(run, content, *words, truth=None):
    """An audit with bytes on standard input: (exit status, verdict or None, standard error)."""
    line = companion.command_line(run.doors, "audit", "--json", "--truth", truth or run.folder / "truth.jsonl", *words)
    result = subprocess.run(line, input=content, capture_output=True, timeout=harness.bound(60), check=False)
    return result.returncode, json.loads(result.stdout), result.stderr.decode()


def test_every_file_may_be_packed(run, beliefs, pcap, tmp_path):
    truth, tape = (packed(run.folder / name, tmp_path) for name in ("truth.jsonl", "tape.jsonl"))
    for words in (("--capture", packed(beliefs, tmp_path)), ("--pcap", packed(pcap, tmp_path)),
                  ("--pcap", packed(pcap, tmp_path, "unlikely.name"))):
        status, verdict = auditing.audit(run, *words, truth=truth, tape=tape)
        assert (status, verdict["verdict"], verdict["notes"]) == (0, "equal", []), auditing.explain(verdict)
        assert verdict["messages"] == len(run.messages)
        assert verdict["where"] == str(words[1]) and verdict["truth"] == str(truth)


def test_a_packed_file_that_is_wrong_is_as_wrong(run, beliefs, tmp_path):
    lines = beliefs.read_text(encoding="utf-8").splitlines()
    wrong = tmp_path / "wrong.jsonl"
    wrong.write_text("\n".join(lines[:99] + lines[100:]), encoding="utf-8")
    status, verdict = auditing.audit(run, "--capture", packed(wrong, tmp_path))
    assert (status, verdict["verdict"], verdict["missing_ranges"]) == (1, "lost", [[100, 100]])


@pytest.mark.parametrize("pack", [bytes, gzip.compress], ids=["plain", "packed"])
def test_every_file_may_stand_on_standard_input(run, beliefs, pcap, pack):
    for words, content in ((("--capture", "-"), beliefs), (("--pcap", "-"), pcap),
                           (("--capture", beliefs, "--tape", "-"), run.folder / "tape.jsonl")):
        status, verdict, _ = run_with_input(run, pack(content.read_bytes()), *words)
        assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
        assert verdict["messages"] == len(run.messages)
        assert "standard input" in (verdict["where"], verdict["tape"])
    status, verdict, _ = run_with_input(run, pack((run.folder / "truth.jsonl").read_bytes()), "--capture", beliefs,
                                        truth="-")
    assert (status, verdict["verdict"], verdict["truth"]) == (0, "equal", "standard input"), auditing.explain(verdict)


def test_a_pipe_with_a_name_is_read(run, beliefs, tmp_path):
    pipe = tmp_path / "pipe"
    os.mkfifo(pipe)
    writer = threading.Thread(target=lambda: pipe.write_bytes(beliefs.read_bytes()))
    writer.start()
    status, verdict = auditing.audit(run, "--capture", pipe)
    writer.join()
    assert (status, verdict["verdict"], verdict["messages"]) == (0, "equal", len(run.messages))


def test_a_handler_may_be_piped_into_the_audit(launch):
    bench = launch("--rate-ms", 5, "--drop-every", 7, "--scenario", "cancel_every=3,correct_every=4")
    with subprocess.Popen(companion.command_line(bench.doors, "listen", "--json", "--from", 1, "--count", 200),
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as listening:
        result = subprocess.run(
            companion.command_line(bench.doors, "audit", "--json", "--truth", bench.folder / "truth.jsonl", "--tape",
                                   bench.folder / "tape.jsonl", "--capture", "-"),
            stdin=listening.stdout, capture_output=True, timeout=harness.bound(60), check=False)
    verdict = json.loads(result.stdout)
    assert (result.returncode, verdict["verdict"], verdict["last"]) == (0, "equal", 200), auditing.explain(verdict)


def test_standard_input_can_be_only_one_of_the_files(run):
    status, output, errors = auditing.run_raw("audit", "--truth", "-", "--capture", "-")
    assert (status, output) == (2, "")
    assert "only one of the files can be -" in errors


def test_a_packed_truth_file_cannot_follow_a_feed(run, tmp_path):
    truth = packed(run.folder / "truth.jsonl", tmp_path)
    status, output, errors = auditing.run_raw("audit", "--truth", truth, "--timeout", "0.3")
    assert (status, output) == (2, "")
    assert f"{truth} does not grow with the run" in errors


def test_packed_bytes_that_are_damaged_are_refused(run, beliefs, tmp_path):
    path = packed(beliefs, tmp_path)
    content = bytearray(path.read_bytes())
    content[len(content) // 2] ^= 0xff
    path.write_bytes(content)
    status, output, errors = auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--capture", path)
    assert (status, output) == (2, "")
    assert f"cannot read {path}: it is damaged" in errors


# Cut off.

def test_a_capture_cut_in_a_packet_is_judged_to_there(run, pcap, tmp_path):
    content = pcap.read_bytes()
    path = tmp_path / "cut.pcap"
    path.write_bytes(content[:len(content) // 2])
    words = ("--pcap", path, "--mcast", run.doors.group, "--port", run.doors.feed)
    status, output, errors = auditing.run_raw("audit", "--json", "--truth", run.folder / "truth.jsonl", *words)
    verdict = json.loads(output)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert 100 < verdict["last"] < len(run.messages) - 100
    assert verdict["sentence"].endswith(f"judged #1 to #{verdict['last']}; the truth goes to #{len(run.messages)}")
    assert verdict["notes"] == [f"{path} is cut off: it is judged as far as it goes"]
    assert errors == f"vorbelctl: note: {verdict['notes'][0]}\n"


def test_a_capture_cut_before_its_first_packet_is_no_feed(run, pcap, tmp_path):
    path = tmp_path / "cut.pcap"
    path.write_bytes(pcap.read_bytes()[:30])
    status, output, errors = auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--pcap", path)
    assert (status, output) == (3, "")
    assert f"among the 0 frames of {path}, which is cut off" in errors


@pytest.mark.parametrize("kind", ["--capture", "--pcap"])
def test_packed_bytes_cut_off_are_judged_to_there(run, beliefs, pcap, tmp_path, kind):
    path = packed(beliefs if kind == "--capture" else pcap, tmp_path)
    path.write_bytes(path.read_bytes()[:path.stat().st_size // 2])
    status, verdict = auditing.audit(run, kind, path, "--to", 50)
    assert (status, verdict["verdict"], verdict["messages"]) == (0, "equal", 50), auditing.explain(verdict)
    assert f"{path} is cut off: it is judged as far as it goes" in verdict["notes"]


def test_a_cut_capture_of_a_wrong_feed_is_wrong(run, tmp_path):
    datagrams = pcap_files.of_messages(run)
    number = next(number for number, raw in sorted(run.messages.items()) if raw[:2] == b"TM" and number > 50)
    end = sum(width for _, width in wire.LAYOUTS["T/M"])
    raw = run.messages[number][:end - 1] + b"?"
    datagrams[number - 1] = pcap_files.Datagram(datagrams[number - 1].at_ns, pcap_files.packed(number, raw),
                                                run.doors.group, run.doors.feed)
    path = pcap_files.write_pcap(tmp_path / "cut.pcap", pcap_files.RAW, datagrams)
    path.write_bytes(path.read_bytes()[:-7])
    status, verdict = auditing.audit(run, "--pcap", path)
    assert (status, auditing.first_wrong(verdict)[0]) == (1, number)


# What a capture lacks.

def test_a_capture_without_answers_says_so_where_that_matters(run, pcap, tmp_path):
    lossy = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.RAW, pcap_files.of_arrivals(run))
    page = tmp_path / "page.html"
    status, verdict = auditing.audit(run, "--pcap", lossy, "--html", page)
    assert (status, verdict["verdict"]) == (1, "lost")
    note = (f"{lossy} holds no answers of the retransmission port {run.doors.retrans}, so what was lost on the feed "
            "cannot have come; capture that port too, or see --retrans-port")
    assert verdict["notes"] == [note]
    assert f"Note: {note}." in page.read_text(encoding="utf-8")
    assert auditing.audit(run, "--pcap", pcap)[1]["notes"] == []


def test_with_an_answer_in_it_a_capture_is_not_blamed(run, tmp_path):
    datagrams = pcap_files.of_arrivals(run)
    answer = pcap_files.of_answer(run, 1, 1, datagrams[-1].at_ns)
    lossy = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.RAW, [*datagrams, answer])
    status, verdict = auditing.audit(run, "--pcap", lossy)
    assert (status, verdict["verdict"], verdict["notes"]) == (1, "lost", [])


def test_packets_captured_short_are_told_of(run, tmp_path):
    datagrams = pcap_files.of_messages(run)
    place = next(number for number, raw in sorted(run.messages.items()) if raw[:2] == b"TM")
    datagrams[place] = pcap_files.Datagram(datagrams[place].at_ns, datagrams[place].data, run.doors.group, run.doors.feed,
                                           kept=60)
    path = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.RAW, datagrams)
    status, verdict = auditing.audit(run, "--pcap", path)
    assert (status, verdict["missing"]) == (1, 1)
    assert verdict["notes"][0] == "left out, as they were captured shorter than they were sent: 1 packet"


def test_notes_are_told_beside_the_verdict(run, tmp_path):
    lossy = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.RAW, pcap_files.of_arrivals(run))
    status, output, errors = auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--pcap", lossy, "--mcast",
                                              run.doors.group, "--port", run.doors.feed)
    assert status == 1
    assert output.startswith("lost: ")
    assert re.fullmatch(r"vorbelctl: note: .* holds no answers .*\n", errors)
