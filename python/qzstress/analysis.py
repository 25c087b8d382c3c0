"""Analyses of whole recordings: what the program does, with its figures to the bit."""

from __future__ import annotations

import html
import json
import os
import shutil
import subprocess
import tempfile
from collections.abc import Sequence
from pathlib import Path
from typing import TYPE_CHECKING, Any, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _checks, _native
from .records import Recording, Stage, from_mne, from_signal, from_wfdb, read
from .session import BeatClass, LearnedBeat, Session

if TYPE_CHECKING:
    import pandas as pd

    from .plot import Plots

Source = Union[str, "os.PathLike[str]", Recording, ArrayLike, Any]
PROGRAM = "QZSTRESS"  # environment variable with the path of the program
_LONGEST_RR_MS = 4000.0
# As the program takes them from files.
_LATEST_S = 7 * 24 * 3600.0
_MOST_W, _MOST_KMH, _MOST_PERCENT, _MOST_MMHG = 2000, 40, 40, 400


def analyze(
    source: Source,
    fs: float | None = None,
    leads: list[str] | None = None,
    *,
    uv_per_bit: float | None = None,
    unit: str | None = None,
    mains_hz: int | None = None,
    paced: bool | None = None,
    comb: bool = False,
    lowpass_hz: int | None = None,
    smooth: int | None = None,
    post_j_ms: int | None = None,
    st_rate_limit_per_min: float | None = None,
    q_point_ms: float | None = None,
    j_point_ms: float | None = None,
    st_point_ms: float | None = None,
    beat: LearnedBeat | None = None,
    reference_s: tuple[float, float] | None = None,
    anonymous: bool = False,
    angina: int | None = None,
    exercise_s: float | None = None,
    stages: str | os.PathLike[str] | Sequence[Stage] | None = None,
    protocol: str | None = None,
    exercise_start_s: float | None = None,
    predicted: str | None = None,
    stage_leads: list[str] | None = None,
    patient: str | os.PathLike[str] | None = None,
    pressures: str | os.PathLike[str] | Sequence[tuple[float, float, float]] | None = None,
) -> Result:
    """Find heart rate, beats and ST of a whole recording.

    Parameters
    ----------
    source : path-like, Recording, array_like of shape (frames, leads), mne.io.Raw or wfdb.Record
        What is analysed. Files are read piece by piece: a day needs little memory.
    fs : float, optional
        Samples per second, of arrays and CSV.
    leads : list of str, optional
        Of a file the leads to use, of an array the names of its columns.
    uv_per_bit : float, optional
        Microvolts per unit, of arrays of whole numbers and of CSV columns without a unit.
    unit : {"uV", "mV", "V"}, optional
        Unit of an array of floats.
    mains_hz : {50, 60, 0}, optional
        Mains frequency that is taken out, 0 for none; without it that which the first 10 s show.
    paced : bool, optional
        Whether a pacemaker is at work: beats of a usual shape are paced; else as the remarks tell.
    comb : bool
        Takes out every harmonic of mains of 50 Hz; delays by 740 ms and shifts ST.
    lowpass_hz : int, optional
        Cutoff of the low-pass, 0 for none; 40.
    smooth : {0, 1, 2}, optional
        Strength of the adaptive smoother.
    post_j_ms : int, optional
        The ST level is the engine's so many ms after J + 6 ms, 10 to 200, not that at J + 80 ms.
    st_rate_limit_per_min : float, optional
        Heart rate above which ST is that at J + 60 ms; 145.
    q_point_ms, j_point_ms : float, optional
        Onset and end of the QRS, set by hand: from R, -200 to -8 and 8 to 250 ms.
    st_point_ms : float, optional
        The ST point, set by hand: after J, 10 to 200 ms.
    beat : LearnedBeat, optional
        The first averaged beat; without it one is learned.
    reference_s : (float, float), optional
        From and to, seconds: the stretch from which changes of ST count; else the rest before the exercise
        or, without stages, the first half minute of ST.
    anonymous : bool
        Leaves persons and remarks out of all results.
    angina : {0, 1, 2}, optional
        None, not limiting, limiting.
    exercise_s : float, optional
        Exercise time, seconds, instead of what the stages tell; ends a protocol.
    stages : path-like or sequence of Stage, optional
        A file as the program takes it, or the stages in order of time; without it those of the recording.
    protocol : str, optional
        A named course instead: see `protocols`.
    exercise_start_s : float, optional
        Second at which the protocol starts.
    predicted : str, optional
        Formula of the maximal heart rate of the age: see `predicted_rates`.
    stage_leads : list of str, optional
        Leads in the report's table of stages.
    patient : path-like, optional
        What is told of the patient, a JSON file as the program takes it.
    pressures : path-like or sequence of (seconds, systolic, diastolic), optional
        Blood pressures, mmHg: a file as the program takes it, or the values, NaN where not known, in order of
        time. Those after the end of the recording are left out, with a warning.

    Returns
    -------
    Result

    Raises
    ------
    RecordError
        The recording cannot be read, or no averaged beat can be learned from it.

    Examples
    --------
    >>> result = analyze("rec/s1", mains_hz=60)     # doctest: +SKIP
    >>> result.leads[["name", "largest_change_uv"]] # doctest: +SKIP
    """
    recording = _recording_of(source, fs, leads, uv_per_bit, unit)
    study = _native.Study()
    given: list[tuple[str, str]] = []

    def give(option: str, value: object) -> None:
        given.append((option, _text(value)))

    named, rate, scale = recording._reading
    if named:
        give("--leads", named)
    if rate:
        give("--fs", rate)
    if scale:
        give("--uv-per-bit", scale)
    if mains_hz is not None:
        if mains_hz not in (0, 50, 60):
            raise ValueError(f"mains_hz is expected to be 0, 50 or 60, not {mains_hz!r}")
        study.mains_hz(int(mains_hz))
        give("--mains", int(mains_hz))
    if paced is not None:
        study.paced(bool(paced))
        give("--paced", "yes" if paced else "no")
    if comb:
        study.comb(True)
        give("--comb", True)
    if lowpass_hz is not None:
        if lowpass_hz:
            _checks.whole("lowpass_hz", lowpass_hz, 10, 1000)
        study.lowpass_hz(int(lowpass_hz))
        give("--lowpass", int(lowpass_hz))
    if smooth is not None:
        study.smooth(_checks.whole("smooth", smooth, 0, 2))
        give("--smooth", int(smooth))
    if post_j_ms is not None:
        study.post_j_ms(_checks.whole("post_j_ms", post_j_ms, 10, 200))
        give("--post-j", int(post_j_ms))
    if st_rate_limit_per_min is not None:
        if post_j_ms is not None:
            raise ValueError("st_rate_limit_per_min is for the rate-adapted point: leave post_j_ms out")
        study.st_rate_limit_per_min(_checks.number("st_rate_limit_per_min", st_rate_limit_per_min, above=0))
        give("--st-rate-limit", st_rate_limit_per_min)
    for name, ms in _checks.points_ms(q_point_ms, j_point_ms, st_point_ms).items():
        if post_j_ms is not None:
            raise ValueError(f"post_j_ms is measured at the engine's points: leave {name} out")
        give("--" + name.removesuffix("_ms").replace("_", "-"), ms)
    study.points_ms(q_point_ms, j_point_ms, st_point_ms)
    if beat is not None:
        if not isinstance(beat, LearnedBeat):
            raise TypeError(f"beat is expected to be a LearnedBeat, not {type(beat).__name__}")
        study.beat(beat._to_native())
    if reference_s is not None:
        first, last = (_checks.number("reference_s", moment, 0) for moment in reference_s)
        if not first < last:
            raise ValueError(f"reference_s is expected to be (from, to), not {reference_s!r}")
        study.reference_s((first, last))
        give("--reference", f"{_text(first)}-{_text(last)}")
    if anonymous:
        study.anonymous(True)
        give("--anonymous", True)
    if angina is not None:
        study.angina(_checks.whole("angina", angina, 0, 2))
        give("--angina", int(angina))
    if exercise_s is not None:
        study.exercise_s(_checks.number("exercise_s", exercise_s, 0))
        give("--exercise-seconds", exercise_s)
    if stages is not None and protocol is not None:
        raise ValueError("stages and protocol tell the same: give one of them")
    course = recording.stages if stages is None and protocol is None else []
    if isinstance(stages, (str, os.PathLike)):
        study.stages_file(os.fspath(stages))
        give("--stages", os.fspath(stages))
    elif stages is not None:
        course = list(stages)
    course = [_checked_stage(stage) for stage in course]
    _check_order("stages", [stage.start_s for stage in course])
    study.stages([(one.start_s, one.power_w, one.name, one.speed_kmh, one.grade_percent) for one in course])
    if protocol is not None:
        study.protocol(_one_of("protocol", protocol, _native.protocols))
        give("--protocol", protocol)
    if exercise_start_s is not None:
        if protocol is None:
            raise ValueError("exercise_start_s is for a protocol")
        study.exercise_start_s(_checks.number("exercise_start_s", exercise_start_s, 0))
        give("--exercise-start", exercise_start_s)
    if predicted is not None:
        names = _native.predicted_rates
        study.predicted(names.index(_one_of("predicted", predicted, names)))
        give("--predicted", predicted)
    if stage_leads:
        study.stage_leads([str(lead) for lead in stage_leads])
        give("--stage-leads", stage_leads)
    if patient is not None:
        study.patient_file(os.fspath(patient))
    if isinstance(pressures, (str, os.PathLike)):
        study.pressures_file(os.fspath(pressures))
    elif pressures is not None:
        pressures = [_checked_pressure(row) for row in pressures]
        _check_order("pressures", [seconds for seconds, _, _ in pressures])
        study.pressures([(*row, np.nan) for row in pressures])
    study.given(given)

    if recording.path is not None:
        native = _native.analyze_file(recording.path, *recording._reading, study)
    else:
        native = _native.analyze_array(
            recording.signal,
            recording.name,
            recording.fs,
            recording.uv_per_bit,
            recording.leads,
            recording.started,
            recording.remarks,
            study,
        )
    report = _ReportOptions(given, course, patient, pressures, beat is not None)
    return Result(native, recording, report)


def _recording_of(
    source: Source, fs: float | None, leads: list[str] | None, uv_per_bit: float | None, unit: str | None
) -> Recording:
    if isinstance(source, (str, os.PathLike)):
        if unit is not None:
            raise ValueError("unit is for arrays: a file tells its own")
        return read(source, leads=leads, fs=fs, uv_per_bit=uv_per_bit)
    is_raw = hasattr(source, "get_data") and hasattr(source, "info")
    is_record = hasattr(source, "p_signal") and hasattr(source, "sig_name")
    if isinstance(source, Recording) or is_raw or is_record:
        for name, value in (("fs", fs), ("leads", leads), ("uv_per_bit", uv_per_bit), ("unit", unit)):
            if value is not None:
                raise ValueError(f"{name} is for arrays and files: a recording tells its own")
        if isinstance(source, Recording):
            return source
        return from_mne(source) if is_raw else from_wfdb(source)
    if fs is None:
        raise ValueError("an array needs fs, its samples per second and lead")
    return from_signal(source, fs, leads, uv_per_bit=uv_per_bit, unit=unit)  # type: ignore[arg-type]


def _text(value: object) -> str:
    """Return a value as the command line has it."""
    if value is True:
        return "true"
    if isinstance(value, (list, tuple)):
        return ",".join(_text(one) for one in value)
    if isinstance(value, float) and value.is_integer():
        return str(int(value))
    return str(value)


def _one_of(name: str, value: str, allowed: Sequence[str]) -> str:
    if value not in allowed:
        raise ValueError(f"{name} is expected to be one of {', '.join(allowed)}, not {value!r}")
    return value


def _checked_stage(stage: Stage) -> Stage:
    if not isinstance(stage, Stage):
        raise TypeError(f"stages are expected to be of Stage, not {type(stage).__name__}")

    def known(name: str, value: float | None, highest: float) -> float | None:
        return None if value is None else _checks.between(name, value, 0, highest)

    return Stage(
        _checks.between("start_s", stage.start_s, 0, _LATEST_S),
        known("power_w", stage.power_w, _MOST_W),
        " ".join(str(stage.name).split()),
        known("speed_kmh", stage.speed_kmh, _MOST_KMH),
        known("grade_percent", stage.grade_percent, _MOST_PERCENT),
    )


def _checked_pressure(row: Sequence[float]) -> tuple[float, float, float]:
    values = tuple(row)
    if len(values) != 3:
        raise ValueError(f"pressures are expected to be (seconds, systolic, diastolic), not {row!r}")
    seconds = _checks.between("time of a pressure", values[0], 0, _LATEST_S)
    systolic, diastolic = (
        value if value != value else _checks.between("pressure", value, 0, _MOST_MMHG) for value in values[1:]
    )
    if systolic <= diastolic:
        raise ValueError(f"a systolic pressure above the diastolic is expected, not {row!r}")
    return seconds, systolic, diastolic


def _check_order(name: str, seconds: list[float]) -> None:
    for before, after in zip(seconds, seconds[1:]):
        if after <= before:
            raise ValueError(f"{name} are expected in order of time, not {after:g} s after {before:g} s")


class _ReportOptions:
    """What the program is to be told for a report on the same analysis."""

    def __init__(
        self,
        given: list[tuple[str, str]],
        stages: list[Stage],
        patient: str | os.PathLike[str] | None,
        pressures: Any,
        has_beat: bool,
    ) -> None:
        self.given = given
        self.stages = stages
        self.patient = patient
        self.pressures = pressures
        self.has_beat = has_beat

    def arguments(self, folder: Path) -> list[str]:
        arguments = [f"{name}={value}" if value != "true" else name for name, value in self.given]
        if self.stages:
            path = folder / "stages.txt"
            path.write_text("".join(_stage_line(stage) for stage in self.stages), encoding="utf-8")
            arguments.append(f"--stages={path}")
        if self.patient is not None:
            arguments.append(f"--patient={os.fspath(self.patient)}")
        if isinstance(self.pressures, (str, os.PathLike)):
            arguments.append(f"--bp={os.fspath(self.pressures)}")
        elif self.pressures is not None:
            path = folder / "pressures.csv"
            rows = "".join(",".join(map(_text, row)) + "\n" for row in self.pressures).replace("nan", "")
            path.write_text("time,systolic,diastolic\n" + rows, encoding="utf-8")
            arguments.append(f"--bp={path}")
        return arguments


def _stage_line(stage: Stage) -> str:
    work = "-" if stage.power_w is None else _text(stage.power_w)
    if stage.power_w is None and stage.speed_kmh is not None and stage.grade_percent is not None:
        work = f"{_text(stage.speed_kmh)}/{_text(stage.grade_percent)}"
    return f"{_text(stage.start_s)} {work} {stage.name}\n"


class Result:
    """What an analysis has found. Times are seconds from the first frame, filter delays taken off.

    Frames have the unit of each column at the end of its name and in ``frame.attrs["units"]``; what is not
    known is NaN. Results can be pickled; a pickled one keeps its figures, and of its recording the path.

    Attributes
    ----------
    recording : Recording or None
        What was analysed; None in a result that was pickled without a file.
    plot : qzstress.plot.Plots
        Pictures: ``plot.trend()``, ``plot.beats()``, ``plot.strip(t)``.
    """

    def __init__(self, native: _native.Result, recording: Recording, report: _ReportOptions) -> None:
        self.recording: Recording | None = recording
        self._native: _native.Result | None = native
        self._json: str | None = None
        self._report = report
        self._summary: dict[str, Any] = json.loads(native.summary())
        self._arrays: dict[str, NDArray[Any]] | None = None
        self._learned = LearnedBeat._from_native(native.learned())

    def __getstate__(self) -> dict[str, Any]:
        """Return the figures, without what is the extension's."""
        state = dict(self.__dict__, _json=self.to_json(), _arrays=self._all_arrays(), _native=None)
        if self.recording is not None and self.recording.path is None:
            state["recording"] = None
        return state

    def _all_arrays(self) -> dict[str, NDArray[Any]]:
        if self._arrays is None:
            assert self._native is not None
            self._arrays = self._native.arrays()
        return self._arrays

    @property
    def lead_names(self) -> list[str]:
        """Lead names, in the order of all rows."""
        return list(self._summary["record"]["leads"])

    @property
    def warnings(self) -> list[str]:
        """What may be wrong with recording or results, one line each."""
        return list(self._summary["warnings"])

    @property
    def learned_beat(self) -> LearnedBeat | None:
        """The averaged beat as it was learned first, for other sessions and analyses."""
        return self._learned

    @property
    def template(self) -> NDArray[np.float32]:
        """The averaged beat that ST was measured on last, shape (leads, samples), microvolts above its PR
        level; NaN for a lead with too few beats."""
        return self._all_arrays()["template"]

    @property
    def reference(self) -> NDArray[np.float32]:
        """Its mean over the reference, likewise; NaN for a lead without ST there."""
        return self._all_arrays()["reference"]

    @property
    def st_points_uv(self) -> NDArray[np.float32]:
        """Levels at J and 20, 60 and 80 ms after it, shape (rows of `trend`, leads, 4), microvolts."""
        return self._all_arrays()["points_uv"]

    @property
    def trend(self) -> pd.DataFrame:
        """One row per folded beat: time, RR, heart rate; ST level, slope, change and ST/HR index per lead."""
        arrays = self._all_arrays()
        names = ("time_s", "rr_ms", "heart_rate_per_min", "st_point_ms", "qrs_onset_ms", "qrs_end_ms")
        columns = {name: arrays["trend"][:, i] for i, name in enumerate(names)}
        for lead, name in enumerate(self.lead_names):
            for figure, ending in (
                ("level_uv", "st_uv"),
                ("slope_uv_per_ms", "slope_uv_per_ms"),
                ("change_uv", "change_uv"),
                ("sthr_uv_min", "sthr_uv_min"),
            ):
                columns[f"{name}_{ending}"] = arrays[figure][:, lead]
        return _frame(columns)

    @property
    def beats(self) -> pd.DataFrame:
        """One row per beat found: time, RR from the beat before (NaN after 4 s), heart rate, class."""
        return _frame(self._beat_columns())

    def _beat_columns(self) -> dict[str, NDArray[Any]]:
        arrays = self._all_arrays()
        seconds, classes = arrays["found"][:, 0], arrays["found"][:, 1].astype(int)
        rr = np.diff(seconds, prepend=np.nan) * 1000.0
        rr[~(rr <= _LONGEST_RR_MS)] = np.nan
        rates = np.full((2, len(seconds)), np.nan)
        rates[:, np.searchsorted(seconds, arrays["rates"][:, 0])] = arrays["rates"][:, 1:].T
        names = np.array([one.name.lower() for one in BeatClass])
        return {
            "time_s": seconds,
            "rr_ms": rr,
            "heart_rate_per_min": rates[0],
            "voted_heart_rate_per_min": rates[1],
            "beat_class": names[classes],
        }

    @property
    def quality(self) -> pd.DataFrame:
        """Signal quality of each lead every two seconds, from 0 to 1."""
        rows = self._all_arrays()["quality"]
        columns = {f"{name}_quality": rows[:, lead + 1] for lead, name in enumerate(self.lead_names)}
        return _frame({"time_s": rows[:, 0], **columns})

    @property
    def stages(self) -> pd.DataFrame:
        """The stages of the test with their figures, the recovery minute by minute."""
        rows = []
        for stage in self._summary["exercise"]["course"]:
            row = {name: value for name, value in stage.items() if name != "leads"}
            for lead in stage["leads"]:
                row.update({f"{lead['name']}_{name}": lead[name] for name in lead if name != "name"})
            rows.append(row)
        return _table(rows)

    @property
    def leads(self) -> pd.DataFrame:
        """One row per lead: reference, largest change of ST and its figures, extremes, quality."""
        return _table(
            [
                {name: value for name, value in lead.items() if not isinstance(value, list)}
                for lead in self._summary["leads"]
            ]
        )

    def to_json(self) -> str:
        """Return everything as JSON, as ``qzstress analyze --json`` writes it (qzstress-result-1)."""
        if self._json is None:
            assert self._native is not None
            return self._native.json().decode()
        return self._json

    def to_dict(self, trends: bool = True) -> dict[str, Any]:
        """Return the same as a dictionary.

        Parameters
        ----------
        trends : bool
            Whether "heart_rate" and "st", the rows of every beat, are in it: most of a long recording.
        """
        found: dict[str, Any] = (
            json.loads(self.to_json()) if trends else json.loads(json.dumps(self._summary))
        )
        return found

    def report(self, path: str | os.PathLike[str]) -> None:
        """Draw the report by the installed program: .pdf, .html or .png.

        The program is ``qzstress`` on the PATH, or what the environment variable QZSTRESS names. It analyses
        the recording again, with the same options.
        """
        program = os.environ.get(PROGRAM) or shutil.which("qzstress")
        if program is None:
            raise RuntimeError(
                "report needs the qzstress program: install it, or name its path in the environment variable "
                f"{PROGRAM}"
            )
        if self.recording is None:
            raise RuntimeError("report needs the recording, which a pickled result has only of files")
        if self._report.has_beat:
            raise RuntimeError("report cannot hand the program a beat: analyze without beat=")
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            record = self.recording.path
            if record is None:
                record = str(folder / "signal")
                self.recording.write(record)
            command = [program, "analyze", record, *self._report.arguments(folder)]
            command += ["--quiet", f"--report={os.fspath(path)}"]
            done = subprocess.run(command, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            why = done.stderr.strip() or f"it ended with {done.returncode}"
            raise RuntimeError(f"qzstress could not draw the report: {why}")

    def strip(self, start_s: float, seconds: float = 10.0) -> dict[str, Any]:
        """Return a stretch of signal, as recorded and as conditioned.

        Parameters
        ----------
        start_s, seconds : float
            Start and length. The recording is conditioned from its beginning up to there.

        Returns
        -------
        dict
            "time_s", shape (samples,), "raw_uv" and "clean_uv", shape (samples, leads), microvolts.
        """
        if self.recording is None:
            raise RuntimeError("a strip needs the recording, which a pickled result has only of files")
        fs = self.recording.fs
        first = round(_checks.number("start_s", start_s, 0) * fs)
        last = first + round(_checks.number("seconds", seconds, above=0) * fs)
        session = self._conditioning_session()
        raw: list[NDArray[np.int16]] = []
        clean: list[NDArray[np.int16]] = []
        read_frames = shown = 0

        def keep(kept: list[NDArray[np.int16]], frames: NDArray[np.int16], number: int) -> int:
            kept.append(frames[max(first - number, 0) : max(last - number, 0)].copy())
            return number + len(frames)

        for chunk in self.recording.chunks():
            session.push(chunk)
            read_frames = keep(raw, chunk, read_frames)
            shown = keep(clean, session.conditioned(), shown)
            if shown >= last:
                break
        else:
            session.finish()
            keep(clean, session.conditioned(), shown)
        raw_uv = np.concatenate(raw) * self.recording.uv_per_bit
        if len(raw_uv) == 0:
            raise ValueError(f"the recording ends before {start_s:g} s")
        time_s = (first + np.arange(len(raw_uv))) / fs
        return {"time_s": time_s, "raw_uv": raw_uv, "clean_uv": np.concatenate(clean).astype(np.float64)}

    def _conditioning_session(self) -> Session:
        assert self.recording is not None
        options = self._summary["options"]
        return Session(
            self.recording.fs,
            self.recording.leads,
            self.recording.uv_per_bit,
            mains_hz=self._summary["conditioning"]["mains_hz"],
            lowpass_hz=int(options.get("--lowpass", 40)),
            smooth=int(options.get("--smooth", 0)),
            comb="--comb" in options,
            conditioned=True,
        )

    @property
    def plot(self) -> Plots:
        """Pictures of the result; needs matplotlib."""
        from .plot import Plots  # matplotlib is imported where it is used

        return Plots(self)

    def __repr__(self) -> str:
        """Return the main figures on one line."""
        record, exercise = self._summary["record"], self._summary["exercise"]
        return (
            f"<Result of {record['name']}: {record['length_s']:.0f} s, {self._summary['beats_found']} beats, "
            f"peak heart rate {_figure(exercise['peak_heart_rate_per_min'], 0)}/min, "
            f"ST {_figure(exercise['st_deviation_mv'], 2)} mV in {exercise['st_deviation_lead'] or '-'}>"
        )

    def _repr_html_(self) -> str:
        columns = (
            ("name", "lead", None),
            ("first_level_uv", "ST in the reference, uV", 0),
            ("largest_change_uv", "largest change, uV", 0),
            ("largest_change_s", "at, s", 0),
            ("shape_then", "shape", None),
            ("heart_rate_then_per_min", "heart rate then, /min", 0),
            ("signal_quality_median", "signal quality", 2),
        )
        head = "".join(f"<th>{html.escape(title)}</th>" for _, title, _ in columns)

        def cell(value: Any, digits: int | None) -> str:
            text = str(value or "") if digits is None else _figure(value, digits)
            return f"<td>{html.escape(text)}</td>"

        body = "".join(
            "<tr>" + "".join(cell(lead[name], digits) for name, _, digits in columns) + "</tr>"
            for lead in self._summary["leads"]
        )
        notes = "".join(f"<li>{html.escape(warning)}</li>" for warning in self.warnings)
        return (
            f"<p>{html.escape(repr(self))}</p><table><thead><tr>{head}</tr></thead><tbody>{body}</tbody></table>"
            + (f"<ul>{notes}</ul>" if notes else "")
        )


def _figure(value: float | None, digits: int) -> str:
    return "-" if value is None else f"{value:.{digits}f}"


_UNITS = {
    "_uv_per_ms": "uV/ms",
    "_mmhg_per_min": "mmHg/min",
    "_uv_min": "uV min",
    "_per_min": "1/min",
    "_percent": "%",
    "_mmhg": "mmHg",
    "_kmh": "km/h",
    "_uv": "uV",
    "_mv": "mV",
    "_ms": "ms",
    "_hz": "Hz",
    "_s": "s",
    "_w": "W",
}


def _frame(columns: dict[str, Any]) -> pd.DataFrame:
    frame: pd.DataFrame = _checks.need("pandas", "frames").DataFrame(columns)
    units = (
        (name, next((unit for end, unit in _UNITS.items() if name.endswith(end)), "")) for name in columns
    )
    frame.attrs["units"] = {name: unit for name, unit in units if unit}
    return frame


def _table(rows: list[dict[str, Any]]) -> pd.DataFrame:
    """Make a frame of rows, None in columns of numbers as NaN."""
    columns: dict[str, list[Any]] = {name: [row[name] for row in rows] for name in (rows[0] if rows else ())}
    for name, values in columns.items():
        if any(isinstance(value, float) for value in values) or all(value is None for value in values):
            columns[name] = [np.nan if value is None else value for value in values]
    return _frame(columns)
