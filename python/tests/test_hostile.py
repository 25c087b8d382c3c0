"""Whatever is handed in ends in a result or in an exception that says what to do, never in a crash."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest

import qzstress
from qzstress import LearnedBeat, Session, Stage, analyze, from_signal, parts, read, simulate

GOOD = np.zeros((50, 2), np.int16)
BEAT = LearnedBeat(np.zeros((2, 300), np.int16), 100, 110, 140)


def push(array: Any, **options: Any) -> Callable[[], Any]:
    return lambda: Session(500, 2, **options).push(array)


REFUSED: dict[str, tuple[Callable[[], Any], type[Exception], str]] = {
    "one dimension": (push(GOOD[:, 0]), ValueError, "shape"),
    "one frame": (push(GOOD[0]), ValueError, "newaxis"),
    "three dimensions": (push(GOOD[:, :, None]), ValueError, "shape"),
    "turned": (push(np.zeros((2, 50), np.int16)), ValueError, r"array\.T"),
    "other leads": (push(np.zeros((50, 3), np.int16)), ValueError, "frames, 2"),
    "no array": (push(object()), ValueError, "shape"),
    "ragged": (push([[1, 2], [3]]), ValueError, "."),
    "texts": (push(np.full((5, 2), "a")), TypeError, "whole numbers"),
    "objects": (push(np.full((5, 2), None)), TypeError, "whole numbers"),
    "complex": (push(GOOD.astype(complex)), TypeError, "whole numbers"),
    "booleans": (push(GOOD.astype(bool)), TypeError, "whole numbers"),
    "half floats": (push(GOOD.astype(np.float16), unit="mV"), TypeError, "32- or 64-bit"),
    "floats without unit": (push(GOOD * 1.0), ValueError, "unit="),
    "NaN": (
        push(np.where(np.arange(100).reshape(50, 2) == 7, np.nan, 0), unit="mV"),
        ValueError,
        "frame 3, lead 1",
    ),
    "masked": (push(np.ma.masked_equal(GOOD, 0)), ValueError, "fill gaps"),
    "infinite": (push(GOOD + np.inf, unit="mV"), ValueError, "range"),
    "just too large": (push(GOOD + 32767.5, unit="uV"), ValueError, "range"),
    "too large whole numbers": (push(GOOD.astype(np.int32) + 32768), ValueError, "16 bits"),
    "unknown unit": (push(GOOD, unit="kV"), ValueError, "'kV'"),
    "no leads": (lambda: Session(500, 0), ValueError, "from 1 to 64"),
    "a lead too many": (lambda: Session(500, 65), ValueError, "from 1 to 64"),
    "huge leads": (lambda: Session(500, 2**62), ValueError, "from 1 to 64"),
    "negative leads": (lambda: Session(500, -1), ValueError, "from 1 to 64"),
    "a lead twice": (lambda: Session(500, ["I", "i"]), ValueError, "twice"),
    "low rate": (lambda: Session(99, 1), ValueError, "100"),
    "high rate": (lambda: Session(10001, 1), ValueError, "10000"),
    "broken rate": (lambda: Session(250.5, 1), TypeError, "whole"),  # type: ignore[arg-type]
    "no rate": (lambda: Session(float("nan"), 1), TypeError, "whole"),  # type: ignore[arg-type]
    "no scale": (lambda: Session(500, 1, 0.0), ValueError, "above 0"),
    "infinite scale": (lambda: Session(500, 1, float("inf")), ValueError, "above 0"),
    "odd mains": (lambda: Session(500, 1, mains_hz=55), ValueError, "55"),
    "late ST": (lambda: Session(500, 1, post_j_ms=201), ValueError, "200"),
    "low-pass at half the rate": (lambda: Session(500, 1, lowpass_hz=250), ValueError, "250"),
    "a beat of other leads": (lambda: Session(500, 3, beat=BEAT), ValueError, "leads"),
    "a beat of another rate": (lambda: Session(10000, 2, beat=BEAT), ValueError, "QRS"),
    "Q and J in the wrong order": (
        lambda: Session(500, 2).set_points(60, -40),
        ValueError,
        "q_point_ms is expected from -200 to -8",
    ),
    "an ST point of NaN": (
        lambda: Session(500, 2).set_points(st_point_ms=float("nan")),
        ValueError,
        "st_point_ms",
    ),
    "no beat": (lambda: Session(500, 2, beat=GOOD), TypeError, "LearnedBeat"),  # type: ignore[arg-type]
    "beat of floats": (lambda: LearnedBeat(GOOD * 1.0, 1, 2, 3), TypeError, "int16"),  # type: ignore[arg-type]
    "too long a beat": (
        lambda: Session(500, 2, beat=LearnedBeat(np.zeros((2, 40000), np.int16), 1, 2, 30)),
        ValueError,
        "too long",
    ),
    "J beyond the beat": (
        lambda: Session(500, 2, beat=LearnedBeat(BEAT.rows, 100, 110, 300)),
        ValueError,
        "Q before J",
    ),
    "an empty array": (lambda: analyze(GOOD[:0], 500), ValueError, "signal: "),
    "a short array": (lambda: analyze(GOOD, 500), ValueError, "signal: "),
    "an array without rate": (lambda: analyze(GOOD), ValueError, "needs fs"),
    "a file that is not there": (lambda: read("/nowhere/at/all"), qzstress.RecordError, "/nowhere"),
    "no name": (lambda: read(""), ValueError, "name"),
    "a zero in a name": (lambda: read("a\0b"), ValueError, "name"),
    "a name of bytes": (lambda: read(b"a"), TypeError, "text"),  # type: ignore[arg-type]
    "standard input": (lambda: read("-"), ValueError, "pipe"),
    "stages and a protocol": (
        lambda: analyze(GOOD, 500, stages="x", protocol="bruce"),
        ValueError,
        "one of them",
    ),
    "stages that go back": (
        lambda: analyze(GOOD, 500, stages=[Stage(20, 50), Stage(10, 100)]),
        ValueError,
        "order of time",
    ),
    "a power of gigawatts": (lambda: analyze(GOOD, 500, stages=[Stage(0, 1e9)]), ValueError, "2000"),
    "a negative pressure": (lambda: analyze(GOOD, 500, pressures=[(10, -120, -130)]), ValueError, "400"),
    "a pressure upside down": (lambda: analyze(GOOD, 500, pressures=[(10, 80, 120)]), ValueError, "above"),
    "pressures at one time": (
        lambda: analyze(GOOD, 500, pressures=[(10, 120, 80), (10, 130, 80)]),
        ValueError,
        "order of time",
    ),
    "unknown protocol": (lambda: analyze(GOOD, 500, protocol="stairs"), ValueError, "bruce"),
    "a reference that ends before it begins": (
        lambda: analyze(GOOD, 500, reference_s=(5, 5)),
        ValueError,
        "from, to",
    ),
    "an unknown course": (lambda: simulate(1, protocol="stairs"), ValueError, "ramp"),
    "an endless simulation": (lambda: simulate(float("inf")), ValueError, "number"),
    "writing where nothing can be": (
        lambda: from_signal(GOOD, 500).write("/nowhere/at/all"),
        qzstress.RecordError,
        "nowhere",
    ),
    "filter of floats": (lambda: parts.LowPass(500, 2)(GOOD * 1.0), TypeError, "whole"),
    "filter of other leads": (lambda: parts.Chain(500, 3)(GOOD), ValueError, "3"),
    "cutoff at half the rate": (lambda: parts.LowPass(500, 2, 250), ValueError, "250"),
    "no cutoff": (lambda: parts.HighPass(500, 2, 0), ValueError, "above 0"),
    "two fused leads": (lambda: parts.BeatDetector(500, 2), ValueError, "1 or 3"),
    "an empty template": (lambda: parts.Matcher(500, GOOD[:0], 1, 2), ValueError, "leads"),
    "J beyond the template": (lambda: parts.Matcher(500, BEAT.rows, 10, 300), ValueError, "299"),
    "angina of 3": (lambda: parts.duke_score(60, 0.1, 3), ValueError, "0 to 2"),
    "stages of unlike length": (lambda: parts.working_capacity([1], [1, 2]), ValueError, "as many"),
}


@pytest.mark.parametrize("name", REFUSED)
def test_is_refused_with_what_to_do(name: str) -> None:
    call, error, message = REFUSED[name]
    with pytest.raises(error, match=message):
        call()


def test_arrays_without_frames_and_views_are_taken() -> None:
    wide = np.zeros((100, 8), np.int16)
    for array in (
        GOOD[:0],
        GOOD[::-3],
        wide[::2, ::4],
        np.broadcast_to(np.int16(7), (9, 2)),
        [[1, 2]],
        GOOD.astype("u1"),
    ):
        assert Session(500, 2).push(array).shape == (0,)
        assert parts.LowPass(500, 2)(array).shape == (len(array), 2)
    for kind in ("i2", "f4", "f8"):
        packed = np.ones(9, [("flag", "u1"), ("samples", kind, (2,))])["samples"]  # at odd addresses
        assert from_signal(packed, 500, unit="uV" if kind != "i2" else None).signal.tolist() == [[1, 1]] * 9


def test_a_damaged_file_is_refused_by_name(tmp_path: Path) -> None:
    (tmp_path / "bad.hea").write_text("bad 1 500 10\nbad.dat 16 nonsense\n")
    (tmp_path / "bad.csv").write_bytes(b"\x00\xff\xfe")
    (tmp_path / "beat.npz").write_bytes(b"no archive")
    for file in ("bad.hea", "bad.csv"):
        with pytest.raises(qzstress.RecordError, match=r"bad\."):
            read(tmp_path / file)
    with pytest.raises(ValueError, match=r"."):
        LearnedBeat.load(tmp_path / "beat.npz")
