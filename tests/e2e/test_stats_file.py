"""The statistics snapshot: its one line to the byte, replaced in one stroke, and silent when it cannot be."""

import json
import threading
import time

import control
import harness
import probe
import receiver
import reports
import wire

KEYS = ["ts_ms", "seq", "reports", "capped", "cancels", "corrections", "halts", "retransmissions", "packets",
        "dropped", "heartbeats", "closed", "by_venue"]


def snapshot(data):
    """The pairs of a snapshot in their order; AssertionError unless the bytes are exactly what the pairs give."""
    pairs = json.loads(data, object_pairs_hook=list, strict=False)
    venues = ",".join(f'"{escaped(name)}":{count}' for name, count in pairs[-1][1])
    numbers = ",".join(f'"{key}":{json.dumps(value)}' for key, value in pairs[:-1])
    assert data == f'{{{numbers},"by_venue":{{{venues}}}}}\n'.encode("utf-8")
    assert [key for key, _ in pairs] == KEYS
    return dict(pairs[:-1]), dict(pairs[-1][1])


def escaped(text):
    """As the snapshot escapes venue texts: quotes and backslashes only."""
    return text.replace("\\", "\\\\").replace('"', '\\"')


def read(bench):
    """The present snapshot."""
    return snapshot((bench.folder / "stats.json").read_bytes())


def wait_for_snapshot(bench, condition, what):
    """The first snapshot whose (numbers, venues) satisfy the condition."""
    def matching():
        numbers, venues = read(bench)
        return (numbers, venues) if condition(numbers, venues) else None
    return harness.until(matching, 6, what)


def test_the_first_snapshot_is_there_at_once(launch):
    before_ms = time.time_ns() // 1_000_000
    bench = launch()
    numbers, venues = read(bench)
    harness.stop(bench)
    assert before_ms <= numbers.pop("ts_ms") <= time.time_ns() // 1_000_000
    assert venues == {}
    assert numbers == {"seq": 2, "reports": 0, "capped": 0, "cancels": 0, "corrections": 0, "halts": 0,
                       "retransmissions": 0, "packets": 2, "dropped": 0, "heartbeats": 0, "closed": False}
    assert not (bench.folder / "stats.json.tmp").exists()


def test_the_snapshot_counts_what_happened(launch):
    bench = launch("--drop-every", 3)
    reporter = harness.open_reporter(bench)
    for trade, venue in enumerate(("ATS1", "ATS1", "", 'a "b" \\c', "tab\there"), 1):
        assert reports.report(reporter, venue=venue, quantity="6000000" if trade == 2 else "5") == trade
    assert control.command(bench.control, "cancel") == "cancelled 1"
    assert control.command(bench.control, "correct 2") == "corrected 2"
    assert control.command(bench.control, f"halt {reports.AAPL}") == "ok"
    probe.ask(bench, wire.request(1, 0))
    numbers, venues = wait_for_snapshot(bench, lambda numbers, _: numbers["retransmissions"] == 2, "the request")
    harness.stop(bench)
    assert venues == {"ATS1": 2, "": 1, 'a "b" \\c': 1, "tab\there": 1}
    del numbers["ts_ms"], numbers["heartbeats"]
    assert numbers == {"seq": 11, "reports": 5, "capped": 1, "cancels": 1, "corrections": 2, "halts": 1,
                       "retransmissions": 2, "packets": 11, "dropped": 3, "closed": False}


def test_closed_flips_with_the_close(launch):
    bench = launch()
    assert read(bench)[0]["closed"] is False
    assert control.command(bench.control, "close") == "ok"
    numbers, _ = wait_for_snapshot(bench, lambda numbers, _: numbers["closed"] is True, "the close")
    assert numbers["seq"] == 6
    later, _ = wait_for_snapshot(bench, lambda later, _: later["ts_ms"] > numbers["ts_ms"] + 1500, "two more seconds")
    harness.stop(bench)
    assert later["heartbeats"] <= numbers["heartbeats"] + 1     # end markers are counted apart


def test_a_reader_never_sees_half_a_snapshot(launch):
    bench = launch("--rate-ms", 10)
    seen, problems, ending = set(), [], threading.Event()

    def poll():
        while not ending.is_set():
            try:
                seen.add(read(bench)[0]["ts_ms"])
            except (AssertionError, ValueError, OSError) as problem:
                problems.append(problem)

    readers = [threading.Thread(target=poll) for _ in range(2)]
    for reader in readers:
        reader.start()
    try:
        harness.until(lambda: len(seen) >= 5 or problems, 12, "five snapshots")
    finally:
        ending.set()
        for reader in readers:
            reader.join()
    harness.stop(bench)
    assert problems == []
    times = sorted(seen)
    assert all(later - earlier >= 990 for earlier, later in zip(times, times[1:]))


def test_a_snapshot_that_cannot_be_written_leaves_the_old_one(launch):
    bench = launch()
    temporary = bench.folder / "stats.json.tmp"
    old = (bench.folder / "stats.json").read_bytes()
    temporary.mkdir()
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals) >= 5, harness.bound(8), "three heartbeats")
    assert (bench.folder / "stats.json").read_bytes() == old
    assert control.command(bench.control, "pause") == "ok"
    temporary.rmdir()
    wait_for_snapshot(bench, lambda numbers, _: numbers["heartbeats"] >= 3, "a fresh snapshot")
    harness.stop(bench)
    assert len(harness.console_lines(bench)) == 7    # two at the start, two messages, pause, stop, the end


def test_an_unreachable_path_is_silent(launch):
    bench = launch("--stats-out", "/nonexistent/folder/stats.json", ready=False)
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals) >= 4, harness.bound(8), "two heartbeats")
    harness.stop(bench)
    assert len(harness.console_lines(bench)) == 6


def test_no_path_no_file(launch):
    bench = launch("--stats-out", "", ready=False)
    receiver.wait_for(bench.feed, lambda arrivals: len(arrivals) >= 4, harness.bound(8), "two heartbeats")
    harness.stop(bench)
    assert sorted(path.name for path in bench.folder.iterdir()) == ["stdout", "tape.jsonl", "truth.jsonl"]


def test_an_existing_snapshot_is_replaced_not_appended_to(launch, tmp_path):
    old = tmp_path / "old.json"
    old.write_text("left over\n" * 100)
    bench = launch("--stats-out", old, ready=False)
    harness.until(lambda: not old.read_bytes().startswith(b"left"), 10, "the first snapshot")
    harness.stop(bench)
    assert snapshot(old.read_bytes())[0]["seq"] == 2
