"""How late this machine runs things: the measure by which upper limits on time are widened.

A thread wakes every 10 ms and notes how much later it really was. On an idle machine that adds nothing; on one that is
busy with builds and other tests, a bench is late by about as much.
"""

import dataclasses
import statistics
import threading
import time

STEP_S = 0.01


@dataclasses.dataclass
class Watch:
    """Samples of (wall-clock second, seconds late) while the watch runs."""
    samples: list = dataclasses.field(default_factory=list)
    ending: threading.Event = dataclasses.field(default_factory=threading.Event)
    thread: threading.Thread = None


def open_watch():
    """Begins to sample."""
    watch = Watch()
    watch.thread = threading.Thread(target=_sample, args=(watch,), daemon=True)
    watch.thread.start()
    return watch


def close_watch(watch):
    """Ends the sampling; what was sampled stays readable."""
    watch.ending.set()
    watch.thread.join()


def _sample(watch):
    before = time.monotonic()
    while not watch.ending.wait(STEP_S):
        now = time.monotonic()
        watch.samples.append((time.time(), max(0.0, now - before - STEP_S)))
        before = now


def late_between(watch, since_s, until_s):
    """Seconds lost in all between two moments of the wall clock, delays that reach into the time included."""
    return sum(late for at, late in list(watch.samples) if since_s <= at <= until_s + late)


def typical_lateness(watch):
    """Seconds that half of the samples were late by, over the whole run."""
    return statistics.median([late for _, late in list(watch.samples)] or [0.0])
