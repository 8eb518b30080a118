"""The programs as they are linked: what an overwritten buffer may come to is bounded."""

import pathlib
import platform
import re
import subprocess

import pytest

import harness

PROGRAMS = ("vorbeld", "vorbelctl")


def folder():
    """Where the programs under test were built."""
    return pathlib.Path(harness.binary()).parent


def shown(*command):
    """What a program prints."""
    return subprocess.run([harness.need(command[0]), *map(str, command[1:])], capture_output=True, text=True,
                          check=True).stdout


def taken_from_libraries(program):
    """The functions that the program has from shared libraries, without their versions."""
    table = shown("readelf", "--dyn-syms", "--wide", folder() / program)
    return set(re.findall(r" UND (\w+)", table))


def built_as():
    """The configuration of the build, such as Release."""
    cache = (folder() / "CMakeCache.txt").read_text(encoding="utf-8")
    return re.search(r"^CMAKE_BUILD_TYPE:\w+=(\w*)$", cache, re.MULTILINE)[1]


@pytest.mark.parametrize("program", PROGRAMS)
def test_it_is_loaded_at_any_address(program):
    assert "(Position-Independent Executable file)" in shown("readelf", "--file-header", folder() / program)


@pytest.mark.parametrize("program", PROGRAMS)
def test_its_tables_of_functions_are_read_only_before_it_begins(program):
    assert re.search(r"^ *GNU_RELRO ", shown("readelf", "--program-headers", folder() / program), re.MULTILINE)
    assert re.search(r"\(FLAGS_1\) .*\bNOW\b", shown("readelf", "--dynamic", folder() / program))


@pytest.mark.parametrize("program", PROGRAMS)
def test_no_memory_is_both_written_and_executed(program):
    headers = shown("readelf", "--program-headers", "--wide", folder() / program)
    rights = re.findall(r"^ *(LOAD|GNU_STACK)(?: +0x\w+){5} ([RWE ]{3}) ", headers, re.MULTILINE)
    assert {kind for kind, _ in rights} == {"LOAD", "GNU_STACK"}
    assert not [right for _, right in rights if "W" in right and "E" in right]


@pytest.mark.parametrize("program", PROGRAMS)
def test_a_function_notices_an_overwritten_return_address(program):
    assert "__stack_chk_fail" in taken_from_libraries(program)


@pytest.mark.parametrize("program", PROGRAMS)
def test_optimised_code_checks_its_copies(program):
    checked = {name for name in taken_from_libraries(program) if re.fullmatch(r"__\w+_chk", name)}
    if built_as() == "Release":
        assert {"__fprintf_chk", "__snprintf_chk"} <= checked
    else:
        assert not checked      # elsewhere the sanitizers see to it, or nothing is optimised


@pytest.mark.parametrize("program", PROGRAMS)
def test_functions_are_marked_as_targets_of_jumps(program):
    begin = shown("objdump", "--disassemble=main", folder() / program)
    marked = bool(re.search(r"<main>:\n.*\bendbr64\b", begin))
    assert marked == (platform.machine() == "x86_64")     # the only machine of those we build for that has such marks
