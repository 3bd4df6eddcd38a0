"""Shared set-up of the Python package's tests: the built package and the built programs."""

import os
import pathlib

import pytest

BINARY_DIR = pathlib.Path(os.environ.get("CHROMA_BINARY_DIR", pathlib.Path(__file__).resolve().parents[2] / "build"))


@pytest.fixture
def cli():
    """The built chromameter command."""
    path = BINARY_DIR / "cli" / "chromameter"
    if not path.exists():
        pytest.skip(f"{path} is not built")
    return path
