"""Recordings: read from files, taken from arrays and other packages, simulated, written."""

from __future__ import annotations

import json
import os
import re
from collections.abc import Iterator
from dataclasses import dataclass
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _checks, _native

_ALL = 2**62  # frames
# Bits of a sample by the format of WFDB; the lowest number tells that there is none.
_WFDB_BITS = {"80": 8, "310": 10, "311": 10, "212": 12, "16": 16, "61": 16, "160": 16, "24": 24, "32": 32}
_WFDB_BITS |= {"508": 8, "516": 16, "524": 24}


@dataclass(frozen=True)
class Stage:
    """A stage of an exercise test, up to the start of the next.

    Attributes
    ----------
    start_s : float
        Start, seconds from the first frame.
    power_w : float or None
        Power, watts: 0 at rest, None where it is not known, as on a treadmill.
    name : str
        Its name; may be empty.
    speed_kmh, grade_percent : float or None
        Of a treadmill.
    """

    start_s: float
    power_w: float | None = None
    name: str = ""
    speed_kmh: float | None = None
    grade_percent: float | None = None


def formats() -> tuple[str, ...]:
    """Return the formats that this build reads.

    "edf" is there where EDFlib was when the package was built. Compressed WFDB signals need libFLAC likewise:
    "flac", and rates that are no whole number libsamplerate: "resampled".
    """
    return (
        "wfdb",
        "csv",
        *(("edf", "bdf") if _native.has_edf else ()),
        *(("flac",) if _native.has_flac else ()),
        *(("resampled",) if _native.has_resampling else ()),
    )


class Recording:
    """A recording: facts, and the signal when it is asked for.

    Made by `read`, `simulate`, `from_signal`, `from_wfdb` and `from_mne`.

    Attributes
    ----------
    name : str
        Name of the record.
    fs : int
        Samples per second and lead.
    leads : list of str
        Lead names, in the order of the signal's columns.
    uv_per_bit : float
        Microvolts per unit of `signal`.
    path : str or None
        The file that it is read from; None for a signal in memory.
    started : str
        Time of the first frame, "YYYY-MM-DD hh:mm:ss" or "hh:mm:ss"; empty where not known.
    remarks : list of str
        What else is said of patient and recording.
    stages : list of Stage
        Of the exercise, as far as a simulation or the user tells them.
    info : dict
        Of a file: what ``qzstress info --json`` prints of it.
    """

    def __init__(
        self,
        *,
        name: str,
        fs: int,
        leads: list[str],
        uv_per_bit: float,
        signal: NDArray[np.int16] | None = None,
        path: str | None = None,
        started: str = "",
        remarks: list[str] | None = None,
        stages: list[Stage] | None = None,
        info: dict[str, Any] | None = None,
        reading: tuple[list[str], float, float] = ([], 0.0, 0.0),
    ) -> None:
        self.name = name
        self.fs = fs
        self.leads = leads
        self.uv_per_bit = uv_per_bit
        self.path = path
        self.started = started
        self.remarks = remarks or []
        self.stages = stages or []
        self.info = info or {}
        self.beats: NDArray[np.void] | None = None
        self._reading = reading
        self._signal = signal

    def _reader(self) -> _native.Reader:
        assert self.path is not None
        return _native.Reader(self.path, *self._reading)

    @property
    def signal(self) -> NDArray[np.int16]:
        """The samples in units of `uv_per_bit`, shape (frames, leads); of a file read at the first use."""
        if self._signal is None:
            self._signal = self._reader().read(_ALL)
        return self._signal

    @property
    def signal_mv(self) -> NDArray[np.float64]:
        """The samples in millivolts, shape (frames, leads)."""
        return self.signal.astype(np.float64) * (self.uv_per_bit / 1000.0)

    def chunks(self, seconds: float = 10.0) -> Iterator[NDArray[np.int16]]:
        """Yield the signal piece by piece; of a file no more than one piece is in memory.

        Parameters
        ----------
        seconds : float
            Length of a piece.
        """
        count = max(1, round(_checks.number("seconds", seconds, above=0) * self.fs))
        if self._signal is None:
            reader = self._reader()
            while len(frames := reader.read(count)):
                yield frames
        else:
            for first in range(0, len(self._signal), count):
                yield self._signal[first : first + count]

    def write(self, path: str | os.PathLike[str]) -> None:
        """Write the signal to a file: ".edf" is EDF+, ".csv" is CSV in microvolts, all else WFDB."""
        _native.write(
            os.fspath(path), self.signal, self.fs, self.uv_per_bit, self.leads, self.started, self.remarks
        )

    def __repr__(self) -> str:
        """Return the facts on one line."""
        return (
            f"<Recording {self.name}: {len(self.leads)} leads, {self.fs} Hz, {self.uv_per_bit:g} uV per bit>"
        )


def read(
    path: str | os.PathLike[str],
    *,
    leads: list[str] | None = None,
    fs: float | None = None,
    uv_per_bit: float | None = None,
) -> Recording:
    """Open a recording: WFDB (header, with or without .hea), EDF, BDF or CSV, by the program's own readers.

    Parameters
    ----------
    path : path-like
        The file; of WFDB the header.
    leads : list of str, optional
        Leads to keep, in this order, case ignored; without it all.
    fs : float, optional
        Samples per second of CSV, which does not tell.
    uv_per_bit : float, optional
        Microvolts per unit of columns of CSV that name no unit.

    Raises
    ------
    RecordError
        The file cannot be read, or is not such a recording; the message names file and place.
    """
    name = os.fspath(path)
    if not isinstance(name, str):
        raise TypeError(f"path is expected to be a text, not {type(name).__name__}")
    if not name or "\0" in name:
        raise ValueError(f"a name of a file is expected, not {name!r}")
    reading = (
        _checks.lead_names(list(leads)) if leads is not None else [],
        _checks.number("fs", fs, above=0) if fs is not None else 0.0,
        _checks.number("uv_per_bit", uv_per_bit, above=0) if uv_per_bit is not None else 0.0,
    )
    info = json.loads(_native.Reader(name, *reading).info())
    return Recording(
        name=info["name"],
        fs=info["sampling_rate_hz"],
        leads=info["leads"],
        uv_per_bit=info["uv_per_unit"],
        path=name,
        started=info["started"],
        remarks=info["remarks"],
        info=info,
        reading=reading,
    )


def from_signal(
    signal: ArrayLike,
    fs: int,
    leads: int | list[str] | None = None,
    *,
    uv_per_bit: float | None = None,
    unit: str | None = None,
    name: str = "signal",
    stages: list[Stage] | None = None,
) -> Recording:
    """Make a recording of an array.

    Parameters
    ----------
    signal : array_like, shape (frames, leads)
        Whole numbers in units of `uv_per_bit`, or floats in `unit`. int16 in C order is not copied.
    fs : int
        Samples per second and lead, 100 to 10000.
    leads : int or list of str, optional
        Names of the columns; "lead 1", "lead 2" and so on without.
    uv_per_bit : float, optional
        Microvolts per unit; 1 for whole numbers, and for floats the finest of 1, 2, 5, 10, 20 and 50 at which
        they fit into 16 bits.
    unit : {"uV", "mV", "V"}, optional
        Unit of floats, which need one.
    """
    array = _checks.array_of(signal)
    if array.ndim != 2:
        raise ValueError(f"an array of shape (frames, leads) is expected, found {array.shape}")
    names = _checks.lead_names(array.shape[1] if leads is None else leads)
    if uv_per_bit is None:
        uv_per_bit = _checks.scale_for(array, unit) if unit is not None and array.dtype.kind == "f" else 1.0
    uv_per_bit = _checks.number("uv_per_bit", uv_per_bit, above=0)
    return Recording(
        name=name,
        fs=_checks.sampling_rate(fs),
        leads=names,
        uv_per_bit=uv_per_bit,
        signal=_checks.frames_of(array, len(names), uv_per_bit, unit),
        stages=stages,
    )


def from_wfdb(record: Any) -> Recording:
    """Make a recording of a ``wfdb.Record``: its channels in a unit of voltage.

    Samples are rounded to the finest of 1, 2, 5, 10, 20 and 50 uV at which they fit into 16 bits. `read` of
    the file itself loses nothing and gives the program's figures to the bit.
    """
    signal = record.p_signal
    if signal is None:
        if record.d_signal is None:
            raise ValueError("the wfdb.Record holds no signal: read it with wfdb.rdrecord")
        digital = np.array(record.d_signal, dtype=np.float64)
        for i, kind in enumerate(record.fmt or ()):
            if kind in _WFDB_BITS:
                digital[digital[:, i] == -(2 ** (_WFDB_BITS[kind] - 1)), i] = np.nan
        signal = (digital - np.asarray(record.baseline)) / np.asarray(record.adc_gain)
    units = {"uv": 1.0, "mv": 1e3, "v": 1e6}
    columns = [i for i, unit in enumerate(record.units) if unit is None or unit.lower() in units]
    if not columns:
        raise ValueError(f"no channel of {record.record_name} is in uV, mV or V")
    factors = [units[(record.units[i] or "mV").lower()] for i in columns]
    return from_signal(
        np.asarray(signal, dtype=np.float64)[:, columns] * factors,
        _checks.whole("the sampling rate", record.fs, _checks.LOWEST_FS, _checks.HIGHEST_FS),
        [record.sig_name[i] for i in columns],
        unit="uV",
        name=record.record_name,
    )


def from_mne(raw: Any) -> Recording:
    """Make a recording of an ``mne.io.Raw``: its ECG channels or, without any, all; "ECG V4" is lead V4.

    Volts are rounded to the finest of 1, 2, 5, 10, 20 and 50 uV at which they fit into 16 bits.
    """
    kinds = raw.get_channel_types()
    picks = [i for i, kind in enumerate(kinds) if kind == "ecg"] or list(range(len(kinds)))
    return from_signal(
        raw.get_data(picks=picks).T,
        _checks.whole("the sampling rate", raw.info["sfreq"], _checks.LOWEST_FS, _checks.HIGHEST_FS),
        [re.sub("^(ecg|ekg) +", "", raw.ch_names[i], flags=re.IGNORECASE) for i in picks],
        unit="V",
        name="mne.io.Raw",
    )


def simulate(
    seconds: float = 900.0,
    *,
    fs: int = 500,
    uv_per_bit: float = 1.0,
    leads: list[str] | None = None,
    protocol: str = "steps",
    seed: int = 1,
    mains_hz: float = 50.0,
    mains_uv: float = 20.0,
    muscle_uv: float = 20.0,
    wander_uv: float = 150.0,
    motion_uv: float = 0.0,
    st_uv: float = 230.0,
    ectopy_s: float = 45.0,
) -> Recording:
    """Compute a simulated exercise test, the same to the bit on every machine.

    Parameters
    ----------
    seconds : float
        Length of the test.
    fs : int
        Samples per second, 100 to 2000.
    uv_per_bit : float
        Microvolts per unit.
    leads : list of str, optional
        Out of the twelve; all without.
    protocol : {"steps", "bruce", "bicycle", "ramp"}
        How the work rises.
    seed : int
        Another seed gives other beats and noise.
    mains_hz, mains_uv : float
        Mains frequency and peak.
    muscle_uv, wander_uv, motion_uv : float
        Rms of muscle noise, wander and jumps of the baseline at peak exercise.
    st_uv : float
        ST depression in V5 at peak exercise.
    ectopy_s : float
        Mean seconds between ectopic beats; 0 for none.

    Returns
    -------
    Recording
        With its stages, and in `beats` its true beats: time of R and RR in seconds, and whether ectopic.
    """
    signal, names, stages, beats = _native.simulate(
        _checks.number("seconds", seconds, above=0),
        _checks.sampling_rate(fs),
        _checks.number("uv_per_bit", uv_per_bit, above=0),
        _checks.lead_names(list(leads)) if leads is not None else [],
        str(protocol),
        _checks.whole("seed", seed, 0, 2**64 - 1),
        _checks.number("mains_hz", mains_hz, 0),
        _checks.number("mains_uv", mains_uv, 0),
        _checks.number("muscle_uv", muscle_uv, 0),
        _checks.number("wander_uv", wander_uv, 0),
        _checks.number("motion_uv", motion_uv, 0),
        _checks.number("st_uv", st_uv, 0),
        _checks.number("ectopy_s", ectopy_s, 0),
    )
    recording = Recording(
        name="simulated test",
        fs=int(fs),
        leads=names,
        uv_per_bit=float(uv_per_bit),
        signal=signal,
        stages=[Stage(*stage) for stage in stages],
    )
    recording.beats = np.zeros(len(beats), [("time_s", "f8"), ("rr_s", "f8"), ("ectopic", "?")])
    recording.beats["time_s"] = beats[:, 0] / fs
    recording.beats["rr_s"] = beats[:, 1] / 1000.0
    recording.beats["ectopic"] = beats[:, 2] > 0
    return recording
