"""The bench's main job: a receiver follows the generated flow and finds all of it in truth, tape and console."""

import signal

import harness
import probe
import receiver
import verify
import wire

RUN_S = 12


def test_every_message_of_a_fast_run_equals_its_records(launch):
    bench = launch("--rate-ms", 10, "--seed", 7)
    receiver.wait_for_sequence(bench.feed, RUN_S * 60, harness.bound(RUN_S * 3))
    bench.process.send_signal(signal.SIGINT)
    assert harness.finish(bench) == 0
    found = receiver.messages(bench.feed)
    last = len(harness.truth_lines(bench))
    assert receiver.sequences(bench.feed) == list(range(1, last + 1))    # each once, in order
    assert {message.kind for message in found.values()} == {"C", "T/M"}
    assert verify.compare_truth(found, harness.truth_lines(bench)) == []
    assert verify.compare_tape(found, harness.tape_lines(bench)) == []
    assert verify.compare_console(found, harness.console_lines(bench)) == []
    assert [packet.count for _, packet in receiver.packets(bench.feed) if packet.messages] == [1] * last


def test_a_late_joiner_recovers_the_run_by_requests(launch):
    bench = launch("--rate-ms", 10)
    receiver.wait_for_sequence(bench.feed, 150, harness.bound(20))
    bench.process.send_signal(signal.SIGTERM)
    harness.wait_for_line(bench, "[vorbeld] stopping: the flow ends, retransmissions served for another 1.5 s")
    recovered = {}
    for answer in probe.ask(bench, *(wire.request(first, 7) for first in range(1, 152, 7))):
        packet = wire.parse_packet(answer)
        for number, raw in enumerate(packet.messages, packet.sequence):
            assert number not in recovered
            recovered[number] = wire.decode(raw)
    assert harness.finish(bench) == 0
    live = receiver.messages(bench.feed)
    assert {number: message.raw for number, message in recovered.items()} == {
        number: message.raw for number, message in live.items() if number in recovered}
    assert set(recovered) >= set(range(1, 151))
    first = {number: recovered[number] for number in range(1, 151)}
    assert verify.compare_truth(first, harness.truth_lines(bench)[:150]) == []
