"""Sessions give what the C++ example gives, however a signal is cut, in any number of threads."""

from __future__ import annotations

import pickle
import subprocess
import threading
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import numpy as np
import pytest

import qzstress
from qzstress import EventKind, LearnedBeat, Session, STShape, _checks


def example_signal() -> np.ndarray:
    """Compute the ten minutes of examples/README.md."""

    def triangle(t: np.ndarray, centre: int, half: int, height: np.ndarray | int) -> np.ndarray:
        return np.where(np.abs(t - centre) < half, height * (half - np.abs(t - centre)) // half, 0)

    frames = 600 * 500
    place, t = np.zeros(frames, int), 0
    for i in range(frames):
        place[i] = t
        t = t + 1 if t + 1 < 400 - i // 3000 else 0
    wave = triangle(place, 85, 25, 12) - triangle(place, 140, 6, 10) + triangle(place, 150, 8, 100)
    wave = wave - triangle(place, 160, 8, 25) - triangle(place, 195, 40, np.arange(frames) // 15000)
    wave = wave + triangle(place, 260, 45, 30)
    return (np.array([2 * (lead * 5 % 8) - 7 for lead in range(12)]) * wave[:, None]).astype(np.int16)


def test_prints_what_the_example_of_cpp_prints(example: Path) -> None:
    lines, beats, latest = [], 0, 0.0
    for event in Session(500, 12, 2.5).iterate(np.array_split(example_signal(), 1001)):
        if event["kind"] == EventKind.INTERVAL and event["heart_rate_per_min"] > 0:
            latest = event["heart_rate_per_min"]
        if event["kind"] != EventKind.BEAT:
            continue
        beats += 1
        if beats % 100 == 0:
            values = (event["heart_rate_per_min"], latest, *event["level_uv"], *event["slope_uv_per_ms"])
            lines.append(" ".join([f"{event['time_s'] * 500:.0f}", *(f"{value:.9g}" for value in values)]))
    assert lines == subprocess.run([example], capture_output=True, text=True, check=True).stdout.splitlines()


def run(recording: qzstress.Recording, frames: np.ndarray, step: int, **options: object) -> np.ndarray:
    """Push frames `step` at a time and return all events."""
    with Session(recording.fs, recording.leads, recording.uv_per_bit, **options) as session:
        parts = [session.push(frames[i : i + step]) for i in range(0, len(frames), step)]
        return np.concatenate([*parts, session.finish()])


def test_gives_the_same_however_the_signal_comes(recording: qzstress.Recording) -> None:
    frames = recording.signal[:15000]
    expected = run(recording, frames, len(frames))
    assert {EventKind.INTERVAL, EventKind.BEAT, EventKind.LEARNED, EventKind.QUALITY} <= set(expected["kind"])
    forms = {
        "one by one": (frames, 1, None),
        "columns first": (np.asfortranarray(frames), 777, None),
        "64 bits": (frames.astype(np.int64), 777, None),
        "big-endian": (frames.astype(">i2"), 777, None),
        "millivolts": (frames / 1000.0, 777, "mV"),
        "microvolts of 32 bits": (frames.astype(np.float32), 777, "uV"),
    }
    for name, (form, step, unit) in forms.items():
        assert run(recording, form, step, unit=unit).tobytes() == expected.tobytes(), name


def test_reads_fitting_arrays_where_they_lie(recording: qzstress.Recording) -> None:
    frames = recording.signal.copy()
    frames.flags.writeable = False
    assert _checks.frames_of(frames, 12, 1.0, None) is frames


def test_rounds_floats_half_away_from_zero() -> None:
    values = np.array([[0.5], [-0.5], [1.5], [2.499], [-32768.4], [32767.49]])
    assert _checks.frames_of(values, 1, 1.0, "uV")[:, 0].tolist() == [1, -1, 2, 2, -32768, 32767]


def test_begins_with_the_beat_of_another_session(recording: qzstress.Recording, tmp_path: Path) -> None:
    session = Session(recording.fs, 12)
    assert session.learned_beat is None
    session.push(recording.signal[:15000])
    beat = session.learned_beat
    assert beat is not None
    assert beat.confident
    beat.save(tmp_path / "beat")
    assert LearnedBeat.load(tmp_path / "beat") == beat == pickle.loads(pickle.dumps(beat))
    again = Session(recording.fs, 12, beat=LearnedBeat.load(tmp_path / "beat"))
    events = again.push(recording.signal[:15000])
    assert events["kind"][events["time_s"] == 0.0].tolist() == [EventKind.LEARNED]
    assert again.template.shape == (12, round(again.positions_ms["length"] / 2))


def test_tells_why_nothing_was_learned_and_which_lead_is_off() -> None:
    session = Session(500, 2)
    events = np.concatenate([session.push(np.zeros((10000, 2), np.int16)), session.finish()])
    assert session.not_learned
    assert events["lead"][events["kind"] == EventKind.LEAD_OFF].tolist() == [0, 1]
    assert (events["lead"][events["kind"] == EventKind.NOT_LEARNED] == -1).all()


def test_measures_at_points_that_are_set_by_hand(recording: qzstress.Recording) -> None:
    points = {"q_point_ms": -40, "j_point_ms": 60.5, "st_point_ms": 100}
    session = Session(recording.fs, recording.leads, recording.uv_per_bit)
    session.set_points(**points)
    events = np.concatenate([session.push(recording.signal), session.finish()])
    beats = events[events["kind"] == EventKind.BEAT]
    at = session.positions_ms
    assert (at["q"] - at["r"], at["j"] - at["r"]) == (-40, 60.5)
    assert session.measured_positions_ms == pytest.approx(at)
    means, at = session.measured_template, session.measured_template_positions_ms
    assert means.shape[0] == len(recording.leads)
    assert (at["q"] - at["r"], at["j"] - at["r"]) == (-40, 60.5)
    j = round(at["j"] * recording.fs / 1000)
    assert means[:, j] == pytest.approx(beats["st_j_uv"][-1], abs=6)  # between two samples, on a slope
    found = qzstress.analyze(recording, mains_hz=50, **points)._all_arrays()
    assert np.array_equal(beats["st_level_uv"], found["level_uv"], equal_nan=True)
    assert np.array_equal(beats["qrs_end_ms"], found["trend"][:, 5])
    upsloping = beats["st_slope_uv_per_ms"] >= 0.5
    assert np.array_equal(beats["st_shape"] == STShape.UPSLOPING, upsloping)
    assert 0 < upsloping.sum() < upsloping.size
    again = Session(recording.fs, recording.leads, recording.uv_per_bit)
    again.set_points(**points)
    again.set_points()
    own = np.concatenate([again.push(recording.signal), again.finish()])
    assert own.tobytes() == run(recording, recording.signal, 5000).tobytes() != events.tobytes()


def test_conditioned_frames_follow_each_other(recording: qzstress.Recording) -> None:
    session = Session(recording.fs, 12, conditioned=True)
    parts = []
    for chunk in recording.chunks(7):
        session.push(chunk)
        parts.append(session.conditioned())
    session.finish()
    clean = np.concatenate([*parts, session.conditioned()])
    assert clean.shape == recording.signal.shape
    assert session.frames == len(clean)
    # The averaged beat has been made of them: R stands where the events say.
    assert session.delay_ms > 0


def test_sessions_run_side_by_side_and_one_is_for_one_thread(recording: qzstress.Recording) -> None:
    expected = run(recording, recording.signal, 5000).tobytes()
    with ThreadPoolExecutor(4) as pool:
        found = pool.map(
            lambda step: run(recording, recording.signal, step).tobytes(), (1000, 3000, 7000, 45000)
        )
        assert all(one == expected for one in found)
    session, refused = Session(recording.fs, 12), threading.Event()

    def push() -> None:
        while not refused.is_set():
            try:
                session.push(recording.signal[:2000])
            except RuntimeError:
                refused.set()

    threads = [threading.Thread(target=push) for _ in range(2)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(20)
    assert refused.is_set()


def test_a_closed_or_finished_session_refuses_frames() -> None:
    frames = np.zeros((10, 1), np.int16)
    session = Session(500, 1)
    session.push(frames)
    session.finish()
    assert len(session.finish()) == 0
    with pytest.raises(RuntimeError, match="finished"):
        session.push(frames)
    with session:
        pass
    for call in (lambda: session.push(frames), session.finish, lambda: session.template):
        with pytest.raises(RuntimeError, match="closed"):
            call()
    with pytest.raises(TypeError, match="pickled"):
        pickle.dumps(session)
