"""Fixtures: every test gets benches on ports of its own, in folders of its own, and leaves none of them running."""

import resource

import pytest

import harness
import ports


@pytest.fixture(scope="session", autouse=True)
def no_core_files():
    """Several tests end the daemon by SIGABRT on purpose; nobody wants the cores."""
    _, hard = resource.getrlimit(resource.RLIMIT_CORE)
    resource.setrlimit(resource.RLIMIT_CORE, (0, hard))


@pytest.fixture(scope="session")
def pool():
    """Port claims, held until the test process ends."""
    return ports.open_pool()


@pytest.fixture
def launch(pool, tmp_path):
    """launch(*options, doors=..., listen=..., ready=..., scenario=...) starts a bench; the test's end releases it."""
    with harness.launching(pool, tmp_path) as start_one:
        yield start_one
