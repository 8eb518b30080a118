"""The situations that a run puts its receiver through: counted as the tests' own books and decoder count them, told of a
wire that is made up packet by packet, shown by text, JSON and page alike, and asked for by --require."""

import collections
import dataclasses
import json
import re

import pytest

import auditing
import book
import companion
import control
import harness
import pcap_files
import recording
import reports
import wire

MS = 10**6
UNMET = 8
PAGE_ROW = re.compile(r'<td class="value">([a-z-]+(?:-[A-Z])?)</td><td class="number(?: quiet)?">([\d,]+)</td>'
                      r'<td class="number">(?:#(\d+))?</td>')
UNKNOWABLE_ROW = re.compile(r'<td class="value">([a-z-]+)</td><td class="number quiet" colspan="2">not knowable here</td>')
TEXT_ROW = re.compile(r"^  ([a-z-]+(?:-[A-Z])?) +(?:([\d,]+) +(?:#(\d+))?|not knowable here) {3}\S", re.MULTILINE)
FLAVOURS = {("as_of", "A"): "as-of", ("as_of", "R"): "reversal", ("special", "Y"): "special-price",
            ("sale3", "Z"): "late-sale", ("sale3", "T"): "after-hours", ("sale4", "W"): "weighted-average",
            ("ats", "Y"): "ats"}
CAPS = {"5MM+": "capped-investment-grade", "1MM+": "capped-high-yield"}
COUNTED = {f"control-{code}" for code in "IOCXJZ"} | set(FLAVOURS.values()) | set(CAPS.values()) | {
    "trade", "cancel", "correction", "halt", "resume", "summary", "yield-absent", "halt-traded", "halt-untraded",
    "resume-traded", "resume-untraded"} | {f"{kind}-{what}" for kind in ("cancel", "correction")
                                           for what in ("high", "low", "last", "only", "earlier-day")}

# What a steered run meets or not, as the machine is quick or slow.
OF_SPEED = {"gap-in-gap", "close-in-gap", "gap-tail", "heartbeat-lost", "idle"}


def of_trade(message):
    """What a trade is."""
    yield "trade"
    yield from (name for (field, code), name in FLAVOURS.items() if message[field] == code)
    if message["qty"].strip() in CAPS:
        yield CAPS[message["qty"].strip()]


def of_amendment(market, message):
    """What a cancel or correction is; the market goes on by it."""
    kind, prefix = ("cancel", "") if message.kind == "T/N" else ("correction", "old_")
    original = market.trades[int(message["orig_id"])]
    before = dataclasses.replace(book.book_now(market, message["cusip"]))
    assert book.follow(market, message) == []
    after = book.book_now(market, message["cusip"])
    yield kind
    if message[prefix + "as_of"] != " ":
        yield f"{kind}-earlier-day"
    if original.eligible and before.prints == 1:
        yield f"{kind}-only"
    elif original.eligible:
        for what in ("high", "low", "last"):
            was_there = getattr(before, what) == original.price and (what != "last" or before.last_exec_s == original.exec_s)
            if was_there and getattr(after, what) != original.price:
                yield f"{kind}-{what}"
    if not after.traded:
        yield "yield-absent"


def of_halt(market, message):
    """What a halt or resume is."""
    action = {"H": "halt", "R": "resume"}[message["action"]]
    yield action
    yield f"{action}-{'traded' if book.book_now(market, message['cusip']).traded else 'untraded'}"


def counted_by_hand(messages):
    """The situations of the messages as the tests' own decoder and books tell them: name to (count, first number)."""
    market = book.Market()
    met = collections.defaultdict(list)
    for number, raw in sorted(messages.items()):
        message = wire.decode(raw)
        if message.kind in ("T/N", "T/O"):
            names = list(of_amendment(market, message))
        else:
            assert book.follow(market, message) == []
            names = {"T/M": lambda each: list(of_trade(each)), "A/H": lambda each: list(of_halt(market, each)),
                     "A/E": lambda each: ["summary"], "C": lambda each: [f"control-{each['type']}"]}[message.kind](message)
        for name in names:
            met[name].append(number)
    return {name: (len(numbers), numbers[0]) for name, numbers in met.items()}


def met_in(verdict):
    """The situations that a verdict says were met: name to (count, first number)."""
    return {name: (each["count"], each["first"]) for name, each in verdict["situations"].items() if each and each["count"]}


def met_on_page(content):
    """The same of a page; and the names that are not knowable."""
    rows = {name: (int(count.replace(",", "")), first and int(first)) for name, count, first in PAGE_ROW.findall(content)}
    return {name: each for name, each in rows.items() if each[0]}, set(UNKNOWABLE_ROW.findall(content))


def met_in_text(text):
    """The same of a text."""
    rows = TEXT_ROW.findall(text)
    met = {name: (int(count.replace(",", "")), int(first)) for name, count, first in rows if first}
    return met, {name for name, count, _ in rows if not count}


def views_of(folder):
    """The verdict that an audit has left, and what its text and its page say of situations; they must be whole."""
    verdict = json.loads((folder / "verdict.json").read_text(encoding="utf-8"))
    text = (folder / "verdict.txt").read_text(encoding="utf-8")
    content = (folder / "page.html").read_text(encoding="utf-8")
    unknowable = {name for name, each in verdict["situations"].items() if each is None}
    known = len(verdict["situations"]) - len(unknowable)
    figure = f"{len(met_in(verdict))} of {known}" + (f"; {len(unknowable)} are not knowable here" if unknowable else "")
    assert f"\nsituations met: {figure}\n" in text
    assert f'<span data-key="situations">{figure}</span>' in content
    assert len(TEXT_ROW.findall(text)) == len(verdict["situations"])
    assert len(PAGE_ROW.findall(content)) + len(UNKNOWABLE_ROW.findall(content)) == len(verdict["situations"])
    assert met_in_text(text) == met_on_page(content) == (met_in(verdict), unknowable)
    return verdict


def feed_of(run):
    """The messages by number, each in a packet of its own."""
    return {number: pcap_files.Datagram(0, pcap_files.packed(number, raw), run.doors.group, run.doors.feed)
            for number, raw in sorted(run.messages.items())}


def beat(run, number, count=0):
    """A heartbeat, or with another count the end of session."""
    data = pcap_files.packed(number)[:18] + count.to_bytes(2, "big")
    return pcap_files.Datagram(0, data, run.doors.group, run.doors.feed)


def story_of(run):
    """A wire with every situation that a capture of this length can hold: (pause before it in ms, datagram) in order, and
    what is met by it."""
    feed = feed_of(run)
    halt = next(number for number in recording.numbers_of(run, "halt") if number > 220)
    close = next(number for number, raw in sorted(run.messages.items()) if raw.startswith(b"CC"))
    last = max(run.messages)
    order = {number: [(1, feed[number])] for number in feed}

    def answer(number, count=1):
        return (1, pcap_files.of_answer(run, number, count, 0))

    order[50] = []
    order[51].append(answer(50))
    for number in range(60, 72):
        order[number] = []
    order[72] += [answer(60, 4), answer(64, 4), answer(68, 4)]
    order[90] = order[92] = []
    order[93] += [answer(90), answer(92)]
    order[100] *= 2
    order[110] = []
    order[111] = order[111] * 2 + [answer(110)]
    order[120] = []
    order[121] = [(1000, beat(run, 121)), answer(120)] + order[121] + [(0, feed[120])]
    order[130], order[131] = [], order[131] + order[130]
    order[140], order[141], order[142] = [], [], order[142] + order[140] + [answer(141)]
    order[160] = [(2000, feed[160])]
    order[halt] = []
    order[halt + 1].append(answer(halt))
    order[close] = []
    order[last] += [(1, beat(run, last + 1, wire.END_OF_SESSION)), answer(close)]
    # The run may halt a bond anywhere before that, among the others that are lost too.
    lost = {50, *range(60, 72), 90, 92, 110, 120, 141, halt}
    halts = sorted(lost.intersection(recording.numbers_of(run, "halt")))
    met = {"gap-one": (8, 50), "gap-burst": (1, 60), "gap-tail": (1, 120), "gap-in-gap": (1, 92),
           "gap-across-halt": (len(halts), halts[0]), "gap-across-close": (1, close), "gap-beyond-packet": (1, 60),
           "duplicate": (1, 100), "duplicate-before-recovery": (1, 111), "duplicate-after-recovery": (1, 120),
           "reorder": (2, 130), "reorder-across-gap": (1, 140), "heartbeat-lost": (1, 160), "close-in-gap": (1, close)}
    return [each for number in sorted(order) for each in order[number]], met


@pytest.fixture(name="story", scope="module")
def tell_story(run, tmp_path_factory):
    """A capture of the story, and what is met by the wire."""
    steps, met = story_of(run)
    at_ns, datagrams = run.arrivals[0][0], []
    for pause_ms, datagram in steps:
        at_ns += pause_ms * MS
        datagrams.append(dataclasses.replace(datagram, at_ns=at_ns))
    folder = tmp_path_factory.mktemp("story")
    return pcap_files.write_pcap(folder / "feed.pcap", pcap_files.ETHERNET, datagrams), met


def test_messages_and_wire_are_counted_and_every_view_shows_it(run, story, tmp_path):
    pcap, of_wire = story
    status, verdict = auditing.audit(run, "--pcap", pcap, "--situations", "--keep", tmp_path / "kept", "--require",
                                     "trade,gap-one,heartbeat-lost", tape=False)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert views_of(tmp_path / "kept") == verdict
    met = met_in(verdict)
    by_hand = counted_by_hand(run.messages)
    assert {name: each for name, each in met.items() if name in COUNTED} == by_hand
    assert {name: each for name, each in met.items() if name not in COUNTED | {"idle"}} == of_wire
    assert set(verdict["situations"]) - COUNTED - set(of_wire) == {"idle", "gap-beyond-request", "gap-beyond-store"}
    # What the recorded run surely has, so that the count by hand is not one of nothing.
    assert set(by_hand) >= {f"control-{code}" for code in "IOCXJZ"} | set(FLAVOURS.values()) | {
        "trade", "cancel", "correction", "halt", "resume", "summary", "capped-investment-grade", "cancel-high",
        "cancel-earlier-day", "halt-traded", "resume-traded"}


def test_what_is_required_and_not_met_has_a_status_of_its_own(run, story):
    pcap, _ = story
    words = ("audit", "--truth", run.folder / "truth.jsonl", "--pcap", pcap, "--require",
             "gap-beyond-store,trade,gap-beyond-request")
    status, output, _ = companion.run(run.doors, *words)
    assert status == UNMET
    assert output.startswith("unmet: not met: gap-beyond-request, gap-beyond-store; "), output
    status, verdicts = companion.run_json(run.doors, *words)
    assert (status, verdicts[0]["verdict"]) == (UNMET, "unmet")
    assert verdicts[0]["unmet"] == ["gap-beyond-request", "gap-beyond-store"]
    assert verdicts[0]["discrepancies"] == verdicts[0]["missing"] == 0


def test_what_is_wrong_goes_before_what_is_not_met(run, story, copy):
    pcap, _ = story
    truth = copy("truth.jsonl")
    number = recording.numbers_of(run, "trade")[5]
    index, record = recording.truth_of(truth)[number]
    recording.replace_line(truth, index, {**record, "side": "?"})
    status, verdict = auditing.audit(run, "--pcap", pcap, "--require", "gap-beyond-store", truth=truth, tape=False)
    assert (status, verdict["verdict"], verdict["unmet"]) == (1, "different", ["gap-beyond-store"])


def test_what_did_not_come_goes_before_what_is_not_met(run, story):
    pcap, _ = story
    status, verdict = auditing.audit(run, "--pcap", pcap, "--require", "gap-beyond-store", "--to", 10**6, tape=False)
    assert (status, verdict["verdict"], verdict["unmet"]) == (3, "unfinished", ["gap-beyond-store"])


def believed(run, folder):
    """A recording of nothing but numbers and events."""
    path = folder / "heard.jsonl"
    path.write_text("".join(json.dumps({"seq": number, "event": recording.kind_of(raw)}) + "\n"
                            for number, raw in sorted(run.messages.items())), encoding="ascii")
    return path


def test_a_recording_tells_nothing_of_the_wire(run, tmp_path):
    heard = believed(run, tmp_path)
    status, verdict = auditing.audit(run, "--capture", heard, "--situations", "--keep", tmp_path / "kept")
    assert status == 0, auditing.explain(verdict)
    assert views_of(tmp_path / "kept") == verdict
    assert {name: each for name, each in met_in(verdict).items() if name != "idle"} == counted_by_hand(run.messages)
    status, _, errors = companion.run(run.doors, "audit", "--truth", run.folder / "truth.jsonl", "--capture", heard,
                                      "--require", "trade,gap-one")
    assert status == 2
    assert "--require: gap-one is not knowable here, as it takes the packets of the feed to know it" in errors


@pytest.mark.parametrize("names, says", [
    ("gap-tal", 'there is no situation "gap-tal"; did you mean gap-tail?'),
    ("trade,CANCEL_HIGH", 'there is no situation "CANCEL_HIGH"; did you mean cancel-high?'),
    ("nothing-of-the-kind", 'there is no situation "nothing-of-the-kind"; docs/audit.md lists them'),
    ("", 'there is no situation ""'), ("trade,", 'there is no situation ""')])
def test_a_name_that_there_is_not_is_wrong_usage(run, names, says):
    status, output, errors = companion.run(run.doors, "audit", "--truth", run.folder / "truth.jsonl", "--require", names)
    assert (status, output) == (2, "")
    assert f"--require: {says}" in errors


def steer(bench, *commands):
    """Sends commands that must all be done."""
    for command in commands:
        assert control.command(bench.control, command).split()[0] in ("ok", "cancelled", "corrected"), command


def test_a_live_run_that_is_steered_meets_what_it_was_steered_to(launch, tmp_path):
    bench = launch("--rate-ms", 0, listen=False)
    asked = ("--until-end", "--situations", "--keep", tmp_path / "kept", "--require",
             "halt-untraded,resume-traded,correction-high,cancel-only,gap-burst,duplicate,reorder,gap-across-close")
    running = auditing.start(bench, *asked)
    lacking = auditing.start(bench, "--until-end", "--require", "trade,gap-beyond-store")
    reporter = harness.open_reporter(bench)

    def trade(cusip, price, quantity="1000"):
        return reports.report(reporter, cusip=cusip, price=price, quantity=quantity)

    steer(bench, f"halt {reports.MSFT}", f"resume_halt {reports.MSFT}")
    trade(reports.MSFT, "99")
    steer(bench, "correct", "cancel", f"halt {reports.AAPL}")
    for price in ("98", "97", "99"):
        trade(reports.AAPL, price, "6000000")
    steer(bench, f"resume_halt {reports.AAPL}", "correct", "cancel")
    steer(bench, "dup")
    trade(reports.FORD, "97", "2000000")
    steer(bench, "reorder")
    trade(reports.FORD, "96")
    trade(reports.FORD, "95")
    steer(bench, "correct", "cancel", "drop 2")
    trade(reports.FORD, "96")
    trade(reports.FORD, "96")
    trade(reports.FORD, "96")
    steer(bench, f"halt {reports.FORD}", "drop", "close")
    assert companion.finish(running, 40) == 0, running.errors
    assert companion.finish(lacking, 40) == UNMET
    assert companion.objects(lacking)[0]["unmet"] == ["gap-beyond-store"]
    verdict = views_of(tmp_path / "kept")
    assert verdict == companion.objects(running)[0]
    met = met_in(verdict)
    assert set(met) - OF_SPEED == {
        "control-I", "control-O", "control-C", "control-X", "control-J", "control-Z", "trade", "cancel", "correction", "halt",
        "resume", "summary", "capped-investment-grade", "capped-high-yield", "yield-absent", "cancel-high", "cancel-low",
        "cancel-last", "cancel-only", "correction-high", "correction-low", "correction-last", "correction-only",
        "halt-traded", "halt-untraded", "resume-traded", "resume-untraded", "gap-one", "gap-burst", "gap-across-close",
        "duplicate", "reorder"}
    assert met["halt-untraded"] == (2, 3) and met["correction-only"] == (1, 6) and met["cancel-only"] == (1, 7)
    assert met["gap-one"][1] == met["gap-across-close"][1] == met["control-C"][1]
