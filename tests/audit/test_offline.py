"""The audit after the fact: everything from the retransmission port, nothing from the feed."""

import auditing
import control
import harness
import receiver
import reports


def test_a_run_can_be_audited_without_its_feed(launch):
    bench = launch("--rate-ms", 5, "--drop-every", 3, "--quiet", "--scenario", "cancel_every=3,correct_every=4")
    receiver.wait_for_sequence(bench.feed, 500, harness.bound(30))
    assert control.command(bench.control, "close") == "ok"
    last = control.stats(bench.control)["seq"]
    status, verdict = auditing.audit(bench, "--offline")
    assert (status, verdict["verdict"], verdict["origin"]) == (0, "equal", "retransmission"), auditing.explain(verdict)
    assert verdict["messages"] == verdict["fetched"] == verdict["last"] == last
    assert (verdict["lost"], verdict["duplicates"], verdict["joined"]) == (0, 0, None)
    assert verdict["summaries"] == 4


def test_it_may_start_anywhere(launch):
    bench = launch("--rate-ms", 5, "--quiet", "--scenario", "cancel_every=3,correct_every=4")
    receiver.wait_for_sequence(bench.feed, 500, harness.bound(30))
    status, verdict = auditing.audit(bench, "--offline", "--from", 450)
    assert (status, verdict["verdict"], verdict["first"]) == (0, "equal", 450), auditing.explain(verdict)
    assert verdict["messages"] == verdict["last"] - 449


def test_messages_that_the_server_does_not_have_are_missing(launch):
    bench = launch("--rate-ms", 5, "--quiet")
    receiver.wait_for_sequence(bench.feed, 100, harness.bound(30))
    assert control.command(bench.control, "pause") == "ok"
    last = control.stats(bench.control)["seq"]
    truth = bench.folder / "truth.jsonl"
    longer = bench.folder / "longer.jsonl"
    more = "".join(f'{{"seq":{number},"cat":"A","type":"H","event":"halt","cusip":"{reports.AAPL}",'
                   f'"symbol":"AAPL 3.85 43","action":"H","reason":"T.1","at":"20260105120000"}}\n'
                   for number in (last + 1, last + 2))
    longer.write_bytes(truth.read_bytes() + more.encode("ascii"))
    status, verdict = auditing.audit(bench, "--offline", truth=longer)
    assert (status, verdict["verdict"], verdict["missing_ranges"]) == (1, "lost", [[last + 1, last + 2]])


def test_a_closed_port_is_no_feed(run):
    status, output, errors = auditing.run_raw("audit", "--offline", "--truth", run.folder / "truth.jsonl",
                                              "--retrans-port", run.doors.retrans)
    assert (status, output) == (3, "")
    assert f"nobody answers on the retransmission port 127.0.0.1:{run.doors.retrans}" in errors


def test_messages_beyond_the_last_record_are_found(launch):
    bench = launch("--rate-ms", 5, "--quiet")
    receiver.wait_for_sequence(bench.feed, 100, harness.bound(30))
    assert control.command(bench.control, "pause") == "ok"
    shorter = bench.folder / "shorter.jsonl"
    shorter.write_bytes(b"".join((bench.folder / "truth.jsonl").read_bytes().splitlines(keepends=True)[:50]))
    status, verdict = auditing.audit(bench, "--offline", truth=shorter, tape=False)
    assert (status, verdict["verdict"], auditing.first_wrong(verdict)) == (1, "different", (51, "seq"))


def test_a_port_that_is_not_the_bench_s_is_told(launch, run):
    bench = launch("--rate-ms", 5, "--quiet")
    receiver.wait_for_sequence(bench.feed, 100, harness.bound(30))
    status, _, errors = auditing.run_raw(
        "audit", "--truth", bench.folder / "truth.jsonl", "--mcast", bench.doors.group, "--port", bench.doors.feed,
        "--retrans-port", run.doors.retrans, "--seconds", "0.5")
    assert status == 1
    assert f"nobody answers on the retransmission port 127.0.0.1:{run.doors.retrans}" in errors
