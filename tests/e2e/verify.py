"""Holds a finished run's files and console against its decoded messages and says where they differ.

Rebuilds the books on the way, so a message that contradicts those before it is found as well. Problems are returned
as texts, so that a test can show all of them.
"""

import json
import re

import book
import feedtime
import texts

TAPE_TIMES = re.compile(rb'.*?"ts_ms":(\d+),.*?"exec_ts_ms":(\d+),"report_lag_ms":(\d+),')
SHOWN_QUANTITY = re.compile(r" (\d+)(?: \(capped\))? @")


def gaps(messages):
    """Numbers missing between 1 and the highest one."""
    return sorted(set(range(1, max(messages, default=0) + 1)) - set(messages))


def read_executions(messages, tape):
    """Notes at each trade, and at its correction, when it was executed. In the hour that autumn repeats a message's
    local time leaves two instants; the tape tells which one it is, as long as its local time is the message's."""
    executed = {}
    trades = [messages[sequence] for sequence in sorted(messages) if messages[sequence].kind == "T/M"]
    for message, line in zip(trades, tape):
        match = TAPE_TIMES.match(line)
        if match and feedtime.local_text(int(match[2]) // 1000) == message["exec"]:
            message.fields["exec_s"] = executed[message["counter"]] = int(match[2]) // 1000
    for _, message in sorted(messages.items()):
        before = executed.get(message.fields.get("orig_id")) if message.kind == "T/O" else None
        if before is not None and feedtime.local_text(before) == message["exec"]:
            message.fields["exec_s"] = executed[message["counter"]] = before


def compare_truth(messages, truth, reasons=None):
    """Every message against its truth line, in order, and against the books. Marks are left to their tests.

    `reasons` gives the uncut reason of a halt by sequence number where the wire cuts it.
    """
    problems = [f"message {number} is missing" for number in gaps(messages)]
    lines = [line for line in truth if not line.startswith(b'{"mark"')]
    if len(lines) != len(messages):
        problems.append(f"{len(messages)} messages, {len(lines)} truth lines")
    market = book.Market()
    for sequence, line in zip(sorted(messages), lines):
        message = messages[sequence]
        problems += [f"message {sequence}: {text}" for text in book.follow(market, message)]
        after = book.book_now(market, message.fields.get("cusip"))
        wanted = texts.truth_line(sequence, message, after, reason=(reasons or {}).get(sequence)).encode("latin-1")
        if line != wanted:
            problems.append(f"truth {sequence}: {line!r}, expected {wanted!r}")
        elif not is_json(line):
            problems.append(f"truth {sequence} is not JSON: {line!r}")
    return problems


def is_json(line):
    """Whether the line is one JSON object."""
    try:
        return isinstance(json.loads(line), dict)
    except ValueError:
        return False


def compare_tape(messages, tape, reported=None):
    """Every T/M against its tape line, in order. `reported` gives (exec_ms, venue, where) of reported trades by id."""
    trades = [(sequence, messages[sequence]) for sequence in sorted(messages) if messages[sequence].kind == "T/M"]
    problems = [] if len(trades) == len(tape) else [f"{len(trades)} trades, {len(tape)} tape lines"]
    for (sequence, message), line in zip(trades, tape):
        match = TAPE_TIMES.match(line)
        if not match:
            problems.append(f"tape {sequence}: no times in {line!r}")
            continue
        ts_ms, exec_ms, lag_ms = map(int, match.groups())
        exec_s = book.execution_s(message)
        true_ms, venue, where = (reported or {}).get(int(message["counter"]), (exec_s * 1000, "SYN", "away"))
        wanted = texts.tape_line(sequence, message, ts_ms, true_ms, lag_ms, venue, where).encode("latin-1")
        if line != wanted:
            problems.append(f"tape {sequence}: {line!r}, expected {wanted!r}")
        if not 0 <= ts_ms - (exec_ms + lag_ms) <= 1000:    # the report time, read just before the line was written
            problems.append(f"tape {sequence}: lag {lag_ms} from {exec_ms} does not lead to {ts_ms}")
        if not 0 <= ts_ms // 1000 - feedtime.utc_of_local(message["sent_at"]) <= 2:
            problems.append(f"tape {sequence}: written at {ts_ms}, sent at {message['sent_at']}")
    return problems


def compare_console(messages, lines, reasons=None):
    """The per-message lines of the console against the messages, in order."""
    shown = [line for line in lines if line.startswith("[vorbeld] #")]
    wanted = []
    for sequence in sorted(messages):
        message = messages[sequence]
        quantity = None
        if "qty" in message.fields and texts.cap_of(message) and len(wanted) < len(shown):
            match = SHOWN_QUANTITY.search(shown[len(wanted)])
            quantity = match.group(1) if match and int(match.group(1)) >= texts.cap_of(message) else "more than the cap"
        line = texts.console_line(sequence, message, quantity, reason=(reasons or {}).get(sequence))
        if line is not None:
            wanted.append(line)
    problems = [] if len(shown) == len(wanted) else [f"{len(wanted)} lines expected, {len(shown)} shown"]
    return problems + [f"console: {said!r}, expected {line!r}" for said, line in zip(shown, wanted) if said != line]
