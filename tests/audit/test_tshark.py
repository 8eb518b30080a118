"""A capture by someone else's program instead of the network."""

import subprocess

import pytest

import auditing
import control
import harness
import receiver
import wire


def start_tshark(interface, port, pcap):
    """A capture of the port that has begun; the test is skipped where tshark may not capture."""
    harness.need("tshark")
    capture = subprocess.Popen(["tshark", "-i", interface, "-f", f"udp port {port}", "-w", str(pcap), "-q", "-F", "pcap"],
                               stderr=subprocess.PIPE, text=True)
    harness.until(lambda: pcap.exists() and pcap.stat().st_size > 200 or capture.poll() is not None, 30,
                  "the first captured packet")
    if capture.poll() is not None:
        pytest.skip(f"tshark may not capture on {interface} here: {capture.stderr.read()}")
    return capture


def is_over(arrivals):
    """Whether the last packet so far marks the end of the session."""
    return wire.parse_packet(arrivals[-1].data).count == wire.END_OF_SESSION


@pytest.mark.parametrize("interface", ["lo", "any"])
def test_a_capture_by_tshark_is_understood(launch, tmp_path, interface):
    bench = launch("--rate-ms", 5, "--quiet")
    pcap = tmp_path / "feed.pcap"
    with start_tshark(interface, bench.doors.feed, pcap) as capture:
        receiver.wait_for_sequence(bench.feed, bench.feed.highest + 150, harness.bound(30))
        assert control.command(bench.control, "close") == "ok"
        receiver.wait_for(bench.feed, is_over, harness.bound(10), "the end of session")
        size = pcap.stat().st_size
        harness.until(lambda: pcap.stat().st_size > size, 20, "the capture of a later packet")
        capture.terminate()
    status, verdict = auditing.audit(bench, "--pcap", pcap)
    assert (status, verdict["verdict"], verdict["duplicates"]) == (0, "equal", 0), auditing.explain(verdict)
    assert verdict["messages"] == verdict["last"] - verdict["first"] + 1 >= 150
