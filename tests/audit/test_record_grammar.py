"""Records as the bench writes them: reasons, CUSIPs and sides with quotes in them, numbers that are not finite or are cut.
They are read by the documented line and not by JSON's idea of it."""

import json
import time

import pytest

import auditing
import control
import handler
import harness
import probe
import recording
import reports
import wire

BONDS = ('0378"3DT4:AAPL "x\\y:AAPL "3\\5:IG:98.25:3.85,345370CS9:F 4.35 12/08/26:F 4.35 26:HY:97.80:4.35,'
         'a","b\\:N D:ND:IG:99:1,NANCOUPON:N C:NC:IG:99:nan')
REPORTS = ({"price": "nan"}, {"price": "inf"}, {"price": "-inf"}, {"quantity": "nan"}, {"quantity": "inf"},
           {"quantity": "-inf"}, {"price": "1e40"}, {"price": "1e300"}, {"quantity": "-1e40"}, {"price": "1e-307"},
           {"side": '"'}, {"side": "\\"}, {"cusip": 'x"y"z'}, {"cusip": '","symbol":"x'}, {"cusip": "NANCOUPON"},
           {"cusip": 'Q"2', "symbol": 'a"b\\'}, {"venue": 'v"\\', "where": 'w"\\'}, {"cusip": 'é"', "symbol": "ü"},
           {"cusip": "345370CS9", "price": "inf"}, {"cusip": "345370CS9", "price": "98"})
COMMANDS = ('halt 345370CS9 a"b\\cdef', 'halt 0378"3DT4 "', 'halt x"y"z \\', "resume_halt 345370CS9", "cancel 2",
            "correct 2", 'halt 345370CS9 ","at":"', 'mark a"b\\c', "close", 'halt 345370CS9 "}')


@pytest.fixture(scope="module")
def odd(pool, tmp_path_factory):
    """A finished run of a right bench whose lines are hardly ever strict JSON."""
    with harness.launching(pool, tmp_path_factory.mktemp("odd")) as launch:
        bench = launch("--bonds", BONDS)
        reporter = harness.open_reporter(bench)
        for each in REPORTS:
            reports.report(reporter, exec_ms=str(int(time.time() * 1000) - 1000), **each)
        for command in COMMANDS:
            assert control.command(bench.control, command).split()[0] in ("ok", "cancelled", "corrected")
        messages = {}
        for first in range(1, control.stats(bench.control)["seq"] + 1, 50):
            for answer in probe.ask(bench, wire.request(first, 50)):
                packet = wire.parse_packet(answer)
                messages.update(enumerate(packet.messages, packet.sequence))
        yield recording.Run(bench.folder, bench.doors, (), messages)


def judge(odd, path, **files):
    """The audit of a recording: exit status and verdict."""
    return auditing.audit(odd, "--capture", path, **files)


def right_lines(odd):
    """What a right handler writes down: no books, as Python's NaN has an order of its own."""
    def as_utf8(value):
        return value.encode("latin-1").decode("utf-8") if isinstance(value, str) else value

    return [{"seq": number, "event": kind, **{name: as_utf8(value) for name, value in fields.items()}}
            for number, raw in sorted(odd.messages.items()) for kind, fields in [handler.read_message(raw)]]


def test_hardly_any_line_with_them_is_json(odd):
    lines = (odd.folder / "truth.jsonl").read_bytes().splitlines()

    def is_json(line):
        try:
            json.loads(line)
            return True
        except ValueError:
            return False
    assert sum(not is_json(line) for line in lines) > 10


def test_a_right_bench_is_equal(odd):
    status, verdict = auditing.audit(odd, "--offline")
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert verdict["messages"] == len(odd.messages) == verdict["truth_records"]


def test_a_right_handler_is_equal(odd, tmp_path):
    path = handler.write_lines(tmp_path / "right.jsonl", right_lines(odd))
    assert "Infinity" in path.read_text(encoding="utf-8") and "NaN" in path.read_text(encoding="utf-8")
    status, verdict = judge(odd, path)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)


def test_what_the_companion_heard_of_it_is_equal(odd, tmp_path):
    status, heard, _ = auditing.run_raw("listen", "--json", "--from", 1, "--until-end", "--mcast", odd.doors.group,
                                        "--port", odd.doors.feed, "--retrans-port", odd.doors.retrans)
    path = tmp_path / "heard.jsonl"
    path.write_text(heard, encoding="utf-8")
    assert status == 0 and judge(odd, path)[0] == 0


@pytest.mark.parametrize(("field", "value"), [("price", "inf"), ("quantity", "nan"), ("yield", "nan"), ("side", '"')])
def test_another_value_in_place_of_an_odd_one_is_found(odd, tmp_path, field, value):
    lines = right_lines(odd)
    line = next(line for line in lines if str(line.get(field)) == value)
    line[field] = "B" if field == "side" else 98.5
    status, verdict = judge(odd, handler.write_lines(tmp_path / "wrong.jsonl", lines))
    assert (status, auditing.first_wrong(verdict)) == (1, (line["seq"], field)), auditing.explain(verdict)


@pytest.mark.parametrize(("old", "new", "field"), [
    (b'"reason":"a"b\\cdef"', b'"reason":"a"c\\cdef"', "reason"), (b'"reason":"""', b'"reason":"\\"', "reason"),
    (b'"cusip":"x"y"z"', b'"cusip":"x"y"x"', "cusip"), (b'"side":"""', b'"side":"S"', "side"),
    (b'"qty":nan', b'"qty":1.00', "quantity"), (b'"price":inf', b'"price":98.000000', "price")])
def test_an_altered_odd_record_is_found_at_its_place(odd, tmp_path, old, new, field):
    content = (odd.folder / "truth.jsonl").read_bytes()
    at = content.index(old)
    number = content.count(b"\n", 0, at) + 1
    truth = tmp_path / "truth.jsonl"
    truth.write_bytes(content[:at] + new + content[at + len(old):])
    status, verdict = auditing.audit(odd, "--offline", truth=truth)
    assert (status, auditing.first_wrong(verdict)) == (1, (number, field)), auditing.explain(verdict)


def test_an_altered_line_of_the_tape_is_found_at_its_place(odd, tmp_path):
    content = (odd.folder / "tape.jsonl").read_bytes()
    at = content.index(b'"cusip":"","symbol":"x"')
    number = json.loads(content[content.rindex(b"\n", 0, at) + 1:at].split(b",")[0] + b"}")["seq"]
    tape = tmp_path / "tape.jsonl"
    tape.write_bytes(content.replace(b'"cusip":"","symbol":"x"', b'"cusip":"","symbol":"y"'))
    status, verdict = auditing.audit(odd, "--offline", tape=tape)
    assert (status, auditing.first_wrong(verdict), verdict["discrepancies"]) == (1, (number, "tape.cusip"), 1)
