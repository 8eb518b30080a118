"""Every value in what a handler wrote down of every kind of message, altered once: the audit finds each."""

import pytest

import auditing
import handler
import mutations
import recording


@pytest.fixture(scope="module")
def right(run):
    """What a handler without flaws believes."""
    return handler.believe(handler.Handler(), run)


@pytest.mark.parametrize("part", range(4))
@pytest.mark.parametrize("kind", sorted(recording.NAMES.values()))
def test_each_altered_value_is_found(run, right, tmp_path, kind, part):
    """Of a kind's values, a quarter in each part."""
    numbers = recording.numbers_of(run, kind)
    number = numbers[len(numbers) // 2]
    line = right[number - 1]
    assert (line["seq"], line["event"]) == (number, kind)
    paths = [path for path in mutations.leaves(line) if path not in (("seq",), ("event",))]
    for path in paths[part::4]:
        lines = [*right[:number - 1], mutations.alter_leaf(line, path), *right[number:]]
        status, verdict = auditing.audit(run, "--capture", handler.write_lines(tmp_path / "beliefs.jsonl", lines))
        assert status == 1, path
        assert auditing.first_wrong(verdict) == (number, ".".join(path)), auditing.explain(verdict)


@pytest.mark.parametrize("kind", sorted(recording.NAMES.values()))
def test_a_message_taken_for_another_kind_is_found(run, right, tmp_path, kind):
    number = recording.numbers_of(run, kind)[-1]
    line = {**right[number - 1], "event": "trade" if kind != "trade" else "halt"}
    lines = [*right[:number - 1], line, *right[number:]]
    status, verdict = auditing.audit(run, "--capture", handler.write_lines(tmp_path / "beliefs.jsonl", lines))
    assert (status, auditing.first_wrong(verdict)) == (1, (number, "event"))


def test_a_field_that_no_such_message_has_is_listed_as_not_compared(run, right, tmp_path):
    number = recording.numbers_of(run, "trade")[50]
    lines = [*right[:number - 1], {**right[number - 1], "volume": 5}, *right[number:]]
    status, verdict = auditing.audit(run, "--capture", handler.write_lines(tmp_path / "beliefs.jsonl", lines))
    assert (status, verdict["verdict"], verdict["not_compared"]) == (0, "equal", ["volume"])
