"""Analyses give the program's figures to the bit, whatever they are made of."""

from __future__ import annotations

import json
import pickle
import subprocess
from pathlib import Path
from types import SimpleNamespace

import numpy as np
import pytest

import qzstress
from qzstress import Stage, analyze, from_mne, from_wfdb, read

OPTIONS = (
    ({}, []),
    (
        {
            "mains_hz": 50,
            "smooth": 1,
            "lowpass_hz": 35,
            "reference_s": (5, 12.5),
            "angina": 1,
            "st_point_ms": 100,
        },
        ["--mains=50", "--smooth=1", "--lowpass=35", "--reference=5-12.5", "--angina=1", "--st-point=100"],
    ),
    (
        {
            "post_j_ms": 60,
            "protocol": "bicycle",
            "exercise_start_s": 11,
            "exercise_s": 54.0,
            "leads": ["V5", "ii"],
        },
        [
            "--post-j=60",
            "--protocol=bicycle",
            "--exercise-start=11",
            "--exercise-seconds=54",
            "--leads=V5,ii",
        ],
    ),
)
ENDINGS = ("", ".edf", ".csv") if "edf" in qzstress.formats() else ("", ".csv")


@pytest.mark.parametrize("ending", ENDINGS)
def test_json_is_the_programs_to_the_byte(
    program: Path, recording: qzstress.Recording, tmp_path: Path, ending: str
) -> None:
    record = str(tmp_path / f"test{ending}")
    recording.write(record)
    assert np.array_equal(read(record).signal, recording.signal)
    course = tmp_path / "stages.txt"
    course.write_text("0 0 Rest\n11 50\n65 0 Recovery\n")
    for number, (options, arguments) in enumerate((*OPTIONS, ({"stages": course}, [f"--stages={course}"]))):
        told = tmp_path / f"{number}.json"
        command = [program, "analyze", record, "--quiet", f"--json={told}", *arguments]
        subprocess.run(command, check=True, capture_output=True)
        assert analyze(record, **options).to_json() == told.read_text()  # type: ignore[arg-type]


def test_an_array_gives_what_its_file_gives(recording: qzstress.Recording, tmp_path: Path) -> None:
    recording.write(tmp_path / "test")
    stages = recording.stages
    whole = analyze(tmp_path / "test", stages=stages).to_dict()
    units = [unit for _ in range(6) for unit in ("mV", "uV")]
    factors = np.array([0.001 if unit == "mV" else 1.0 for unit in units])
    sources = {
        "array": (recording.signal, {"fs": 500, "leads": recording.leads}),
        "floats": (recording.signal / 1000.0, {"fs": 500, "leads": recording.leads, "unit": "mV"}),
        "wfdb": (
            SimpleNamespace(
                p_signal=recording.signal * factors,
                fs=500,
                sig_name=recording.leads,
                units=units,
                record_name="test",
            ),
            {},
        ),
        "mne": (
            SimpleNamespace(
                get_data=lambda picks: recording.signal.T[picks] / 1e6,
                info={"sfreq": 500.0},
                ch_names=[f"ECG {lead}" for lead in recording.leads],
                get_channel_types=lambda: ["ecg"] * 12,
            ),
            {},
        ),
    }
    for name, (source, options) in sources.items():
        found = analyze(source, stages=stages, **options).to_dict()  # type: ignore[arg-type]
        for member in ("st", "heart_rate", "leads", "exercise"):
            assert found[member] == whole[member], (name, member)


def test_channels_of_other_packages_that_are_no_ecg_are_left_out() -> None:
    signal = np.ones((600, 2)) * (1.0, 9.0)
    raw = SimpleNamespace(
        get_data=lambda picks: signal.T[picks] / 1e6,
        info={"sfreq": 250.0},
        ch_names=["A", "B"],
        get_channel_types=lambda: ["ecg", "eeg"],
    )
    record = SimpleNamespace(
        p_signal=None,
        d_signal=signal * 2 + 5,
        adc_gain=[2, 2],
        baseline=[5, 5],
        fs=250,
        sig_name=["A", "B"],
        units=["uV", "mmHg"],
        record_name="r",
        fmt=["16", "16"],
    )
    for recording in (from_mne(raw), from_wfdb(record)):
        assert (recording.leads, recording.fs, recording.signal[0].tolist()) == (["A"], 250, [1])
    record.d_signal[7, 0] = -32768
    with pytest.raises(ValueError, match="frame 7, lead 0 is nan: fill gaps"):
        from_wfdb(record)


def test_frames_hold_what_the_json_holds(result: qzstress.Result, recording: qzstress.Recording) -> None:
    told = result.to_dict()
    assert result.to_dict(trends=False) == {k: v for k, v in told.items() if k not in ("st", "heart_rate")}
    trend, beats = result.trend, result.beats
    assert trend["time_s"].tolist() == [row["time_s"] for row in told["st"]]
    for lead, name in enumerate(recording.leads):
        expected = np.array([row["level_uv"][lead] for row in told["st"]], np.float32)
        assert np.array_equal(trend[f"{name}_st_uv"], expected, equal_nan=True)
    first = told["leads"][0]["first_level_uv"]
    assert np.allclose(trend["I_change_uv"], trend["I_st_uv"].astype(float) - first, equal_nan=True)
    assert beats["heart_rate_per_min"].dropna().tolist() == [
        row["heart_rate_per_min"] for row in told["heart_rate"]
    ]
    assert len(beats) == told["beats_found"]
    assert (beats["beat_class"] == "ventricular").sum() == told["beat_classes"][0]["ventricular"] > 0
    assert result.stages["heart_rate_per_min"].tolist() == [
        s["heart_rate_per_min"] for s in told["exercise"]["course"]
    ]
    assert result.leads["largest_change_uv"].tolist() == [lead["largest_change_uv"] for lead in told["leads"]]
    assert trend.attrs["units"]["V5_slope_uv_per_ms"] == "uV/ms"
    assert np.array_equal(result.template[3], np.float32(told["averaged_beat"]["latest_uv"]["aVR"]))
    assert np.array_equal(result.reference[11], np.float32(told["averaged_beat"]["first_uv"]["V6"]))
    true_beats = recording.beats
    assert true_beats is not None
    distance = np.abs(true_beats["time_s"][2:-2, None] - beats["time_s"].to_numpy()).min(axis=1)
    assert (distance < 0.05).all()


def test_stages_patient_and_pressures_reach_the_result(recording: qzstress.Recording, tmp_path: Path) -> None:
    (tmp_path / "patient.json").write_text('{"age_years": 50, "sex": "female"}')
    found = analyze(
        recording,
        stages=[Stage(0, 0, "Rest"), Stage(11, None, "Belt", 2.7, 10), Stage(65, 0, "Recovery")],
        patient=tmp_path / "patient.json",
        pressures=[(60, 180, 90)],
        predicted="gulati",
        exercise_s=54,
    ).to_dict(trends=False)
    course = found["exercise"]["course"][1]
    assert (course["speed_kmh"], course["grade_percent"], course["systolic_mmhg"]) == (2.7, 10, 180)
    assert found["exercise"]["capacity"]["predicted_per_min"] == pytest.approx(206 - 0.88 * 50)
    assert found["patient"]["sex"] == "female"


def test_a_result_survives_pickling(result: qzstress.Result, recording: qzstress.Recording) -> None:
    again = pickle.loads(pickle.dumps(result))
    assert again.to_json() == result.to_json()
    assert again.trend.equals(result.trend)
    assert again.learned_beat == result.learned_beat
    with pytest.raises(RuntimeError, match="recording"):
        again.strip(5)
    copy = pickle.loads(pickle.dumps(recording))
    assert np.array_equal(copy.signal, recording.signal)


def test_the_learned_beat_of_one_analysis_begins_another(
    result: qzstress.Result, recording: qzstress.Recording
) -> None:
    with_beat = analyze(recording, beat=result.learned_beat)
    assert with_beat.to_dict(trends=False)["averaged_beat"]["learned_from"] == "simulated test"
    assert with_beat.trend["time_s"][0] <= result.trend["time_s"][0]


def test_a_report_is_drawn_by_the_program(
    program: Path, recording: qzstress.Recording, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    result = analyze(
        recording,
        mains_hz=50,
        stages=[Stage(np.float64(10), np.float64(50))],
        pressures=(row for row in ((20, 120, np.nan), (20.5, 130, 80))),  # type: ignore[arg-type]
        j_point_ms=60.5,
        stage_leads=[],
    )
    monkeypatch.setenv("QZSTRESS", str(program))
    result.report(tmp_path / "report.pdf")
    assert (tmp_path / "report.pdf").read_bytes().startswith(b"%PDF")
    with pytest.raises(RuntimeError, match="report"):
        result.report(tmp_path / "report.doc")
    monkeypatch.delenv("QZSTRESS")
    monkeypatch.setenv("PATH", "")
    with pytest.raises(RuntimeError, match="install it"):
        result.report(tmp_path / "report.pdf")


def test_read_tells_of_a_file_without_loading_it(recording: qzstress.Recording, tmp_path: Path) -> None:
    recording.write(tmp_path / "test")
    opened = read(tmp_path / "test.hea", leads=["V2", "I"])
    assert opened.info["schema"] == "qzstress-info-1"
    assert json.dumps(opened.info["leads"]) == '["V2", "I"]'
    pieces = list(opened.chunks(31))
    assert [len(piece) for piece in pieces] == [15500, 15500, 14000]
    assert np.array_equal(np.concatenate(pieces), recording.signal[:, [7, 0]])
    assert np.allclose(opened.signal_mv[:5], recording.signal[:5, [7, 0]] / 1000)
