"""When nearly everything differs, the first line says why, and names the first message that is wrong."""

import copy
import datetime

import pytest

import auditing
import handler
import lies
import pcap_files
import wire


@pytest.fixture(scope="module")
def right(run):
    """What a handler without flaws believes."""
    return handler.believe(handler.Handler(), run)


@pytest.fixture
def judge(run, tmp_path):
    """judge(lines) is the exit status and the verdict on them."""
    return lambda lines: auditing.audit(run, "--capture", handler.write_lines(tmp_path / "beliefs.jsonl", lines))


def later(text, seconds):
    """The date-time so many seconds later."""
    moment = datetime.datetime.strptime(text, "%Y%m%d%H%M%S") + datetime.timedelta(seconds=seconds)
    return moment.strftime("%Y%m%d%H%M%S")


def altered(lines, change):
    """A copy in which change(name, value) has replaced every value."""
    return [{name: change(name, value) for name, value in line.items()} for line in copy.deepcopy(lines)]


SHIFTS = [(30, "30 s ahead"), (3600, "1 h ahead"), (-3600, "1 h behind"), (18000, "5 h ahead"), (86400, "1 day ahead"),
          (-61, "61 s behind"), (-30, "30 s behind"), (-3, "3 s behind")]


@pytest.mark.parametrize(("seconds", "words"), SHIFTS)
def test_a_clock_that_is_off_is_named(right, judge, seconds, words):
    status, verdict = judge(altered(right, lambda name, value: later(value, seconds) if name == "sent_at" else value))
    assert (status, verdict["likely"][:len(words) + 11]) == (1, f"sent_at is {words}"), verdict["likely"]
    # Nothing tells how long before the first trade the messages before it were sent, only that they were.
    assert auditing.first_wrong(verdict) == (1 if seconds > 0 else 3, "sent_at")
    expected = datetime.datetime.strptime(verdict["first_wrong"]["expected"], "%Y%m%d%H%M%S")
    began = datetime.datetime.strptime(right[2]["sent_at"], "%Y%m%d%H%M%S")
    assert abs((expected - began).total_seconds()) <= 2


@pytest.mark.parametrize(("seconds", "words"), SHIFTS)
def test_a_bench_with_a_clock_that_is_off_is_named(run, tmp_path, seconds, words):
    messages = {number: lies.put_field(raw, "sent_at", later(wire.decode(raw)["sent_at"], seconds))
                for number, raw in run.messages.items()}
    feed = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.ETHERNET, pcap_files.of_messages(run, messages))
    status, verdict = auditing.audit(run, "--pcap", feed)
    assert (status, verdict["likely"][:len(words) + 11]) == (1, f"sent_at is {words}"), verdict["likely"]
    assert auditing.first_wrong(verdict)[0] in (1, 3)
    assert not verdict["first_wrong"]["expected"].startswith("1969")


def test_times_in_utc_are_named_as_such(run, right, judge):
    shift = lambda name, value: later(value, 18000) if name.endswith("_at") else value
    _, verdict = judge(altered(right, shift))
    assert verdict["likely"].startswith("sent_at, executed_at, ") and "is the time UTC" in verdict["likely"]


@pytest.mark.parametrize(("names", "factor", "words"), [
    (("price", "original_price"), 10000, "price, original_price are 10000 times the right value in "),
    (("quantity", "original_quantity"), 0.01, "quantity, original_quantity are 0.01 times the right value in "),
    (("price",), 1.5, "price is 1.5 times the right value in ")])
def test_a_number_of_another_scale_is_named(right, judge, names, factor, words):
    _, verdict = judge(altered(right, lambda name, value: value * factor if name in names else value))
    assert verdict["likely"].startswith(words), verdict["likely"]
    assert auditing.first_wrong(verdict) == (3, names[0])


@pytest.mark.parametrize(("name", "change", "words"), [
    ("trade_id", lambda text: text and text.lstrip("0"), "trade_id is without leading zeros in "),
    ("symbol", lambda text: text[:6], "symbol is cut in "), ("cusip", lambda text: "", "cusip is blank in "),
    ("side", {"B": "S", "S": "B"}.get, "side is different in ")])
def test_a_field_that_is_always_wrong_is_named(right, judge, name, change, words):
    _, verdict = judge(altered(right, lambda each, value: change(value) if each == name else value))
    assert verdict["likely"].startswith(words), verdict["likely"]
    assert verdict["sentence"].startswith(verdict["likely"] + "; ")
    assert auditing.first_wrong(verdict)[1] == name


def test_a_few_that_are_wrong_have_no_likely_reason(right, judge):
    lines = copy.deepcopy(right)
    for line in lines[100:110]:
        line["sent_at"] = later(line["sent_at"], 3600)
    _, verdict = judge(lines)
    assert verdict["likely"] is None and verdict["discrepancies"] == 10


def test_blanks_behind_any_text_may_be_kept(right, judge):
    widths = {"symbol": 14, "cusip": 9, "short_name": 12, "description": 30, "sub_product": 5, "reason": 4}
    pad = lambda name, value: value.ljust(widths[name]) if name in widths else value
    status, verdict = judge(altered(right, pad))
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)


def test_a_description_that_is_none_is_told_how_it_begins(right, judge):
    _, verdict = judge(altered(right, lambda name, value: value[1:] if name == "description" else value))
    halt = next(line for line in right if line["event"] == "halt")
    assert auditing.first_wrong(verdict) == (halt["seq"], "description")
    assert verdict["first_wrong"]["expected"] == halt["short_name"] + " ..."


def test_no_field_keeps_the_others_from_sight(run, right, tmp_path):
    lines = altered(right, lambda name, value: {"B": "S", "S": "B"}[value] if name == "side" else value)
    lines[400]["symbol"] = "WRONG"
    path = handler.write_lines(tmp_path / "beliefs.jsonl", lines)
    _, output, _ = auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--capture", path)
    shown = [line.split()[:2] for line in output.splitlines() if line.startswith("#")]
    assert ["#401", "symbol"] in shown and len(shown) < 12, output
