"""The page of an audit in a real browser: it loads in silence, fetches nothing, fits every screen, and its figures are
those of the verdict for harnesses."""

import json
import re

import pytest

import auditing
import browser
import harness
import mutations
import pcap_files
import recording
import reports

SHOWN = ("messages", "lost", "recovered", "missing", "duplicates", "out_of_order", "discrepancies", "trades", "cancels",
         "corrections", "halts", "bonds")


@pytest.fixture(scope="module")
def window(tmp_path_factory):
    """One browser for all tests of this file."""
    with browser.opened(tmp_path_factory.mktemp("profile")) as opened:
        yield opened


@pytest.fixture(scope="module")
def lossy(run, tmp_path_factory):
    """Page and verdict of the run as it came over the wire, losses and all."""
    folder = tmp_path_factory.mktemp("lossy")
    pcap = pcap_files.write_pcap(folder / "feed.pcap", pcap_files.ETHERNET, pcap_files.of_arrivals(run))
    _, verdict = auditing.audit(run, "--pcap", pcap, "--html", folder / "page.html")
    return folder / "page.html", verdict


@pytest.fixture(scope="module")
def different(run, tmp_path_factory):
    """Page and verdict of a feed with sixty altered prices."""
    folder = tmp_path_factory.mktemp("different")
    altered = dict(run.messages)
    for number in recording.numbers_of(run, "trade")[:120:2]:
        altered[number] = mutations.alter_field(run.messages[number], "price")
    pcap = pcap_files.write_pcap(folder / "feed.pcap", pcap_files.ETHERNET, pcap_files.of_messages(run, altered))
    _, verdict = auditing.audit(run, "--pcap", pcap, "--html", folder / "page.html")
    return folder / "page.html", verdict


def number_of(text):
    """The number that a figure shows."""
    return int(text.replace(",", ""))


@pytest.mark.parametrize("dark", [False, True])
@pytest.mark.parametrize("size", [browser.DESKTOP, browser.PHONE])
def test_it_loads_in_silence_and_fetches_nothing(window, lossy, size, dark):
    page, _ = lossy
    browser.complaints(window), browser.requests(window)
    browser.show(window, page, size, dark)
    assert browser.complaints(window) == []
    assert browser.requests(window) == [page.as_uri()]
    background = browser.evaluate(window, "getComputedStyle(document.body).backgroundColor")
    assert (sum(map(int, re.findall(r"\d+", background)[:3])) < 150) == dark


def test_it_needs_no_script_and_names_no_other_place(lossy, different):
    for page, _ in (lossy, different):
        content = page.read_text(encoding="utf-8")
        assert "<script" not in content and "http" not in content.replace("http-equiv", "")
        assert not re.search(r"url\(|@import|src=", content)


@pytest.mark.parametrize("which", ["lossy", "different"])
def test_its_figures_are_the_verdicts(window, which, request):
    page, verdict = request.getfixturevalue(which)
    browser.show(window, page)
    for key in SHOWN:
        assert [number_of(text) for text in browser.texts(window, f"dd[data-key={key}]")] == [verdict[key]], key
    assert browser.texts(window, "h1") == [{"lost": "Messages lost", "different": "Different"}[verdict["verdict"]]]


def test_each_bond_has_a_chart_with_its_book(window, lossy):
    page, verdict = lossy
    browser.show(window, page)
    books = {book["cusip"]: book for book in verdict["books"]}
    cusips = browser.evaluate(window, "[...document.querySelectorAll('article')].map(e => e.dataset.cusip)")
    assert sorted(cusips) == sorted(books) and len(cusips) == 6
    for cusip in cusips:
        card = f"article[data-cusip='{cusip}'] "
        assert number_of(browser.texts(window, card + "[data-key=prints]")[0]) == books[cusip]["prints"]
        for key in ("last", "high", "low"):
            assert float(browser.texts(window, card + f"[data-key={key}]")[0]) == pytest.approx(books[cusip][key], abs=6e-4)
        assert browser.evaluate(window, f"document.querySelector(\"{card}polyline\").points.numberOfItems") > 0
    assert browser.evaluate(window, "document.querySelectorAll('article use.cancel').length") > 10
    assert browser.evaluate(window, "document.querySelectorAll('article use.correction').length") > 10


def test_the_timeline_has_a_bar_for_every_second_and_a_lane_for_every_kind(window, lossy, run):
    page, verdict = lossy
    browser.show(window, page)
    lanes = {name.rstrip("0123456789,"): int(re.search(r"[\d,]+$", name)[0].replace(",", ""))
             for name in browser.texts(window, ".lane-name")}
    assert list(lanes) == ["lost", "lost tails", "out of order", "duplicates", "discrepancies", "marks", "halts", "idle",
                           "close"]
    assert lanes["lost"] + lanes["lost tails"] == verdict["lost"]
    assert (lanes["out of order"], lanes["duplicates"]) == (verdict["out_of_order"], verdict["duplicates"])
    records = recording.truth_of(run.folder / "truth.jsonl").values()
    halts = sum(record.get("action") == "H" for _, record in records)    # lost ones, too
    assert (lanes["halts"], lanes["close"]) == (halts, 1)
    bars = browser.texts(window, ".messages rect title")
    assert sum(float(bar.split()[0]) for bar in bars) == verdict["messages"]    # slices of one second


def test_what_the_bench_was_told_is_marked(window, lossy, run):
    page, _ = lossy
    browser.show(window, page)
    marks = browser.texts(window, ".lane.mark title")
    assert all(re.fullmatch(r".+, \d\d:\d\d:\d\d\.\d{3}", mark) for mark in marks)
    wanted = []
    for line in (run.folder / "truth.jsonl").read_text(encoding="utf-8").splitlines():
        record = json.loads(line)
        if "mark" in record:
            wanted.append(f"mark {record['mark']}")
        elif record["event"] == "halt":
            wanted.append(f"{'halt' if record['action'] == 'H' else 'resume'} {record['cusip']}")
        elif record["event"] == "control":
            wanted.append(f"control message {record['type']}")
    assert [mark.rsplit(", ", 1)[0] for mark in marks] == wanted and "mark half way" in wanted and len(wanted) > 10
    times = [mark.rsplit(", ", 1)[1] for mark in marks]
    assert times == sorted(times)
    places = browser.evaluate(window, "[...document.querySelectorAll('.lane.mark line')].map(e => parseFloat(e.getAttribute('x1')))")
    assert places == sorted(places) and 0 <= places[0] < places[-1] <= 100


@pytest.mark.parametrize("which", ["lossy", "different"])
def test_discrepancies_have_their_places_on_the_timeline(window, which, request):
    page, verdict = request.getfixturevalue(which)
    browser.show(window, page)
    titles = [title for title in browser.texts(window, ".lane title") if " discrepancies, " in title]
    assert sum(number_of(title.split()[0]) for title in titles) == verdict["discrepancies"]
    assert which == "lossy" or len(titles) > 1  # in more slices than one


def test_the_faults_are_listed_with_numbers_and_durations(window, lossy):
    page, verdict = lossy
    browser.show(window, page)
    rows = browser.evaluate(window, "[...document.querySelectorAll('#faults tbody tr')]"
                                    ".map(r => [...r.cells].map(c => c.textContent))")
    assert number_of(browser.texts(window, "[data-key=faults]")[0]) == verdict["faults"] == len(rows)
    assert all(re.fullmatch(r"\d\d:\d\d:\d\d\.\d{3}", row[0]) for row in rows)
    assert len({row[0][-3:] for row in rows}) > len(rows) / 4  # of the moments themselves
    lost = [row for row in rows if row[1].startswith("lost")]
    covered = set()
    for row in lost:
        ends = [int(number) for number in re.findall(r"\d+", row[2])]
        covered.update(range(ends[0], ends[-1] + 1))
        assert re.fullmatch(r"\d+ ms|\d+\.\d s", row[3]) and "missing" in row[4]
    missing = {number for first, last in verdict["missing_ranges"] for number in range(first, last + 1)}
    late = sum(int(number) for row in lost for number in re.findall(r"(\d+) came late", row[4]))
    assert missing <= covered and len(covered) == len(missing) + late
    assert sum(row[1] == "duplicate" for row in rows) == verdict["duplicates"]
    shown = browser.boxes(window, "#faults tbody tr")
    assert len(shown) == min(len(rows), 10)


def test_faults_stand_directly_under_messages_lost(window, lossy, different):
    page, _ = lossy
    browser.show(window, page)
    assert browser.texts(window, "h1") == ["Messages lost"]
    assert browser.texts(window, "main > header + section > h2") == ["Faults on the wire"]
    ends = browser.texts(window, "#faults tbody td:last-child")
    lost = ["missing" in end for end in ends]
    assert any(lost) and lost == sorted(lost, reverse=True)    # those that lost messages come first
    browser.show(window, different[0])
    assert browser.texts(window, "main > header + dl") != [] and browser.texts(window, "#faults") != []


def test_few_losses_are_ticks_at_their_moments(window, lossy):
    page, verdict = lossy
    browser.show(window, page)
    ticks = browser.texts(window, ".lane.lost line.fault title")
    found = [re.fullmatch(r"([\d,]+) lost(?: tails)?, #\d+(?: to #\d+)?, \d\d:\d\d:\d\d\.\d{3}", tick) for tick in ticks]
    assert sum(number_of(each[1]) for each in found) == verdict["lost"]
    gaps = browser.evaluate(window, "[...document.querySelectorAll('#faults .kind.lost')].length")
    assert len(ticks) == gaps > 1
    assert any(text.startswith("one fault") for text in browser.texts(window, ".shades span"))
    widths = browser.evaluate(window, "[...document.querySelectorAll('.chart .lane line.fault')]"
                                      ".map(e => parseFloat(getComputedStyle(e).strokeWidth))")
    assert set(widths) == {2}


def test_the_differences_show_both_sides(window, different):
    page, verdict = different
    browser.show(window, page)
    rows = browser.evaluate(window, "[...document.querySelectorAll('#discrepancies tbody tr')]"
                                    ".map(r => [...r.cells].map(c => c.textContent))")
    listed = verdict["discrepancy_list"]
    assert len(rows) == len(listed) == verdict["discrepancies"] == 60
    for row, entry in zip(rows, listed):
        assert row == [f"#{entry['seq']}", entry["field"], entry["source"] + entry["expected"],
                       entry["place"] + entry["received"]]


def test_hostile_texts_stay_texts(launch, window, tmp_path):
    bench = launch("--rate-ms", 0, "--session", "<b>&\"x")
    reporter = harness.open_reporter(bench)
    reports.report(reporter, cusip="<script>1", symbol="<i>\"&'</i>")
    reports.report(reporter, cusip="<script>1", symbol="<i>\"&'</i>")
    page = tmp_path / "page.html"
    status, verdict = auditing.audit(bench, "--offline", "--session", "<b>&\"x", "--html", page)
    assert status == 0, auditing.explain(verdict)
    browser.show(window, page)
    assert browser.complaints(window) == []
    assert browser.evaluate(window, "document.querySelectorAll('script, i, article b').length") == 0
    assert "<i>\"&'</i>" in browser.texts(window, "h3")


def test_on_paper_everything_unfolds_to_the_width(window, lossy):
    page, _ = lossy
    browser.show(window, page)
    browser.print_page(window)
    assert browser.evaluate(window, "getComputedStyle(document.querySelector('main')).maxWidth") == "none"
    assert browser.evaluate(window, "document.documentElement.scrollWidth") <= browser.DESKTOP[0]
    browser.show(window, page)
