"""Builds the package with scikit-build-core, and puts the library's sources into the source distribution.

The sources lie above this folder, where a source distribution cannot reach: they are copied beside it while
one is made.
"""

import contextlib
import shutil
from collections.abc import Iterator
from pathlib import Path
from typing import Any, Optional

from scikit_build_core import build as _build
from scikit_build_core.build import (
    build_editable,
    build_wheel,
    get_requires_for_build_editable,
    get_requires_for_build_sdist,
    get_requires_for_build_wheel,
    prepare_metadata_for_build_editable,
    prepare_metadata_for_build_wheel,
)

__all__ = [
    "build_editable",
    "build_sdist",
    "build_wheel",
    "get_requires_for_build_editable",
    "get_requires_for_build_sdist",
    "get_requires_for_build_wheel",
    "prepare_metadata_for_build_editable",
    "prepare_metadata_for_build_wheel",
]

HERE = Path(__file__).resolve().parent
SOURCES = ("CMakeLists.txt", "api", "cmake", "core", "host", "python/src", "session")


@contextlib.contextmanager
def _sources_beside() -> Iterator[None]:
    copy = HERE / "library"
    if copy.exists():  # of a source distribution, which is made into another
        yield
        return
    try:
        for name in SOURCES:
            source, target = HERE.parent / name, copy / name
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copytree(source, target) if source.is_dir() else shutil.copy(source, target)
        yield
    finally:
        shutil.rmtree(copy, ignore_errors=True)


def build_sdist(sdist_directory: str, config_settings: Optional[dict[str, Any]] = None) -> str:
    """Make a source distribution that builds without the repository."""
    with _sources_beside():
        return _build.build_sdist(sdist_directory, config_settings)
