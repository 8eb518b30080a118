"""Figures: what was measured once a pair, their medians with minimum and maximum, and the goals they are held to."""

import dataclasses
import statistics


@dataclasses.dataclass
class Figure:
    """One quantity of the bench, pair by pair, and what it is compared with."""

    name: str
    unit: str
    against: str  # what the base is: the floor, or the bench in another state; empty: nothing
    check: str = ""  # counts that prove that the work was done
    bench: list[float] = dataclasses.field(default_factory=list)
    base: list[float] = dataclasses.field(default_factory=list)

    @property
    def ratios(self) -> list[float]:
        return [own / other for own, other in zip(self.bench, self.base, strict=False) if other]


@dataclasses.dataclass
class Goal:
    """A bound on the median of a figure's bench values, of its ratios or of its differences from the base."""

    work: str
    figure: str
    statistic: str  # bench, ratio or difference
    at_most: bool
    bound: float
    scale: float = 1  # what the statistic is multiplied with before it is compared and shown
    unit: str = ""


@dataclasses.dataclass
class Verdict:
    goal: Goal
    reached: float
    met: bool


def record(figures: dict[str, Figure], name: str, unit: str, check: str, bench: float, base: float | None = None,
           against: str = "") -> None:
    """Adds one pair's values to a figure."""
    figure = figures.setdefault(name, Figure(name, unit, against))
    figure.check = check
    figure.bench.append(bench)
    if base is not None:
        figure.base.append(base)


def number(value: float) -> str:
    """Four digits or so, whatever the size."""
    if abs(value) >= 1000:
        return f"{value:,.0f}"
    return f"{value:.1f}" if abs(value) >= 100 else f"{value:.3f}"


def spread(values: list[float]) -> str:
    if not values:
        return "-"
    return f"{number(statistics.median(values))} ({number(min(values))} .. {number(max(values))})"


def judge(goal: Goal, figures: dict[str, Figure]) -> Verdict:
    figure = figures[goal.figure]
    values = {
        "bench": figure.bench,
        "ratio": figure.ratios,
        "difference": [own - other for own, other in zip(figure.bench, figure.base, strict=False)],
    }[goal.statistic]
    reached = statistics.median(values) * goal.scale
    return Verdict(goal, reached, reached <= goal.bound if goal.at_most else reached >= goal.bound)


def columns(rows: list[list[str]]) -> str:
    """A table with two blanks between columns, the first row its head."""
    widths = [max(map(len, column)) for column in zip(*rows, strict=True)]
    lines = ["  ".join(cell.ljust(width) for cell, width in zip(row, widths, strict=True)).rstrip() for row in rows]
    lines.insert(1, "  ".join("-" * width for width in widths))
    return "\n".join(lines)


def figure_table(figures: dict[str, Figure]) -> str:
    rows = [["figure: median (min .. max)", "unit", "bench", "base", "bench / base", "base is", "check"]]
    for figure in figures.values():
        rows.append([figure.name, figure.unit, spread(figure.bench), spread(figure.base), spread(figure.ratios),
                     figure.against or "-", figure.check])
    return columns(rows)


def goal_table(verdicts: list[Verdict], judged: bool) -> str:
    rows = [["work", "goal", "reached", "met"]]
    for verdict in verdicts:
        goal = verdict.goal
        sign, unit = ("<=" if goal.at_most else ">="), f" {goal.unit}" if goal.unit else ""
        met = ("yes" if verdict.met else "NO") if judged else "not judged"
        rows.append([goal.work, f"{sign} {goal.bound:g}{unit}", f"{number(verdict.reached)}{unit}", met])
    return columns(rows)


def as_json(figures: dict[str, Figure], verdicts: list[Verdict], judged: bool) -> dict:
    def summary(values: list[float]) -> dict | None:
        if not values:
            return None
        return {"median": statistics.median(values), "min": min(values), "max": max(values), "values": values}

    return {
        "figures": [{"name": figure.name, "unit": figure.unit, "check": figure.check, "bench": summary(figure.bench),
                     "base": summary(figure.base), "ratio": summary(figure.ratios), "against": figure.against}
                    for figure in figures.values()],
        "goals": [{"work": verdict.goal.work, "bound": verdict.goal.bound, "unit": verdict.goal.unit,
                   "at_most": verdict.goal.at_most, "reached": verdict.reached, "met": verdict.met if judged else None}
                  for verdict in verdicts],
    }
