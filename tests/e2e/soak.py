"""The run with everything on, for as long as one likes; run by hand: soak.py --minutes 10 --rate-ms 10.

Ends with one paragraph and status 0 when the receiver had everything and found it equal to all records, 1 otherwise.
"""

import argparse
import pathlib
import sys
import tempfile

import everything
import harness
import ports

KEPT_BYTES = 600            # per message: its place in the store and in the trade index, with room to spare
START_BYTES = 20 << 20


def resident_bytes(bench):
    """Memory of the daemon that is in RAM now."""
    status = pathlib.Path(f"/proc/{bench.process.pid}/status").read_text(encoding="ascii")
    return int(status.split("VmRSS:")[1].split()[0]) * 1024


def parse_arguments():
    """The command line."""
    parser = argparse.ArgumentParser(description="Follows a bench with everything on and judges the run.")
    parser.add_argument("--minutes", type=float, default=10, help="length of the run (default 10)")
    parser.add_argument("--rate-ms", type=int, default=10, help="mean gap of generated trades (default 10)")
    return parser.parse_args()


def soak(folder, minutes, rate_ms):
    """Runs and judges; the text of the verdict and whether all was well."""
    bench = harness.start(folder, harness.claim_doors(ports.open_pool()), *everything.options(rate_ms, 0))
    memory = [resident_bytes(bench)]
    try:
        follower, problems, numbers = everything.run(bench, minutes * 60, at_end=lambda: memory.append(
            resident_bytes(bench)))
    finally:
        complaints = harness.release(bench)
    problems += [line.decode("utf-8", "replace") for line in complaints]
    grown = memory[1] - memory[0]
    if grown > START_BYTES + KEPT_BYTES * numbers["seq"]:
        problems.append(f"memory grew by {grown} bytes for {numbers['seq']} messages")
    word = "Equal" if not problems else "DIFFERENT"
    text = (f"{word}: {minutes:g} minutes at {rate_ms} ms, {numbers['seq']} messages, {numbers['reports']} trades, "
            f"{numbers['cancels']} cancels, {numbers['corrections']} corrections, {numbers['halts']} halts, "
            f"{numbers['commands']} commands; {numbers['dropped']} packets dropped, {numbers['duplicated']} doubled, "
            f"{numbers['reordered']} held back; {follower.out_of_order} messages came out of order, "
            f"{follower.recovered} by request, {numbers['seq'] - len(follower.messages)} not at all; memory "
            f"{memory[0] / 2**20:.1f} MB at the start, {memory[1] / 2**20:.1f} MB at the end; "
            f"{len(problems)} problems.")
    return text, problems


def main():
    """Prints the verdict and up to twenty problems; the exit status."""
    arguments = parse_arguments()
    with tempfile.TemporaryDirectory(prefix="soak-") as folder:
        text, problems = soak(pathlib.Path(folder), arguments.minutes, arguments.rate_ms)
    for problem in problems[:20]:
        print(problem)
    print(text)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
