"""Fixtures: every test gets benches on ports of its own, in folders of its own, and leaves none of them running."""

import pathlib
import sys

import pytest

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = [str(TESTS / "e2e"), str(TESTS / "audit")]

import harness  # noqa: E402  the bench's own framework, found through the path above
import ports  # noqa: E402

import companion  # noqa: E402
import publisher  # noqa: E402


@pytest.fixture(scope="session")
def pool():
    """Port claims, held until the test process ends."""
    return ports.open_pool()


@pytest.fixture
def doors(pool):
    """Ports of which nobody uses any yet."""
    return harness.claim_doors(pool)


@pytest.fixture
def launch(pool, tmp_path):
    """launch(*options, doors=..., listen=...) starts a bench; the test's end releases it."""
    with harness.launching(pool, tmp_path, listen=False) as start_one:
        yield start_one


@pytest.fixture
def follow():
    """follow(doors, "listen", ...) starts a companion that runs on; the test's end kills it by its own process id."""
    running = []

    def start_one(doors, *arguments, **settings):
        running.append(companion.start(doors, *arguments, **settings))
        return running[-1]

    yield start_one
    complaints = [line for each in running for line in companion.release(each)]
    assert complaints == []


@pytest.fixture
def fake(doors):
    """A publisher that does what a test tells it, on ports of its own."""
    made = publisher.open_publisher(doors)
    yield made
    publisher.close_publisher(made)
