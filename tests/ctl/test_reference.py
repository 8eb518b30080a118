"""The pages on vorbelctl held against its sources and against what its commands print: no rule, key or bound that they
leave out, and none that they made up."""

import json
import re
import subprocess

import auditing
import companion
import control
import harness
import publisher
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
    meaning = next(row[1] for row in keys if row[0] == "`situations`")
    assert {key for met in verdict["situations"].values() if met for key in met} <= set(CODE.findall(meaning))
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
        "discrepancies in the text": bound["discrepancies_shown"],
        "names not compared in the text": bound["names_shown"],
        "faults on the page": bound["faults_listed"], "halts and idle times on the page": bound["spans_listed"],
        "marks on the page": bound["milestones_listed"], "bonds on the page": bound["bonds_drawn"]}


# The chapters of the page that tell the keys of each command's objects.
SHARED = "What all commands share"
CONTROL = "control: steer the bench"
LISTEN = "listen: follow the feed"
CHAPTERS = {"control": (CONTROL,), "report": ("report: send trades",), "listen": (LISTEN,),
            "fetch": (LISTEN,), "replay": ("replay: a captured feed again",), "wait": (r"wait: is it ready\?", CONTROL),
            "doctor": (r"doctor: why does nothing arrive\?",), "watch": ("watch: a live screen", LISTEN)}
MESSAGES = {"trade", "cancel", "correction", "halt", "summary", "control"}
GOOD, BAD = reports.report_line(), reports.report_line(price="98x")
EVENTS_OF_A_BAD_FEED = {"joined", "gap", "gap_closed", "out_of_order", "missing", "too_late", "duplicate", "altered",
                        "heartbeat", "end_of_session", "behind", "foreign_session", "malformed_packet",
                        "malformed_message"}


def told_by(command):
    """The names that the chapters of a command, and the one that all share, have in code."""
    page = re.sub(r"^```.*?^```\n", "", read("docs/vorbelctl.md"), flags=re.MULTILINE | re.DOTALL)
    return {name for heading in (SHARED, *CHAPTERS[command]) for name in CODE.findall(chapter(page, heading))}


def assert_told(command, objects):
    """Every key of the objects, and every event, stands in the chapters of the command."""
    assert objects
    used = {key for each in objects for key in each} | {each["event"] for each in objects if "event" in each}
    assert sorted(used - told_by(command)) == []


def objects_of(doors, command, *arguments, **settings):
    """What the command prints with --json, times of receipt included."""
    _, output, _ = companion.run(doors, command, "--json", *arguments, **settings)
    return [json.loads(line) for line in output.splitlines()]


def test_every_key_of_a_followed_feed_is_told(launch, follow, tmp_path):
    bench = launch()
    capture = tmp_path / "feed.pcap"
    listening = follow(bench.doors, "listen", "--json", "--recover", "--from", 1, "--until-end", "--pcap", capture)
    watching = follow(bench.doors, "watch", "--json")
    for running in (listening, watching):
        companion.wait_until_member(running, bench.doors)
    for place in range(3):
        control.command(bench.control, "drop 1" if place == 1 else "dup 1")
        reports.report(harness.open_reporter(bench))
    for command in ("correct", "cancel", f"halt {reports.AAPL}", "close"):
        control.command(bench.control, command)
    assert companion.finish(listening) == 0
    companion.wait_for(watching, lambda lines: any('"book"' in line for line in lines), "a book")
    companion.interrupt(watching)
    heard = [json.loads(line) for line in listening.lines]
    assert MESSAGES | {"gap", "gap_closed", "duplicate", "end_of_session", "totals"} <= {
        each["event"] for each in heard}
    assert_told("listen", heard)
    assert_told("watch", [json.loads(line) for line in watching.lines])
    assert_told("fetch", objects_of(bench.doors, "fetch", 1, 40))
    harness.stop(bench)
    replayed = objects_of(bench.doors, "replay", capture, "--linger", "0", "--as-fast-as-possible")
    assert "behind_ms" in replayed[-1]
    assert_told("replay", replayed)


def test_every_key_of_a_feed_that_misbehaves_is_told(fake, follow):
    listening = follow(fake.doors, "listen", "--json")
    companion.wait_until_member(listening, fake.doors)
    for data in (publisher.numbered(1), publisher.numbered(1), publisher.packet(1, publisher.control_message("O")),
                 publisher.numbered(3), publisher.numbered(2), publisher.numbered(5), publisher.heartbeat(6),
                 publisher.heartbeat(4), publisher.numbered(1, session=b"OTHER"), b"short",
                 publisher.packet(6, b"CI       X20240701120000")):
        publisher.send(fake, data)
    companion.wait_for(listening, lambda lines: any('"missing"' in line for line in lines), "the loss")
    publisher.send(fake, publisher.numbered(4))
    publisher.send(fake, publisher.end_of_session(7))
    companion.wait_for(listening, lambda lines: any('"end_of_session"' in line for line in lines), "the end")
    companion.interrupt(listening)
    heard = [json.loads(line) for line in listening.lines]
    assert EVENTS_OF_A_BAD_FEED <= {each["event"] for each in heard}
    assert_told("listen", heard)


def test_every_key_of_the_other_commands_is_told(launch, doors):
    bench = launch("--rate-ms", 50)
    assert_told("control", objects_of(bench.doors, "control", "-", text="stats\nfly\n"))
    assert_told("wait", objects_of(bench.doors, "wait"))
    assert_told("doctor", objects_of(bench.doors, "doctor", "--seconds", "1.5"))
    accepted = objects_of(bench.doors, "report", "-", text=f"{GOOD}\n{BAD}\n")
    control.command(bench.control, "close")
    refused = objects_of(bench.doors, "report", "-", text=f"{GOOD}\n")
    assert {"trade_id", "malformed", "refused"} <= {key for each in accepted[:-1] + refused[:-1] for key in each}
    assert_told("report", accepted + refused)
    for command in ("wait", "watch"):
        assert_told(command, objects_of(doors, command, "--timeout", "0.2"))


def test_every_event_that_the_sources_name_is_told():
    names_of = re.compile(r'case EventKind::\w+:\n +return "(\w+)";')
    declared = set(names_of.findall(read("vorbelctl/commands/listing.cpp"))) - {"message"}
    assert len(declared) > 10
    assert sorted(declared - told_by("listen")) == []
    keys = re.findall(r'\{"(\w+)", ', read("vorbelctl/commands/listing.cpp"))
    assert sorted(set(keys) - told_by("listen")) == []


def test_the_recipe_for_ci_runs_as_it_stands(doors, tmp_path):
    """But for the ports, which are the test's own, and the folders; and the session closes sooner."""
    recipe = re.search(r"```sh\n(.*?)```", chapter(read("docs/vorbelctl.md"), "In CI"), re.DOTALL)[1]
    assert len(recipe.splitlines()) <= 12
    options = f"--mcast {doors.group} --port {doors.feed} --report-port {doors.reports} --retrans-port {doors.retrans}"
    for old, new in (("close_after_s=8", "close_after_s=3"), ("vorbeld --", f"vorbeld {options} --"),
                     ("$PWD/build/release:", "$PWD/bin:"),
                     ("VORBELD_CONTROL=28980", f"VORBELD_CONTROL={doors.control}")):
        assert recipe.count(old) == 1, old
        recipe = recipe.replace(old, new)
    (tmp_path / "bin").mkdir()
    (tmp_path / "bin/vorbeld").symlink_to(harness.binary())
    (tmp_path / "bin/vorbelctl").symlink_to(companion.binary())
    variables = {"VORBELD_MCAST": doors.group, "VORBELD_PORT": doors.feed, "VORBELD_RETRANS": doors.retrans}
    result = subprocess.run(["bash"], input=recipe, cwd=tmp_path, capture_output=True, text=True, check=False,
                            timeout=harness.bound(20),
                            env={**harness.environment(), **{name: str(value) for name, value in variables.items()}})
    assert result.returncode == 0, result.stdout + result.stderr
    assert "\nequal: " in result.stdout
    assert (tmp_path / "ci/kept/verdict.json").is_file()
