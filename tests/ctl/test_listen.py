"""vorbelctl listen: what is printed, when it ends, and what stayed missing."""

import json
import signal

import companion
import control
import harness
import reports

KINDS = {("T", "M"): "trade", ("T", "N"): "cancel", ("T", "O"): "correction", ("A", "H"): "halt", ("A", "E"): "summary"}


def messages(lines):
    """The message lines among JSON lines."""
    return [line for line in lines if "via" in line]


def events(lines, name):
    """The lines of one event."""
    return [line for line in lines if line["event"] == name]


def truth(bench):
    """The truth file's records of messages."""
    return [record for record in map(json.loads, harness.truth_lines(bench)) if "cat" in record]


def fill(bench, trades=3):
    """Reports some trades, then cancels, corrects, halts and closes."""
    reporter = harness.open_reporter(bench)
    for number in range(trades):
        reports.report(reporter, price=f"{98 + number / 8}")
    for command in ("correct", "cancel", f"halt {reports.AAPL} T.1", f"resume_halt {reports.AAPL}", "close"):
        assert not control.command(bench.control, command).startswith("unknown")


def test_every_message_equals_its_truth(launch):
    bench = launch()
    fill(bench)
    status, lines = companion.run_json(bench.doors, "listen", "--from", 1, "--until-end")
    assert status == 0
    records = truth(bench)
    assert [line["seq"] for line in messages(lines)] == [record["seq"] for record in records]
    assert {line["event"] for line in messages(lines)} == {*KINDS.values(), "control"}
    for line, record in zip(messages(lines), records, strict=True):
        assert line["event"] == KINDS.get((record["cat"], record["type"]), "control")
        for name in {"cusip", "symbol", "trade_id", "price", "yield", "side", "change", "action", "reason", "high", "low",
                     "close"} & record.keys():
            assert line[name] == record[name], (name, line, record)
    assert lines[-1]["event"] == "totals"
    assert (lines[-1]["messages"], lines[-1]["missing"]) == (len(records), 0)


def test_text_is_aligned_and_one_line_each(launch):
    bench = launch()
    fill(bench, trades=1)
    status, output, errors = companion.run(bench.doors, "listen", "--from", 1, "--until-end")
    assert status == 0
    lines = output.splitlines()
    trade = next(line for line in lines if "trade " in line)
    assert trade[:22] == "       3  trade       "
    assert "037833DT4 AAPL 3.85 43   0000001   98.000000     1000000.00  B D/C  change 7" in trade
    assert "\x1b" not in output
    assert errors.startswith("11 messages, ")


def test_a_late_start_begins_where_the_feed_is(launch, follow):
    bench = launch()
    reporter = harness.open_reporter(bench)
    reports.report(reporter)
    listening = follow(bench.doors, "listen", "--json", "--count", 2)
    companion.wait_until_member(listening, bench.doors)
    reports.report(reporter)
    reports.report(reporter)
    assert companion.finish(listening) == 0
    lines = companion.objects(listening)
    assert lines[0] == {"event": "joined", "seq": 4}
    assert [line["seq"] for line in messages(lines)] == [4, 5]


def test_lost_packets_are_missing_without_recovery(launch, follow):
    bench = launch()
    listening = follow(bench.doors, "listen", "--json", "--until-end", "--from", "0")
    assert companion.finish(listening) == 2  # sequence numbers begin at 1
    listening = follow(bench.doors, "listen", "--json", "--until-end")
    companion.wait_until_member(listening, bench.doors)
    reporter = harness.open_reporter(bench)
    reports.report(reporter)
    control.command(bench.control, "drop 2")
    for _ in range(3):
        reports.report(reporter)
    control.command(bench.control, "close")
    assert companion.finish(listening) == 1
    lines = companion.objects(listening)
    assert events(lines, "gap") == [{"event": "gap", "first": 4, "last": 5}]
    assert events(lines, "missing") == [{"event": "missing", "first": 4, "last": 5}]
    assert [line["seq"] for line in messages(lines)] == [3, 6, 7, 8, 9, 10, 11]


def test_recovery_fills_gaps_and_a_lost_tail(launch, follow):
    bench = launch()
    listening = follow(bench.doors, "listen", "--json", "--recover")
    companion.wait_until_member(listening, bench.doors)
    reporter = harness.open_reporter(bench)
    reports.report(reporter)
    control.command(bench.control, "drop 2")
    for _ in range(3):
        reports.report(reporter)
    control.command(bench.control, "drop 1")
    reports.report(reporter)  # only the next heartbeat tells of this one
    companion.wait_for(listening, lambda lines: any('"seq":7,"via"' in line for line in lines), "the lost tail")
    assert companion.interrupt(listening) == 0
    lines = companion.objects(listening)
    assert [(line["seq"], line["via"]) for line in messages(lines)] == [
        (3, "live"), (4, "recovered"), (5, "recovered"), (6, "live"), (7, "recovered")]
    closed = events(lines, "gap_closed")
    assert [(each["first"], each["last"]) for each in closed] == [(4, 5), (7, 7)]


def test_duplicates_and_disorder_are_lines_of_their_own(launch, follow):
    bench = launch()
    listening = follow(bench.doors, "listen", "--json", "--count", 5)
    companion.wait_until_member(listening, bench.doors)
    reporter = harness.open_reporter(bench)
    reports.report(reporter)
    control.command(bench.control, "dup 1")
    reports.report(reporter)
    control.command(bench.control, "reorder 1")
    for _ in range(3):
        reports.report(reporter)
    assert companion.finish(listening) == 0
    lines = companion.objects(listening)
    assert [line["seq"] for line in messages(lines)] == [3, 4, 5, 6, 7]
    assert events(lines, "duplicate") == [{"event": "duplicate", "seq": 4}]
    assert events(lines, "out_of_order") == [{"event": "out_of_order", "seq": 5}]
    assert [line["via"] for line in messages(lines)] == ["live", "live", "late", "live", "live"]


def test_heartbeats_are_shown(launch, follow):
    bench = launch()
    listening = follow(bench.doors, "listen")
    companion.wait_for(listening, lambda lines: any("heartbeat" in line for line in lines), "a heartbeat")
    assert companion.interrupt(listening) == 0
    assert "       3  heartbeat    the next number to come" in listening.lines


def test_quiet_shows_messages_only(launch):
    bench = launch("--drop-every", 3)
    fill(bench)
    status, output, errors = companion.run(bench.doors, "listen", "--from", 1, "--until-end", "--quiet")
    assert (status, errors) == (0, "")
    assert [int(line.split()[0]) for line in output.splitlines()] == [record["seq"] for record in truth(bench)]


def test_seconds_end_it(launch):
    bench = launch("--rate-ms", 50)
    status, lines = companion.run_json(bench.doors, "listen", "--seconds", "0.5")
    assert status == 0
    assert messages(lines)


def test_ctrl_c_and_sigterm_end_it_with_totals(launch, follow):
    bench = launch("--rate-ms", 50)
    for number in (signal.SIGINT, signal.SIGTERM):
        listening = follow(bench.doors, "listen")
        companion.wait_for(listening, lambda lines: len(lines) > 2, "some messages")
        assert companion.interrupt(listening, number) == 0
        assert "missing; 0 duplicates" in listening.errors[0]


def test_a_closed_retransmission_port_leaves_messages_missing(pool, launch, follow):
    bench = launch(doors=harness.claim_doors(pool, retrans=0))
    elsewhere = harness.dataclasses.replace(bench.doors, retrans=harness.ports.claim_port(pool))
    fill(bench)
    status, lines = companion.run_json(elsewhere, "listen", "--from", 1, "--until-end")
    assert status == 1
    last = max(record["seq"] for record in truth(bench))
    assert events(lines, "missing") == [{"event": "missing", "first": 1, "last": last}]


def test_a_closed_retransmission_port_is_named_once(pool, launch):
    bench = launch()
    elsewhere = harness.dataclasses.replace(bench.doors, retrans=harness.ports.claim_port(pool))
    fill(bench)
    _, _, errors = companion.run(elsewhere, "listen", "--from", 1, "--until-end")
    told = f"nobody answers on the retransmission port 127.0.0.1:{elsewhere.retrans} (the port is closed)"
    assert errors.count(told) == 1
    assert errors.count("retransmission port") == 1
    errors = companion.run(elsewhere, "listen", "--quiet", "--from", 1, "--until-end")[2]
    assert errors.startswith(f"vorbelctl: {told}")


def test_recovery_needs_a_port(doors):
    nowhere = harness.dataclasses.replace(doors, retrans=0)
    status, _, errors = companion.run(nowhere, "listen", "--recover")
    assert (status, errors) == (
        2, "vorbelctl: recovery needs a retransmission port; give it with --retrans-port; "
           f"see {companion.binary()} listen --help\n")


def test_the_totals_are_about_what_was_shown(launch):
    bench = launch()
    fill(bench)
    count = 5
    status, lines = companion.run_json(bench.doors, "listen", "--from", 1, "--count", count)
    assert status == 0
    assert len(messages(lines)) == count
    totals = lines[-1]
    assert (totals["messages"], totals["recovered"], totals["missing"]) == (count, count, 0)
    errors = companion.run(bench.doors, "listen", "--from", 1, "--count", count)[2]
    assert errors.startswith("5 messages, ")


def test_a_feed_that_cannot_be_joined_ends_with_status_3(doors):
    status, _, errors = companion.run(doors, "listen", "--iface", "192.0.2.1")
    assert status == 3
    assert f"cannot join the feed {doors.group}:{doors.feed} on the interface 192.0.2.1" in errors
    assert f"vorbelctl doctor --mcast {doors.group} --iface 192.0.2.1" in errors


def test_several_listen_beside_each_other(launch, follow):
    bench = launch()
    both = [follow(bench.doors, "listen", "--json", "--count", 1) for _ in range(2)]
    for each in both:
        companion.wait_until_member(each, bench.doors)
    reports.report(harness.open_reporter(bench))
    for each in both:
        assert companion.finish(each) == 0
        assert [line["seq"] for line in messages(companion.objects(each))] == [3]
