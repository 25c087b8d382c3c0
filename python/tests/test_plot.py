"""Pictures show the figures that they are of."""

from __future__ import annotations

import numpy as np
import pytest
from matplotlib import pyplot

import qzstress


@pytest.fixture(autouse=True)
def _close() -> object:
    yield
    pyplot.close("all")


def test_trend_has_rates_and_a_line_per_lead(result: qzstress.Result) -> None:
    rate, st = result.plot.trend(["V5", "ii"]).axes
    assert np.array_equal(rate.lines[0].get_ydata(), result._all_arrays()["rates"][:, 1])
    assert [text.get_text() for text in st.get_legend().get_texts()] == ["V5", "II"]
    assert np.array_equal(st.lines[0].get_ydata(), result.trend["V5_st_uv"], equal_nan=True)
    with pytest.raises(ValueError, match="V9"):
        result.plot.trend(["V9"])


def test_a_millimetre_of_paper_is_one_in_print(result: qzstress.Result) -> None:
    for figure in (result.plot.strip(60, 5), result.plot.beats()):
        axes = figure.axes[0]
        width_mm = figure.get_figwidth() * 25.4 * axes.get_position().width
        height_mm = figure.get_figheight() * 25.4 * axes.get_position().height
        assert (width_mm, height_mm) == (pytest.approx(axes.get_xlim()[1]), pytest.approx(axes.get_ylim()[1]))


def test_a_strip_is_the_conditioned_signal_at_its_time(
    result: qzstress.Result, recording: qzstress.Recording
) -> None:
    with qzstress.Session(recording.fs, 12, mains_hz=50, conditioned=True) as session:
        session.push(recording.signal)
        session.finish()
        clean = session.conditioned()
    strip = result.strip(85, 10)
    assert np.array_equal(strip["clean_uv"], clean[42500:45000])
    assert np.array_equal(strip["raw_uv"], recording.signal[42500:45000])
    lane = result.plot.strip(85, 10, leads=["V4"]).axes[0].lines[0].get_ydata()
    assert np.allclose((lane - lane[0]) * 100, clean[42500:45000, 9] - clean[42500, 9])
    with pytest.raises(ValueError, match="ends before"):
        result.plot.strip(90)


def test_a_notebook_shows_leads_and_warnings_as_text(recording: qzstress.Recording) -> None:
    flat = recording.signal.copy()
    flat[:, 0] = 0
    shown = qzstress.analyze(flat, 500, ["<b>", *recording.leads[1:]])._repr_html_()
    assert "<b>" not in shown
    assert "&lt;b&gt; (from" in shown
