"""The reference pages held against the sources and a running bench: tables complete, examples true."""

import json
import re
import subprocess

import pytest

import control
import harness
import reports
import wire

ROW = re.compile(r"^\| `(\w+)` \| (.*) \|$", re.MULTILINE)
BLOCKS = {"trade_body": 72, "price_change": 154}   # where the example of a block begins in its message
EXAMPLE_OF = {"header": 3, "bond": 3, "trade_body": 3, "trade": 3, "price_change": 7, "cancel": 7, "correction": 6,
              "halt": 8, "summary": 15}            # sequence number of the message that each table shows
LENGTHS = {"trade": 147, "cancel": 230, "correction": 304, "halt": 113, "summary": 140, "control": 24}


def read(path):
    """The text of a file of the repository."""
    return (harness.REPOSITORY / path).read_text(encoding="utf-8")


def section(page, heading):
    """What stands under the heading (a pattern for its whole text), up to the next heading of any level."""
    found = re.search(rf"^#+ {heading}\n(.*?)(?=^#+ |\Z)", page, re.MULTILINE | re.DOTALL)
    assert found, f"no heading {heading}"
    return found[1]


def rows(text):
    """The table rows whose first cell is a name in code: (name, other cells)."""
    return [(name, cells.split(" | ")) for name, cells in ROW.findall(text)]


def names(page, heading):
    """The names in the first column under a heading, in order."""
    found = [name for name, _ in rows(section(page, heading))]
    assert len(set(found)) == len(found) > 0, f"{heading}: {found}"
    return found


def declared_layouts():
    """The fields of every layout in the table of messages, as (name, offset, width) in order, by the layout's name."""
    text = read("btds/message_table.h")
    return {layout: [(name, int(offset), int(width))
                     for name, offset, width in re.findall(r'^    \{"(\w+)", \{(\d+), (\d+)\}', body, re.MULTILINE)]
            for layout, body in re.findall(r"constexpr auto (\w+) = make_layout\(\{\n(.*?)^\}\);", text,
                                           re.MULTILINE | re.DOTALL)}


def documented_layouts():
    """The same as the page has it; its tables of fields are those of five columns."""
    page = read("docs/wire-format.md")
    return {space: [(name, int(cells[0]), int(cells[1])) for name, cells in rows(text) if len(cells) == 4]
            for space, text in re.findall(r"^### `(\w+)`: [^\n]*\n(.*?)(?=^#)", page, re.MULTILINE | re.DOTALL)}


def example_messages():
    """The messages of the page's dumps of whole packets by sequence number; each packet must add up."""
    found = {}
    page = read("docs/wire-format.md")
    for dump in re.findall(r"^### Example: .*?```text\n(.*?)```", page, re.MULTILINE | re.DOTALL):
        packet = bytes.fromhex("".join(line[10:50] for line in dump.splitlines()))
        number, count, length = (int.from_bytes(packet[at:end], "big") for at, end in ((10, 18), (18, 20), (20, 22)))
        assert (packet[:10], count, len(packet)) == (b"BTDS000001", 1, 22 + length)
        found[number] = packet[22:].decode("ascii")
    return found


def test_the_page_has_every_field_of_the_layouts_and_no_other():
    declared = declared_layouts()
    assert set(declared) == set(EXAMPLE_OF)
    assert documented_layouts() == declared


def test_message_lengths_are_those_of_the_layouts():
    overview = section(read("docs/wire-format.md"), "Messages")
    documented = {last: int(length) for length, last in re.findall(r"\| (\d+) \| .*`(\w+)` \| [^|]* \|\n", overview)}
    documented["control"] = documented.pop("header")
    assert documented == LENGTHS
    for space, fields in declared_layouts().items():
        if space in LENGTHS:
            assert fields[-1][1] + fields[-1][2] == LENGTHS[space]


def test_the_examples_hold_what_the_tables_say():
    messages = example_messages()
    assert {text[:2]: len(text) for text in messages.values()} == {
        "CO": 24, "TM": 147, "TO": 304, "TN": 230, "AH": 113, "AE": 140}
    page = read("docs/wire-format.md")
    checked = 0
    for space, number in EXAMPLE_OF.items():
        for name, cells in rows(section(page, rf"`{space}`: [^\n]*")):
            shown = re.fullmatch(r"`(.*)`", cells[-1])
            if shown:
                at = BLOCKS.get(space, 0) + int(cells[0])
                assert messages[number][at:at + int(cells[1])].replace(" ", "·") == shown[1], f"{space}.{name}"
                checked += 1
    assert checked == sum(map(len, declared_layouts().values())) - 6   # six fields are blocks with tables of their own


def test_every_command_is_documented_and_every_documented_one_known(launch):
    bench = launch()
    index = harness.wait_for_line(bench, re.compile(rb"bench: control on .*"))
    line = harness.console_lines(bench)[index]
    offered = [command.split()[0] for command in re.search(r"\((.*)\)", line)[1].split(" | ")]
    documented = names(read("docs/control-port.md"), "Commands")
    assert sorted(documented) == sorted(offered)
    assert sorted(documented) == sorted(re.findall(r'\bCommand\{"(\w+)"', read("services/control_port.cpp")))
    assert control.command(bench.control, "no_such_command") == "unknown command"
    for command in sorted(documented, key="stop".__eq__):   # "stop" last, since nobody answers after it
        assert control.command(bench.control, command) != "unknown command", command
    assert harness.finish(bench) == 0


def test_every_situation_is_documented_as_the_table_has_it():
    row = re.compile(r'\{\w+,\s*"([^"]+)",\s*"([^"]+)",\s*"([^"]+)"(,\s*true)?\}')
    declared = row.findall(read("vorbelctl/audit/situations.cpp"))
    text = section(read("docs/audit.md"), "Situations")
    of_messages, of_wire = text.split("\nWhat the wire does, ")
    listed = re.compile(r"^\| `([\w-]+)` \| (.*) \| (.*) \|$", re.MULTILINE)
    assert listed.findall(of_messages) == [tuple(each[:3]) for each in declared if not each[3]]
    assert listed.findall(of_wire) == [tuple(each[:3]) for each in declared if each[3]]
    assert len(declared) == len(re.findall(r"^  \w+,?$", read("vorbelctl/audit/situations.h"), re.MULTILINE)) > 40


def test_every_scenario_key_is_documented_with_its_default_and_known(launch):
    page = read("docs/scenarios.md")
    documented = {name: int(cells[0]) for heading in ("Special trades", "Timers")
                  for name, cells in rows(section(page, heading))}
    sources = read("run/configuration.h") + read("trades/generator.h")
    fields = {name: int(value) for name, value in re.findall(r"std::uint32_t (\w+) = (\d+);", sources)}
    known = re.findall(r'\bSetting\{"(\w+)"', read("run/configuration.cpp"))
    assert documented == {key: fields[key] for key in known}
    bench = launch("--scenario", ",".join(f"{key}=0" for key in documented) + ",no_such_key=0")
    harness.stop(bench)
    unknown = [line for line in harness.console_lines(bench) if "unknown scenario key" in line]
    assert unknown == ["vorbeld: unknown scenario key no_such_key"]


def test_records_have_exactly_the_documented_keys_in_order(launch):
    page = read("docs/files.md")
    bench = launch()
    assert reports.report(harness.open_reporter(bench)) == 1
    for command in ("correct", "cancel", f"halt {reports.AAPL}", "mark here"):
        control.command(bench.control, command)
    assert reports.report(harness.open_reporter(bench)) == 3
    for command in ("close", "stop"):
        control.command(bench.control, command)
    assert harness.finish(bench) == 0
    records = {record.get("event", "mark"): record for record in map(json.loads, harness.truth_lines(bench))}
    common = names(page, "Truth file")[:4]
    trade = names(page, "`trade`")
    book = trade[trade.index("summary") + 1:]
    trade = trade[:-len(book)]
    wanted = {"trade": common + trade, "cancel": common + names(page, "`cancel`"), "control": common,
              "correction": common + trade[:-2] + names(page, "`correction`") + trade[-2:],
              "halt": common + names(page, "`halt`"), "summary": common + names(page, "`summary`"),
              "mark": names(page, "Marks")}
    assert {event: list(record) for event, record in records.items()} == wanted
    assert list(records["trade"]["summary"]) == list(records["correction"]["summary"]) == book
    assert set(names(page, "Truth file")[4:]) | {"mark"} == set(records)
    assert list(json.loads(harness.tape_lines(bench)[0])) == names(page, "Tape")
    assert list(harness.read_stats(bench)) == names(page, "Statistics file")


@pytest.mark.parametrize("name", ("trade", "cancel", "correction", "halt", "summary"))
def test_truth_examples_are_of_the_messages_in_the_dumps(name):
    record = json.loads(re.search(r"```json\n(.*)\n```", section(read("docs/files.md"), f"`{name}`"))[1])
    message = wire.decode(example_messages()[record["seq"]].encode("ascii"))
    assert message.kind == record["cat"] + "/" + record["type"]
    shared = (set(record) & set(message.fields)) - ({"qty"} if record.get("capped") else set())
    assert len(shared) >= 3
    for key in shared:
        if isinstance(record[key], float):
            assert float(message[key]) == record[key], key
        else:
            assert message[key].rstrip() == record[key].rstrip(), key


def test_control_examples_are_answered_as_documented(launch):
    """Replays the last session of the page: the part before the pipe makes the datagram, the rest is the reply."""
    session = re.findall(r"```text\n(.*?)```", section(read("docs/control-port.md"), "Examples"), re.DOTALL)[-1]
    examples = re.findall(r"^\$ (.*) \| socat [^\n]*\n(.*)\n", session, re.MULTILINE)
    assert len(examples) > 20 and session.count("$ ") == len(examples)
    bench = launch()
    for shell_words, reply in examples:
        datagram = subprocess.run(["bash", "-c", shell_words], stdout=subprocess.PIPE, check=True).stdout
        assert control.command(bench.control, datagram) == reply, shell_words
    assert harness.finish(bench) == 0
    labels = [record["mark"] for record in map(json.loads, harness.truth_lines(bench)) if "mark" in record]
    assert labels == ['say "hi"  \\ now', "", "0" * 250]


def test_report_examples_are_answered_as_documented(launch):
    text = section(read("docs/reports.md"), "Examples")
    lines = re.findall(r"```text\n(.*?)\n```", text, re.DOTALL)[1].split("\n")
    assert len(lines) == 22
    bench = launch("--hy", "NEWBOND02")
    reporter = harness.open_reporter(bench)
    for _ in range(3):   # the session of the page begins behind three trades
        reports.report(reporter, quantity="1000000", where="book")
    for line, reply in zip(lines[::2], lines[1::2]):
        reports.send_lines(reporter, line.replace("^M", "\r"))
        assert reports.read_line(reporter) == reply, line
    harness.stop(bench)
    trades = [line for line in harness.console_lines(bench) if " T/M " in line][3:]
    assert "\n".join(trades) in text
