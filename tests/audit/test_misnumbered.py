"""Wrong numbers, lines before their turn and events by other names: each is one discrepancy, however many lines follow."""

import copy

import pytest

import auditing
import handler


@pytest.fixture(scope="module")
def right(run):
    """What a handler without flaws believes."""
    return handler.believe(handler.Handler(), run)


@pytest.fixture
def judge(run, tmp_path):
    """judge(lines) is the exit status and the verdict on them."""
    return lambda lines: auditing.audit(run, "--capture", handler.write_lines(tmp_path / "beliefs.jsonl", lines))


def found(verdict):
    """(number, field, expected, received) of all discrepancies."""
    return [(each["seq"], each["field"], each["expected"], each["received"]) for each in verdict["discrepancy_list"]]


@pytest.mark.parametrize("number", [400, 99, 5, 620, 629, 100_000, 2**63])
@pytest.mark.parametrize("names", [None, ("seq", "event", "price", "symbol")])
def test_one_wrong_number_is_one_discrepancy(right, judge, names, number):
    lines = [{name: line[name] for name in line if not names or name in names} for line in right]
    lines[99]["seq"] = number
    status, verdict = judge(lines)
    if names and number < 100:      # nothing in the line tells that it is not the old message once more
        assert (status, verdict["discrepancies"], verdict["missing"]) == (1, 1, 1)
        return
    assert (status, found(verdict)) == (1, [(min(number, 100), "seq", "100", str(number))]), auditing.explain(verdict)
    assert (verdict["missing"], verdict["follow_ups"]) == (0, 0)


@pytest.mark.parametrize("kind", ["cancel", "correction", "halt", "summary", "control"])
def test_a_wrong_number_of_any_kind_is_one_discrepancy(right, judge, kind):
    lines = copy.deepcopy(right)
    numbers = [line["seq"] for line in right if line["event"] == kind]
    number = numbers[len(numbers) // 2]
    lines[number - 1]["seq"] = number + 1000
    status, verdict = judge(lines)
    assert (status, found(verdict)) == (1, [(number, "seq", str(number), str(number + 1000))]), auditing.explain(verdict)


@pytest.mark.parametrize(("first", "by"), [("trade", 1), ("trade", -1), ("control", -1), ("control", 1),
                                             ("cancel", 1000), ("correction", -3), ("summary", 5)])
def test_numbers_that_are_wrong_by_as_much_from_one_on_are_one_discrepancy(right, judge, first, by):
    first = next(line["seq"] for line in right if line["event"] == first and (line["seq"] > 90 or first == "control"))
    lines = [{**line, "seq": line["seq"] + by * (line["seq"] >= first)} for line in right]
    status, verdict = judge(lines)
    expected = [(min(first, first + by), "seq", str(first), str(first + by))]
    assert (status, found(verdict)) == (1, expected), auditing.explain(verdict)
    assert (verdict["follow_ups"], verdict["missing"]) == (len(right) - first, 0)


def test_numbers_of_two_that_are_exchanged_are_two_discrepancies(right, judge):
    lines = copy.deepcopy(right)
    lines[99]["seq"], lines[300]["seq"] = 301, 100
    _, verdict = judge(lines)
    assert found(verdict) == [(100, "seq", "100", "301"), (100, "seq", "301", "100")], auditing.explain(verdict)


@pytest.mark.parametrize(("at", "to"), [(300, 100), (100, 300), (500, 20), (101, 100)])
def test_one_line_in_another_place_is_one_discrepancy(right, judge, at, to):
    lines = [dict(line) for line in right]
    lines.insert(to, lines.pop(at))
    for line in lines:
        line.pop("book", None)
    status, verdict = judge(lines)
    place = at + 1 if at < to or at == to + 1 else to + 1
    assert (status, verdict["discrepancies"], verdict["missing"]) == (1, 1, 0), auditing.explain(verdict)
    assert auditing.first_wrong(verdict)[1] == "seq"
    assert auditing.first_wrong(verdict)[0] in (place, place - 1)


def test_a_wrong_field_in_a_misnumbered_line_is_found_too(right, judge):
    lines = copy.deepcopy(right)
    for line in lines[99:]:
        line["seq"] += 1
    number = next(line["seq"] for line in right[200:] if line["event"] == "trade")
    lines[number - 1]["side"] = "X"
    _, verdict = judge(lines)
    assert [each[:2] for each in found(verdict)] == [(100, "seq"), (number, "side")], auditing.explain(verdict)


def test_a_loss_is_no_wrong_number(right, judge):
    status, verdict = judge(right[:99] + right[104:])
    assert (status, verdict["verdict"], verdict["missing_ranges"]) == (1, "lost", [[100, 104]])


@pytest.mark.parametrize("name", ["TRADE", "Trade", "trades", "T/M"])
def test_an_event_that_the_bench_does_not_have_is_named_once(right, judge, name):
    lines = [{**line, "event": name if line["event"] == "trade" else line["event"]} for line in right]
    status, verdict = judge(lines)
    trades = [line["seq"] for line in right if line["event"] == "trade"]
    assert (status, found(verdict)) == (1, [(trades[0], "event", "trade", name)]), auditing.explain(verdict)
    assert verdict["follow_ups"] == len(trades) - 1
    reason = f'event "{name}" is not one of the bench\'s; did you mean "trade"?'
    assert verdict["likely"] == reason and verdict["sentence"].startswith(reason + "; 1 discrepancy in ")


def test_an_event_that_first_comes_without_a_number_is_named_all_the_same(right, judge):
    lines = [{"event": "TRADE"}, *({**line, "event": "TRADE"} if line["seq"] == 3 else line for line in right)]
    status, verdict = judge(lines)
    assert (status, found(verdict)) == (1, [(3, "event", "trade", "TRADE")])


def test_a_wrong_field_under_another_event_is_found_too(right, judge):
    lines = [{**line, "event": line["event"].upper()} for line in right]
    lines[300]["seq"], lines[300]["sent_at"] = 301, "20000101000000"
    _, verdict = judge(lines)
    assert (301, "sent_at") in [each[:2] for each in found(verdict)]


def test_an_event_that_is_like_none_is_named_where_its_messages_are_missing(right, judge):
    lines = [{**line, "event": "execution" if line["event"] == "trade" else line["event"]} for line in right]
    status, verdict = judge(lines)
    assert (status, verdict["verdict"]) == (1, "lost")
    assert verdict["likely"] == 'lines of missing messages have the event "execution", which is not one of the bench\'s'


def test_lines_of_other_events_are_of_no_message(right, judge):
    lines = []
    for line in right:
        lines += [{"event": "heartbeat", "seq": line["seq"]}, {"event": "latency", "seq": 7, "ns": 12}, line]
    status, verdict = judge(lines)
    assert (status, verdict["verdict"], verdict["likely"]) == (0, "equal", None), auditing.explain(verdict)
