"""Walks a run's messages beside a replayed generator: every draw must show up where it belongs.

Owns the comparison of a trade with its choice and of the times between messages with the waits that were drawn.
"""

import statistics

import feedtime
import generator
import machine

FIELDS = ("side", "contra", "rpt", "ats", "remuneration", "as_of", "special", "sale3", "sale4")


def quantity_text(choice):
    """The quantity field that the choice must give."""
    cap = 1_000_000 if choice.bond.high_yield else 5_000_000
    return f"{cap // 1_000_000}MM+".ljust(14) if choice.quantity > cap else f"{choice.quantity:014.2f}"


def compare_choice(choice, message):
    """What the trade message has other than the choice, as texts."""
    pairs = {name: (message[name], getattr(choice, name)) for name in FIELDS}
    pairs["cusip"] = (message["cusip"].rstrip(), choice.bond.cusip[:9])
    pairs["price"] = (message["price"], f"{choice.price:011.6f}")
    pairs["qty"] = (message["qty"], quantity_text(choice))
    pairs["yield"] = (message["yield"], f" {100 * choice.bond.coupon / choice.price:013.6f}")
    pairs["modifier2"] = (message["modifier2"], " ")
    sent_s = feedtime.utc_of_local(message["sent_at"])
    # The generator's clock is read just before the message's, perhaps in the second before.
    nows = (sent_s, sent_s - 1)
    if message["exec"] not in [feedtime.local_text(now - choice.exec_back_s) for now in nows]:
        pairs["exec"] = (message["exec"], feedtime.local_text(sent_s - choice.exec_back_s))
    if message["settle"] not in [feedtime.local_date(now + 86400) for now in nows]:
        pairs["settle"] = (message["settle"], feedtime.local_date(sent_s + 86400))
    dates = [feedtime.local_date(now - 172800) for now in nows] if choice.as_of == "R" else [" " * 8]
    if message["orig_date"] not in dates:
        pairs["orig_date"] = (message["orig_date"], dates[0])
    return [f"{name} {said!r}, drawn {wanted!r}" for name, (said, wanted) in pairs.items() if said != wanted]


def walk(replay, messages, rate_ms):
    """Replays all messages from number 3 on: (problems, gap drawn behind each trade by sequence number).

    Bonds halted before the first trade cost a pick and a gap draw whenever they are picked; those gaps are added up.
    Due corrections draw where their messages stand between the trades.
    """
    problems, gaps = [], {}
    previous = None
    for sequence in sorted(messages):
        message = messages[sequence]
        if message.kind == "T/M":
            while (choice := generator.next_choice(replay)) is None:
                skipped = generator.next_gap_ms(replay, rate_ms)
                if previous is not None:
                    gaps[previous] += skipped
            problems += [f"message {sequence} (trade {replay.made}): {text}"
                         for text in compare_choice(choice, message)]
            gaps[sequence] = generator.next_gap_ms(replay, rate_ms)
            previous = sequence
            message.fields["follow"] = (choice.follow_kind, choice.follow_ms)
        elif message.kind == "T/O":
            problems += [f"message {sequence}: {text}" for text in compare_correction(replay, messages, message)]
    return problems, gaps


def compare_correction(replay, messages, message):
    """A due correction's price and quantity against its two draws."""
    original = next(each for each in messages.values()
                    if each.kind in ("T/M", "T/O") and each["counter"] == message["orig_id"])
    capped = original["qty_ind"] == "E"
    quantity = 0.0 if capped else float(original["qty"])
    price, quantity = generator.correction_of(replay, float(original["price"]), quantity)
    cap = 1_000_000 if message["cusip"].rstrip() == "345370CS9" else 5_000_000
    amount = original["qty"] if capped else (f"{cap // 1_000_000}MM+".ljust(14) if quantity > cap
                                             else f"{quantity:014.2f}")
    pairs = {"price": (message["price"], f"{price:011.6f}"), "qty": (message["qty"], amount)}
    return [f"{name} {said!r}, drawn {wanted!r}" for name, (said, wanted) in pairs.items() if said != wanted]


def compare_gaps(gaps, times_ms, watch):
    """Times between consecutive trades against the drawn waits; `times_ms` by sequence number.

    A trade comes at the first pass after its wait is over, passes are at most 10 ms apart, and a busy machine adds its
    lateness. The middle trade must be no later than that, and short waits must be as late as long ones.
    """
    trades = sorted(gaps)
    over = [(gaps[earlier], times_ms[later] - times_ms[earlier] - gaps[earlier])
            for earlier, later in zip(trades, trades[1:])]
    busy_ms = 4000 * machine.typical_lateness(watch)
    middle = statistics.median(late for _, late in over)
    by_length = [late for _, late in sorted(over)]
    third = len(by_length) // 3
    apart = statistics.median(by_length[-third:]) - statistics.median(by_length[:third])
    problems = []
    if not -2 <= middle <= 13 + busy_ms:
        problems.append(f"the middle gap was {middle:.1f} ms longer than drawn")
    if abs(apart) > 5 + busy_ms:
        problems.append(f"long waits were {apart:.1f} ms later than short ones")
    return problems


def follow_ups(messages):
    """(trade's sequence, kind, wait in ms) of every trade with a follow-up drawn, after walk()."""
    return [(sequence, *message.fields["follow"]) for sequence, message in sorted(messages.items())
            if message.kind == "T/M" and message.fields["follow"][0]]


def is_amendment(message):
    """Whether the message is a cancel or a correction."""
    return message.kind in ("T/N", "T/O")


def original_number(messages, message):
    """The sequence number of the trade that an amendment names."""
    return next(sequence for sequence, each in messages.items()
                if each.kind in ("T/M", "T/O") and each["counter"] == message["orig_id"])
