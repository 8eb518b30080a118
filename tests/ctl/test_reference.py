"""The pages on vorbelctl held against its sources and against what its commands print: no rule, key or bound that is not
told, and none that is told and not there."""

import re

import harness

CODE = re.compile(r"`([^`]+)`")


def read(path):
    """The text of a file of the repository."""
    return (harness.REPOSITORY / path).read_text(encoding="utf-8")


def chapter(page, heading):
    """What stands under a heading of the second level, its sections included."""
    found = re.search(rf"^## {heading}\n(.*?)(?=^## |\Z)", page, re.MULTILINE | re.DOTALL)
    assert found, f"no chapter {heading}"
    return found[1]


def rows(text):
    """The rows of all tables, as lists of cells, without heads and rules."""
    tables = re.findall(r"^\|.*\n\|[-|]+\n((?:\|.*\n)+)", text, re.MULTILINE)
    return [re.split(r" \| ?", line[2:].removesuffix(" |")) for table in tables for line in table.splitlines()]


def test_every_rule_of_the_audit_is_told_and_every_one_told_is_held():
    declared = [name for path, record in (("rules", "Rule"), ("wire_rules", "WireRule"))
                for name in re.findall(rf'\b{record}{{"([^"]+)"', read(f"vorbelctl/audit/{path}.cpp"))]
    assert len(declared) == len(set(declared)) > 30
    table = rows(chapter(read("docs/audit.md"), "What an audit knows"))
    assert all(len(row) == 2 for row in table)
    told = {name for _, answer in table for name in CODE.findall(answer)}
    assert told == set(declared)
