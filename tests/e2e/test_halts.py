"""Halts and resumes: bytes, records, reasons, and what a halted bond no longer does."""

import time

import control
import feedtime
import harness
import receiver
import reports
import verify


def halt_messages(bench):
    """All halt and resume messages so far, in order."""
    return [message for _, message in sorted(receiver.messages(bench.feed).items()) if message.kind == "A/H"]


def test_a_halt_and_its_resume_byte_for_byte(launch):
    bench = launch()
    before_s = int(time.time())
    assert control.command(bench.control, f"halt {reports.MSFT}") == "ok"
    assert control.command(bench.control, f"resume_halt {reports.MSFT}") == "ok"
    receiver.wait_for_sequence(bench.feed, 4, harness.bound(5))
    moments = {feedtime.local_text(second) for second in range(before_s, int(time.time()) + 1)}
    harness.stop(bench)
    for number, (action, reason, word) in ((3, ("H", "T.1 ", "halt")), (4, ("R", "T.2 ", "resume"))):
        message = receiver.messages(bench.feed)[number]
        at = message["sent_at"]
        assert at in moments
        assert message.raw.decode() == (
            "AH" "       " "O" + at + "MSFT 3.3 27   " "594918BY9" "MSFT        " "CORP "
            "MSFT 3.30 02/06/27            " + action + at + reason)
        assert harness.truth_lines(bench)[number - 1].decode() == (
            f'{{"seq":{number},"cat":"A","type":"H","event":"halt","cusip":"594918BY9","symbol":"MSFT 3.3 27",'
            f'"action":"{action}","reason":"{reason.strip()}","at":"{at}"}}')
        assert f"[vorbeld] #{number} A/H {word} 594918BY9 {reason.strip()}" in harness.console_lines(bench)


def test_reasons_as_they_are_given(launch):
    bench = launch()
    given = (("", "T.1"), (" LUDP", "LUDP"), (" LUDP extra", "LUDP"), (" TOOLONG", "TOOLONG"), ("  X", ""),
             (" \tX", "\tX"), (' a"b\\', 'a"b\\'))
    for text, _ in given:
        assert control.command(bench.control, f"halt {reports.AAPL}{text}") == "ok"
    receiver.wait_for_sequence(bench.feed, 2 + len(given), harness.bound(5))
    harness.stop(bench)
    found = halt_messages(bench)
    assert [message["reason"] for message in found] == [f"{reason:4.4}" for _, reason in given]
    lines = [line for line in harness.console_lines(bench) if " A/H " in line]
    assert lines == [f"[vorbeld] #{number} A/H halt {reports.AAPL} {reason}"
                     for number, (_, reason) in enumerate(given, 3)]
    for line, (_, reason) in zip(harness.truth_lines(bench)[2:], given):
        assert f'"action":"H","reason":"{reason}","at":"' in line.decode()     # whole and unescaped


def test_unknown_bonds_are_refused_and_nothing_is_sent(launch):
    bench = launch()
    for text in ("halt", "halt 037833DT", "halt 037833dt4", f"halt  {reports.AAPL}", "halt X T.1", "resume_halt",
                 f"resume_halt {reports.AAPL} T.2", f"resume_halt  {reports.AAPL}", f"resume_halt {reports.AAPL}\t"):
        assert control.command(bench.control, text) == "unknown cusip"
    numbers = control.stats(bench.control)
    harness.stop(bench)
    assert (numbers["seq"], numbers["halts"]) == (2, 0)
    assert "bench: halt X T.1 → unknown cusip" in harness.console_lines(bench)


def test_halting_twice_sends_twice(launch):
    bench = launch("--quiet")
    for text in ("halt", "halt", "resume_halt", "resume_halt"):
        assert control.command(bench.control, f"{text} {reports.JPM}") == "ok"
    numbers = control.stats(bench.control)
    receiver.wait_for_sequence(bench.feed, 6, harness.bound(5))
    harness.stop(bench)
    assert (numbers["seq"], numbers["halts"]) == (6, 4)
    assert [message["action"] for message in halt_messages(bench)] == ["H", "H", "R", "R"]
    assert not any("A/H" in line for line in harness.console_lines(bench))


def test_a_halted_bond_makes_no_trades_until_it_is_resumed(launch):
    bench = launch("--rate-ms", 5)
    receiver.wait_for_sequence(bench.feed, 40, harness.bound(10))
    assert control.command(bench.control, f"halt {reports.JPM}") == "ok"
    halted_at = control.stats(bench.control)["seq"]
    receiver.wait_for_sequence(bench.feed, halted_at + 100, harness.bound(10))
    assert control.command(bench.control, f"resume_halt {reports.JPM}") == "ok"
    resumed_at = control.stats(bench.control)["seq"]
    receiver.wait_for_sequence(bench.feed, resumed_at + 60, harness.bound(10))
    harness.stop(bench)
    found = receiver.messages(bench.feed)
    edges = [number for number, message in sorted(found.items()) if message.kind == "A/H"]
    traded = [[message["cusip"] for number, message in found.items() if message.kind == "T/M" and first < number < last]
              for first, last in ((0, edges[0]), tuple(edges), (edges[1], len(found) + 1))]
    assert reports.JPM in traded[0] and reports.JPM not in traded[1] and reports.JPM in traded[2]
    assert len(traded[1]) >= 90
    assert verify.compare_truth(found, harness.truth_lines(bench)) == []


def test_reports_of_a_halted_bond_are_taken(launch):
    bench = launch()
    assert control.command(bench.control, f"halt {reports.AAPL}") == "ok"
    assert reports.report(harness.open_reporter(bench)) == 1
    assert control.command(bench.control, "cancel") == "cancelled 1"
    harness.stop(bench)


def test_halting_a_bond_that_reports_brought_in(launch):
    bench = launch()
    reports.report(harness.open_reporter(bench), cusip="NEWBOND01", symbol="A symbol of more than fourteen")
    assert control.command(bench.control, "halt NEWBOND01") == "ok"
    receiver.wait_for_sequence(bench.feed, 4, harness.bound(5))
    message = halt_messages(bench)[0]
    harness.stop(bench)
    assert (message["symbol"], message["short_name"], message["sub_product"]) == (
        "A symbol of mo", "A symbol of ", "CORP ")
    assert message["description"] == "A symbol of more than fourteen"


def test_all_bonds_halted_leaves_heartbeats_only(launch):
    bench = launch("--rate-ms", 10, "--scenario", "halt_after_s=3600")
    for cusip in (reports.AAPL, reports.MSFT, reports.JPM, reports.FORD):
        assert control.command(bench.control, f"halt {cusip}") == "ok"
    last = control.stats(bench.control)["seq"]
    receiver.wait_for(bench.feed, lambda arrivals: sum(len(each.data) == 20 for each in arrivals) >= 2,
                      harness.bound(5), "two heartbeats")
    assert control.stats(bench.control)["seq"] == last
    harness.stop(bench)
