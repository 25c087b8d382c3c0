"""The tutorial runs, cell by cell, as a notebook runs it."""

from __future__ import annotations

import json
from pathlib import Path

from matplotlib import pyplot


def test_tutorial_runs() -> None:
    notebook = json.loads((Path(__file__).parents[1] / "tutorial" / "tutorial.ipynb").read_text())
    names: dict[str, object] = {}
    for cell in notebook["cells"]:
        if cell["cell_type"] == "code":
            exec("".join(cell["source"]), names)
    assert len(pyplot.get_fignums()) == 3
    pyplot.close("all")
