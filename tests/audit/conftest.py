"""Fixtures: benches on ports of their own, and one true run that the tests of a file share."""

import os
import pathlib
import sys

import pytest

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = [str(TESTS / "e2e"), str(TESTS / "ctl")]

import harness  # noqa: E402  found through the paths above, like all of the bench's framework
import ports  # noqa: E402

import recording  # noqa: E402


def pytest_collection_modifyitems(items):
    """With TEST_SHARE=2/3, every third test from the second on: ctest runs the shares of a long file in parallel."""
    share, shares = map(int, os.environ.get("TEST_SHARE", "1/1").split("/"))
    items[:] = items[share - 1::shares]


@pytest.fixture(scope="session")
def pool():
    """Port claims, held until the test process ends."""
    return ports.open_pool()


@pytest.fixture
def launch(pool, tmp_path):
    """launch(*options) starts a bench; the test's end releases it."""
    with harness.launching(pool, tmp_path) as start_one:
        yield start_one


@pytest.fixture(scope="session")
def run(pool, tmp_path_factory):
    """A finished run with everything in it: its files, its messages, and what came over the wire."""
    return recording.record_run(tmp_path_factory.mktemp("run"), pool)


@pytest.fixture
def copy(run, tmp_path):
    """copy("truth.jsonl") is a copy of one of the run's files that the test may alter."""
    def copy_one(name):
        path = tmp_path / name
        path.write_bytes((run.folder / name).read_bytes())
        return path
    return copy_one
