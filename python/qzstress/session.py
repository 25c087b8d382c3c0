"""Sessions: frames in as they come, events out."""

from __future__ import annotations

import enum
import os
from collections.abc import Iterable, Iterator, Mapping
from dataclasses import dataclass, field, fields
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _checks, _native

USUAL_MAINS_HZ = 50
USUAL_LOWPASS_HZ = 40
HIGHEST_LOWPASS_HZ = 5000
USUAL_POST_J_MS = 60
USUAL_ST_RATE_LIMIT_PER_MIN = 145.0


class EventKind(enum.IntEnum):
    """What an event tells; the field "kind" of its row."""

    INTERVAL = 1
    """A beat was found, whether it matches the averaged one or not: heart rate, RR interval, class."""
    BEAT = 2
    """A beat was folded into the averaged one: ST of every lead."""
    LEAD_OFF = 3
    """The signal of a lead is a line; its ST from "void_from_s" on is void."""
    LEAD_ON = 4
    """The line has ended."""
    DISTURBED = 5
    """The level of a lead jumps and stays away."""
    CALM = 6
    """It has not done so for a second."""
    LEARNED = 7
    """An averaged beat is there: beats from "time_s" on are matched with it."""
    NOT_LEARNED = 8
    """There are no ST values to the end: `Session.not_learned` says why."""
    QUALITY = 9
    """How good the signal of each lead has been for two seconds, from 0 to 1."""


class BeatClass(enum.IntEnum):
    """Class of a beat; the field "beat_class", 0 in events that are not about one."""

    NORMAL = 1
    SUPRAVENTRICULAR = 2
    VENTRICULAR = 3
    UNCLASSIFIED = 4
    PACED = 5


class STShape(enum.IntEnum):
    """Class of a slope of ST; the field "st_shape"."""

    UNKNOWN = 0
    """Nothing is measured."""
    UPSLOPING = 1
    """0.5 uV per ms and more."""
    HORIZONTAL = 2
    DOWNSLOPING = 3
    """-0.5 uV per ms and less."""


def event_dtype(leads: int) -> np.dtype[np.void]:
    """Return the type of an event's row for so many leads.

    What an event does not tell is NaN, -1 in "lead" and "shape" and 0 in "beat_class". Figures per lead:
    "level_uv", "slope_uv_per_ms" and "j_uv" are the engine's, at the post-J time; "st_..." are those of the
    field, at J and 20, 60 and 80 ms after it, and at the point that follows the heart rate or is set by hand
    ("st_point_ms"). "st_shape" is an `STShape`; "st_on_t" is 1 where that point lies on the T wave, else 0.
    """
    per_lead = [
        "level_uv",
        "slope_uv_per_ms",
        "j_uv",
        "st_level_uv",
        "st_slope_uv_per_ms",
        "st_j_uv",
        "st_j20_uv",
        "st_j60_uv",
        "st_j80_uv",
        "quality",
    ]
    return np.dtype(
        [
            ("time_s", np.float64),
            ("heart_rate_per_min", np.float64),
            ("voted_heart_rate_per_min", np.float64),
            ("rr_ms", np.float64),
            ("st_point_ms", np.float64),
            ("qrs_onset_ms", np.float64),
            ("qrs_end_ms", np.float64),
            ("void_from_s", np.float64),
            ("kind", np.int32),
            ("lead", np.int32),
            ("beat_class", np.int32),
            ("shape", np.int32),
            ("again", np.int64),
            *((name, np.float32, (leads,)) for name in per_lead),
            ("st_shape", np.int32, (leads,)),
            ("st_on_t", np.int32, (leads,)),
        ]
    )


@dataclass(frozen=True)
class LearnedBeat:
    """An averaged beat that a session or an analysis has learned, or that another is to begin with.

    Attributes
    ----------
    rows : numpy.ndarray of int16, shape (leads, samples)
        Microvolts.
    pos_q, pos_r, pos_j : int
        Onset, steepest place and end of the QRS, indices into a row.
    usable : list of bool
        Per lead: its beats are alike, and match about as often as the best lead's.
    record : str
        What it was learned from.
    from_s : float
        Length of that stretch, seconds.
    beats_found, beats_used : int
        In that stretch, and in the average.
    likeness : float
        Median correlation of a used beat with the average, 0 to 1.
    confident : bool
        False where ST values may be off.
    """

    rows: NDArray[np.int16]
    pos_q: int
    pos_r: int
    pos_j: int
    usable: list[bool] = field(default_factory=list)
    record: str = ""
    from_s: float = 0.0
    beats_found: int = 0
    beats_used: int = 0
    likeness: float = 0.0
    confident: bool = False

    def __post_init__(self) -> None:
        """Bring the fields to their types."""
        rows = np.asarray(self.rows)
        if rows.ndim != 2 or rows.dtype != np.int16:
            raise TypeError(
                f"rows is expected to be int16 of shape (leads, samples), not {rows.dtype} {rows.shape}"
            )
        usable = list(self.usable) if len(self.usable) else [True] * rows.shape[0]
        values: dict[str, Any] = {
            "rows": np.ascontiguousarray(rows),
            "usable": [bool(one) for one in usable],
            "record": str(self.record),
            "confident": bool(self.confident),
        }
        for name in ("pos_q", "pos_r", "pos_j"):
            values[name] = _checks.whole(name, getattr(self, name), -32768, 32767)
        for name in ("beats_found", "beats_used"):
            values[name] = _checks.whole(name, getattr(self, name), 0, 2**31 - 1)
        for name in ("from_s", "likeness"):
            values[name] = _checks.number(name, getattr(self, name))
        for name, value in values.items():
            object.__setattr__(self, name, value)

    def __eq__(self, other: object) -> bool:
        """Compare all fields, rows sample by sample."""
        if not isinstance(other, LearnedBeat):
            return NotImplemented
        return np.array_equal(self.rows, other.rows) and all(
            getattr(self, one.name) == getattr(other, one.name) for one in fields(self) if one.name != "rows"
        )

    __hash__ = None  # type: ignore[assignment]

    def save(self, path: str | os.PathLike[str]) -> None:
        """Write the beat to a NumPy archive (.npz)."""
        values: dict[str, Any] = {one.name: np.asarray(getattr(self, one.name)) for one in fields(self)}
        with open(path, "wb") as file:  # of a path NumPy would lengthen the name
            np.savez(file, **values)

    @classmethod
    def load(cls, path: str | os.PathLike[str]) -> LearnedBeat:
        """Read a beat that `save` has written."""
        with np.load(path, allow_pickle=False) as archive:
            missing = [one.name for one in fields(cls) if one.name not in archive]
            if missing:
                raise ValueError(f"{os.fspath(path)} holds no averaged beat: {', '.join(missing)} is missing")
            return cls(**{one.name: _plain(archive[one.name]) for one in fields(cls)})

    def _to_native(self) -> dict[str, Any]:
        return {one.name: getattr(self, one.name) for one in fields(self)}

    @classmethod
    def _from_native(cls, beat: Mapping[str, Any] | None) -> LearnedBeat | None:
        return cls(**beat) if beat is not None and beat["rows"].size else None


def _plain(value: NDArray[Any]) -> Any:
    return value if value.ndim == 2 else value.tolist()


class Session:
    """One stress test from raw frames to heart rate and ST, as its frames come.

    Parameters
    ----------
    fs : int
        Samples per second and lead, 100 to 10000.
    leads : int or list of str
        Number of leads, 1 to 64, or their names.
    uv_per_bit : float
        Microvolts per unit of whole numbers; floats are brought to this step too.
    unit : {"uV", "mV", "V"}, optional
        Unit of floats; without it `push` takes whole numbers alone.
    mains_hz : {50, 60, 0}
        Mains frequency that is taken out; 0 for none.
    lowpass_hz : int
        Cutoff of the low-pass; 0 for none.
    smooth : {0, 1, 2}
        Strength of the adaptive smoother; 0 for none.
    comb : bool
        Takes out every harmonic of mains of 50 Hz instead; delays by 740 ms and shifts ST.
    post_j_ms : int
        The engine measures ST so long after J + 6 ms, 10 to 200 ms.
    st_rate_limit_per_min : float
        Heart rate above which ST is measured at J + 60 ms, else at J + 80 ms.
    paced : bool
        A pacemaker is at work: beats of a usual shape are `BeatClass.PACED`.
    beat : LearnedBeat, optional
        The first averaged beat; without it the session learns one from the first 10 to 60 s.
    conditioned : bool
        Keeps the conditioned frames for `conditioned`.

    Notes
    -----
    Times are seconds from the first frame, filter delays taken off. Results do not depend on how a signal is
    cut into calls. The interpreter is free for other threads while `push` works; one session is for one
    thread at a time. Sessions cannot be pickled: what can be kept is `learned_beat`.

    Examples
    --------
    >>> session = Session(500, 12, uv_per_bit=2.5)
    >>> events = session.push(frames)                            # doctest: +SKIP
    >>> events["st_level_uv"][events["kind"] == EventKind.BEAT]  # doctest: +SKIP
    """

    def __init__(
        self,
        fs: int,
        leads: int | list[str],
        uv_per_bit: float = 1.0,
        *,
        unit: str | None = None,
        mains_hz: int = USUAL_MAINS_HZ,
        lowpass_hz: int = USUAL_LOWPASS_HZ,
        smooth: int = 0,
        comb: bool = False,
        post_j_ms: int = USUAL_POST_J_MS,
        st_rate_limit_per_min: float = USUAL_ST_RATE_LIMIT_PER_MIN,
        paced: bool = False,
        beat: LearnedBeat | None = None,
        conditioned: bool = False,
    ) -> None:
        self._fs = _checks.sampling_rate(fs)
        self._leads = _checks.lead_names(leads)
        self._uv_per_bit = _checks.number("uv_per_bit", uv_per_bit, above=0)
        if unit is not None:
            _checks.uv_per_unit(unit)
        if beat is not None and not isinstance(beat, LearnedBeat):
            raise TypeError(f"beat is expected to be a LearnedBeat, not {type(beat).__name__}")
        self._unit = unit
        self._dtype = event_dtype(len(self._leads))
        self._native: _native.Session | None = _native.Session(
            self._fs,
            len(self._leads),
            self._uv_per_bit,
            _checks.whole("mains_hz", mains_hz, 0, 1000),
            _checks.whole("lowpass_hz", lowpass_hz, 0, HIGHEST_LOWPASS_HZ),
            _checks.whole("smooth", smooth, 0, 2),
            bool(comb),
            _checks.whole("post_j_ms", post_j_ms, 0, 1000),
            _checks.number("st_rate_limit_per_min", st_rate_limit_per_min, above=0),
            bool(paced),
            beat._to_native() if beat is not None else None,
            bool(conditioned),
        )

    def _open(self) -> _native.Session:
        if self._native is None:
            raise RuntimeError("the session is closed")
        return self._native

    def _events(self, rows: NDArray[np.uint8]) -> NDArray[np.void]:
        return rows.view(self._dtype).reshape(-1)

    def push(self, frames: ArrayLike) -> NDArray[np.void]:
        """Take frames and return the events that they bring.

        Parameters
        ----------
        frames : array_like, shape (frames, leads)
            int16 arrays in C order are read where they lie; other whole numbers, and floats in `unit`, are
            brought to int16 first.

        Returns
        -------
        numpy.ndarray, shape (events,)
            Rows of `dtype`, those of each kind in order of time: those about a lead for each lead, and of
            `EventKind.LEARNED` a later one may have an earlier time.
        """
        native = self._open()
        array = _checks.array_of(frames)
        unit = self._unit if array.dtype.kind == "f" else None
        return self._events(native.push(_checks.frames_of(array, len(self._leads), self._uv_per_bit, unit)))

    def finish(self) -> NDArray[np.void]:
        """End the signal: return what the filters still hold. Later calls return nothing."""
        return self._events(self._open().finish())

    def set_points(
        self,
        q_point_ms: float | None = None,
        j_point_ms: float | None = None,
        st_point_ms: float | None = None,
    ) -> None:
        """Set by hand where beats are measured, from the next one on and in every averaged beat.

        The engine's "level_uv", "slope_uv_per_ms" and "j_uv" keep its own points. Positions and
        `measured_template` have the new ones at once.

        Parameters
        ----------
        q_point_ms, j_point_ms : float, optional
            Onset and end of the QRS: from "r" of `positions_ms`, -200 to -8 and 8 to 250 ms. None is the
            session's own point, which follows the averaged beat: as at first, and again after one by hand.
        st_point_ms : float, optional
            The ST point: after the end of the QRS, 10 to 200 ms; it counts on the T wave too. None likewise.

        Raises
        ------
        ValueError
            One of them is out of its range; nothing changes.
        """
        points = _checks.points_ms(q_point_ms, j_point_ms, st_point_ms)
        self._open().set_points_ms(*(points.get(f"{name}_point_ms") for name in ("q", "j", "st")))

    def iterate(self, chunks: Iterable[ArrayLike]) -> Iterator[np.void]:
        """Push chunk after chunk, finish, and yield event by event.

        Examples
        --------
        >>> for event in Session(500, 12).iterate(recording.chunks()):   # doctest: +SKIP
        ...     print(event["time_s"], event["heart_rate_per_min"])
        """
        for chunk in chunks:
            yield from self.push(chunk)
        yield from self.finish()

    def conditioned(self) -> NDArray[np.int16]:
        """Return the conditioned frames since the last call, shape (frames, leads), microvolts.

        Together they follow each other from 0 s on without a gap. Needs ``conditioned=True``.
        """
        return self._open().conditioned()

    @property
    def learned_beat(self) -> LearnedBeat | None:
        """The averaged beat as learned last, to be kept for another session; None before there is one."""
        return LearnedBeat._from_native(self._open().learned())

    @property
    def not_learned(self) -> str | None:
        """Why no averaged beat could be learned to the end of the signal; None where there is one."""
        return self._open().not_learned()

    @property
    def template(self) -> NDArray[np.float32]:
        """The averaged beat as it is now, shape (leads, samples), microvolts; empty before there is one."""
        return self._open().template()

    @property
    def positions_ms(self) -> dict[str, float]:
        """Length of the averaged beat and the places of its QRS, learned or by hand, ms from its start."""
        return dict(zip(("length", "q", "r", "j"), self._open().positions_ms(False)))

    @property
    def measured_positions_ms(self) -> dict[str, float]:
        """The same with the q and j that the latest beat was measured at."""
        return dict(zip(("length", "q", "r", "j"), self._open().positions_ms(True)))

    @property
    def measured_template(self) -> NDArray[np.float32]:
        """The means of the latest beats that the ST of the latest one was measured on.

        What is drawn of them shows the levels that are told: microvolts above the level of the PR segment,
        shape (leads, samples), NaN for a lead with too few beats; empty before there is one.
        """
        return self._open().measured()[0]

    @property
    def measured_template_positions_ms(self) -> dict[str, float]:
        """The points of `measured_template`, as `positions_ms` has those of `template`."""
        return dict(zip(("length", "q", "r", "j"), self._open().measured()[1]))

    @property
    def dtype(self) -> np.dtype[np.void]:
        """Type of the events' rows, see `event_dtype`."""
        return self._dtype

    @property
    def fs(self) -> int:
        """Samples per second and lead."""
        return self._fs

    @property
    def leads(self) -> list[str]:
        """Lead names in frame order."""
        return list(self._leads)

    @property
    def delay_ms(self) -> float:
        """Delay of the filters, which is taken off all times."""
        return self._open().delay_ms()

    @property
    def conditioning(self) -> str:
        """The filters in words."""
        return self._open().conditioning()

    @property
    def frames(self) -> int:
        """Frames taken so far."""
        return self._open().frames()

    def close(self) -> None:
        """Release the session's memory; every other call then raises RuntimeError."""
        self._native = None

    def __enter__(self) -> Session:
        """Return the session."""
        return self

    def __exit__(self, *_: object) -> None:
        """Close the session."""
        self.close()

    def __reduce__(self) -> Any:
        """Refuse to be pickled."""
        raise TypeError("a Session cannot be pickled: keep its learned_beat and begin another with it")
