"""A disk without room, files at their largest, paths that cannot be written: the last good snapshot stays, the feed goes
on, and nothing is left lying about."""

import json
import pathlib

import pytest

import control
import disks
import harness
import receiver
import reports
from test_stats_file import read, snapshot, wait_for_snapshot

LIMITS = (0, 10, 150)     # bytes: none of them holds a snapshot


def heartbeats_more(bench, count):
    """Waits for so many more heartbeats, one a second, as many as there are attempts at a snapshot."""
    heard = len(receiver.heartbeats(bench.feed))
    receiver.wait_for(bench.feed, lambda _: len(receiver.heartbeats(bench.feed)) >= heard + count,
                      harness.bound(2 * count))


def test_a_snapshot_that_cannot_be_written_whole_leaves_the_last_good_one(launch):
    bench = launch()
    read(bench)
    disks.limit_files(bench, LIMITS[0])
    heartbeats_more(bench, 1)
    good = (bench.folder / "stats.json").read_bytes()
    for limit in LIMITS:
        disks.limit_files(bench, limit)
        heartbeats_more(bench, 1)
        assert (bench.folder / "stats.json").read_bytes() == good and snapshot(good)[0]["seq"] == 2
        assert not (bench.folder / "stats.json.tmp").exists()
    disks.limit_files(bench, None)
    wait_for_snapshot(bench, lambda numbers, _: numbers["heartbeats"] > snapshot(good)[0]["heartbeats"], "a fresh one")
    harness.stop(bench)


def test_a_full_disk_costs_the_records_and_not_the_run(launch, tmp_path):
    disk = tmp_path / "disk"
    prefix = disks.small_disk(disk)
    folder = tmp_path / "files"
    folder.mkdir()
    place = folder if prefix is None else disk
    bench = launch("--truth-out", place / "truth", "--tape-out", place / "tape", "--stats-out", place / "stats.json",
                   ready=False, prefix=prefix or (), prepare=None if prefix else disks.start_small(disks.DISK_BYTES))
    snapshots = disks.seen_by(bench, place) / "stats.json"
    harness.until(snapshots.exists, 10, "the first snapshot")
    if prefix:
        disks.take(bench, place, disks.DISK_BYTES // 4)
    reporter = harness.open_reporter(bench)
    for trade in range(1, 401):                  # four times what the disk holds
        assert reports.report(reporter) == trade
    heartbeats_more(bench, 1)
    good = snapshots.read_bytes()
    for _ in range(2):
        assert json.loads(snapshots.read_bytes())
        heartbeats_more(bench, 1)
    assert prefix is None or snapshots.read_bytes() == good
    assert not pathlib.Path(f"{snapshots}.tmp").exists()
    numbers = records(disks.seen_by(bench, place) / "truth")
    if prefix:
        disks.clear(bench, place)
    else:
        disks.limit_files(bench, None)
    assert reports.report(reporter) == 401
    harness.until(lambda: json.loads(snapshots.read_bytes())["seq"] == 403, 5, "a fresh snapshot")
    assert records(disks.seen_by(bench, place) / "truth") == numbers == list(range(1, len(numbers) + 1))
    assert 50 < len(numbers) < 400
    harness.stop(bench)
    assert receiver.sequences(bench.feed) == list(range(1, 404))


def records(path):
    """The sequence numbers in a truth file, of which the last line may have been cut."""
    lines = path.read_bytes().split(b"\n")[:-1]
    return [json.loads(line)["seq"] for line in lines]


@pytest.mark.parametrize("option", ("--truth-out", "--tape-out"))
def test_a_file_at_its_largest_takes_no_more_lines_and_ends_nothing(launch, option):
    bench = launch(prepare=disks.start_small(1000))
    reporter = harness.open_reporter(bench)
    for trade in range(1, 31):
        assert reports.report(reporter) == trade
    assert control.command(bench.control, "mark lost") == "ok"
    harness.stop(bench)
    file = bench.folder / {"--truth-out": "truth.jsonl", "--tape-out": "tape.jsonl"}[option]
    assert file.stat().st_size == 1000
    numbers = records(file)
    assert numbers == list(range(numbers[0], numbers[0] + len(numbers))) and 1 < len(numbers) < 10
    assert receiver.sequences(bench.feed) == list(range(1, 33))


def test_a_snapshot_path_that_is_a_folder_is_left_alone(launch, tmp_path):
    place = tmp_path / "stats.json"
    place.mkdir()
    bench = launch("--stats-out", place, ready=False)
    receiver.wait_for(bench.feed, lambda _: len(receiver.heartbeats(bench.feed)) >= 2, harness.bound(5))
    harness.stop(bench)
    assert place.is_dir() and not list(place.iterdir()) and not pathlib.Path(f"{place}.tmp").exists()


@pytest.mark.parametrize("kind", ("read-only file", "closed folder"))
def test_what_may_not_be_written_is_passed_over(launch, tmp_path, kind):
    place = tmp_path / "kept"
    place.mkdir()
    (place / "truth").write_text("as it was\n")
    (place / "truth").chmod(0o444)
    (place / "stats.json").write_text("as it was\n")
    if kind == "closed folder":
        place.chmod(0o555)
    bench = launch("--truth-out", place / "truth", "--tape-out", place / "tape", "--stats-out", place / "stats.json",
                   ready=False, prefix=disks.without_override())
    receiver.wait_for_sequence(bench.feed, 2, harness.bound(10))
    assert reports.report(harness.open_reporter(bench)) == 1
    heartbeats_more(bench, 2)
    harness.stop(bench)
    assert (place / "truth").read_text() == "as it was\n"
    if kind == "closed folder":
        assert sorted(path.name for path in place.iterdir()) == ["stats.json", "truth"]
        assert (place / "stats.json").read_text() == "as it was\n"
    place.chmod(0o755)
