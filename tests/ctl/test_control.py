"""vorbelctl control: one command, scripts, and nobody there."""

import signal
import time

import companion
import control
import harness
import reports


def test_a_command_is_answered(launch):
    bench = launch()
    assert companion.run(bench.doors, "control", "mark", "before", "fault") == (0, "ok\n", "")
    harness.wait_for_line(bench, "bench: mark before fault → ok")


def test_words_keep_their_blanks(launch):
    bench = launch()
    assert companion.run(bench.doors, "control", "mark two  blanks")[0] == 0
    harness.wait_for_line(bench, "bench: mark two  blanks at seq 2")


def test_a_word_may_look_like_an_option(launch):
    bench = launch()
    assert companion.run(bench.doors, "control", "drop", "-1") == (0, "ok\n", "")
    harness.wait_for_line(bench, "bench: drop -1 → ok")
    assert companion.run(bench.doors, "control", "--", "mark", "--json") == (0, "ok\n", "")
    harness.wait_for_line(bench, "bench: mark --json → ok")


def test_a_command_may_bear_the_name_of_one_of_ours(launch):
    assert companion.run(launch().doors, "control", "watch")[:2] == (1, "unknown command\n")


def test_unknown_replies_end_with_status_1(launch):
    doors = launch().doors
    assert companion.run(doors, "control", "bogus")[:2] == (1, "unknown command\n")
    assert companion.run(doors, "control", "halt", "000000AA0")[:2] == (1, "unknown cusip\n")


def test_stats_are_taken_apart_as_json(launch):
    bench = launch()
    status, lines = companion.run_json(bench.doors, "control", "stats")
    assert status == 0
    assert len(lines) == 1
    for name, value in control.stats(bench.control).items():
        assert lines[0][name] == value
    assert lines[0]["reply"].startswith("seq 2 messages 2 ")
    assert lines[0]["command"] == "stats"


def test_quiet_prints_nothing_but_errors(launch):
    doors = launch().doors
    assert companion.run(doors, "control", "--quiet", "pause") == (0, "", "")
    assert companion.run(doors, "control", "--quiet", "bogus") == (1, "unknown command\n", "")


def test_quiet_leaves_results(launch):
    doors = launch().doors
    status, output, errors = companion.run(doors, "control", "--quiet", "stats")
    assert (status, errors) == (0, "")
    assert output.startswith("seq 2 messages 2 ")
    assert companion.run(doors, "control", "--quiet", "cancel")[:2] == (0, "cancelled 0\n")
    assert companion.run(doors, "control", "--quiet", "-", text="pause\nstats\nresume\n")[1].startswith("seq 2 ")


def test_nobody_there_ends_with_status_3_and_says_where(doors):
    status, output, errors = companion.run(doors, "control", "stats")
    assert (status, output) == (3, "")
    assert f"127.0.0.1:{doors.control}" in errors
    assert f"--control-port {doors.control}" in errors
    assert "the port is closed" in errors


def test_silence_ends_with_status_3_after_the_timeout(launch):
    bench = launch()
    bench.process.send_signal(signal.SIGSTOP)
    before = time.monotonic()
    status, _, errors = companion.run(bench.doors, "control", "--timeout", "0.3", "stats")
    assert time.monotonic() - before >= 0.3
    bench.process.send_signal(signal.SIGCONT)
    assert status == 3
    assert "no reply in time" in errors


def test_what_the_bench_would_cut_is_not_sent(launch):
    bench = launch()
    assert companion.run(bench.doors, "control", "mark", "x" * 250)[0] == 0
    status, _, errors = companion.run(bench.doors, "control", "mark", "x" * 251)
    assert status == 2
    assert "256 bytes" in errors
    assert companion.run(bench.doors, "control", "")[0] == 2


def test_a_command_that_would_break_a_record_is_not_sent(launch):
    bench = launch()
    status, output, errors = companion.run(bench.doors, "control", "mark a\nb")
    assert (status, output) == (2, "")
    assert errors == 'vorbelctl: the command "mark a\\x0ab" holds a control byte\n'
    assert companion.run(bench.doors, "control", "-", text="mark c\td\n")[0] == 2
    assert companion.run(bench.doors, "control", "mark e \r\n")[0] == 0  # at the end the bench drops them itself
    assert [line for line in harness.truth_lines(bench) if b"mark" in line] == [b'{"mark":"e","seq":2}']


def test_there_must_be_a_port_to_send_to(doors):
    nowhere = harness.dataclasses.replace(doors, control=0)
    status, output, errors = companion.run(nowhere, "control", "stats")
    assert (status, output) == (2, "")
    assert "--control-port" in errors


def test_a_timeout_that_is_none_is_wrong_usage(doors):
    for timeout in ("nan", "inf", "1e300", "3000000", "0"):
        status, _, errors = companion.run(doors, "control", "--timeout", timeout, "stats")
        assert status == 2
        assert f'"{timeout}" is no number of seconds above 0, up to 1000000' in errors


def test_a_script_may_be_indented(launch):
    bench = launch()
    script = "  # a test run\n  mark one\n  --at-ms 10  mark two\n"
    assert companion.run(bench.doors, "control", "-", text=script)[:2] == (0, "ok\nok\n")
    assert harness.truth_lines(bench)[-2:] == [b'{"mark":"one","seq":2}', b'{"mark":"two","seq":2}']


def test_a_script_runs_in_order(launch):
    bench = launch()
    script = "# a test run\n\nmark one\r\nbogus\nmark two\n"
    status, output, _ = companion.run(bench.doors, "control", "-", text=script)
    assert (status, output) == (1, "ok\nunknown command\nok\n")
    assert harness.truth_lines(bench)[-2:] == [b'{"mark":"one","seq":2}', b'{"mark":"two","seq":2}']


def test_a_script_fires_at_its_times(launch):
    bench = launch()
    script = "--at-ms 400 mark late\n--at-ms 200 mark earlier in time is simply next\n--at-ms 700 mark last\n"
    before = time.monotonic()
    status, lines = companion.run_json(bench.doors, "control", "-", text=script)
    assert status == 0
    assert time.monotonic() - before >= 0.7
    assert [line["command"] for line in lines] == ["mark late", "mark earlier in time is simply next", "mark last"]


def test_a_wrong_line_ends_a_script_with_status_2(launch):
    bench = launch()
    status, output, errors = companion.run(bench.doors, "control", "-", text="mark one\n--at-ms x mark two\nmark three\n")
    assert (status, output) == (2, "ok\n")
    assert errors == "vorbelctl: line 2: --at-ms needs a number of milliseconds and a command\n"
    assert harness.truth_lines(bench)[-1] == b'{"mark":"one","seq":2}'


def test_a_time_beyond_all_scripts_is_a_wrong_line(launch):
    bench = launch()
    status, output, errors = companion.run(bench.doors, "control", "-", text="--at-ms 18446744073709551615 stats\n")
    assert (status, output) == (2, "")
    assert errors == "vorbelctl: line 1: --at-ms goes up to 1000000000\n"


def test_a_script_ends_with_status_3_when_the_bench_stops(launch):
    bench = launch()
    status, output, errors = companion.run(bench.doors, "control", "-", text="stop\n--at-ms 500 pause\npause\n")
    assert (status, output) == (3, "ok\n")
    assert errors.count("nobody answers") == 1


def test_commands_have_their_effect(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    reports.report(reporter)
    assert companion.run(bench.doors, "control", "cancel")[:2] == (0, "cancelled 1\n")
    assert companion.run(bench.doors, "control", "cancel")[:2] == (0, "cancelled 0\n")
