"""What of a handler's recording was compared is part of the verdict, and nothing compared is no verdict."""

import pytest

import auditing
import handler


@pytest.fixture(scope="module")
def right(run):
    """What a handler without flaws believes."""
    return handler.believe(handler.Handler(), run)


def judge(run, tmp_path, lines, *options):
    """The audit's word on these beliefs."""
    return auditing.audit(run, "--capture", handler.write_lines(tmp_path / "beliefs.jsonl", lines), *options)


def judge_raw(run, tmp_path, lines, *options):
    """(exit status, standard output, standard error) of an audit for people."""
    path = handler.write_lines(tmp_path / "beliefs.jsonl", lines)
    return auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--capture", path, *options)


def only(lines, *names):
    """The lines with these names alone."""
    return [{name: line[name] for name in names if name in line} for line in lines]


def test_sequence_numbers_alone_are_no_verdict(run, right, tmp_path):
    status, output, errors = judge_raw(run, tmp_path, only(right, "seq"))
    assert (status, output) == (3, "")
    assert "sequence numbers in" in errors and "nothing else that can be compared" in errors


def test_numbers_and_unknown_names_are_no_verdict(run, right, tmp_path):
    lines = [{"seq": line["seq"], "px": line.get("price")} for line in right]
    status, output, errors = judge_raw(run, tmp_path, lines)
    assert (status, output) == (3, "")
    assert "px: not compared; did you mean price?" in errors


def test_wrong_numbers_alone_are_amiss_all_the_same(run, right, tmp_path):
    status, verdict = judge(run, tmp_path, only(right[:99] + right[100:], "seq"))
    assert (status, auditing.first_wrong(verdict)) == (1, (100, "seq"))


@pytest.mark.parametrize(("names", "fields", "books"), [(("seq", "event"), 1, False), (("seq", "symbol"), 1, False),
                                                        (("seq", "book"), 0, True), (("seq", "price", "side"), 2, False)])
def test_what_was_compared_is_counted(run, right, tmp_path, names, fields, books):
    status, verdict = judge(run, tmp_path, only(right, *names))
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    said = sum(len([name for name in names if name in line and name not in ("seq", "book")]) for line in right)
    assert verdict["fields_compared"] == said
    assert (verdict["books_compared"] > 500) is books
    assert fields == len(names) - 1 - books


def test_people_are_told_what_was_compared(run, right, tmp_path):
    _, output, _ = judge_raw(run, tmp_path, right)
    row = next(line for line in output.splitlines() if line.startswith("  compared"))
    _, verdict = judge(run, tmp_path, right)
    assert row.split()[1] == f"{verdict['fields_compared']:,}"
    assert "fields of messages" in row and f"{verdict['books_compared']:,} of them in books of the handler" in row


def with_more(right):
    """A handler that writes more than the bench knows."""
    lines = []
    for line in right:
        line = {**line, "recv_ns": 1795220420879000000 + line["seq"], "thread": "rx-1", "px": line.get("price")}
        if "book" in line:
            line["book"] = {**line["book"], "vwap": 98.1, "hi": 5}
        lines.append(line)
    return lines


def test_more_than_the_bench_knows_is_listed_once(run, right, tmp_path):
    status, verdict = judge(run, tmp_path, with_more(right))
    assert (status, verdict["verdict"], verdict["discrepancies"]) == (0, "equal", 0), auditing.explain(verdict)
    assert sorted(verdict["not_compared"]) == ["book.hi", "book.vwap", "px", "recv_ns", "thread"]
    assert verdict["did_you_mean"] == {"book.hi": "book.high", "px": "price"}
    status, output, _ = judge_raw(run, tmp_path, with_more(right))
    assert status == 0
    assert output.count("px: not compared; did you mean price?\n") == 1
    assert output.count("recv_ns: not compared\n") == output.count("book.vwap: not compared\n") == 1


def test_strict_takes_each_such_name_for_a_discrepancy(run, right, tmp_path):
    status, verdict = judge(run, tmp_path, with_more(right), "--strict")
    assert (status, verdict["verdict"], verdict["discrepancies"]) == (1, "different", 5)
    assert verdict["first_wrong"]["field"] == "recv_ns" and verdict["first_wrong"]["seq"] == 1
    px = next(each for each in verdict["discrepancy_list"] if each["field"] == "px")
    assert px["expected"] == "a name that can be compared: price"
    assert judge(run, tmp_path, right, "--strict")[0] == 0


@pytest.mark.parametrize("options", [(), ("--offline",)])
def test_strict_is_of_recordings_alone(run, options):
    status, output, errors = auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--strict", *options)
    assert (status, output) == (2, "") and "--strict" in errors
