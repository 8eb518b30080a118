"""Where the bench is, said once: by variables of the environment, which options overrule."""

import json
import os
import subprocess

import pytest

import companion
import harness

VARIABLES = {"VORBELD_MCAST": "--mcast", "VORBELD_PORT": "--port", "VORBELD_IFACE": "--iface",
             "VORBELD_SESSION": "--session", "VORBELD_REPORTS": "--report-port", "VORBELD_RETRANS": "--retrans-port",
             "VORBELD_CONTROL": "--control-port"}
REPORT = "T|037833DT4|AAPL|98.5|250000|B|ATS1|1700000000000|20231116|book\n"


def variables_of(doors):
    """The variables that lead to the bench behind these doors."""
    return {"VORBELD_MCAST": doors.group, "VORBELD_PORT": str(doors.feed), "VORBELD_REPORTS": str(doors.reports),
            "VORBELD_RETRANS": str(doors.retrans), "VORBELD_CONTROL": str(doors.control)}


def run(variables, *arguments, text=""):
    """Runs with these variables and no others of theirs: (exit status, standard output, standard error)."""
    usual = {name: value for name, value in os.environ.items() if name not in VARIABLES}
    result = subprocess.run([companion.binary(), *map(str, arguments)], env=usual | variables, input=text,
                            capture_output=True, text=True, timeout=harness.bound(20), check=False)
    return result.returncode, result.stdout, result.stderr


def test_every_command_finds_the_bench_by_the_variables(launch):
    bench = launch("--rate-ms", 50)
    variables = variables_of(bench.doors)
    assert run(variables, "wait")[0] == 0
    assert run(variables, "control", "mark", "here") == (0, "ok\n", "")
    assert run(variables, "report", "--quiet", text=REPORT)[0] == 0
    status, output, _ = run(variables, "fetch", "1")
    assert (status, "control" in output) == (0, True)
    assert run(variables, "listen", "--from", "1", "--count", "3")[0] == 0
    audit = run(variables, "audit", "--truth", bench.folder / "truth.jsonl", "--seconds", "0.5", "--quiet")
    assert audit[0] == 0, audit
    assert run(variables, "watch", "--seconds", "0.3")[0] == 0


def test_an_option_wins_over_its_variable(launch, doors):
    bench = launch()
    astray = variables_of(doors)
    assert run(astray, "control", "--timeout", "0.3", "stats")[0] == 3
    assert run(astray, "control", "--control-port", bench.doors.control, "stats")[0] == 0
    # The option's own value counts even where the variable's does not read.
    assert run(astray | {"VORBELD_CONTROL": "x"}, "control", "--control-port", bench.doors.control, "stats")[0] == 0


def test_the_session_and_the_interface_are_said_too(launch):
    bench = launch("--session", "OTHER")
    variables = variables_of(bench.doors)
    status, lines, _ = run(variables, "listen", "--json", "--seconds", "1.5", "--timeout", "1.5")
    assert (status, json.loads(lines.splitlines()[0])["session"]) == (3, "OTHER")
    assert run(variables | {"VORBELD_SESSION": "OTHER"}, "listen", "--from", "1", "--count", "1")[0] == 0
    status, _, errors = run(variables | {"VORBELD_IFACE": "10.254.254.254"}, "listen", "--seconds", "0.2")
    assert (status, "on the interface 10.254.254.254" in errors) == (3, True)


def test_empty_variables_say_nothing(launch):
    bench = launch()
    empty = dict.fromkeys(VARIABLES, "")
    assert run(empty, *companion.command_line(bench.doors, "control", "stats")[1:])[0] == 0


@pytest.mark.parametrize(("variable", "value", "why"), [
    ("VORBELD_MCAST", "10.0.0.1", '"10.0.0.1" is no multicast group; those are 224.0.0.0 to 239.255.255.255'),
    ("VORBELD_PORT", "0", '"0" is no whole number from 1 to 65535'),
    ("VORBELD_PORT", "70000", '"70000" is no whole number from 1 to 65535'),
    ("VORBELD_IFACE", "lo", '"lo" is no IPv4 address; give four numbers such as 127.0.0.1'),
    ("VORBELD_RETRANS", "-1", '"-1" is no whole number from 0 to 65535'),
    ("VORBELD_REPORTS", "x", '"x" is no whole number from 0 to 65535'),
    ("VORBELD_CONTROL", "1 2", '"1 2" is no whole number from 0 to 65535')])
def test_a_value_that_does_not_read_is_wrong_usage_that_names_its_variable(variable, value, why):
    status, output, errors = run({variable: value}, "listen", "--json", "--seconds", "0.1")
    wrong = f"the variable {variable} cannot stand for {VARIABLES[variable]}: {why}"
    assert (status, json.loads(output)["status"]) == (2, 2)
    assert errors == f"vorbelctl: {wrong}; see {companion.binary()} listen --help\n"


def test_a_port_of_0_is_wrong_for_the_command_that_needs_it():
    assert run({"VORBELD_CONTROL": "0"}, "control", "stats")[0] == 2
    assert run({"VORBELD_RETRANS": "0"}, "fetch", "1")[0] == 2
    assert "recovery needs a retransmission port" in run({"VORBELD_RETRANS": "0"}, "listen", "--recover")[2]


def test_the_daemon_reads_none_of_them(pool, tmp_path, monkeypatch):
    for variable in VARIABLES:
        monkeypatch.setenv(variable, "nonsense")
    with harness.launching(pool, tmp_path) as start:
        bench = start()
        assert harness.console_lines(bench)[0].count(f"{bench.doors.group}:{bench.doors.feed}") == 1
        harness.stop(bench)


def test_the_doctor_notes_the_variables_that_are_set(launch):
    bench = launch("--rate-ms", 100)
    variables = variables_of(bench.doors)
    status, output, _ = run(variables, "doctor", "--json")
    first = json.loads(output.splitlines()[0])
    assert (status, first["check"], first["verdict"]) == (0, "variables", "note")
    assert all(f"{name}={value}" in first["says"] for name, value in variables.items())
    plain = run({}, *companion.command_line(bench.doors, "doctor", "--json")[1:])[1]
    assert json.loads(plain.splitlines()[0])["check"] == "interface"


def test_help_and_pages_name_every_variable():
    page = (harness.REPOSITORY / "docs/vorbelctl.md").read_text(encoding="utf-8")
    server = (harness.REPOSITORY / "script/server").read_text(encoding="utf-8")
    everything, own = run({}, "--help")[1], run({}, "listen", "--help")[1]
    for variable in VARIABLES:
        assert f"`{variable}`" in page
        for text in (server, everything, own):
            assert variable in text
