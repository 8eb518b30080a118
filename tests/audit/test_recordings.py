"""How much of a run a recording or a capture covers: its beginning and its end, asked for or not, of benches that have
closed and of benches that run on."""

import json

import pytest

import auditing
import control
import handler
import harness
import pcap_files
import receiver
import recording


@pytest.fixture(scope="module")
def right(run):
    """What a handler without flaws believes."""
    return handler.believe(handler.Handler(), run)


@pytest.fixture
def open_run(run, tmp_path):
    """The run's files as they stood before its session was closed: the folder."""
    closing = next(number for number, raw in sorted(run.messages.items()) if raw[:2] == b"CC")
    for name in ("truth.jsonl", "tape.jsonl"):
        lines = (run.folder / name).read_bytes().splitlines(keepends=True)
        kept = [line for line in lines if json.loads(line).get("seq", 0) < closing]
        (tmp_path / name).write_bytes(b"".join(kept))
    return tmp_path


def last_of(folder):
    """The highest number in a truth file."""
    return max(recording.truth_of(folder / "truth.jsonl"))


def judge(run, path, lines, *options, folder=None):
    """The audit's word on these beliefs, with the files of the run or of another folder."""
    folder = folder or run.folder
    return auditing.audit(run, "--capture", handler.write_lines(path / "beliefs.jsonl", lines), *options,
                          truth=folder / "truth.jsonl", tape=folder / "tape.jsonl")


def judge_pcap(run, path, datagrams, *options, folder=None):
    """The same of a capture of the feed."""
    folder = folder or run.folder
    pcap = pcap_files.write_pcap(path / "feed.pcap", pcap_files.RAW, datagrams)
    return auditing.audit(run, "--pcap", pcap, *options, truth=folder / "truth.jsonl", tape=folder / "tape.jsonl")


# Where it begins.

@pytest.mark.parametrize("first", [2, 50, 400])
def test_what_a_recording_has_before_the_start_is_left_out(run, right, tmp_path, first):
    status, verdict = judge(run, tmp_path, right, "--from", first)
    assert (status, verdict["verdict"], verdict["discrepancies"]) == (0, "equal", 0), auditing.explain(verdict)
    assert (verdict["first"], verdict["last"]) == (first, len(run.messages))
    assert verdict["messages"] == len(run.messages) - first + 1


def test_nothing_that_is_wrong_before_the_start_counts(run, right, tmp_path):
    wrong = [{**line, "price": 1} if line["seq"] < 50 and "price" in line else line for line in right]
    wrong = [{"seq": "what?"}, *wrong[:20], *wrong[25:30], *wrong[28:]]
    assert judge(run, tmp_path, wrong)[0] == 1
    status, verdict = judge(run, tmp_path, wrong, "--from", 50)
    assert (status, verdict["verdict"], verdict["missing"]) == (0, "equal", 0), auditing.explain(verdict)


def test_what_is_wrong_behind_the_start_counts(run, right, tmp_path):
    number = recording.numbers_of(run, "trade")[60]
    wrong = [{**line, "price": 1} if line["seq"] == number else line for line in right]
    status, verdict = judge(run, tmp_path, wrong, "--from", 50)
    assert (status, auditing.first_wrong(verdict)) == (1, (number, "price"))


def test_books_are_known_from_before_the_start(run, right, tmp_path):
    """Every line states its book, which earlier trades have made: one that is wrong is found."""
    line = next(each for each in right if each["seq"] >= 300 and each.get("book", {}).get("prints", 0) > 5)
    wrong = [{**each, "book": {**each["book"], "prints": 1}} if each is line else each for each in right]
    status, verdict = judge(run, tmp_path, wrong, "--from", 300)
    assert (status, auditing.first_wrong(verdict)) == (1, (line["seq"], "book.prints"))


def test_the_first_message_judged_must_be_there(run, right, tmp_path):
    status, verdict = judge(run, tmp_path, [line for line in right if line["seq"] > 51], "--from", 50)
    assert (status, verdict["verdict"], verdict["missing_ranges"]) == (1, "lost", [[50, 51]])


def test_a_start_behind_the_end_is_no_verdict(run, right, tmp_path):
    path = handler.write_lines(tmp_path / "beliefs.jsonl", right)
    status, output, errors = auditing.run_raw("audit", "--truth", run.folder / "truth.jsonl", "--capture", path,
                                              "--from", len(run.messages) + 1)
    assert (status, output) == (3, "")
    assert f"there is no message from #{len(run.messages) + 1} on in {path}" in errors


# Where it ends.

def test_a_recording_of_a_bench_that_runs_on_is_judged_as_far_as_it_goes(run, right, open_run, tmp_path):
    status, verdict = judge(run, tmp_path, right[:507], folder=open_run)
    assert (status, verdict["verdict"], verdict["missing"]) == (0, "equal", 0), auditing.explain(verdict)
    assert (verdict["messages"], verdict["last"], verdict["truth_last"]) == (507, 507, last_of(open_run))
    assert verdict["sentence"].endswith(f"; judged #1 to #507; the truth goes to #{last_of(open_run)}")


def test_the_verdict_for_people_and_the_page_say_how_far_it_goes(run, right, open_run, tmp_path):
    path = handler.write_lines(tmp_path / "beliefs.jsonl", right[:507])
    page = tmp_path / "page.html"
    status, output, _ = auditing.run_raw("audit", "--truth", open_run / "truth.jsonl", "--capture", path, "--html", page)
    words = f"judged #1 to #507; the truth goes to #{last_of(open_run)}"
    assert status == 0
    assert words in output.splitlines()[0]
    assert words in page.read_text(encoding="utf-8")


def test_a_recording_that_is_cut_in_its_last_line_is_judged_to_there(run, right, open_run, tmp_path):
    path = handler.write_lines(tmp_path / "beliefs.jsonl", right[:300])
    path.write_bytes(path.read_bytes()[:-50])
    status, verdict = auditing.audit(run, "--capture", path, truth=open_run / "truth.jsonl", tape=open_run / "tape.jsonl")
    assert (status, verdict["verdict"], verdict["last"]) == (0, "equal", 299), auditing.explain(verdict)
    assert verdict["notes"] == ["the recording is cut off in its last line: it is judged as far as it goes"]


def test_a_recording_of_all_there_is_says_no_more(run, right, tmp_path):
    status, verdict = judge(run, tmp_path, right)
    assert (status, verdict["truth_last"]) == (0, len(run.messages))
    assert verdict["sentence"] == f"{len(run.messages)} messages equal to their truth records and the tape"


@pytest.mark.parametrize("left_out", [1, 3, 100])
def test_a_recording_that_stops_before_the_close_has_lost_the_rest(run, right, tmp_path, left_out):
    last = len(run.messages)
    status, verdict = judge(run, tmp_path, right[:-left_out])
    assert (status, verdict["verdict"]) == (1, "lost"), auditing.explain(verdict)
    assert verdict["missing_ranges"] == [[last - left_out + 1, last]]


def test_what_is_wrong_is_found_in_a_recording_of_a_part(run, right, open_run, tmp_path):
    number = recording.numbers_of(run, "trade")[60]
    wrong = [{**line, "price": 1} if line["seq"] == number else line for line in right[:507]]
    status, verdict = judge(run, tmp_path, wrong, folder=open_run)
    assert (status, auditing.first_wrong(verdict)) == (1, (number, "price"))


def test_a_message_that_the_bench_never_sent_is_found(run, right, open_run, tmp_path):
    last = last_of(open_run)
    status, verdict = judge(run, tmp_path, [*right[:last], {**right[last - 1], "seq": last + 1}], folder=open_run)
    assert (status, auditing.first_wrong(verdict)) == (1, (last + 1, "seq"))


def test_a_number_far_off_does_not_take_for_ever(run, right, tmp_path):
    status, verdict = judge(run, tmp_path, [*right, {"event": "control", "seq": 2**62}])
    assert (status, auditing.first_wrong(verdict)) == (1, (len(right) + 1, "seq"))


def test_an_end_that_is_asked_for_leaves_out_what_comes_behind(run, right, tmp_path):
    wrong = [{**line, "price": 1} if line["seq"] > 300 and "price" in line else line for line in right]
    wrong.append({"book": {"cusip": "345370CS9", "prints": 99999}})
    status, verdict = judge(run, tmp_path, wrong, "--to", 300)
    assert (status, verdict["verdict"], verdict["messages"]) == (0, "equal", 300), auditing.explain(verdict)
    assert (verdict["first"], verdict["last"]) == (1, 300)
    status, verdict = judge(run, tmp_path, wrong, "--from", 100, "--to", 300)
    assert (status, verdict["verdict"], verdict["messages"]) == (0, "equal", 201), auditing.explain(verdict)
    assert judge(run, tmp_path, wrong, "--to", 400)[0] == 1


def test_what_is_missing_before_the_end_that_is_asked_for_is_lost(run, right, open_run, tmp_path):
    status, verdict = judge(run, tmp_path, right[:300], "--to", 310, folder=open_run)
    assert (status, verdict["verdict"], verdict["missing_ranges"]) == (1, "lost", [[301, 310]])


def test_an_end_that_nobody_has_reached_is_status_3(run, right, open_run, tmp_path):
    last = last_of(open_run)
    status, verdict = judge(run, tmp_path, right[:last], "--to", last + 5, folder=open_run)
    assert (status, verdict["verdict"]) == (3, "unfinished"), auditing.explain(verdict)
    assert verdict["unfinished"] == (f"#{last + 5} did not come: {tmp_path / 'beliefs.jsonl'} goes to #{last}, "
                                     f"the truth to #{last}")


def test_the_end_of_session_can_be_asked_of_a_recording(run, right, open_run, tmp_path):
    status, verdict = judge(run, tmp_path, right[:507], "--until-end", folder=open_run)
    assert (status, verdict["verdict"]) == (3, "unfinished"), auditing.explain(verdict)
    assert verdict["unfinished"].startswith("the end of session did not come: ")
    status, verdict = judge(run, tmp_path, right, "--until-end")
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert judge(run, tmp_path, right[:-1], "--until-end")[0] == 1


def test_a_range_that_ends_before_it_begins_is_a_wrong_use(run, right, tmp_path):
    path = handler.write_lines(tmp_path / "beliefs.jsonl", right)
    words = ("audit", "--truth", run.folder / "truth.jsonl", "--capture", path)
    status, output, errors = auditing.run_raw(*words, "--from", 5, "--to", 4)
    assert (status, output) == (2, "")
    assert "--to" in errors
    assert auditing.run_raw(*words, "--to", 5, "--until-end")[0] == 2


# Captures of packets.

def test_a_capture_of_a_part_says_so(run, open_run, tmp_path):
    datagrams = pcap_files.of_messages(run)[:400]
    status, verdict = judge_pcap(run, tmp_path, datagrams, folder=open_run)
    assert (status, verdict["verdict"]) == (0, "equal"), auditing.explain(verdict)
    assert verdict["sentence"].endswith(f"; judged #1 to #400; the truth goes to #{last_of(open_run)}")


def test_a_capture_is_judged_to_the_end_that_is_asked_for(run, tmp_path):
    datagrams = pcap_files.of_messages(run)
    spoilt = datagrams[:350] + [pcap_files.Datagram(each.at_ns, each.data[:-3] + b"???", each.to, each.port)
                                for each in datagrams[350:]]
    assert judge_pcap(run, tmp_path, spoilt)[0] == 1
    status, verdict = judge_pcap(run, tmp_path, spoilt, "--to", 350)
    assert (status, verdict["verdict"], verdict["last"]) == (0, "equal", 350), auditing.explain(verdict)
    status, verdict = judge_pcap(run, tmp_path, datagrams[:340], "--to", 350)
    assert (status, verdict["verdict"], verdict["missing_ranges"]) == (1, "lost", [[341, 350]])


def test_the_end_of_session_can_be_asked_of_a_capture(run, tmp_path):
    datagrams = pcap_files.of_messages(run)
    assert judge_pcap(run, tmp_path, datagrams, "--until-end")[0] == 0
    status, verdict = judge_pcap(run, tmp_path, datagrams[:400], "--until-end")
    assert (status, verdict["verdict"]) == (3, "unfinished"), auditing.explain(verdict)


# A bench that runs.

def test_a_recording_of_a_running_bench_is_right_at_once(launch, tmp_path):
    bench = launch("--rate-ms", 5, "--drop-every", 7, "--scenario", "cancel_every=3,correct_every=4")
    status, output, _ = auditing.run_raw("listen", "--json", "--from", 1, "--count", 300, "--mcast", bench.doors.group,
                                         "--port", bench.doors.feed, "--retrans-port", bench.doors.retrans)
    assert status == 0
    heard = tmp_path / "heard.jsonl"
    heard.write_text(output, encoding="utf-8")
    receiver.wait_for_sequence(bench.feed, 350, harness.bound(20))
    status, verdict = auditing.audit(bench, "--capture", heard)
    assert (status, verdict["verdict"], verdict["last"]) == (0, "equal", 300), auditing.explain(verdict)
    assert verdict["truth_last"] >= 350


def test_a_live_audit_ends_with_the_number_that_is_asked_for(launch):
    bench = launch("--rate-ms", 5, "--drop-every", 9, "--quiet")
    receiver.wait_for_sequence(bench.feed, 100, harness.bound(20))
    status, verdict = auditing.audit(bench, "--to", 300)
    assert (status, verdict["verdict"], verdict["ended_by"]) == (0, "equal", "number"), auditing.explain(verdict)
    assert verdict["messages"] == verdict["last"] == 300
    status, verdict = auditing.audit(bench, "--from", 20, "--to", 60)
    assert (status, verdict["verdict"], verdict["messages"]) == (0, "equal", 41), auditing.explain(verdict)


def test_a_number_that_does_not_come_live_is_status_3(launch):
    bench = launch("--rate-ms", 5, "--quiet")
    receiver.wait_for_sequence(bench.feed, 50, harness.bound(20))
    status, verdict = auditing.audit(bench, "--to", 1000000, "--seconds", 0.5)
    assert (status, verdict["verdict"]) == (3, "unfinished"), auditing.explain(verdict)
    assert verdict["unfinished"].startswith("#1000000 did not come: the last message was #")


def test_a_fetched_run_is_judged_to_the_end_that_is_asked_for(launch):
    bench = launch("--rate-ms", 5, "--quiet")
    receiver.wait_for_sequence(bench.feed, 200, harness.bound(20))
    status, verdict = auditing.audit(bench, "--offline", "--to", 150)
    assert (status, verdict["verdict"], verdict["messages"]) == (0, "equal", 150), auditing.explain(verdict)
    assert control.command(bench.control, "pause") == "ok"
    last = control.stats(bench.control)["seq"]
    status, verdict = auditing.audit(bench, "--offline", "--to", last + 3)
    assert (status, verdict["verdict"]) == (3, "unfinished"), auditing.explain(verdict)
    assert verdict["unfinished"].startswith(f"#{last + 3} did not come: ")
