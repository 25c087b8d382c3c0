"""The library's parts one by one: each on instances, NumPy in and out.

Frames are arrays of whole numbers, shape (frames, leads). An object keeps its state from call to call: a
signal in one call or frame by frame gives the same. One object is for one thread at a time; the interpreter
is free while it works. Results of filters are truncated toward zero to 16 bits.
"""

from __future__ import annotations

import math
from collections.abc import Sequence
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _checks, _native

_MOST_FS = 32767


def _rate(fs: Any) -> int:
    return _checks.whole("fs", fs, _checks.LOWEST_FS, _MOST_FS)


def _count(leads: Any) -> int:
    return _checks.whole("leads", leads, 1, _checks.MOST_LEADS)


def _below_half(name: str, value: Any, fs: int) -> float:
    hz = _checks.number(name, value, above=0)
    if hz >= fs / 2:
        raise ValueError(f"{name} is expected below half of fs, {fs / 2:g} Hz, not {value}")
    return hz


class _Frames:
    """What takes frames of a number of leads."""

    def __init__(self, leads: int) -> None:
        self._leads = _count(leads)

    def _frames(self, frames: ArrayLike) -> NDArray[np.int16]:
        array = _checks.array_of(frames)
        if array.dtype.kind == "f":
            raise TypeError("whole numbers are expected: bring floats to steps of uv_per_bit first")
        return _checks.frames_of(array, self._leads, 1.0, None)


class _Filter(_Frames):
    """A filter for all leads of a frame."""

    def __init__(self, leads: int) -> None:
        super().__init__(leads)
        self._bank = _native.Bank(self._leads)

    def __call__(self, frames: ArrayLike) -> NDArray[np.int16]:
        """Filter frames.

        Parameters
        ----------
        frames : array_like, shape (frames, leads)

        Returns
        -------
        numpy.ndarray of int16, shape (frames, leads)
        """
        return self._bank.filter(self._frames(frames))

    @property
    def delay_samples(self) -> int:
        """Samples by which the result is late."""
        return self._bank.delay_samples()

    @property
    def settling_samples(self) -> int:
        """Samples after which nothing of the start is left."""
        return self._bank.settling_samples()


class LowPass(_Filter):
    """Second-order Butterworth low-pass, -3 dB at the cutoff.

    Parameters
    ----------
    fs : int
        Samples per second.
    leads : int
        Leads of a frame.
    cutoff_hz : float
        Above 0 and below fs / 2.
    """

    def __init__(self, fs: int, leads: int, cutoff_hz: float = 40.0) -> None:
        super().__init__(leads)
        self._bank.add_lowpass(_rate(fs), _below_half("cutoff_hz", cutoff_hz, fs))


class HighPass(_Filter):
    """Second-order high-pass against baseline wander, -5.3 dB at the corner.

    Parameters
    ----------
    fs, leads : int
        Samples per second, leads of a frame.
    corner_hz : float
        Raised to 0.01 Hz when below.
    """

    def __init__(self, fs: int, leads: int, corner_hz: float = 0.05) -> None:
        super().__init__(leads)
        self._bank.add_highpass(_rate(fs), _below_half("corner_hz", corner_hz, fs))


class Notch(_Filter):
    """Second-order band-stop: takes out one mains frequency.

    Parameters
    ----------
    fs, leads : int
        Samples per second, leads of a frame.
    centre_hz : float
        What is taken out.
    q : float
        -3 dB lies centre_hz / (2 q) to either side.
    """

    def __init__(self, fs: int, leads: int, centre_hz: float, q: float = 10.0) -> None:
        super().__init__(leads)
        self._bank.add_notch(
            _rate(fs), _below_half("centre_hz", centre_hz, fs), _checks.number("q", q, above=0)
        )


class Comb(_Filter):
    """Comb against mains with all harmonics, and drift; made for 50 Hz at multiples of 50 Hz.

    Parameters
    ----------
    fs, leads : int
        Samples per second, leads of a frame.
    mains_hz : int
        Mains frequency. A tone of 60 Hz comes out inverted and doubled.
    """

    def __init__(self, fs: int, leads: int, mains_hz: int = 50) -> None:
        super().__init__(leads)
        self._bank.add_comb(_rate(fs), _checks.whole("mains_hz", mains_hz, 1, 1000))


class Smoother(_Filter):
    """Adaptive smoother of muscle noise between QRS complexes.

    Parameters
    ----------
    fs, leads : int
        Samples per second, leads of a frame.
    strength : {1, 2}
        One pass with an inner low-pass of 25 Hz, or three with 10 Hz.
    """

    def __init__(self, fs: int, leads: int, strength: int = 1) -> None:
        super().__init__(leads)
        self._bank.add_smoother(_rate(fs), _checks.whole("strength", strength, 1, 2) == 2)


class Chain(_Filter):
    """The library's filter chain: low-pass, comb, smoother.

    Parameters
    ----------
    fs, leads : int
        Samples per second, leads of a frame.
    lowpass_hz : float
        Cutoff; 0 leaves the stage out.
    mains_hz : int
        Of the comb; 0 leaves it out.
    smooth : {0, 1, 2}
        Strength of the smoother; 0 leaves it out.
    """

    def __init__(
        self, fs: int, leads: int, lowpass_hz: float = 40.0, mains_hz: int = 50, smooth: int = 0
    ) -> None:
        super().__init__(leads)
        fs = _rate(fs)
        if lowpass_hz:
            self._bank.add_lowpass(fs, _below_half("lowpass_hz", lowpass_hz, fs))
        if mains_hz:
            self._bank.add_comb(fs, _checks.whole("mains_hz", mains_hz, 1, 1000))
        if smooth:
            self._bank.add_smoother(fs, _checks.whole("smooth", smooth, 1, 2) == 2)


class Doubler(_Frames):
    """Doubles the sampling rate; delay one input sample.

    Parameters
    ----------
    leads : int
        Leads of a frame.
    uv_per_bit : float
        Microvolts per unit, by which pacing spikes are known.
    """

    def __init__(self, leads: int, uv_per_bit: float = 1.0) -> None:
        super().__init__(leads)
        self._doubler = _native.Doubler(self._leads, _checks.number("uv_per_bit", uv_per_bit, above=0))

    def __call__(self, frames: ArrayLike) -> NDArray[np.int16]:
        """Return twice as many frames, shape (2 * frames, leads): a midpoint before each sample."""
        return self._doubler.double(self._frames(frames))


class BeatDetector(_Frames):
    """Finds QRS complexes in one lead, or in three that are fused.

    Parameters
    ----------
    fs : int
        Samples per second.
    leads : {1, 3}
        Leads of a frame.
    mains_hz : int
        Mains frequency, 0 for no notch.
    """

    def __init__(self, fs: int, leads: int = 1, mains_hz: int = 0) -> None:
        super().__init__(leads)
        if self._leads not in (1, 3):
            raise ValueError(f"leads is expected to be 1 or 3, not {leads}")
        self._detector = _native.Detector(
            _rate(fs), self._leads, _checks.whole("mains_hz", mains_hz, 0, 1000)
        )

    def __call__(self, frames: ArrayLike) -> NDArray[np.int32]:
        """Return the RR interval in samples at each frame that is a beat, else 0; shape (frames,)."""
        return self._detector.detect(self._frames(frames))


class VotingBeatDetector(_Frames):
    """Finds QRS complexes by the vote of many leads; a beat is told one beat late.

    Parameters
    ----------
    fs, leads : int
        Samples per second, leads of a frame. Of more than eight the first two and the last six vote.
    mains_hz : int
        Mains frequency, 0 for no notch.
    uv_per_bit : float
        Microvolts per unit.
    """

    def __init__(self, fs: int, leads: int, mains_hz: int = 0, uv_per_bit: float = 1.0) -> None:
        super().__init__(leads)
        self._detector = _native.VotingDetector(
            _rate(fs),
            self._leads,
            _checks.whole("mains_hz", mains_hz, 0, 1000),
            _checks.number("uv_per_bit", uv_per_bit, above=0),
        )

    def __call__(self, frames: ArrayLike) -> NDArray[np.int32]:
        """Return the RR interval in samples at each frame that closes a beat, else 0; shape (frames,)."""
        return self._detector.detect(self._frames(frames))


class Matcher(_Frames):
    """Matches frames with an averaged beat, folds beats that match into it, and measures ST on it.

    Parameters
    ----------
    fs : int
        Samples per second.
    template : array_like of int16, shape (leads, samples)
        The first averaged beat, of the signal as it will come, in units of `uv_per_bit`.
    pos_q, pos_j : int
        Onset and end of the QRS, indices into it.
    uv_per_bit : float
        Microvolts per unit.
    post_j_ms : int
        ST is measured so long after J + 6 ms.
    pos_r : int
        Where the search for R begins; 0: in the middle of the QRS.
    """

    def __init__(
        self,
        fs: int,
        template: ArrayLike,
        pos_q: int,
        pos_j: int,
        *,
        uv_per_bit: float = 1.0,
        post_j_ms: int = 60,
        pos_r: int = 0,
    ) -> None:
        rows = np.asarray(template)
        if rows.ndim != 2 or rows.shape[1] < 2:
            raise ValueError(f"a template of shape (leads, samples) is expected, found {rows.shape}")
        super().__init__(rows.shape[0])
        length = _checks.whole("samples of the template", rows.shape[1], 2, _MOST_FS)
        pos_j = _checks.whole("pos_j", pos_j, 1, length - 1)
        self._matcher = _native.Matcher(
            _rate(fs),
            self._leads,
            _checks.number("uv_per_bit", uv_per_bit, above=0),
            np.ascontiguousarray(_checks.frames_of(rows.T, self._leads, 1.0, None).T),
            _checks.whole("pos_r", pos_r, 0, length - 1),
            _checks.whole("pos_q", pos_q, 0, pos_j - 1),
            pos_j,
            _checks.whole("post_j_ms", post_j_ms, 10, 200),
        )
        self._dtype = np.dtype(
            [
                ("frame", np.int64),
                ("st_uv", np.int16, (self._leads,)),
                ("j_uv", np.int16, (self._leads,)),
                ("slope_uv_per_ms", np.float32, (self._leads,)),
            ]
        )

    def __call__(self, frames: ArrayLike) -> NDArray[np.void]:
        """Take frames; return a row for each beat that was folded in.

        Returns
        -------
        numpy.ndarray, shape (beats,)
            "frame" counts from the first ever, when the last sample of the beat came; "st_uv", "j_uv" and
            "slope_uv_per_ms" are those of the averaged beat, not smoothed, one value per lead.
        """
        when, level, j, slope = self._matcher.match(self._frames(frames))
        rows = np.zeros(len(when), self._dtype)
        for name, values in zip(("frame", "st_uv", "j_uv", "slope_uv_per_ms"), (when, level, j, slope)):
            rows[name] = values
        return rows

    @property
    def template(self) -> NDArray[np.int16]:
        """The averaged beat as it is now, shape (leads, samples), units of `uv_per_bit`."""
        return self._matcher.template()

    @property
    def positions(self) -> dict[str, int]:
        """Where it has its points, indices; Q lies 12 ms before the onset that was handed in."""
        return dict(zip(("q", "r", "j"), self._matcher.positions()))


def duke_score(exercise_s: float, deepest_st_mv: float, angina: int) -> int:
    """Duke treadmill score: minutes - 5 * |ST in mm| - 4 * angina index, 1 mm of paper 0.1 mV.

    Parameters
    ----------
    exercise_s : float
        Exercise time, seconds.
    deepest_st_mv : float
        Deepest ST deviation, millivolts, either sign.
    angina : {0, 1, 2}
        None, not limiting, limiting.

    References
    ----------
    Mark et al., N Engl J Med 1991; 325: 849-853.
    """
    return _native.duke_score(
        _checks.whole("exercise_s", math.trunc(_checks.number("exercise_s", exercise_s)), 0, 32767),
        _checks.number("deepest_st_mv", deepest_st_mv),
        _checks.whole("angina", angina, 0, 2),
    )


def working_capacity(power_w: Sequence[float], heart_rate_per_min: Sequence[float]) -> dict[int, float]:
    """Physical working capacity: the powers at which the heart rate reaches 130, 150 and 170 per minute.

    Parameters
    ----------
    power_w, heart_rate_per_min : sequence of float
        Of each stage; stages from 110 to 190 per minute count, at least three of them.

    Returns
    -------
    dict
        Watts under 130, 150 and 170; NaN where it cannot be computed.
    """
    watts, rates = [[float(value) for value in values] for values in (power_w, heart_rate_per_min)]
    if len(watts) != len(rates):
        raise ValueError(f"as many powers as heart rates are expected, found {len(watts)} and {len(rates)}")
    found = _native.pwc(watts, rates)
    return {rate: math.nan if value < 0 else value for rate, value in zip((130, 150, 170), found)}


def sthr_index(rest_per_min: float, rest_uv: float, peak_per_min: float, peak_uv: float) -> float:
    """ST/HR index of a lead, uV per beat/min: ST depression added by the exercise over heart rate added.

    NaN where the heart rate rises by less than 10 per minute.

    References
    ----------
    Kligfield, Ameisen, Okin, Circulation 1989; 79: 245-255.
    """
    return _native.sthr_index(rest_per_min, rest_uv, peak_per_min, peak_uv)


def sthr_slope(heart_rate_per_min: Sequence[float], level_uv: Sequence[float]) -> tuple[float, int]:
    """ST/HR slope of a lead, uV per beat/min, and how many points its line goes through.

    Parameters
    ----------
    heart_rate_per_min, level_uv : sequence of float
        Heart rate and ST level from rest to peak exercise, in order of time.

    Returns
    -------
    (float, int)
        NaN where no line is significant and rises.

    References
    ----------
    Okin, Kligfield, J Am Coll Cardiol 1995; 25: 1726-1735.
    """
    rates, levels = [[float(value) for value in values] for values in (heart_rate_per_min, level_uv)]
    if len(rates) != len(levels):
        raise ValueError(f"as many heart rates as levels are expected, found {len(rates)} and {len(levels)}")
    return _native.sthr_slope(rates, levels)
