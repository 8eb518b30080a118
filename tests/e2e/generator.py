"""The trade generator replayed: what a seed must produce, draw by draw, with the same arithmetic.

Owns a copy of the random stream and of the mid prices. Times come out as distances from "now", because only the bench
knows when it was.
"""

import dataclasses
import math

import mt64

PERIODS = ("cancel_every", "correct_every", "asof_every", "reversal_every", "special_every", "late_every",
           "after_hours_every", "wavg_every", "ats_every")

DEFAULT_BONDS = ("037833DT4:AAPL 3.85 05/04/43:AAPL 3.85 43:IG:98.25:3.85,"
                 "594918BY9:MSFT 3.30 02/06/27:MSFT 3.3 27:IG:99.10:3.30,"
                 "46647PAP1:JPM 4.20 07/23/29:JPM 4.2 29:IG:101.40:4.20,"
                 "345370CS9:F 4.35 12/08/26:F 4.35 26:HY:97.80:4.35")


@dataclasses.dataclass
class Replay_bond:
    """What the generator needs of a bond."""
    cusip: str
    symbol: str
    high_yield: bool
    mid: float
    coupon: float
    halted: bool = False


@dataclasses.dataclass
class Replay:
    """A generator in step with the bench's; `made` counts its trades."""
    random: mt64.Mt64
    bonds: list
    periods: dict
    made: int = 0


@dataclasses.dataclass
class Choice:
    """One generated trade. Execution is `exec_back_s` seconds before now; `follow_ms` is the wait of its follow-up."""
    bond: Replay_bond
    price: float = 0.0
    quantity: float = 0.0
    side: str = "S"
    contra: str = "D"
    rpt: str = "D"
    ats: str = " "
    remuneration: str = " "
    as_of: str = " "
    special: str = " "
    sale3: str = " "
    sale4: str = " "
    exec_back_s: int = 0
    follow_kind: str = ""
    follow_ms: int = 0


def open_replay(seed, bonds=DEFAULT_BONDS, high_yield=(), **periods):
    """A generator at its start. `bonds` is a bond list as given on the command line."""
    universe = []
    for record in bonds.split(","):
        fields = record.split(":")
        if len(fields) >= 4:
            universe.append(Replay_bond(fields[0], fields[2], fields[3] == "HY" or fields[0] in high_yield,
                                        float(fields[4]) if len(fields) > 4 else 100.0,
                                        float(fields[5]) if len(fields) > 5 else 5.0))
    return Replay(mt64.seed_mt64(seed), universe, {name: periods.get(name, 0) for name in PERIODS})


def round_away(value):
    """Rounds to a whole number, halves away from zero."""
    down = math.floor(abs(value))
    return math.copysign(down + (abs(value) - down >= 0.5), value)


def due(replay, name):
    """Whether the period is on and divides the count of trades made."""
    return replay.periods[name] != 0 and replay.made % replay.periods[name] == 0


def next_choice(replay):
    """One generation step: the trade, or None when the pick fell on a halted bond."""
    draw = replay.random
    bond = replay.bonds[int(mt64.uniform(draw) * len(replay.bonds)) % len(replay.bonds)]
    if bond.halted:
        return None
    replay.made += 1
    choice = Choice(bond)
    bond.mid = bond.mid + (mt64.uniform(draw) - 0.5) * (0.0004 * bond.mid)
    choice.price = round_away(((mt64.uniform(draw) - 0.5) * (0.003 * bond.mid) + bond.mid) * 1000) / 1000
    choice.quantity = draw_quantity(draw, bond)
    draw_parties(draw, choice)
    if due(replay, "ats_every"):
        choice.contra, choice.rpt, choice.ats, choice.remuneration = "D", "T", "Y", " "
    shape_times(replay, choice)
    if due(replay, "wavg_every"):
        choice.sale4 = "W"
    choice.follow_kind = "C" if due(replay, "cancel_every") else "O" if due(replay, "correct_every") else ""
    if choice.follow_kind:
        choice.follow_ms = int(mt64.uniform(draw) * 1500) + 1500
    return choice


def draw_quantity(draw, bond):
    """A bucket draw, then the amount by a draw of its own."""
    bucket = mt64.uniform(draw)
    amount = mt64.uniform(draw)
    if bucket < 0.45:
        return float((int(amount * 99) + 1) * 1000)
    if bucket < 0.85:
        return float((int(amount * 9) + 1) * 100000)
    if bucket < 0.93:
        return float((int(amount * 4) + 1) * 1000000)
    return (amount * 3 + 1.2) * (1000000 if bond.high_yield else 5000000)


def draw_parties(draw, choice):
    """One draw for a trade between dealers, up to four more for a customer's."""
    if mt64.uniform(draw) < 0.35:
        return
    choice.side = "B" if mt64.uniform(draw) < 0.5 else "S"
    choice.contra = "C" if mt64.uniform(draw) < 0.9 else "A"
    if mt64.uniform(draw) < 0.5:
        choice.remuneration = "M"
    else:
        choice.remuneration = "C" if mt64.uniform(draw) < 0.5 else "N"


def shape_times(replay, choice):
    """Execution time, as-of, reversal, special and late marks; the execution draw comes whatever overrides it."""
    choice.exec_back_s = int(mt64.uniform(replay.random) * 600)
    if due(replay, "asof_every"):
        choice.as_of = "A"
        choice.exec_back_s = 86400 + int(mt64.uniform(replay.random) * 20000)
    elif due(replay, "reversal_every"):
        choice.as_of = "R"
        choice.exec_back_s = 172800
    if due(replay, "special_every"):
        choice.special = "Y"
        choice.price = round_away(0.9 * choice.price * 1000) / 1000
    if due(replay, "late_every"):
        choice.sale3 = "Z"
        choice.exec_back_s = 3600
    elif due(replay, "after_hours_every"):
        choice.sale3 = "T"


def next_gap_ms(replay, rate_ms):
    """The gap draw after a generation step: milliseconds until the next one."""
    return int(rate_ms * (0.3 + 1.4 * mt64.uniform(replay.random)))


def correction_of(replay, price, quantity):
    """The two draws of a due correction: (new price, new quantity)."""
    doubled = mt64.uniform(replay.random) >= 0.5
    change = mt64.uniform(replay.random) - 0.5
    return (round_away((1 + 0.004 * change) * price * 1000) / 1000, quantity * 2 if doubled else quantity)
