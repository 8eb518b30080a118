"""vorbelctl report: lines and CSV over TCP, bad ones held back, answers counted."""

import contextlib
import json
import os
import pty
import re
import signal
import socket
import subprocess
import threading

import pytest

import companion
import control
import harness
import reports

GOOD = reports.report_line()


def tape(bench):
    """The tape's records."""
    return [json.loads(line) for line in harness.tape_lines(bench)]


def test_lines_are_accepted(launch):
    bench = launch()
    lines = [reports.report_line(price=f"{90 + number}") for number in range(5)]
    status, output, errors = companion.run(bench.doors, "report", text="\n".join(lines))
    assert (status, errors) == (0, "")
    assert output.startswith("5 accepted, 0 refused, 0 malformed; ")
    assert output.endswith(" a second\n")
    assert [record["price"] for record in tape(bench)] == [90, 91, 92, 93, 94]


def test_a_file_is_read(launch, tmp_path):
    bench = launch()
    file = tmp_path / "reports.txt"
    file.write_text(f"{GOOD}\r\n\n{GOOD}\n", encoding="ascii")
    assert companion.run(bench.doors, "report", file)[0] == 0
    assert [record["where"] for record in tape(bench)] == ["away", "away"]


def test_csv_rows_become_reports(launch):
    bench = launch()
    text = ("cusip,symbol,price,quantity,party,venue,exec_ms,settle,where\n"
            "037833DT4,X,98.5,1000,B,ATS1,1700000000000,20231116,book\n"
            "123456789,\"Bond, \"\"new\"\"\",99,2000,,\"V\",1700000000000,,away\n")
    assert companion.run(bench.doors, "report", text=text)[0] == 0
    first, second = tape(bench)
    assert (first["quantity"], first["side"], first["reporting_party"]) == (1000, "B", "T")
    assert (second["symbol"], second["side"], second["venue"]) == ('Bond, "new"', "S", "V")


def test_a_bad_line_is_named_and_never_reaches_the_bench(launch):
    bench = launch()
    bad = [reports.report_line(price="98.5x"), reports.report_line(quantity=""), "T|too|few", "hello | world",
           reports.report_line(exec_ms="soon"), reports.report_line(price="1e999"), reports.report_line(price="1e-320")]
    status, output, errors = companion.run(bench.doors, "report", text="\n".join([GOOD, *bad, GOOD]))
    assert status == 1
    assert output.startswith("2 accepted, 0 refused, 7 malformed; ")
    named = errors.splitlines()
    assert [line.split(":")[0] for line in named] == [f"line {number}" for number in range(2, 9)]
    assert named[0] == 'line 2: malformed: the price "98.5x" is no number'
    assert len(tape(bench)) == 2
    assert control.command(bench.control, "pause") == "ok"


def test_only_the_first_bad_lines_are_named(launch):
    _, output, errors = companion.run(launch().doors, "report", text=GOOD + "\n" + "x\n" * 100)
    assert len(errors.splitlines()) == 21
    assert errors.endswith("further lines are only counted\n")
    assert output.startswith("1 accepted, 0 refused, 100 malformed; ")


def test_a_file_that_is_neither_lines_nor_csv(launch):
    status, output, errors = companion.run(launch().doors, "report", text="hello\nworld\n")
    assert (status, output[:37]) == (2, "0 accepted, 0 refused, 1 malformed; 0")
    assert errors.splitlines() == [
        'line 1: malformed: this is neither a report line nor a CSV header: "hello" is no column; the columns are '
        "cusip, symbol, price, quantity, party, venue, exec_ms, settle, where",
        "vorbelctl: nothing of standard input was sent; it must hold report lines, or CSV with a header row"]


def test_bytes_that_are_no_text_are_named_in_short(launch, tmp_path):
    file = tmp_path / "binary"
    file.write_bytes(b"\xff\x00" * 5000 + b"\n" + b"\xfe" * 5000)
    status, _, errors = companion.run(launch().doors, "report", file)
    assert status == 2
    assert len(errors.splitlines()) == 2
    assert len(errors) < 600


def test_a_number_with_a_comma_in_it_is_not_sent(launch):
    bench = launch()
    text = "cusip,price,quantity\n037833DT4,1,234.5,250000\n037833DT4,98.5,1000\n"
    status, output, errors = companion.run(bench.doors, "report", text=text)
    assert (status, errors) == (1, "line 2: malformed: the row has 4 cells, the header 3\n")
    assert output.startswith("1 accepted, 0 refused, 1 malformed; ")
    assert [record["price"] for record in tape(bench)] == [98.5]


def test_a_header_that_names_a_column_twice_is_refused(launch):
    bench = launch()
    status, _, errors = companion.run(bench.doors, "report", text="cusip,price,quantity,price\n037833DT4,1,2,3\n")
    assert status == 2
    assert errors.startswith('line 1: malformed: the CSV header names the column "price" twice\n')
    assert tape(bench) == []


HEADERS = {"byte order mark": "\ufeffcusip,price,quantity", "capitals": "CUSIP,Price,QUANTITY",
           "blanks": "cusip , price, quantity", "all": '\ufeff"Cusip", "PRICE" ,quantity'}


@pytest.mark.parametrize("header", HEADERS.values(), ids=list(HEADERS))
def test_a_header_may_be_written_as_spreadsheets_do(launch, tmp_path, header):
    bench = launch()
    file = tmp_path / "trades.csv"
    file.write_text(f"{header}\r\n037833DT4,98.5,1000\r\n", encoding="utf-8")
    assert companion.run(bench.doors, "report", file)[::2] == (0, "")
    assert [record["price"] for record in tape(bench)] == [98.5]


def test_report_lines_may_begin_with_a_byte_order_mark(launch, tmp_path):
    file = tmp_path / "reports.txt"
    file.write_text(f"\ufeff{GOOD}\n", encoding="utf-8")
    assert companion.run(launch().doors, "report", file)[::2] == (0, "")


@pytest.mark.parametrize("text", ["", "\n\r\n", "cusip,price,quantity\n", "\ufeff"])
def test_an_input_without_a_report_is_no_success(launch, tmp_path, text):
    doors = launch().doors
    file = tmp_path / "empty"
    file.write_text(text, encoding="utf-8")
    assert companion.run(doors, "report", file)[::2] == (2, f"vorbelctl: there is no report in {file}\n")
    status, lines = companion.run_json(doors, "report", file)
    assert (status, lines[0]["accepted"]) == (2, 0)
    assert lines[1] == {"error": f"there is no report in {file}", "status": 2}


def test_a_file_that_a_signal_cut_short_is_no_success(doors, follow, tmp_path):
    file = tmp_path / "reports.txt"
    file.write_text(f"{GOOD}\n" * 100, encoding="ascii")
    came = threading.Event()
    done = threading.Event()

    def answer_one(connection):
        connection.recv(10)
        connection.sendall(b"A 0000001\n")
        came.set()
        done.wait()

    thread = serve_once(doors, answer_one)
    reporting = follow(doors, "report", "--window", 1, "--json", file)
    assert came.wait(harness.bound(10))
    companion.wait_for(reporting, lambda lines: len(lines) == 1, "the answer")
    status = companion.interrupt(reporting, signal.SIGTERM)
    done.set()
    thread.join()
    assert status == 1
    assert len(reporting.errors) == 1
    assert re.fullmatch(rf"vorbelctl: stopped behind line [12] of {file}; the rest was not sent", reporting.errors[0])


def test_refused_reports_end_with_status_1(launch):
    bench = launch()
    control.command(bench.control, "close")
    status, output, errors = companion.run(bench.doors, "report", text=f"{GOOD}\n{GOOD}\n")
    assert status == 1
    assert output.startswith("0 accepted, 2 refused, 0 malformed; ")
    assert errors.splitlines() == ["line 1: refused: the session is closed", "line 2: refused: the session is closed"]


def test_json_has_a_line_for_every_report(launch):
    bench = launch()
    status, lines = companion.run_json(bench.doors, "report", text=f"{GOOD}\nbad|line\n{GOOD}\n")
    assert status == 1
    totals = lines.pop()
    assert sorted(lines, key=lambda line: line["line"]) == [
        {"line": 1, "trade_id": "0000001"},
        {"line": 2, "malformed": "there are 2 fields separated by |; a report has 10"},
        {"line": 3, "trade_id": "0000002"}]
    assert (totals["accepted"], totals["refused"], totals["malformed"], totals["unanswered"]) == (2, 0, 1, 0)


def test_many_lines_in_a_window(launch, tmp_path):
    bench = launch("--quiet")
    file = tmp_path / "reports.txt"
    file.write_text(f"{GOOD}\n" * 20000, encoding="ascii")
    for window in (1, 64, 5000):
        status, output, _ = companion.run(bench.doors, "report", "--window", window, file, seconds=60)
        assert status == 0
        assert output.startswith("20000 accepted, 0 refused, 0 malformed; ")
    assert control.stats(bench.control)["reports"] == 60000


def test_a_typed_line_is_answered_before_the_next(launch, follow):
    bench = launch()
    reporting = follow(bench.doors, "report", "--json", stdin=subprocess.PIPE)
    for number in (1, 2):
        reporting.process.stdin.write(f"{GOOD}\n")
        reporting.process.stdin.flush()
        companion.wait_for(reporting, lambda lines, number=number: len(lines) >= number, "the answer")
    reporting.process.stdin.close()
    assert companion.finish(reporting) == 0


def test_nobody_there_ends_with_status_3(doors):
    status, output, errors = companion.run(doors, "report", text=f"{GOOD}\n")
    assert (status, output) == (3, "")
    assert f"cannot connect to the report port 127.0.0.1:{doors.reports}: Connection refused" in errors


def test_a_missing_file_is_wrong_usage(launch):
    status, _, errors = companion.run(launch().doors, "report", "/nowhere/at/all")
    assert status == 2
    assert errors == "vorbelctl: cannot read /nowhere/at/all: No such file or directory\n"


def test_a_folder_is_wrong_usage(launch, tmp_path):
    status, output, errors = companion.run(launch().doors, "report", tmp_path)
    assert (status, output) == (2, "")
    assert errors == f"vorbelctl: cannot read {tmp_path}: Is a directory\n"


def serve_once(doors, answer):
    """A report port of the test's own; answer(connection) is called with the only client."""
    listener = socket.create_server(("127.0.0.1", doors.reports))

    def serve():
        connection, _ = listener.accept()
        with connection, listener:
            answer(connection)

    thread = threading.Thread(target=serve, daemon=True)
    thread.start()
    return thread


def test_a_lost_connection_ends_with_status_3(doors):
    def hang_up(connection):
        connection.recv(10)
        connection.sendall(b"A 0000001\n")

    thread = serve_once(doors, hang_up)
    status, output, errors = companion.run(doors, "report", text=f"{GOOD}\n{GOOD}\n")
    thread.join()
    assert status == 3
    assert output.startswith("1 accepted, 0 refused, 0 malformed, 1 without an answer; ")
    assert "is lost: " in errors
    assert "1 line has no answer" in errors


def test_silence_ends_with_status_3(doors):
    done = threading.Event()
    thread = serve_once(doors, lambda connection: done.wait())
    status, _, errors = companion.run(doors, "report", "--timeout", "0.3", text=f"{GOOD}\n")
    done.set()
    thread.join()
    assert status == 3
    assert "is lost: no answer in time" in errors


@pytest.mark.parametrize("piece", [b"A" * 1000, b"A" * 1000 + b"\n"], ids=["no end", "too long"])
def test_what_is_no_answer_counts_as_a_lost_connection(doors, piece):
    def babble(connection):
        connection.recv(10)
        with contextlib.suppress(OSError):  # the companion hangs up
            while True:
                connection.sendall(piece)

    thread = serve_once(doors, babble)
    status, output, errors = companion.run(doors, "report", text=f"{GOOD}\n")
    thread.join()
    assert status == 3
    assert output.startswith("0 accepted, 0 refused, 0 malformed, 1 without an answer; ")
    assert "is lost: what comes from there is no answer; 1 line has no answer" in errors


def test_a_signal_ends_it_with_the_totals(launch, follow):
    reporting = follow(launch().doors, "report", "--json", stdin=subprocess.PIPE)
    reporting.process.stdin.write(f"{GOOD}\n")
    reporting.process.stdin.flush()
    companion.wait_for(reporting, lambda lines: len(lines) == 1, "the answer")
    assert companion.interrupt(reporting, signal.SIGTERM) == 0
    assert companion.objects(reporting)[-1]["accepted"] == 1


def test_a_terminal_shows_progress(launch, tmp_path):
    bench = launch("--quiet")
    file = tmp_path / "reports.txt"
    file.write_text(f"{GOOD}\n" * 50000, encoding="ascii")
    leader, follower = pty.openpty()
    process = subprocess.Popen(companion.command_line(bench.doors, "report", "--window", 1, file), stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=follower)
    os.close(follower)
    shown = b""
    while chunk := read_terminal(leader):
        shown += chunk
    output, _ = process.communicate(timeout=harness.bound(60))
    os.close(leader)
    assert process.returncode == 0
    assert output.startswith(b"50000 accepted")
    assert b"[" in shown and b"#" in shown and b" lines, " in shown
    assert shown.endswith(b"\r\x1b[K")


def read_terminal(leader):
    """The next bytes; empty when the other side has closed."""
    try:
        return os.read(leader, 65536)
    except OSError:
        return b""
