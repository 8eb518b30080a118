"""The pages on vorbelctl held against its sources and against what its commands print: no rule, key or bound that they
leave out, and none that they made up."""

import json
import re

import auditing
import companion
import control
import harness
import reports

CODE = re.compile(r"`([^`]+)`")


def read(path):
    """The text of a file of the repository."""
    return (harness.REPOSITORY / path).read_text(encoding="utf-8")


def chapter(page, heading):
    """What stands under a heading of the second level, its sections included."""
    found = re.search(rf"^## {heading}\n(.*?)(?=^## |\Z)", page, re.MULTILINE | re.DOTALL)
    assert found, f"no chapter {heading}"
    return found[1]


def tables(text):
    """The tables in order, each a list of its rows, which are lists of cells; heads are left out."""
    found = re.findall(r"^\|.*\n\|[-|]+\n((?:\|.*\n)+)", text, re.MULTILINE)
    return [[re.split(r" \| ?", line[2:].removesuffix(" |")) for line in table.splitlines()] for table in found]


def names(table):
    """The names in code in the first cells, in order."""
    return [name for row in table for name in CODE.findall(row[0])]


def test_every_rule_of_the_audit_is_told_and_every_one_told_is_held():
    declared = [name for path, record in (("rules", "Rule"), ("wire_rules", "WireRule"))
                for name in re.findall(rf'\b{record}{{"([^"]+)"', read(f"vorbelctl/audit/{path}.cpp"))]
    assert len(declared) == len(set(declared)) > 30
    rows = [row for table in tables(chapter(read("docs/audit.md"), "What an audit knows")) for row in table]
    told = {name for _, answer in rows for name in CODE.findall(answer)}
    assert told == set(declared)


def finished_run(launch):
    """A bench with a message of every kind and a closed session; only its retransmission port is of use any more."""
    bench = launch()
    for price in ("98.5", "99.5", "97.5"):
        reports.report(harness.open_reporter(bench), price=price)
    for command in ("correct", "cancel", f"halt {reports.AAPL}", "close"):
        control.command(bench.control, command)
    return bench


def test_every_key_of_a_verdict_is_told_in_its_order(launch):
    bench = finished_run(launch)
    truth = bench.folder / "truth.jsonl"
    truth.write_text(truth.read_text(encoding="ascii").replace('"price":97.5', '"price":97.6'), encoding="ascii")
    status, verdict = auditing.audit(bench, "--offline")
    assert status == 1 and verdict["books"]
    text = chapter(read("docs/audit.md"), "JSON")
    keys, element, _, book, _ = tables(text)
    assert names(keys) == list(verdict)
    assert names(element) == list(verdict["first_wrong"]) == list(verdict["discrepancy_list"][0])
    assert set(names(book)) == set(verdict["books"][0])
    example = json.loads(re.search(r"```json\n(.*)\n```", text)[1])
    assert list(example) == list(verdict) and list(example["books"][0]) == list(verdict["books"][0])


def test_every_source_and_every_row_of_a_verdict_is_told():
    page = read("docs/audit.md")
    source = read("vorbelctl/audit/discrepancy.cpp")
    declared = re.findall(r'case Source::\w+:\n +return "([^"]+)";', source)
    assert names(tables(chapter(page, "JSON"))[2]) == declared != []
    printed = set(re.findall(r'\brow\(\s*"([^"]+)"', read("vorbelctl/audit/outcome.cpp")))
    assert set(names(tables(chapter(page, "The verdict"))[0])) == printed != set()


def test_the_bounds_of_lists_are_those_of_the_code():
    lists = tables(chapter(read("docs/audit.md"), "JSON"))[4]
    told = {name: int(re.match(r"\d+", most)[0]) for name, most in lists}
    folders = ("audit/discrepancy.h", "audit/history.h", "audit/reconcile.h", "audit/outcome.cpp",
               "audit/outcome_json.cpp", "handler/ranges.h")
    sources = "".join(read(f"vorbelctl/{path}") for path in folders)
    bound = {name: int(value) for name, value in re.findall(r"std::size_t most_(\w+) = (\d+);", sources)}
    assert told == {
        "`discrepancy_list`": bound["discrepancies_listed"], "`books`": bound["books_listed"],
        "`not_compared`": bound["names_uncompared"], "`missing_ranges`": bound["missing_listed"],
        "discrepancies in the text": bound["discrepancies_shown"], "names not compared in the text": bound["names_shown"],
        "faults on the page": bound["faults_listed"], "halts and idle times on the page": bound["spans_listed"],
        "marks on the page": bound["milestones_listed"], "bonds on the page": bound["bonds_drawn"]}
