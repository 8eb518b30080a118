"""Help and completion: complete, and agreeing with each other."""

import json
import re
import subprocess

import companion
import harness

COMPLETION = harness.REPOSITORY / "vorbelctl/completion/vorbelctl.bash"


def printed(*arguments):
    """Standard output of the companion called with exactly these arguments."""
    result = subprocess.run([companion.binary(), *arguments], capture_output=True, text=True, check=True, timeout=20)
    return result.stdout


def commands():
    """The commands that the help lists."""
    listed = printed("--help").split("Subcommands:\n")[1].split("\n\n")[0]
    return re.findall(r"^  (\w+) ", listed, re.MULTILINE)


def completed(*words):
    """What bash would offer for the last word."""
    script = 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _vorbelctl; printf "%s\\n" "${COMPREPLY[@]}"'
    result = subprocess.run(["bash", "-c", script, "bash", str(COMPLETION), companion.binary(), *words],
                            capture_output=True, text=True, check=True, timeout=20)
    assert result.stderr == ""
    return set(result.stdout.split())


def test_every_help_has_an_example_and_its_statuses():
    assert "listen" in commands()
    for command in commands():
        text = printed(command, "--help")
        assert "Example:\n  " in text, command
        assert re.search(r"^Exit status: 0 [^\0]*2 wrong usage", text, re.MULTILINE), command


def test_the_help_names_every_status():
    statuses = re.split(r";\s", printed("--help").split("Exit status: ")[1].strip())
    assert [status[0] for status in statuses] == ["0", "1", "2", "3", "4", "5", "6", "8"]


def test_the_examples_use_options_that_there_are():
    for command in commands():
        text = printed(command, "--help")
        known = set(re.findall(r"--[a-z-]+", text.split("Example:")[0]))
        used = set(re.findall(rf"vorbelctl {command} ([^\n&|]*)", text.split("Example:")[1]))
        for option in re.findall(r"--[a-z-]+", " ".join(used)):
            assert option in known, (command, option)


def refused(*arguments):
    """Standard output and error of the companion called with exactly these arguments, which must be wrong usage."""
    result = subprocess.run([companion.binary(), *arguments], capture_output=True, text=True, check=False, timeout=20)
    assert result.returncode == 2, result
    return result.stdout, result.stderr


def test_wrong_usage_is_said_in_one_line():
    def says(*arguments):
        output, errors = refused(*arguments)
        assert (output, errors.count("\n")) == ("", 1)
        assert errors.startswith("vorbelctl: ") and errors.endswith("--help\n")
        return errors[len("vorbelctl: "):errors.index(";")]

    assert says("listen", "--count", "1", "--count", "2") == "--count is given 2 times"
    assert says("listen", "--zeta", "--alpha") == "listen does not take --zeta --alpha"
    assert says("bogus") == 'there is no command "bogus"'
    assert says("listen", "--port") == "--port needs a value"
    assert says("control") == "control needs a value for command"
    assert says("help", "bogus") == 'there is no command "bogus"'
    assert says("help", "listen", "control") == "help takes the name of one command"


def test_help_is_a_command_too():
    assert printed("help") == printed("--help")
    for command in commands():
        assert printed("help", command) == printed(command, "--help")


def test_the_help_of_control_lists_its_commands():
    listed = printed("control", "--help").split("Control commands:\n")[1].split("\n\n")[0].splitlines()
    assert {line.split()[0] for line in listed} == completed("control", "")
    assert all(re.fullmatch(r"  \w+( N| LABEL| CUSIP( \[REASON\])?)? {2,}\w.*", line) for line in listed)


def test_a_group_must_be_one_for_every_command():
    for command in commands():
        _, errors = refused(command, "--mcast", "10.0.0.1", "1")
        assert '"10.0.0.1" is no multicast group; those are 224.0.0.0 to 239.255.255.255' in errors, command


def test_two_formats_are_wrong_usage():
    assert "--format text and --json cannot stand together" in refused("listen", "--format", "text", "--json")[0]


def test_wrong_usage_is_an_object_for_programs():
    for command in commands():
        output, errors = refused(command, "--json", "--bogus")
        assert json.loads(output) == {"error": errors[len("vorbelctl: "):-1], "status": 2}, command


def test_a_closed_door_is_an_object_for_programs(doors):
    for command in (["control", "stats"], ["wait", "--timeout", "0.1"], ["report"]):
        status, lines = companion.run_json(doors, *command, text="x|")
        assert (status, lines[-1]["status"]) == (3, 3)
        assert lines[-1]["error"]


def test_the_version_is_printed():
    assert re.fullmatch(r"vorbelctl \d+\.\d+\.\d+\n", printed("--version"))


def test_completion_offers_the_commands():
    assert completed("") == {*commands(), "help", "--help", "--version"}
    assert completed("help", "wa") == {"wait", "watch"}
    assert completed("help", "wait", "") == set()
    assert completed("wa") == {"wait", "watch"}


def test_completion_offers_exactly_the_options_of_the_help():
    for command in commands():
        options = set(re.findall(r"^  (?:-h,)?(--[a-z-]+)", printed(command, "--help"), re.MULTILINE))
        assert completed(command, "--") == options, command


def test_completion_offers_control_commands_and_formats():
    verbs = completed("control", "")
    assert {"pause", "drop_every", "resume_halt", "stop"} <= verbs
    assert len(verbs) == 17
    assert completed("listen", "--format", "") == {"text", "json"}
    assert completed("listen", "--port", "") == set()
    assert completed("control", "drop", "") == set()


def test_completion_offers_control_commands_behind_options():
    verbs = completed("control", "")
    assert completed("control", "--control-port", "42004", "") == verbs
    assert completed("control", "--json", "d") == {"drop", "dup", "drop_every", "dup_every"}
    assert completed("control", "--json", "--timeout", "5", "--quiet", "st") == {"stats", "stop"}
    assert completed("control", "--", "st") == {"stats", "stop"}
    assert completed("control", "--timeout", "") == set()
    assert completed("control", "--json", "drop", "--timeout", "5", "") == set()


def test_completion_offers_files_to_report(tmp_path):
    (tmp_path / "trades.csv").touch()
    assert completed("report", f"{tmp_path}/tr") == {f"{tmp_path}/trades.csv"}
