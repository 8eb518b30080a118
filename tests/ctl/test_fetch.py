"""vorbelctl fetch: messages by number from the retransmission port."""

import json
import time

import companion
import control
import harness
import publisher
import reports


def test_messages_come_decoded(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    reports.report(reporter, price="98.5", quantity="6000000")
    status, lines = companion.run_json(bench.doors, "fetch", 1, 3)
    assert status == 0
    assert [line["seq"] for line in lines] == [1, 2, 3]
    assert [line["event"] for line in lines] == ["control", "control", "trade"]
    truth = json.loads(harness.truth_lines(bench)[-1])
    for name in ("cusip", "symbol", "trade_id", "price", "yield", "side", "as_of", "ats", "change"):
        assert lines[2][name] == truth[name]
    assert (lines[2]["quantity_indicator"], lines[2]["quantity"]) == ("E", 5000000.0)


def test_one_request_is_sent(launch):
    bench = launch()
    assert companion.run(bench.doors, "fetch", 2)[0] == 0
    assert control.stats(bench.control)["retrans"] == 1
    harness.wait_for_line(bench, harness.re.compile(rb".*retransmission: seq 2 count 1 \xe2\x86\x92 1 message.*"))


def test_what_does_not_come_is_named_and_ends_with_status_1(launch):
    bench = launch()
    status, output, _ = companion.run(bench.doors, "fetch", 2, 4)
    assert status == 1
    lines = output.splitlines()
    assert len(lines) == 2
    assert lines[0].split()[:2] == ["2", "control"]
    assert lines[1] == "       3  missing      3 to 5 (3 messages) given up"


def test_a_closed_port_is_named(doors):
    status, output, errors = companion.run(doors, "fetch", 1)
    assert status == 3
    assert "missing" in output
    assert f"nobody answers on the retransmission port 127.0.0.1:{doors.retrans}" in errors


def test_silence_is_named(fake):
    status, output, errors = companion.run(fake.doors, "fetch", 1, 3)
    assert status == 3
    assert output == "       1  missing      1 to 3 (3 messages) given up\n"
    assert f"no answer came from the retransmission port 127.0.0.1:{fake.doors.retrans} in time" in errors
    assert "--retrans-port" in errors


def test_a_part_of_the_answer_is_no_silence(launch):
    assert companion.run(launch().doors, "fetch", 2, 4)[2] == ""


def test_json_says_that_messages_came_by_retransmission(launch):
    bench = launch()
    status, lines = companion.run_json(bench.doors, "fetch", 1, 2)
    assert (status, [line["via"] for line in lines]) == (0, ["recovered", "recovered"])
    assert "recovered" not in companion.run(bench.doors, "fetch", 1, 2)[1]


def test_numbers_beyond_the_last_are_wrong_usage(launch):
    doors = launch().doors
    for words in ((2 ** 64 - 1,), (2 ** 64 - 6, 100), (2 ** 64,), ("0x10",), (1, 65536)):
        status, output, errors = companion.run(doors, "fetch", *words)
        assert (status, output) == (2, ""), words
        assert errors, words
    assert companion.run(doors, "fetch", 2 ** 64 - 2)[0] == 3


def test_numbers_are_decimal_whatever_they_begin_with(fake):
    companion.run(fake.doors, "fetch", "010", "008")
    assert fake.requests == [(10, 8)]


def test_an_address_that_is_none_is_wrong_usage(doors):
    status, _, errors = companion.run(doors, "fetch", "--host", "nowhere", 1)
    assert status == 2
    assert "\"nowhere\" is no IPv4 address" in errors


def test_a_large_count_comes_whole(launch):
    bench = launch("--quiet")
    reporter = harness.open_reporter(bench)
    total = 20000
    for _ in range(total // 1000):
        reports.send_lines(reporter, *[reports.report_line()] * 1000)
        for _ in range(1000):
            assert reports.read_line(reporter).startswith("A ")
    status, lines = companion.run_json(bench.doors, "fetch", 1, total + 2)
    assert status == 0
    assert [line["seq"] for line in lines] == list(range(1, total + 3))


def test_an_answer_with_a_hole_is_not_asked_for_again(fake):
    fake.answer = lambda first, count: [publisher.numbered(first, 2), publisher.numbered(first + 3, count - 3)]
    status, output, _ = companion.run(fake.doors, "fetch", 10, 8)
    assert status == 1
    assert [line.split()[0] for line in output.splitlines()] == ["10", "11", "12", "13", "14", "15", "16", "17"]
    assert "12 (1 message) given up" in output
    assert fake.requests == [(10, 8)]


def test_it_waits_as_long_as_it_is_told(fake):
    began = time.monotonic()
    assert companion.run(fake.doors, "fetch", "--timeout", "1.5", 1)[0] == 3
    assert time.monotonic() - began >= 1.5
