"""Checks of what users hand in: every refusal says what was expected, what was found and what to do."""

from __future__ import annotations

import importlib
import math
from typing import Any

import numpy as np
from numpy.typing import NDArray

from . import _native

MOST_LEADS = 64
LOWEST_FS, HIGHEST_FS = 100, 10000
_UV_PER_UNIT = {"uV": 1.0, "µV": 1.0, "mV": 1e3, "V": 1e6}
_SCALES_UV = (1.0, 2.0, 5.0, 10.0, 20.0, 50.0)


def need(module: str, extra: str) -> Any:
    """Import a package that only a part of this one uses."""
    try:
        return importlib.import_module(module)
    except ImportError as error:
        raise ImportError(
            f"{module} is needed for this and is not installed: pip install 'qzstress[{extra}]'"
        ) from error


def whole(name: str, value: Any, lowest: int, highest: int) -> int:
    """Return a whole number within limits as an int."""
    is_number = isinstance(value, (int, float, np.integer, np.floating)) and not isinstance(value, bool)
    if not is_number or value != value or value in (math.inf, -math.inf) or int(value) != value:
        raise TypeError(f"{name} is expected to be a whole number, not {value!r}")
    if not lowest <= value <= highest:
        raise ValueError(f"{name} is expected from {lowest} to {highest}, not {value}")
    return int(value)


def number(name: str, value: Any, lowest: float = -math.inf, above: float = -math.inf) -> float:
    """Return a finite number of at least `lowest` and above `above` as a float."""
    if not isinstance(value, (int, float, np.integer, np.floating)) or isinstance(value, bool):
        raise TypeError(f"{name} is expected to be a number, not {value!r}")
    if not math.isfinite(value) or value < lowest or value <= above:
        bound = f"above {above:g}" if above > -math.inf else f"of {lowest:g} or more"
        raise ValueError(f"{name} is expected to be a number {bound}, not {value}")
    return float(value)


def between(name: str, value: Any, lowest: float, highest: float) -> float:
    """Return a number within limits as a float."""
    if not lowest <= number(name, value) <= highest:
        raise ValueError(f"{name} is expected from {lowest:g} to {highest:g}, not {value}")
    return float(value)


def points_ms(q: Any, j: Any, st: Any) -> dict[str, float]:
    """Return the points of measurement that are set by hand, ms, by the names of their parameters."""
    points = {}
    for name, ms, lowest, highest in (("q", q, -200, -8), ("j", j, 8, 250), ("st", st, 10, 200)):
        if ms is None:
            continue
        points[f"{name}_point_ms"] = between(f"{name}_point_ms", ms, lowest, highest)
    return points


def sampling_rate(fs: Any) -> int:
    """Return a sampling rate, samples per second and lead."""
    return whole("fs", fs, LOWEST_FS, HIGHEST_FS)


def lead_names(leads: Any) -> list[str]:
    """Return lead names, from themselves or from their number."""
    if isinstance(leads, (list, tuple)):
        names = list(leads)
        if not all(isinstance(name, str) for name in names):
            raise TypeError("leads is expected to be a number or a list of names")
        whole("the number of leads", len(names), 1, MOST_LEADS)
        if len({name.casefold() for name in names}) < len(names):
            raise ValueError(f"leads names one lead twice: {', '.join(names)}")
        return names
    count = whole("leads", leads, 1, MOST_LEADS)
    return [f"lead {lead + 1}" for lead in range(count)]


def array_of(signal: Any) -> NDArray[Any]:
    """Return a signal as an array. What is masked would be taken for samples."""
    if np.ma.is_masked(signal):
        raise ValueError("masked samples: fill gaps first, for instance with the value before the gap")
    return np.asarray(signal)


def frames_of(signal: Any, leads: int, uv_per_bit: float, unit: str | None) -> NDArray[np.int16]:
    """Return a signal as 16-bit frames; the array itself where it is of that kind already.

    Parameters
    ----------
    signal : array_like, shape (frames, leads)
        Whole numbers in units of `uv_per_bit`, or floats in `unit`.
    leads : int
        Leads that are expected.
    uv_per_bit : float
        Microvolts per unit of the result.
    unit : {"uV", "mV", "V"} or None
        Unit of floats.
    """
    array = array_of(signal)
    if array.ndim != 2 or array.shape[1] != leads:
        raise ValueError(
            f"an array of shape (frames, {leads}) is expected, found {array.shape}"
            + (": one frame is array[numpy.newaxis]" if array.shape == (leads,) else "")
            + (": turn it by array.T" if array.ndim == 2 and array.shape[0] == leads else "")
        )
    if array.dtype.kind == "f" and array.dtype.itemsize in (4, 8):
        if unit is None:
            raise ValueError("floats have a unit: say unit='uV' or unit='mV'")
        scale = uv_per_unit(unit) / uv_per_bit
        return _native.quantize(np.require(array, array.dtype.newbyteorder("="), "A"), scale)
    if array.dtype.kind not in "iu":
        raise TypeError(
            f"an array of whole numbers or of 32- or 64-bit floats is expected, not {array.dtype}"
        )
    if unit is not None:
        raise ValueError("unit is for floats: whole numbers are in units of uv_per_bit")
    if array.dtype.itemsize > 1 and array.dtype != np.int16 and array.size:
        lowest, highest = int(array.min()), int(array.max())
        if lowest < -32768 or highest > 32767:
            raise ValueError(
                f"values from {lowest} to {highest} do not fit into 16 bits: take a larger uv_per_bit"
            )
    return np.require(array, np.int16, ("C", "A"))


def uv_per_unit(unit: str) -> float:
    """Return the microvolts of a unit of voltage."""
    try:
        return _UV_PER_UNIT[unit]
    except (KeyError, TypeError):
        raise ValueError(f"unit is expected to be 'uV', 'mV' or 'V', not {unit!r}") from None


def scale_for(signal: NDArray[Any], unit: str) -> float:
    """Return the finest of 1, 2, 5, 10, 20 and 50 uV at which floats fit into 16 bits, as the readers do."""
    if signal.size == 0:
        return _SCALES_UV[0]
    largest = float(np.max(np.abs(signal), initial=0.0, where=np.isfinite(signal))) * uv_per_unit(unit)
    return next((scale for scale in _SCALES_UV if largest / scale <= 32767), _SCALES_UV[-1])
