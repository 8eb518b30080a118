"""What an audit writes: never over what it reads, never half, and never instead of its verdict."""

import json
import os
import resource
import subprocess

import pytest

import auditing
import companion
import handler
import harness

OLD = b"an old page"


@pytest.fixture(scope="module")
def right(run):
    """What a handler without flaws believes."""
    return handler.believe(handler.Handler(), run)


@pytest.fixture
def beliefs(right, tmp_path):
    """A file of it."""
    return handler.write_lines(tmp_path / "right.jsonl", right)


def audit_to(run, beliefs, page, *words):
    """Audits with a page: (exit status, standard output, standard error)."""
    return auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--capture", beliefs, "--html", page, *words)


def audit_within(run, beliefs, page, most_bytes):
    """The same with files limited to so many bytes."""
    def limit():
        resource.setrlimit(resource.RLIMIT_FSIZE, (most_bytes, most_bytes))

    words = ("audit", "--truth", run.folder / "truth.jsonl", "--capture", beliefs, "--html", page)
    # Python ignores the signal of the limit, and without restore_signals so does the program.
    result = subprocess.run([companion.binary(), *map(str, words)], capture_output=True, text=True, preexec_fn=limit,
                            restore_signals=False, timeout=harness.bound(20), check=False)
    return result.returncode, result.stdout, result.stderr


def test_a_page_is_put_in_place_of_an_old_one(run, beliefs, tmp_path):
    page = tmp_path / "page.html"
    page.write_bytes(OLD)
    page.chmod(0o640)
    before = set(os.listdir(tmp_path))
    status, output, errors = audit_to(run, beliefs, page)
    assert (status, errors) == (0, ""), output
    assert page.read_bytes().startswith(b"<!doctype html>") and page.read_bytes().endswith(b"</html>\n")
    assert page.stat().st_mode & 0o777 == 0o640
    assert set(os.listdir(tmp_path)) == before


@pytest.mark.parametrize("target", ["page.html", "folder/../page.html"])
def test_a_page_behind_links_is_written_where_they_lead(run, beliefs, tmp_path, target):
    page, link = tmp_path / "page.html", tmp_path / "link.html"
    (tmp_path / "folder").mkdir()
    (tmp_path / "between.html").symlink_to(target)
    link.symlink_to(tmp_path / "between.html")
    assert audit_to(run, beliefs, link)[0] == 0
    assert link.is_symlink() and page.read_bytes().startswith(b"<!doctype html>")


@pytest.mark.parametrize("name", ["truth.jsonl", "tape.jsonl", "beliefs.jsonl"])
@pytest.mark.parametrize("how", ["itself", "hard link", "symbolic link", "roundabout"])
def test_a_file_that_is_read_is_never_written(run, right, copy, tmp_path, name, how):
    truth, tape = copy("truth.jsonl"), copy("tape.jsonl")
    beliefs = handler.write_lines(tmp_path / "beliefs.jsonl", right)
    victim = tmp_path / name
    content = victim.read_bytes()
    page = {"itself": victim, "roundabout": tmp_path / ".." / tmp_path.name / name}.get(how, tmp_path / "page.html")
    if how == "hard link":
        page.hardlink_to(victim)
    if how == "symbolic link":
        page.symlink_to(victim)
    status, output, errors = auditing.run_raw("audit", "--truth", truth, "--tape", tape, "--capture", beliefs, "--html",
                                              page)
    assert (status, output) == (2, "")
    assert f"cannot write {page}: it is read as {victim}" in errors
    assert victim.read_bytes() == content


def test_a_capture_of_packets_is_never_written(run, tmp_path):
    pcap = tmp_path / "feed.pcap"
    pcap.write_bytes(OLD)
    status, _, errors = auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--pcap", pcap, "--html", pcap)
    assert status == 2
    assert "it is read as" in errors and pcap.read_bytes() == OLD


@pytest.mark.parametrize(("page", "complaint"), [
    ("", "needs a name"), ("/nowhere/page.html", "there is no folder /nowhere"), ("/", "it is a folder"),
    ("-", "name a file")])
def test_a_page_that_can_never_be_written_is_a_wrong_use_at_once(run, page, complaint):
    """Before the audit: nothing is said of the feed, on which nobody is."""
    status, output, errors = auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--html", page)
    assert (status, output) == (2, "")
    assert complaint in errors and "came on the feed" not in errors


@pytest.mark.parametrize("what", ["folder", "file"])
def test_what_may_not_be_written_is_a_wrong_use_at_once(run, tmp_path, what):
    folder = tmp_path / "kept"
    folder.mkdir()
    page = folder / "page.html"
    page.write_bytes(OLD)
    (folder if what == "folder" else page).chmod(0o555)
    # Root writes what it may not, unless it gives that right away.
    bounded = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] if os.geteuid() == 0 else []
    result = subprocess.run([*bounded, companion.binary(), "audit", "--json", "--truth", run.folder / "truth.jsonl",
                             "--html", page], capture_output=True, text=True, timeout=harness.bound(20), check=False)
    assert result.returncode == 2
    assert json.loads(result.stdout)["status"] == 2
    assert f"cannot write {page}: " in result.stderr and "Permission denied" in result.stderr
    assert page.read_bytes() == OLD


def test_a_verdict_is_printed_though_its_page_cannot_be_written(run, beliefs, tmp_path):
    page = tmp_path / "page.html"
    page.write_bytes(OLD)
    before = set(os.listdir(tmp_path))
    status, output, errors = audit_within(run, beliefs, page, 4096)
    assert status == 6
    assert output.startswith("equal: ")
    assert errors.startswith(f"vorbelctl: cannot write the page {page}: ")
    assert page.read_bytes() == OLD
    assert set(os.listdir(tmp_path)) == before


def test_a_verdict_keeps_its_status_though_its_page_cannot_be_written(run, right, tmp_path):
    wrong = handler.write_lines(tmp_path / "wrong.jsonl", right[:-1])
    status, output, errors = audit_within(run, wrong, tmp_path / "page.html", 4096)
    assert status == 1
    assert output.startswith("lost: ") and "cannot write the page" in errors
    assert not (tmp_path / "page.html").exists()


def test_what_is_no_regular_file_is_written_as_it_is(run, beliefs):
    status, output, errors = audit_to(run, beliefs, "/dev/full")
    assert status == 6
    assert output.startswith("equal: ") and "cannot write the page /dev/full" in errors
    assert audit_to(run, beliefs, "/dev/null")[0] == 0
