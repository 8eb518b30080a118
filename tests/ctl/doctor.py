"""Runs vorbelctl doctor and takes its findings apart."""

import shutil

import companion

LOCAL = ["interface", "route", "membership", "probe", "filters", "buffer", "losses", "feed"]
DOORS = ["control", "reports", "retrans"]  # judged where a bench is known to be there
CHECKS = [*LOCAL, *DOORS]
INDEPENDENT = ["filters", "losses"]  # of whether the feed can be joined


def where_it_is(line):
    """The commands of the line as the doctor names them: only those that are here, by a path where PATH lacks them."""
    kept = []
    for command in line.split("; "):
        name = command.split()[0]
        found = shutil.which(name) and name or shutil.which(name, path="/usr/sbin:/sbin")
        kept += [command.replace(name, found, 1)] if found else []
    return "; ".join(kept) or None


def findings(doors, *arguments, checks=None):
    """(names of the problems, findings by check); the checks that are made are all of them, or those given."""
    status, lines = companion.run_json(doors, "doctor", *arguments)
    assert [line["check"] for line in lines[:-1]] == (checks or CHECKS)
    problems = [line["check"] for line in lines[:-1] if line["verdict"] == "problem"]
    assert lines[-1] == {"event": "totals", "problems": len(problems)}
    assert status == (1 if problems else 0)
    assert not any("vorbelctl doctor" in str(line) for line in lines)
    return problems, {line["check"]: line for line in lines[:-1]}
