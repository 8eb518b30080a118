"""A receiver in the thick of it: everything on at once, and in the end nothing is missing and nothing different."""

import collections

import everything
import wire

RUN_S = 16


def test_nothing_is_missing_and_nothing_different(launch):
    bench = launch(*everything.options(10, RUN_S))
    follower, problems, numbers = everything.run(bench, RUN_S, close_by_command=False)
    assert problems == []
    assert follower.complete_to == numbers["seq"]
    kinds = collections.Counter(message.kind for message in follower.messages.values())
    assert set(kinds) == set(wire.SIZES)
    assert min(kinds["T/M"], 500) == 500 and min(kinds["T/N"], kinds["T/O"]) >= 20
    assert min(numbers["dropped"], numbers["duplicated"], numbers["reordered"]) >= 20
    assert follower.recovered >= numbers["dropped"] and follower.out_of_order > 0 and follower.heartbeats >= 1
    assert everything.IDLE_LINE in bench.console.lines
    trades = [message for message in follower.messages.values() if message.kind == "T/M"]
    for name, values in (("as_of", "AR "), ("special", "Y "), ("sale3", "ZT "), ("sale4", "W "), ("ats", "Y "),
                         ("qty_ind", "AE"), ("remuneration", "MCN ")):
        assert {message[name] for message in trades} == set(values), name
    assert {message["change"] for message in trades} >= set("0157")
