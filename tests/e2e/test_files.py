"""The truth file and the tape as files: appended to, optional, and silent when they cannot be written."""

import pathlib

import pytest

import control
import harness
import receiver
import reports


def test_files_are_appended_to(launch, tmp_path):
    truth, tape = tmp_path / "kept.truth", tmp_path / "kept.tape"
    truth.write_bytes(b"from before\n")
    tape.write_bytes(b"from before, without an end")
    for _ in range(2):
        bench = launch("--truth-out", truth, "--tape-out", tape)
        reports.report(harness.open_reporter(bench))
        harness.stop(bench)
    lines = truth.read_bytes().splitlines()
    assert lines[0] == b"from before" and len(lines) == 7
    assert [line.split(b",")[0] for line in lines[1:]] == [b'{"seq":1', b'{"seq":2', b'{"seq":3'] * 2
    lines = tape.read_bytes().splitlines()
    assert len(lines) == 2 and lines[0].startswith(b'from before, without an end{"seq":3,')
    assert lines[1].startswith(b'{"seq":3,')


@pytest.mark.parametrize("option", ("--truth-out", "--tape-out"))
@pytest.mark.parametrize("path", ("/nonexistent/folder/file", "/", ""))
def test_a_file_that_cannot_be_opened_is_passed_over_in_silence(launch, option, path):
    bench = launch(option, path)
    assert reports.report(harness.open_reporter(bench)) == 1
    receiver.wait_for_sequence(bench.feed, 3, harness.bound(5))
    harness.stop(bench)
    assert len(harness.console_lines(bench)) == 7
    kept = {"--truth-out": "tape.jsonl", "--tape-out": "truth.jsonl"}[option]
    assert len(harness.file_lines(bench, kept)) == {"tape.jsonl": 1, "truth.jsonl": 3}[kept]
    assert not (bench.folder / {"tape.jsonl": "truth.jsonl", "truth.jsonl": "tape.jsonl"}[kept]).exists()


@pytest.mark.skipif(not pathlib.Path("/dev/full").exists(), reason="no device that is always full on this system")
def test_a_full_disk_stops_the_files_and_not_the_feed(launch):
    bench = launch("--truth-out", "/dev/full", "--tape-out", "/dev/full")
    reporter = harness.open_reporter(bench)
    for trade in range(1, 6):
        assert reports.report(reporter) == trade
    assert control.command(bench.control, "mark nowhere") == "ok"
    receiver.wait_for_sequence(bench.feed, 7, harness.bound(5))
    harness.stop(bench)
    assert len(harness.console_lines(bench)) == 4 + 5 + 2 + 2


def test_every_line_is_there_as_soon_as_its_reply(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    for trade in range(1, 21):
        assert reports.report(reporter) == trade
        assert len(harness.truth_lines(bench)) == trade + 2
        assert len(harness.tape_lines(bench)) == trade


def test_texts_are_escaped_and_other_bytes_kept(launch):
    bench = launch()
    symbol = b'Q"\\/\x01\t\x7f\xc3\xa9\xff'
    reporter = harness.open_reporter(bench)
    reports.send_lines(reporter, b"T|ODD|" + symbol + b"|98.5|1000|B|v\"\x02|1700000000000|20231116|w\\\x03")
    assert reports.read_line(reporter) == "A 0000001"
    receiver.wait_for_sequence(bench.feed, 3, harness.bound(5))
    harness.stop(bench)
    kept = symbol.replace(b"\\", b"\\\\").replace(b'"', b'\\"')
    assert b'"cusip":"ODD","symbol":"' + kept + b'","trade_id"' in harness.truth_lines(bench)[2]
    tape = harness.tape_lines(bench)[0]
    assert b'"symbol":"' + kept + b'","price"' in tape
    assert tape.endswith(b'"venue":"v\\"\x02","where":"w\\\\\x03"}')
    message = receiver.messages(bench.feed)[3]
    assert message.raw[24:38] == symbol.ljust(14) and message["sub_product"] == "CORP "


def test_a_cusip_is_never_escaped(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    reports.report(reporter, cusip='C"\\X')
    assert control.command(bench.control, 'halt C"\\X R"S') == "ok"
    harness.stop(bench)
    lines = harness.truth_lines(bench)
    assert b'"cusip":"C"\\X","symbol":"X",' in lines[2] and b'"cusip":"C"\\X",' in harness.tape_lines(bench)[0]
    assert b'"cusip":"C"\\X","symbol":"X","action":"H","reason":"R"S","at":"' in lines[3]
