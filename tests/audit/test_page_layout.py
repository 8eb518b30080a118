"""The layout of the page in a real browser, for outcomes that were constructed to strain it: no label meets another and
nothing leaves the page, on any screen."""

import os
import subprocess

import pytest

import browser
import harness

SIZES = [browser.DESKTOP, (1000, 900), (820, 1100), (737, 900), browser.PHONE, (320, 600)]
OUTCOMES = ["nothing", "one-message", "one-price", "moment", "nine-hours", "many-days", "extreme-prices",
            "price-labels-everywhere", "longest-names", "largest-figures"]

# Every chart's labels that meet, as pairs of texts, and the labels that leave the chart's card.
FAULTS_OF_CHARTS = """[...document.querySelectorAll('.chart')].flatMap(chart => {
  const card = chart.closest('.card').getBoundingClientRect();
  const labels = [...chart.querySelectorAll('.tick, .levels span, .lane-name > *, .unit')]
    .filter(e => e.checkVisibility()).map(e => [e.getBoundingClientRect(), e.textContent]);
  const faults = labels.length < 3 ? ['only ' + labels.length + ' labels'] : [];
  labels.forEach(([a, text], i) => {
    if (a.left < card.left || a.right > card.right || a.bottom > card.bottom) faults.push(text + ' leaves its card');
    labels.slice(i + 1).forEach(([b, other]) => {
      if (a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom) faults.push([text, other]);
    });
  });
  return faults;
})"""


@pytest.fixture(scope="module")
def window(tmp_path_factory):
    """One browser for all tests of this file."""
    with browser.opened(tmp_path_factory.mktemp("profile")) as opened:
        yield opened


@pytest.fixture(scope="module")
def pages(tmp_path_factory):
    """The folder with the page of every outcome."""
    folder = tmp_path_factory.mktemp("pages")
    made = subprocess.run([os.environ["MAKE_PAGES"], str(folder)], capture_output=True, text=True, check=False,
                          timeout=harness.bound(60))
    assert (made.returncode, made.stdout, made.stderr) == (0, "", "")
    assert sorted(path.stem for path in folder.iterdir()) == sorted(OUTCOMES)
    return folder


@pytest.mark.parametrize("outcome", OUTCOMES)
def test_no_label_meets_another_and_nothing_leaves_the_page(window, pages, outcome):
    for size in SIZES:
        browser.show(window, pages / f"{outcome}.html", size)
        assert browser.evaluate(window, "document.documentElement.scrollWidth") <= size[0], size
        assert browser.evaluate(window, FAULTS_OF_CHARTS) == [], size
        texts = browser.boxes(window, ".figures dd, .figures dt, h1, .sentence, .context, h3, .card > p")
        assert browser.overlapping(texts) == [], size
        assert [text for left, _, right, _, text in texts if left < 0 or right > size[0]] == [], size
        assert browser.evaluate(window, "[...document.querySelectorAll('.figures dd')]"
                                        ".filter(e => e.scrollWidth > e.clientWidth).length") == 0, size


@pytest.mark.parametrize("size", [browser.DESKTOP, browser.PHONE])
@pytest.mark.parametrize("dark", [False, True])
def test_shades_have_a_legend(window, pages, size, dark):
    browser.show(window, pages / "largest-figures.html", size, dark)
    assert browser.texts(window, ".shades span") == ["few to many within 1.0 s"]
    strengths = browser.evaluate(window, "[...document.querySelectorAll('.shades rect')]"
                                         ".map(e => parseFloat(getComputedStyle(e).fillOpacity))")
    assert len(strengths) == 3 and strengths == sorted(set(strengths))
    browser.show(window, pages / "nothing.html", size, dark)
    assert browser.texts(window, ".shades") == []


def test_every_bond_is_drawn(window, pages):
    browser.show(window, pages / "price-labels-everywhere.html")
    assert browser.evaluate(window, "document.querySelectorAll('article polyline').length") == 60


def test_colours_that_mean_something_are_printed(window, pages):
    browser.show(window, pages / "largest-figures.html")
    browser.print_page(window)
    for selector, pseudo in ((".lane", "null"), (".messages rect", "null"), (".kind", "'::before'")):
        style = f"getComputedStyle(document.querySelector('{selector}'), {pseudo}).printColorAdjust"
        assert browser.evaluate(window, style) == "exact", selector
