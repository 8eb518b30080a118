"""vorbelctl control: one command, scripts, and nobody there."""

import os
import pty
import re
import signal
import socket
import subprocess
import threading
import time

import pytest

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
    assert companion.run(bench.doors, "control", "--raw", "drop", "-1") == (0, "ok\n", "")
    harness.wait_for_line(bench, "bench: drop -1 → ok")
    assert companion.run(bench.doors, "control", "--", "mark", "--json") == (0, "ok\n", "")
    harness.wait_for_line(bench, "bench: mark --json → ok")


def test_a_command_may_bear_the_name_of_one_of_ours(launch):
    assert companion.run(launch().doors, "control", "watch")[:2] == (1, "unknown command\n")


NUMBERED = ("drop", "dup", "reorder", "drop_every", "dup_every", "reorder_every", "rate", "cancel", "correct")
BARE = ("pause", "resume", "close", "stats", "stop")
WRONG = [*(f"{name} {number}" for name in NUMBERED
           for number in ("-1", "x", "3x", "+3", " 3", "2 3", "4294967296", "18446744073709551616")),
         *(f"{name} now" for name in BARE), "halt", "halt  037833DT4", "halt 037833DT4  T.1", "halt 037833DT4 T.1 x",
         "resume_halt", "resume_halt 037833DT4 T.2", "resume_halt  037833DT4"]


def test_arguments_that_the_bench_would_misread_are_not_sent(launch):
    """As a script, of which nothing may leave; the bench alone would answer "ok" to nearly all of it."""
    bench = launch()
    status, output, errors = companion.run(bench.doors, "control", "-", text="\n".join(["pause", *WRONG]))
    assert (status, output) == (2, "")
    named = errors.splitlines()
    assert [line.split()[2] for line in named] == [f"{number}:" for number in range(2, len(WRONG) + 2)]
    for line, command in zip(named, WRONG):
        name, _, argument = command.partition(" ")
        assert re.search(rf': {name} takes .*, not "{re.escape(argument)}"; --raw sends it all the same$', line), line
    assert [line for line in harness.console_lines(bench) if " → " in line] == []


@pytest.mark.parametrize("command", ["drop -1", "drop x", "rate abc", "stop it"])
def test_a_command_that_the_bench_would_misread_is_not_sent(launch, command):
    bench = launch()
    assert companion.run(bench.doors, "control", command)[:2] == (2, "")
    assert companion.run(bench.doors, "control", "--raw", command)[:2] == (0, "ok\n")
    harness.wait_for_line(bench, f"bench: {command} → ok")
    assert [line for line in harness.console_lines(bench) if " → " in line] == [f"bench: {command} → ok"]


def test_every_command_is_sent_with_what_it_takes(launch):
    bench = launch("--rate-ms", 10)
    harness.until(lambda: control.stats(bench.control)["reports"] >= 4, 20, "four trades")
    script = ["pause", "resume", "drop", "drop 0", "dup 0", "reorder 0", "drop_every", "drop_every 4294967295",
              "dup_every 0", "reorder_every 0", "rate", "rate 5", "cancel", "cancel 2", "correct 1", "halt 037833DT4",
              "halt 037833DT4 LUDP", "resume_halt 037833DT4", "mark", 'mark any "thing"  at all', "stats", "close",
              "stop"]
    status, output, errors = companion.run(bench.doors, "control", "-", text="\n".join(script))
    assert (status, errors) == (0, "")
    assert len(output.splitlines()) == len(script)


def test_fewer_amendments_than_asked_for_end_with_status_1(launch):
    bench = launch()
    reporter = harness.open_reporter(bench)
    reports.report(reporter)
    assert companion.run(bench.doors, "control", "cancel", "3") == (
        1, "cancelled 1\n", "vorbelctl: 1 of 3 trades cancelled: no other trade can be, or the session is closed\n")
    assert companion.run(bench.doors, "control", "correct") == (
        1, "corrected 0\n", "vorbelctl: 0 of 1 trade corrected: no other trade can be, or the session is closed\n")
    reports.report(reporter)
    assert companion.run(bench.doors, "control", "correct", "3") == (0, "corrected 3\n", "")
    assert companion.run(bench.doors, "control", "--raw", "cancel", "3x")[:2] == (1, "cancelled 1\n")


def test_a_strangers_reply_is_no_success(doors):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as stranger:
        stranger.bind(("127.0.0.1", doors.control))

        def answer():
            _, sender = stranger.recvfrom(300)
            stranger.sendto(b"hello\n", sender)

        thread = threading.Thread(target=answer)
        thread.start()
        status, output, errors = companion.run(doors, "control", "pause")
        thread.join()
    assert (status, output) == (1, "hello\n")
    assert "does the port belong to another program?" in errors


def test_a_refused_line_of_a_script_is_named(launch):
    doors = launch().doors
    status, output, errors = companion.run(doors, "control", "-", text="# one\npause\nfly high\nhalt 000000AA0\n")
    assert (status, output) == (1, "ok\nunknown command\nunknown cusip\n")
    assert errors.splitlines() == [
        f'vorbelctl: line 3: the bench does not know "fly"; {companion.binary()} control --help lists its commands',
        "vorbelctl: line 4: the bench has no bond with that CUSIP; nothing was sent on the feed"]
    status, lines = companion.run_json(doors, "control", "-", text="pause\nfly\n")
    assert (status, [(line["line"], line["command"], line["reply"]) for line in lines]) == (
        1, [(1, "pause", "ok"), (2, "fly", "unknown command")])


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
    assert companion.run(doors, "control", "--quiet", "bogus")[:2] == (1, "unknown command\n")


def test_quiet_leaves_results(launch):
    doors = launch().doors
    status, output, errors = companion.run(doors, "control", "--quiet", "stats")
    assert (status, errors) == (0, "")
    assert output.startswith("seq 2 messages 2 ")
    assert companion.run(doors, "control", "--quiet", "cancel", "0") == (0, "cancelled 0\n", "")
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
    assert errors == 'vorbelctl: the command "mark a\\x0ab" holds a control byte; take it out\n'
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


def test_a_script_may_be_a_file(launch, tmp_path):
    bench = launch()
    (tmp_path / "stats").write_text("mark from a file\n", encoding="ascii")
    assert companion.run(bench.doors, "control", "--script", tmp_path / "stats") == (0, "ok\n", "")
    assert harness.truth_lines(bench)[-1] == b'{"mark":"from a file","seq":2}'
    assert companion.run(bench.doors, "control", "--script", "-", text="mark typed\n") == (0, "ok\n", "")
    status, output, errors = companion.run(bench.doors, "control", tmp_path / "stats")
    assert (status, output) == (1, "unknown command\n")
    assert f"a script is sent with --script {tmp_path}/stats" in errors
    for path in (tmp_path, tmp_path / "none"):
        assert companion.run(bench.doors, "control", "--script", path) == (
            2, "", f"vorbelctl: cannot read the script {path}\n")


def test_a_script_and_a_command_cannot_stand_together(doors):
    for words in (["--script", "x", "stats"], ["stats", "--script", "-"]):
        status, output, errors = companion.run(doors, "control", *words)
        assert (status, output, "cannot stand together" in errors) == (2, "", True)


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


def test_nothing_of_a_wrong_script_is_sent(launch):
    bench = launch()
    script = "mark one\n--at-ms x mark two\nmark three\ndrop 3x\n"
    status, output, errors = companion.run(bench.doors, "control", "-", text=script)
    assert (status, output) == (2, "")
    assert errors.splitlines() == [
        "vorbelctl: line 2: --at-ms needs a number of milliseconds and a command",
        'vorbelctl: line 4: drop takes a whole number from 0 to 4294967295, not "3x"; --raw sends it all the same']
    assert harness.truth_lines(bench)[-1].endswith(b'"event":"control"}')


def test_a_typed_script_is_answered_line_by_line(launch):
    bench = launch()
    leader, follower = pty.openpty()
    with subprocess.Popen(companion.command_line(bench.doors, "control", "-"), stdin=follower, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True) as typed:
        os.close(follower)
        try:
            for _ in range(2):
                os.write(leader, b"mark typed\n")
                assert typed.stdout.readline() == "ok\n"
            os.write(leader, b"drop x\n")
            assert typed.wait(harness.bound(20)) == 2
            assert "line 3: drop takes a whole number" in typed.stderr.read()
        finally:
            typed.kill()
            os.close(leader)


def test_a_script_without_a_command_is_none(doors):
    assert companion.run(doors, "control", "-", text="# nothing\n\n") == (
        2, "", "vorbelctl: there is no command in the script\n")


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
    assert companion.run(bench.doors, "control", "cancel")[:2] == (1, "cancelled 0\n")
