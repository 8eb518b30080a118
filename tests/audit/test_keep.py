"""audit --keep: everything that an audit was about, in one folder, from which it can be done again."""

import json
import subprocess

import pytest

import auditing
import companion
import control
import harness
import pcap_files
import receiver
import recording

WITH_PAGE = {"feed.pcap", "page.html", "tape.jsonl", "truth.jsonl", "verdict.json", "verdict.txt"}
FIGURES = ("verdict", "messages", "first", "last", "trades", "cancels", "corrections", "halts", "missing_ranges", "missing",
           "lost", "recovered", "duplicates", "out_of_order", "discrepancies", "follow_ups", "discrepancy_list", "marks",
           "tape_lines", "bonds", "books")


def names(folder):
    """The names of the files in the folder."""
    return {path.name for path in folder.iterdir()}


def audited_again(doors, folder, *options):
    """The verdict on what is in the folder."""
    return auditing.audit(None, "--pcap", folder / "feed.pcap", *options, truth=folder / "truth.jsonl",
                          tape=folder / "tape.jsonl", doors=doors)


def figures(verdict):
    """What must be the same when an audit is done again."""
    return {key: verdict[key] for key in FIGURES}


def lines(path):
    """The lines of a file as bytes."""
    return path.read_bytes().splitlines(keepends=True)


@pytest.fixture(name="bench")
def start_second_run(tmp_path, pool):
    """A bench with faults that goes on in the files of a run before."""
    harness.stop(first := harness.start(tmp_path / "bench", harness.claim_doors(pool), "--rate-ms", 5))
    assert harness.release(first) == []
    (tmp_path / "bench/stats.json").unlink()
    bench = harness.start(tmp_path / "bench", harness.claim_doors(pool), "--rate-ms", 8, "--drop-every", 5, "--dup-every", 7,
                          "--reorder-every", 11, "--scenario", "cancel_every=5,correct_every=7")
    yield bench
    assert harness.release(bench) == []


def test_a_live_audit_can_be_done_again_from_what_it_left(bench, tmp_path):
    receiver.wait_for_sequence(bench.feed, 40, harness.bound(20))
    assert control.command(bench.control, "mark here") == "ok"
    folder = tmp_path / "new/kept"
    status, verdict = auditing.audit(bench, "--seconds", "1.2", "--keep", folder, "--html", tmp_path / "page.html")
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert verdict["recovered"] > 5 and verdict["fetched"] >= 40 and verdict["duplicates"] > 3
    assert names(folder) == WITH_PAGE
    assert json.loads((folder / "verdict.json").read_text(encoding="utf-8")) == verdict
    assert (folder / "verdict.txt").read_text(encoding="utf-8").startswith(f"equal: {verdict['sentence']}\n")
    assert (folder / "page.html").read_bytes() == (tmp_path / "page.html").read_bytes()
    # The run's own lines and no others, up to the last message that was judged.
    truth, kept = lines(bench.folder / "truth.jsonl"), lines(folder / "truth.jsonl")
    begin = max(place for place, line in enumerate(truth) if b'"seq":1,' in line and b'"type":"I"' in line)
    assert begin > 0 and kept == truth[begin:begin + len(kept)]
    assert max(json.loads(line)["seq"] for line in kept) == verdict["last"]
    assert b'{"mark":"here"' in b"".join(kept)
    tape = lines(folder / "tape.jsonl")
    assert [json.loads(line)["trade_id"] for line in tape] == [f"{number:07}" for number in range(1, verdict["trades"] + 1)]
    again, second = audited_again(bench.doors, folder, "--from", "1")
    assert again == 0, auditing.explain(second)
    for key in ("verdict", "messages", "first", "last", "trades", "marks", "books", "duplicates"):
        assert second[key] == verdict[key], key


def test_a_red_verdict_on_a_capture_leaves_everything_too(run, tmp_path):
    altered = dict(run.messages)
    number = recording.numbers_of(run, "trade")[3]
    altered[number] = run.messages[number].replace(b"TM", b"TX", 1)
    datagrams = pcap_files.of_messages(run, altered)
    stray = pcap_files.Datagram(datagrams[0].at_ns, b"not of the feed", "127.0.0.1", 9)
    answer = pcap_files.of_answer(run, 202, 1, datagrams[205].at_ns)
    pcap = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.RAW,
                                 [stray, *datagrams[:200], *datagrams[203:206], answer, *datagrams[206:]])
    folder = tmp_path / "kept"
    folder.mkdir()
    status, verdict = auditing.audit(run, "--pcap", pcap, "--keep", folder)
    assert status == 1 and verdict["discrepancies"] > 0 and verdict["missing"] == 2
    assert names(folder) == WITH_PAGE
    assert (folder / "truth.jsonl").read_bytes() == (run.folder / "truth.jsonl").read_bytes()
    assert (folder / "tape.jsonl").read_bytes() == (run.folder / "tape.jsonl").read_bytes()
    assert b"not of the feed" not in (folder / "feed.pcap").read_bytes()
    again, second = audited_again(run.doors, folder)
    assert (again, figures(second)) == (1, figures(verdict))
    replayed = companion.run(run.doors, "replay", folder / "feed.pcap", "--as-fast-as-possible", "--linger", "0")
    assert replayed[0] == 0, replayed


def test_what_a_handler_wrote_down_is_kept(run, tmp_path):
    written = tmp_path / "written.jsonl"
    written.write_text('{"event":"control","seq":1}\n{"event":"control","seq":2}\n', encoding="ascii")
    status, verdict = auditing.audit(run, "--capture", written, "--keep", tmp_path / "kept")
    assert (status, verdict["messages"]) == (1, 2)
    assert names(tmp_path / "kept") == WITH_PAGE - {"feed.pcap"} | {"recording.jsonl"}
    assert (tmp_path / "kept/recording.jsonl").read_bytes() == written.read_bytes()
    again, second = auditing.audit(None, "--capture", tmp_path / "kept/recording.jsonl", truth=tmp_path / "kept/truth.jsonl",
                                   tape=tmp_path / "kept/tape.jsonl", doors=run.doors)
    assert (again, figures(second)) == (1, figures(verdict))


def test_what_was_fetched_is_kept_as_answers(launch, tmp_path):
    bench = launch("--rate-ms", 0)
    status, _ = auditing.audit(bench, "--offline", "--keep", tmp_path / "kept")
    assert (status, names(tmp_path / "kept")) == (0, WITH_PAGE)
    content = (tmp_path / "kept/feed.pcap").read_bytes()
    assert b"BTDS000001" in content and all(record in content for record in (b"CI ", b"CO "))


def without_verdict(run, folder, *options):
    """Audits, which must end without a verdict: (exit status, what was kept of it)."""
    status, output, errors = auditing.run_raw("audit", "--keep", folder, *companion.addresses(run.doors), *options)
    assert output == ""
    error = json.loads((folder / "verdict.json").read_text(encoding="utf-8"))
    assert error["status"] == status
    assert (folder / "verdict.txt").read_text(encoding="utf-8") == f"vorbelctl: {error['error']}\n" == errors.split("\n")[-2] + "\n"
    return status, names(folder)


def test_where_there_is_no_verdict_the_rest_is_kept(run, doors, tmp_path):
    truth = ["--truth", run.folder / "truth.jsonl"]
    pcap = pcap_files.write_pcap(tmp_path / "other.pcap", pcap_files.RAW, [])
    without = {"verdict.json", "verdict.txt", "truth.jsonl"}
    assert without_verdict(run, tmp_path / "a", *truth, "--pcap", pcap) == (3, without | {"feed.pcap"})
    assert (tmp_path / "a/truth.jsonl").read_bytes() == (run.folder / "truth.jsonl").read_bytes()
    assert without_verdict(run, tmp_path / "b", *truth, "--timeout", "0.3") == (3, without | {"feed.pcap"})
    (tmp_path / "empty.jsonl").touch()
    assert without_verdict(run, tmp_path / "c", "--truth", tmp_path / "empty.jsonl", "--pcap", pcap) == (2, without)
    assert without_verdict(run, tmp_path / "d", *truth, "--iface", "10.254.254.254", "--seconds", "1") == (3, without)


@pytest.fixture(name="doors")
def free_doors(pool):
    """Ports of which nobody uses any."""
    return harness.claim_doors(pool)


def test_a_folder_with_something_in_it_is_wrong_usage(run, tmp_path):
    (tmp_path / "full").mkdir()
    (tmp_path / "full/mine").write_text("mine", encoding="ascii")
    for folder, why in ((tmp_path / "full", "is not empty"), (tmp_path / "full/mine", "folder"),
                        (tmp_path / "full/mine/deeper", "cannot make the folder")):
        status, output, errors = auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--offline", "--keep", folder)
        assert (status, output) == (2, "")
        assert why in errors and str(folder) in errors
    assert (tmp_path / "full/mine").read_text(encoding="ascii") == "mine" and names(tmp_path / "full") == {"mine"}


@pytest.mark.parametrize(("red", "wanted"), [(False, 6), (True, 1)])
def test_what_cannot_be_written_is_status_6_unless_something_is_amiss(run, tmp_path, red, wanted):
    datagrams = pcap_files.of_messages(run)
    pcap = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.RAW, datagrams[:5] + datagrams[5 + red:])
    command = companion.command_line(run.doors, "audit", "--json", "--truth", run.folder / "truth.jsonl", "--pcap", pcap,
                                     "--keep", tmp_path / "kept")
    limited = ["bash", "-c", 'trap "" XFSZ; ulimit -f 8; exec "$@"', "bash", *command]
    result = subprocess.run(limited, capture_output=True, text=True, timeout=harness.bound(30), check=False)
    assert result.returncode == wanted, result
    assert json.loads(result.stdout)["verdict"] == ("lost" if red else "equal")
    assert result.stderr.splitlines()[-1].startswith("vorbelctl: could not be written whole: ")
    for name in ("truth.jsonl", "page.html", "feed.pcap"):
        assert f"{tmp_path}/kept/{name}" in result.stderr
    assert f"{tmp_path}/kept/verdict.txt" not in result.stderr
