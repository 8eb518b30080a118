"""One fault is one discrepancy: what merely follows from it is counted with it, and teaches the rules nothing."""

import json

import pytest

import auditing
import handler
import lies
import pcap_files
import recording


@pytest.fixture(scope="module")
def right(run):
    """What a handler without flaws believes."""
    return handler.believe(handler.Handler(), run)


@pytest.fixture(scope="module")
def pcap(run, tmp_path_factory):
    """The run's feed without losses."""
    return pcap_files.write_pcap(tmp_path_factory.mktemp("pcap") / "feed.pcap", pcap_files.ETHERNET,
                                 pcap_files.of_messages(run))


@pytest.fixture(scope="module")
def amended(right):
    """Last sales that are amended later, one of each of three bonds."""
    by_id = {line["original_id"]: line for line in right if "original_id" in line}
    chosen = {}
    for line in right:
        if line["event"] == "trade" and line["trade_id"] in by_id and handler.is_last_sale(line) and line["seq"] > 20:
            chosen.setdefault(line["cusip"], line["seq"])
    assert len(chosen) >= 3
    return sorted(chosen.values())[:3]


def with_records(run, folder, change):
    """A copy of the truth file in which change(record) has altered records in place."""
    lines = (run.folder / "truth.jsonl").read_bytes().splitlines()
    for index, line in enumerate(lines):
        record = json.loads(line)
        before = json.dumps(record)
        if "mark" not in record:
            change(record)
        if json.dumps(record) != before:
            lines[index] = json.dumps(record, separators=(",", ":")).encode("ascii")
    path = folder / "altered.jsonl"
    path.write_bytes(b"\n".join(lines) + b"\n")
    return path


def listed(verdict):
    """(number, field) of all discrepancies."""
    return [(each["seq"], each["field"]) for each in verdict["discrepancy_list"]]


@pytest.mark.parametrize(("key", "field", "add"), [("price", "price", 5), ("yield", "yield", 0.5), ("qty", "quantity", 7)])
def test_altered_records_of_trades_are_one_discrepancy_each(run, pcap, amended, tmp_path, key, field, add):
    """Tape, books, the coupon and the amendments of these trades say the same as the messages, once more."""
    def change(record):
        if record["seq"] in amended:
            record[key] = round(record[key] + add, 6)
    status, verdict = auditing.audit(run, "--pcap", pcap, truth=with_records(run, tmp_path, change))
    assert (status, listed(verdict)) == (1, [(number, field) for number in amended]), auditing.explain(verdict)
    assert verdict["follow_ups"] >= 3


def test_the_first_record_of_a_bond_teaches_nothing_when_it_is_altered(run, right, pcap, tmp_path):
    first = {}
    for line in right:
        if line["event"] == "trade":
            first.setdefault(line["cusip"], line["seq"])

    def change(record):
        if record["seq"] in first.values():
            record["price"] = round(record["price"] + 5, 6)
    _, verdict = auditing.audit(run, "--pcap", pcap, truth=with_records(run, tmp_path, change))
    assert listed(verdict) == [(number, "price") for number in sorted(first.values())], auditing.explain(verdict)


@pytest.mark.parametrize("by", [1, -1, -50, 9000])
@pytest.mark.parametrize("kind", ["cancel", "correction"])
def test_a_wrong_original_in_a_record_is_one_discrepancy(run, pcap, tmp_path, kind, by):
    numbers = recording.numbers_of(run, kind)
    number = numbers[len(numbers) // 2]

    def change(record):
        if record["seq"] == number:
            record["orig_trade_id"] = f"{int(record['orig_trade_id']) + by:07d}"
    _, verdict = auditing.audit(run, "--pcap", pcap, truth=with_records(run, tmp_path, change))
    assert (listed(verdict), verdict["follow_ups"]) == ([(number, "original_id")], 0), auditing.explain(verdict)


def test_altered_messages_are_one_discrepancy_each(run, amended, tmp_path):
    messages = dict(run.messages)
    for number in amended:
        messages[number] = lies.put_field(messages[number], "price", "0120.000000")
    feed = pcap_files.write_pcap(tmp_path / "feed.pcap", pcap_files.ETHERNET, pcap_files.of_messages(run, messages))
    _, verdict = auditing.audit(run, "--pcap", feed)
    assert listed(verdict) == [(number, "price") for number in amended], auditing.explain(verdict)


def test_misread_prices_are_one_discrepancy_each_whatever_the_books_make_of_them(run, right, amended, tmp_path):
    ids = {right[number - 1]["trade_id"] for number in amended}

    def read(raw):
        kind, fields = handler.read_message(raw)
        if kind == "trade" and fields["trade_id"] in ids:
            fields["price"] += 5
        return kind, fields
    lines = handler.believe(handler.Handler(read=read), run)
    _, verdict = auditing.audit(run, "--capture", handler.write_lines(tmp_path / "beliefs.jsonl", lines))
    assert listed(verdict) == [(number, "price") for number in amended], auditing.explain(verdict)
    assert verdict["follow_ups"] > 10


def test_the_first_wrong_is_always_in_the_list(run, right, tmp_path):
    """A thousand discrepancies fill the list; the one that comes behind them has the lowest number."""
    lines = [{**line, "side": "X", "symbol": "X", "cusip": "X"} if "side" in line else line for line in right[4:]]
    lines += [right[1], right[2]]
    _, verdict = auditing.audit(run, "--from", 5, "--capture", handler.write_lines(tmp_path / "beliefs.jsonl", lines))
    assert verdict["discrepancies"] > 1000
    assert auditing.first_wrong(verdict) in listed(verdict), auditing.explain(verdict)
