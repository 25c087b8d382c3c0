"""Each part on instances: a signal at once and frame by frame give the same, and do what their names say."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

import numpy as np
import pytest

import qzstress
from qzstress import parts

FS = 500
MAKERS: dict[str, Callable[[], Any]] = {
    "low-pass": lambda: parts.LowPass(FS, 12),
    "high-pass": lambda: parts.HighPass(FS, 12),
    "notch": lambda: parts.Notch(FS, 12, 50),
    "comb": lambda: parts.Comb(FS, 12),
    "smoother": lambda: parts.Smoother(FS, 12, 2),
    "chain": lambda: parts.Chain(FS, 12, smooth=1),
    "doubler": lambda: parts.Doubler(12),
    "vote": lambda: parts.VotingBeatDetector(FS, 12, 50),
}


@pytest.mark.parametrize("name", MAKERS)
def test_whole_and_frame_by_frame_are_equal(name: str, recording: qzstress.Recording) -> None:
    frames = recording.signal[:4000]
    frame_by_frame = MAKERS[name]()
    parts_of_it = [frame_by_frame(frames[i : i + 1]) for i in range(len(frames))]
    whole = MAKERS[name]()(frames)
    assert np.array_equal(np.concatenate(parts_of_it), whole)
    assert whole.any()


def tone(hz: float) -> np.ndarray:
    """Return four seconds of 1000 units."""
    return np.round(1000 * np.sin(2 * np.pi * hz * np.arange(4 * FS) / FS)).astype(np.int16)[:, None]


@pytest.mark.parametrize(
    ("make", "hz", "gain"),
    [
        (lambda: parts.LowPass(FS, 1, 40.0), 40, 0.7071),
        (lambda: parts.LowPass(FS, 1, 40.0), 5, 1.0),
        (lambda: parts.HighPass(FS, 1, 2.0), 2, 0.54),
        (lambda: parts.Notch(FS, 1, 50.0), 50, 0.0),
        (lambda: parts.Notch(FS, 1, 50.0), 30, 1.0),
        (lambda: parts.Comb(FS, 1, 50), 150, 0.0),
        (lambda: parts.Chain(FS, 1, 40.0, 0), 40, 0.7071),
        (lambda: parts.Chain(FS, 1, 0, 50), 50, 0.0),
    ],
)
def test_filters_have_their_gains(make: Callable[[], Any], hz: float, gain: float) -> None:
    settled = make()(tone(hz))[2 * FS :].astype(float)
    assert np.sqrt(2 * (settled**2).mean()) / 1000 == pytest.approx(gain, abs=0.012)


def test_delays_add_up_along_the_chain() -> None:
    chain = parts.Chain(FS, 3, 40, 50, 2)
    stages = [parts.LowPass(FS, 3), parts.Comb(FS, 3), parts.Smoother(FS, 3, 2)]
    assert chain.delay_samples == sum(stage.delay_samples for stage in stages) == 3 + 370 + 36
    assert chain.settling_samples == sum(stage.settling_samples for stage in stages)


def test_detectors_find_the_beats(recording: qzstress.Recording) -> None:
    clean = qzstress.simulate(30, mains_uv=0, muscle_uv=0, wander_uv=0, ectopy_s=0)
    assert clean.beats is not None
    for detector, frames in (
        (parts.BeatDetector(FS, 1, 50), clean.signal[:, 1:2]),
        (parts.BeatDetector(FS, 3), clean.signal[:, [0, 1, 7]]),
        (parts.VotingBeatDetector(FS, 12), clean.signal),
    ):
        rr = detector(frames)
        found = rr[rr > 0] / FS
        true = clean.beats["rr_s"][-len(found) :]
        assert len(found) > 20
        assert np.median(np.abs(found - true)) < 0.02


def test_the_matcher_folds_beats_and_measures_st(recording: qzstress.Recording) -> None:
    test = qzstress.simulate(30, mains_uv=0, muscle_uv=0, wander_uv=0, ectopy_s=0)
    beat = qzstress.analyze(test).learned_beat
    assert beat is not None
    make = lambda: parts.Matcher(FS, beat.rows, beat.pos_q, beat.pos_j, pos_r=beat.pos_r)  # noqa: E731
    whole, pieces = make(), make()
    rows = whole(test.signal)
    again = np.concatenate([pieces(part) for part in np.array_split(test.signal, 1000)])
    assert rows.tobytes() == again.tobytes()
    assert test.beats is not None
    assert len(rows) >= len(test.beats) - 2
    assert whole.template.shape[0] == 12
    assert whole.positions["q"] < whole.positions["r"] < whole.positions["j"]
    assert np.abs(rows["st_uv"][:3]).max() < 120


def test_indices_have_their_worked_values() -> None:
    assert parts.duke_score(540, -0.2, 1) == 9 - 10 - 4
    capacity = parts.working_capacity([50, 100, 150], [110, 130, 150])
    assert capacity[130] == pytest.approx(100)
    assert capacity[150] == pytest.approx(150)
    assert np.isnan(capacity[170])
    assert parts.sthr_index(70, 0, 170, -150) == pytest.approx(1.5)
    assert np.isnan(parts.sthr_index(70, 0, 79.9, -150))
    slope, points = parts.sthr_slope([70, 100, 120, 140, 160], [0, 0, -40, -80, -120])
    assert (slope, points) == (pytest.approx(2.0), 3)
