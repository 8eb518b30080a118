"""The audit of a feed that is not one run: messages that come again altered, a bench that began again, a second one
beside the first, an end of session that does not come; and how long gaps were open."""

import dataclasses
import threading

import auditing
import companion
import control
import harness
import pcap_files
import receiver
import wire


def altered(raw, name="price"):
    """The message with another digit in the field."""
    end = 0
    for field, width in wire.LAYOUTS[wire.decode(raw).kind]:
        end += width
        if field == name:
            break
    return raw[:end - 1] + (b"2" if raw[end - 1:end] == b"1" else b"1") + raw[end:]


def trade_numbers(run):
    """The numbers of trade messages."""
    return [number for number, raw in sorted(run.messages.items()) if raw[:2] == b"TM"]


def audit_datagrams(run, path, datagrams):
    """The audit's word on a capture of these datagrams."""
    return auditing.audit(run, "--pcap", pcap_files.write_pcap(path / "feed.pcap", pcap_files.RAW, datagrams))


def again(run, number, raw, at_ns, **changes):
    """A datagram that carries the message once more."""
    return dataclasses.replace(
        pcap_files.Datagram(at_ns, pcap_files.packed(number, raw), run.doors.group, run.doors.feed), **changes)


def number_of(datagram):
    """The number of its first message."""
    return wire.parse_packet(datagram.data).sequence


def inserted(datagrams, extra):
    """All of them in the order of their times."""
    return sorted([*datagrams, *extra], key=lambda each: each.at_ns)


def test_three_messages_sent_again_with_another_price_are_three_discrepancies(run, tmp_path):
    datagrams = pcap_files.of_messages(run)
    numbers = trade_numbers(run)[5:8]
    extra = [again(run, number, altered(run.messages[number]), datagrams[number + 3].at_ns) for number in numbers]
    status, verdict = audit_datagrams(run, tmp_path, inserted(datagrams, extra))
    assert (status, verdict["verdict"], verdict["discrepancies"]) == (1, "different", 3), auditing.explain(verdict)
    assert auditing.first_wrong(verdict) == (numbers[0], "price")
    assert verdict["altered"] == 3
    first = verdict["first_wrong"]
    assert (first["source"], first["place"]) == ("message", "repeat")
    assert first["expected"] != first["received"]


def test_an_altered_answer_is_a_discrepancy(run, tmp_path):
    datagrams = pcap_files.of_messages(run)
    number = trade_numbers(run)[5]
    extra = again(run, number, altered(run.messages[number]), datagrams[number + 3].at_ns, to="127.0.0.1", port=50000,
                  from_port=run.doors.retrans)
    status, verdict = audit_datagrams(run, tmp_path, inserted(datagrams, [extra]))
    assert (status, verdict["discrepancies"]) == (1, 1), auditing.explain(verdict)
    assert auditing.first_wrong(verdict) == (number, "price")


def test_an_altered_heading_of_another_length_is_named(run, tmp_path):
    datagrams = pcap_files.of_messages(run)
    number = trade_numbers(run)[5]
    extra = again(run, number, run.messages[number] + b" ", datagrams[number + 3].at_ns)
    status, verdict = audit_datagrams(run, tmp_path, inserted(datagrams, [extra]))
    assert (status, verdict["discrepancies"]) == (1, 1), auditing.explain(verdict)
    first = verdict["first_wrong"]
    length = len(run.messages[number])
    assert (first["field"], first["expected"], first["received"]) == ("length", str(length), str(length + 1))


def test_the_same_bytes_again_are_no_discrepancy(run, tmp_path):
    datagrams = pcap_files.of_messages(run)
    extra = [again(run, number, run.messages[number], datagrams[number - 1].at_ns) for number in trade_numbers(run)[5:60]]
    status, verdict = audit_datagrams(run, tmp_path, sorted([*datagrams, *extra], key=number_of))
    assert (status, verdict["verdict"], verdict["duplicates"]) == (0, "equal", 55), auditing.explain(verdict)


def test_a_capture_in_which_the_feed_began_again_says_so(run, tmp_path):
    datagrams = pcap_files.of_messages(run)
    end_ns = datagrams[-1].at_ns
    extra = [again(run, number, altered(run.messages[number], "sent_at"), end_ns + 3 * 10**9 + number, from_port=40001)
             for number in range(1, 10)]
    extra.append(dataclasses.replace(extra[-1], at_ns=end_ns + 5 * 10**9, data=pcap_files.packed(10)))
    status, verdict = audit_datagrams(run, tmp_path, [*datagrams, *extra])
    assert (status, verdict["verdict"], verdict["discrepancies"]) == (5, "began again", 0), auditing.explain(verdict)
    assert verdict["messages"] == verdict["last"] == len(run.messages)
    assert verdict["restart"] == (f"the feed began again at #1 behind #{len(run.messages)}, from 127.0.0.1:40001 after "
                                  "127.0.0.1:40000")
    assert verdict["sentence"].startswith(verdict["restart"])


def test_a_bench_that_is_started_anew_is_an_outcome_of_its_own(launch):
    bench = launch("--rate-ms", 10)
    running = auditing.start(bench, "--until-end", "--timeout", 30)
    receiver.wait_for_sequence(bench.feed, 60, harness.bound(30))
    harness.stop(bench)
    launch("--rate-ms", 10, "--seed", 77, "--truth-out", bench.folder / "truth.jsonl", "--tape-out",
           bench.folder / "tape.jsonl", doors=bench.doors)
    assert companion.finish(running, 40) == 5
    verdict = companion.objects(running)[0]
    assert (verdict["verdict"], verdict["ended_by"]) == ("began again", "began again")
    assert verdict["discrepancies"] == 0, auditing.explain(verdict)
    assert verdict["messages"] == verdict["last"] >= 60
    assert f"behind #{verdict['last']}" in verdict["sentence"]
    assert verdict["altered"] == 0


def test_a_restart_stands_on_the_first_line(launch):
    bench = launch("--rate-ms", 10)
    running = companion.start(bench.doors, "audit", "--truth", bench.folder / "truth.jsonl")
    receiver.wait_for_sequence(bench.feed, 60, harness.bound(30))
    companion.wait_until_member(running, bench.doors)
    harness.stop(bench)
    launch("--rate-ms", 10, doors=bench.doors)
    assert companion.finish(running, 40) == 5
    assert running.lines[0].startswith("began again: the feed began again at #")


def test_two_benches_on_one_group_and_session_are_not_equal(pool, launch):
    bench = launch("--rate-ms", 20)
    running = auditing.start(bench)
    beside = dataclasses.replace(harness.claim_doors(pool), group=bench.doors.group, feed=bench.doors.feed)
    other = launch("--rate-ms", 20, "--seed", 77, doors=beside, listen=False)
    receiver.wait_for_sequence(bench.feed, 100, harness.bound(30))
    assert control.stats(other.control)["seq"] > 3
    assert companion.interrupt(running) == 1
    verdict = companion.objects(running)[0]
    assert verdict["verdict"] == "different"
    assert "sends packets of the session beside" in verdict["second_sender"]
    assert verdict["sentence"].startswith(verdict["second_sender"])
    assert "sender" in {each["field"] for each in verdict["discrepancy_list"]}


def test_an_end_of_session_that_does_not_come_is_status_3(launch):
    bench = launch("--rate-ms", 10)
    receiver.wait_for_sequence(bench.feed, 50, harness.bound(20))
    stopper = threading.Timer(harness.bound(1), control.command, (bench.control, "stop"))
    stopper.start()
    status, verdict = auditing.audit(bench, "--until-end", "--timeout", harness.bound(2))
    stopper.join()
    assert (status, verdict["verdict"], verdict["ended_by"]) == (3, "unfinished", "silence"), auditing.explain(verdict)
    assert verdict["unfinished"].startswith(
        f"the end of session did not come: the last message was #{verdict['last']}, and the feed had been silent for ")
    assert verdict["sentence"].startswith(verdict["unfinished"])


def test_nor_does_it_come_because_time_is_up(launch):
    status, verdict = auditing.audit(launch("--rate-ms", 10), "--until-end", "--seconds", 1)
    assert (status, verdict["verdict"], verdict["ended_by"]) == (3, "unfinished", "time"), auditing.explain(verdict)


def test_a_gap_is_open_until_its_own_number_comes(run, tmp_path):
    """One message never comes; a second later another one comes ten microseconds behind the next."""
    datagrams = [dataclasses.replace(each, at_ns=1_700_000_000 * 10**9 + place * 10**7)
                 for place, each in enumerate(pcap_files.of_messages(run)[:200])]
    lost = 50
    late = 150
    held = datagrams[late - 1]
    rest = [each for place, each in enumerate(datagrams, 1) if place not in (lost, late)]
    behind = dataclasses.replace(held, at_ns=datagrams[late].at_ns + 10_000)
    pcap = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.RAW, inserted(rest, [behind]))
    page = tmp_path / "page.html"
    status, verdict = auditing.audit(run, "--pcap", pcap, "--html", page)
    assert (status, verdict["missing"], verdict["out_of_order"]) == (1, 1, 1), auditing.explain(verdict)
    row = next(line for line in page.read_text(encoding="utf-8").split("<tr") if f"<td>#{late}</td>" in line)
    assert '<td class="number">0 ms</td>' in row, row
