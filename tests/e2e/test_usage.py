"""Mistakes on the command line, to the byte: usage errors, and numbers that end the process."""

import signal
import socket

import pytest

import harness
import ports

WITH_VALUE = ("--mcast", "--port", "--iface", "--session", "--report-port", "--retrans-port", "--control-port",
              "--bonds", "--hy", "--tape-out", "--truth-out", "--stats-out", "--rate-ms", "--seed", "--drop-every",
              "--drop-burst", "--dup-every", "--reorder-every", "--scenario", "--cancel-every")
PORT_OPTIONS = ("--port", "--report-port", "--retrans-port", "--control-port")
COUNT_OPTIONS = ("--rate-ms", "--seed", "--drop-every", "--dup-every", "--reorder-every")


@pytest.fixture(scope="module")
def doors(pool):
    """Ports shared by the runs of this file, none of which lives on."""
    return harness.claim_doors(pool)


def aborts_with(result, function, exception):
    """Whether the run was ended by an exception of the standard conversion that nothing caught."""
    status, text = result
    return (status == -signal.SIGABRT and f"what():  {function}\n".encode() in text
            and f"std::{exception}".encode() in text)


@pytest.mark.parametrize("option", WITH_VALUE)
def test_an_option_that_needs_a_value_stands_last(option, tmp_path):
    assert harness.run_to_end([option], tmp_path) == (2, f"{option} needs a value\n".encode())


@pytest.mark.parametrize("argument", (
    "--help", "-h", "--version", "", "5", "--port=5", "--PORT", "--por", "--portx", "-port", "--QUIET", " --quiet",
    "--quiet ", "vorbeld", "--", "%s%n", 'a"b'))
def test_an_argument_that_is_no_option(argument, tmp_path):
    assert harness.run_to_end([argument], tmp_path) == (2, f"unknown flag {argument}\n".encode())


def test_quiet_takes_no_value(tmp_path):
    assert harness.run_to_end(["--quiet", "5"], tmp_path) == (2, b"unknown flag 5\n")


def test_an_option_is_taken_as_the_value_of_the_one_before(tmp_path):
    assert harness.run_to_end(["--session", "--quiet", "--port"], tmp_path) == (2, b"--port needs a value\n")
    assert harness.run_to_end(["--session", "--port", "abc"], tmp_path) == (2, b"unknown flag abc\n")


def test_the_first_mistake_from_the_left_counts(tmp_path):
    assert harness.run_to_end(["--what", "--port", "abc"], tmp_path) == (2, b"unknown flag --what\n")
    assert aborts_with(harness.run_to_end(["--port", "abc", "--what"], tmp_path), "stoi", "invalid_argument")
    assert harness.run_to_end(["--scenario", "cancel_every=", "--what"], tmp_path) == (2, b"unknown flag --what\n")
    assert harness.run_to_end(["--drop-burst", "x", "--port"], tmp_path) == (2, b"--port needs a value\n")


def test_a_usage_error_leaves_no_files(tmp_path):
    harness.run_to_end(["--truth-out", "t", "--tape-out", "p", "--stats-out", "s", "--what"], tmp_path)
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("option", PORT_OPTIONS)
@pytest.mark.parametrize("value, exception", (
    ("abc", "invalid_argument"), ("", "invalid_argument"), ("-", "invalid_argument"), ("2147483648", "out_of_range")))
def test_a_port_that_is_no_number(option, value, exception, tmp_path):
    assert aborts_with(harness.run_to_end([option, value], tmp_path), "stoi", exception)


@pytest.mark.parametrize("option", COUNT_OPTIONS)
@pytest.mark.parametrize("value, exception", (
    ("x1", "invalid_argument"), ("", "invalid_argument"), ("18446744073709551616", "out_of_range")))
def test_a_count_that_is_no_number(option, value, exception, tmp_path):
    assert aborts_with(harness.run_to_end([option, value], tmp_path), "stoul", exception)


@pytest.mark.parametrize("value, function, exception", (
    ("x", "stoull", "invalid_argument"), (":3", "stoull", "invalid_argument"), ("5:", "stoul", "invalid_argument"),
    ("5:x", "stoul", "invalid_argument"), ("18446744073709551616", "stoull", "out_of_range"),
    ("1:18446744073709551616", "stoul", "out_of_range"), ("x:y", "stoull", "invalid_argument")))
def test_a_burst_that_is_no_number(value, function, exception, doors, tmp_path):
    options = harness.arguments(doors, tmp_path) + ["--drop-burst", value]
    assert aborts_with(harness.run_to_end(options, tmp_path), function, exception)
    assert not (tmp_path / "tape.jsonl").exists()    # it is read before the files are opened


@pytest.mark.parametrize("text, exception", (
    ("cancel_every=", "invalid_argument"), ("cancel_every=x", "invalid_argument"), ("foo=", "invalid_argument"),
    ("=", "invalid_argument"), ("halt_ms=99999999999999999999", "out_of_range"),
    ("halt_ms=5,late_every=,x=1", "invalid_argument")))
def test_a_scenario_value_that_is_no_number(text, exception, doors, tmp_path):
    options = harness.arguments(doors, tmp_path) + ["--scenario", text]
    assert aborts_with(harness.run_to_end(options, tmp_path), "stoul", exception)


def test_scenario_values_from_the_environment_and_the_shorthand_are_converted_too(doors, tmp_path):
    options = harness.arguments(doors, tmp_path)
    assert aborts_with(harness.run_to_end(options, tmp_path, "late_every="), "stoul", "invalid_argument")
    assert aborts_with(harness.run_to_end([*options, "--cancel-every", "x"], tmp_path), "stoul", "invalid_argument")


@pytest.mark.parametrize("text, exception", (
    ("A:B:C:IG:x98", "invalid_argument"), ("A:B:C:IG:", "invalid_argument"), ("A:B:C:IG:98:", "invalid_argument"),
    ("A:B:C:IG:98:x", "invalid_argument"), ("A:B:C:IG:1e999", "out_of_range"),
    ("A:B:C:IG,D:E:F:HY:y", "invalid_argument")))
def test_a_bond_number_that_is_none(text, exception, doors, tmp_path):
    options = harness.arguments(doors, tmp_path) + ["--bonds", text]
    assert aborts_with(harness.run_to_end(options, tmp_path), "stod", exception)
    assert (tmp_path / "tape.jsonl").exists() and (tmp_path / "truth.jsonl").exists()    # opened before the bonds


def test_what_is_converted_before_which_socket(pool, tmp_path):
    taken = ports.claim_port(pool)
    doors = harness.claim_doors(pool, retrans=taken)
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as holder:
        holder.bind(("0.0.0.0", taken))
        options = harness.arguments(doors, tmp_path)
        assert aborts_with(harness.run_to_end([*options, "--scenario", "x="], tmp_path), "stoul", "invalid_argument")
        status, text = harness.run_to_end([*options, "--drop-burst", "x", "--bonds", "A:B:C:D:x"], tmp_path)
        assert (status, text) == (1, b"vorbeld: retransmission port: Address already in use\n")


def test_bond_numbers_are_converted_before_the_listener(pool, tmp_path):
    taken = ports.claim_port(pool)
    doors = harness.claim_doors(pool, reports=taken)
    with socket.create_server(("0.0.0.0", taken)):
        options = harness.arguments(doors, tmp_path)
        assert aborts_with(harness.run_to_end([*options, "--bonds", "A:B:C:D:x"], tmp_path), "stod",
                           "invalid_argument")
        assert harness.run_to_end(options, tmp_path) == (1, b"vorbeld: listen: Address already in use\n")
