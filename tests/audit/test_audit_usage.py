"""How an audit is asked for, and how it ends: every exit status, the help, the verdict for people."""

import os
import re
import subprocess

import pytest

import auditing
import companion
import handler
import harness
import recording


def audit_words(run, *words):
    """A whole command line for the run's files, with its doors."""
    return ("audit", "--truth", run.folder / "truth.jsonl", "--mcast", run.doors.group, "--port", run.doors.feed,
            "--retrans-port", run.doors.retrans, *words)


@pytest.fixture(scope="module")
def beliefs(run, tmp_path_factory):
    """A file of what a handler without flaws believes."""
    return handler.write_lines(tmp_path_factory.mktemp("beliefs") / "right.jsonl",
                               handler.believe(handler.Handler(), run))


def test_the_help_says_everything():
    status, output, _ = auditing.run_raw("audit", "--help")
    assert status == 0
    for word in ("--truth", "--tape", "--pcap", "--offline", "--capture", "--html", "--json", "--seconds", "--until-end",
                 "--from", "--timeout", "Example:", "0 equal; 1 discrepancies or losses; 2 wrong usage; 3 no feed"):
        assert word in output, word


@pytest.mark.parametrize("words", [
    (), ("--truth", "/nowhere/truth.jsonl"), ("--truth", "/"), ("--truth", __file__, "--tape", "/nowhere"),
    ("--truth", __file__, "--pcap", "/nowhere"), ("--truth", __file__, "--offline", "--pcap", __file__),
    ("--truth", __file__, "--offline", "--capture", __file__), ("--truth", __file__, "--capture", __file__, "--seconds", 1),
    ("--truth", __file__, "--seconds", 0), ("--truth", __file__, "--from", 0),
    ("--truth", __file__, "--offline", "--retrans-port", 0), ("--truth", __file__, "--unknown")])
def test_a_wrong_use_is_status_2(words):
    status, output, errors = auditing.run_raw("audit", *words)
    assert (status, output) == (2, "")
    assert errors


def test_silence_is_status_3(run):
    status, output, errors = auditing.run_raw(*audit_words(run, "--timeout", "0.3"))
    assert (status, output) == (3, "")
    assert f"nothing of the session BTDS000001 came on the feed {run.doors.group}:{run.doors.feed}" in errors


def test_another_session_is_no_feed(launch):
    bench = launch("--rate-ms", 5, "--session", "OTHER")
    status, _, errors = auditing.run_raw(*audit_words(bench, "--timeout", "1"))
    assert status == 3
    assert "BTDS000001" in errors
    status, _, errors = auditing.run_raw(*audit_words(bench, "--seconds", "1", "--session", "OTHER"))
    assert status == 0, errors


def test_equality_is_status_0_and_one_sentence(run, beliefs):
    status, output, errors = auditing.run_raw(*audit_words(run, "--capture", beliefs))
    assert (status, errors) == (0, "")
    assert output.startswith(f"equal: {len(run.messages)} messages equal to their truth records\n")
    assert re.search(rf"^  messages +{len(run.messages)}   #1 to #{len(run.messages)}$", output, re.M)
    assert re.search(r"^  discrepancies +0$", output, re.M)


def test_a_difference_is_status_1_with_both_sides_shown(run, beliefs, tmp_path):
    number = recording.numbers_of(run, "trade")[40]
    lines = beliefs.read_text(encoding="utf-8").splitlines()
    price = re.search(r'"price": ([\d.]+)', lines[number - 1])[1]
    lines[number - 1] = lines[number - 1].replace(f'"price": {price}', '"price": 1.25', 1)
    path = tmp_path / "wrong.jsonl"
    path.write_text("\n".join(lines) + "\n", encoding="utf-8")
    status, output, _ = auditing.run_raw(*audit_words(run, "--capture", path))
    assert status == 1
    assert output.startswith(f"different: 1 discrepancy in {len(run.messages)} messages; first wrong: #{number} price\n")
    assert re.search(rf"^#{number} +price +truth {float(price):.6f} +recording 1\.25$", output, re.M)


def test_an_unreadable_file_is_status_2(run, tmp_path):
    path = tmp_path / "truth.jsonl"
    path.write_bytes((run.folder / "truth.jsonl").read_bytes())
    path.chmod(0)
    # Root reads what it may not, unless it gives that right away.
    bounded = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] if os.geteuid() == 0 else []
    result = subprocess.run([*bounded, companion.binary(), "audit", "--truth", path], capture_output=True, text=True,
                            timeout=harness.bound(20), check=False)
    assert result.returncode == 2
    assert str(path) in result.stderr


def test_a_verdict_that_cannot_be_written_is_status_6(run, beliefs):
    with open("/dev/full", "w", encoding="utf-8") as full:
        result = subprocess.run([companion.binary(), *map(str, audit_words(run, "--capture", beliefs))], stdout=full,
                                stderr=subprocess.PIPE, text=True, timeout=harness.bound(20), check=False)
    assert result.returncode == 6
    assert "standard output cannot be written" in result.stderr


@pytest.mark.parametrize("number", ['"7"', "-1", "1.5", "null", "18446744073709551615", "99999999999999999999"])
def test_a_sequence_number_that_is_none_is_found(run, beliefs, tmp_path, number):
    lines = beliefs.read_text(encoding="utf-8").splitlines()
    lines[6] = lines[6].replace('"seq": 7', f'"seq": {number}', 1)
    path = tmp_path / "wrong.jsonl"
    path.write_text("\n".join(lines) + "\n", encoding="utf-8")
    status, output, _ = auditing.run_raw(*audit_words(run, "--capture", path))
    assert status == 1
    assert re.search(r"^#7 +seq +order a sequence number +recording ", output, re.M), output


def test_lines_of_other_events_may_have_any_number(run, beliefs, tmp_path):
    path = tmp_path / "chatty.jsonl"
    path.write_text('{"seq": null, "event": "log"}\n' + beliefs.read_text(encoding="utf-8"), encoding="utf-8")
    status, output, _ = auditing.run_raw(*audit_words(run, "--capture", path))
    assert status == 0, output
