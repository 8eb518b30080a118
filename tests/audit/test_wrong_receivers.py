"""A gallery of receivers that are each wrong in one way: the audit tells every one of them from the truth, and says
where it first went wrong."""

import pytest

import auditing
import flaws
import handler


@pytest.fixture(scope="module")
def right(run):
    """What a handler without flaws believes."""
    return handler.believe(handler.Handler(), run)


def judge(run, tmp_path, lines):
    """The audit's word on these beliefs."""
    return auditing.audit(run, "--capture", handler.write_lines(tmp_path / "beliefs.jsonl", lines))


def test_a_handler_without_flaws_is_equal(run, right, tmp_path):
    status, verdict = judge(run, tmp_path, right)
    assert (status, verdict["verdict"], verdict["discrepancies"]) == (0, "equal", 0), auditing.explain(verdict)
    assert verdict["messages"] == verdict["last"] == len(right) == len(run.messages)


@pytest.mark.parametrize("name", flaws.GALLERY)
def test_a_wrong_receiver_is_caught_where_it_first_goes_wrong(run, right, tmp_path, name):
    believed = handler.believe(flaws.GALLERY[name], run)
    expected = flaws.first_difference(believed, right)
    assert expected is not None, "the flaw never showed in this run"
    status, verdict = judge(run, tmp_path, believed)
    assert (status, verdict["verdict"]) == (1, "different" if verdict["discrepancies"] else "lost")
    assert auditing.first_wrong(verdict) == expected, auditing.explain(verdict)


def test_the_gallery_is_large_enough():
    assert len(flaws.GALLERY) >= 25


def test_books_alone_may_be_stated_at_any_time(run, right, tmp_path):
    last_states = {line["cusip"]: line["book"] for line in right if "book" in line}
    lines = [*right, *({"book": {"cusip": cusip, **state}} for cusip, state in last_states.items())]
    status, verdict = judge(run, tmp_path, lines)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    lines[-1]["book"]["prints"] += 1
    status, verdict = judge(run, tmp_path, lines)
    assert status == 1
    assert auditing.first_wrong(verdict) == (len(right), "book.prints")


def test_what_the_companion_itself_heard_is_equal(launch, tmp_path):
    bench = launch("--rate-ms", 5, "--drop-every", 7, "--scenario", "cancel_every=3,correct_every=4,close_after_s=3")
    heard = tmp_path / "heard.jsonl"
    status, output, _ = auditing.run_raw("listen", "--json", "--from", 1, "--until-end", "--mcast", bench.doors.group,
                                         "--port", bench.doors.feed, "--retrans-port", bench.doors.retrans)
    assert status == 0
    heard.write_text(output, encoding="utf-8")
    status, verdict = auditing.audit(bench, "--capture", heard)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert verdict["messages"] == verdict["last"] > 100


def test_a_line_that_is_no_json_is_a_finding(run, right, tmp_path):
    path = handler.write_lines(tmp_path / "beliefs.jsonl", right)
    lines = path.read_text(encoding="utf-8").splitlines()
    path.write_text("\n".join([*lines[:20], "{not json", "", *lines[20:]]), encoding="utf-8")
    status, verdict = auditing.audit(run, "--capture", path)
    assert (status, auditing.first_wrong(verdict), verdict["discrepancies"]) == (1, (21, "line"), 1)
