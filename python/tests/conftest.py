"""Recordings that the tests share, and the compiled programs that they are compared with."""

from __future__ import annotations

import os
from pathlib import Path

import matplotlib
import pytest

import qzstress

matplotlib.use("Agg")


@pytest.fixture(scope="session")
def recording() -> qzstress.Recording:
    """Return a simulated exercise test of 90 s."""
    return qzstress.simulate(90, seed=5, ectopy_s=20)


@pytest.fixture(scope="session")
def result(recording: qzstress.Recording) -> qzstress.Result:
    """Return what is found in it."""
    return qzstress.analyze(recording)


def _program(variable: str) -> Path:
    if variable not in os.environ:
        pytest.skip(f"{variable} does not name the program")
    return Path(os.environ[variable])


@pytest.fixture(scope="session")
def program() -> Path:
    """Return the path of qzstress."""
    return _program("QZSTRESS")


@pytest.fixture(scope="session")
def example() -> Path:
    """Return the path of the example of C++ on sessions."""
    return _program("QZ_EXAMPLE_SESSION")
