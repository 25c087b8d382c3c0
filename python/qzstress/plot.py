"""Pictures of a result with matplotlib, on ECG paper."""

from __future__ import annotations

import math
from collections.abc import Iterable
from typing import TYPE_CHECKING, Any

import numpy as np
from numpy.typing import NDArray

from . import _checks

if TYPE_CHECKING:
    from matplotlib.axes import Axes
    from matplotlib.figure import Figure

    from .analysis import Result

MM_PER_INCH = 25.4
MM_PER_S, MM_PER_MV = 25.0, 10.0
_MINOR, _MAJOR = "#f6d9d4", "#e8a79c"  # lines of 1 mm and of 5 mm
_TRACE, _EARLIER, _MARK = "#1a1a1a", "#3a6ea5", "#7a7a7a"
_MARGIN_MM, _TITLE_MM = 14.0, 12.0


def _paper(axes: Axes, width_mm: float, height_mm: float) -> None:
    """Rule an axes whose units are millimetres."""
    axes.set_xlim(0, width_mm)
    axes.set_ylim(0, height_mm)
    for step, color, line in ((1, _MINOR, 0.4), (5, _MAJOR, 0.6)):
        axes.vlines(np.arange(0, width_mm + 0.5, step), 0, height_mm, color=color, linewidth=line, zorder=0)
        axes.hlines(np.arange(0, height_mm + 0.5, step), 0, width_mm, color=color, linewidth=line, zorder=0)
    axes.set_xticks([])
    axes.set_yticks([])
    for side in axes.spines.values():
        side.set_visible(False)


def _sheet(width_mm: float, height_mm: float, title: str) -> tuple[Figure, Axes]:
    """Make a figure on which a millimetre is one at its size in print."""
    pyplot = _checks.need("matplotlib.pyplot", "plot")
    whole_width, whole_height = width_mm + 2 * _MARGIN_MM, height_mm + _MARGIN_MM + _TITLE_MM
    figure: Figure = pyplot.figure(figsize=(whole_width / MM_PER_INCH, whole_height / MM_PER_INCH))
    axes = figure.add_axes(
        (
            _MARGIN_MM / whole_width,
            _MARGIN_MM / whole_height,
            width_mm / whole_width,
            height_mm / whole_height,
        )
    )
    _paper(axes, width_mm, height_mm)
    axes.set_title(title, fontsize=8, loc="left")
    return figure, axes


class _Lane:
    """Room for traces on paper: its height, and the height in it of 0, in whole 5 mm."""

    _LEAST_MM = 5.0  # to either side of 0

    def __init__(self, traces_mm: Iterable[NDArray[Any]], most_mm: float) -> None:
        highest, lowest = self._LEAST_MM, -self._LEAST_MM
        for trace in traces_mm:
            finite = trace[np.isfinite(trace)]
            highest = max(highest, float(finite.max(initial=0.0)))
            lowest = min(lowest, float(finite.min(initial=0.0)))
        self.base = 5.0 * math.ceil(min(-lowest, most_mm) / 5)
        self.height = self.base + 5.0 * math.ceil(min(highest, most_mm) / 5)


class Plots:
    """Pictures of a result; each returns a matplotlib Figure, which a notebook shows.

    Parameters
    ----------
    result : Result
        What is drawn.
    """

    def __init__(self, result: Result) -> None:
        self._result = result

    def trend(self, leads: list[str] | None = None) -> Figure:
        """Draw heart rate and ST level over time, stages of work shaded.

        Parameters
        ----------
        leads : list of str, optional
            Leads whose ST is drawn; without it all.
        """
        pyplot = _checks.need("matplotlib.pyplot", "plot")
        result = self._result
        arrays = result._all_arrays()
        figure: Figure
        figure, (rate, st) = pyplot.subplots(2, 1, sharex=True, figsize=(10, 6), height_ratios=(1, 2))
        rates = arrays["rates"]
        rate.plot(rates[:, 0] / 60, rates[:, 1], color=_TRACE, linewidth=0.8)
        rate.set_ylabel("heart rate, 1/min")
        rate.set_title(str(result._summary["record"]["name"]), fontsize=9, loc="left")
        minutes = arrays["trend"][:, 0] / 60
        shown = self._columns(leads)
        colors = pyplot.get_cmap("tab10" if len(shown) <= 10 else "tab20")
        for number, (lead, name) in enumerate(shown):
            st.plot(
                minutes, arrays["level_uv"][:, lead], label=name, color=colors(number % 20), linewidth=0.9
            )
        st.axhline(0, color=_MARK, linewidth=0.6)
        st.set_ylabel("ST level, uV")
        st.set_xlabel("time, min")
        st.legend(ncols=2, fontsize=7, loc="center left", bbox_to_anchor=(1.0, 0.5))
        for stage in result._summary["exercise"]["course"]:
            if stage["power_w"] == 0:
                continue
            for axes in (rate, st):
                axes.axvspan(stage["from_s"] / 60, stage["to_s"] / 60, color="#f2ead8", zorder=0)
                axes.axvline(stage["from_s"] / 60, color="#d9c9a3", linewidth=0.6, zorder=0)
        for axes in (rate, st):
            axes.grid(True, color=_MINOR, linewidth=0.6)
            axes.margins(x=0)
        figure.tight_layout()
        return figure

    def _columns(self, leads: list[str] | None) -> list[tuple[int, str]]:
        names = self._result.lead_names
        if leads is None:
            return list(enumerate(names))
        folded = [name.casefold() for name in names]
        missing = [lead for lead in leads if lead.casefold() not in folded]
        if missing:
            raise ValueError(f"lead {missing[0]!r} is not one of {', '.join(names)}")
        return [(folded.index(lead.casefold()), names[folded.index(lead.casefold())]) for lead in leads]

    def beats(self, leads: list[str] | None = None) -> Figure:
        """Draw the averaged beat of each lead: in the reference (blue) and as it was left (black).

        50 mm/s and 20 mm/mV at the size of the figure. The dashed lines stand at the onset and the end of the
        QRS, the dotted one at the ST point.
        """
        result = self._result
        summary = result._summary
        at = summary["averaged_beat"]
        shown = self._columns(leads)
        mm_per_ms, mm_per_uv = 2 * MM_PER_S / 1000, 2 * MM_PER_MV / 1000
        columns = min(len(shown), 4)
        rows = [shown[first : first + columns] for first in range(0, len(shown), columns)]
        lanes = [
            _Lane(
                [np.stack([result.reference[lead], result.template[lead]]) * mm_per_uv for lead, _ in row],
                most_mm=100,
            )
            for row in rows
        ]
        width = 5 * math.ceil(at["length_ms"] * mm_per_ms / 5) + 5
        title = f"{summary['record']['name']}\naveraged beats (reference blue), 50 mm/s, 20 mm/mV"
        top = sum(lane.height for lane in lanes)
        figure, axes = _sheet(width * columns, top, title)
        x = (
            np.arange(result.template.shape[1]) * 1000 / summary["record"]["sampling_rate_hz"] * mm_per_ms
            + 2.5
        )
        for row, lane in zip(rows, lanes):
            bottom = top - lane.height
            for column, (lead, name) in enumerate(row):
                left = width * column
                for beat, color in ((result.reference[lead], _EARLIER), (result.template[lead], _TRACE)):
                    axes.plot(left + x, bottom + lane.base + beat * mm_per_uv, color=color, linewidth=0.9)
                for ms, style in ((at["q_ms"], "--"), (at["j_ms"], "--"), (at["st_ms"], ":")):
                    mark = left + 2.5 + ms * mm_per_ms
                    axes.plot([mark, mark], [bottom + 1, top - 1], style, color=_MARK, linewidth=0.5)
                axes.text(left + 2, top - 1.5, name, fontsize=8, va="top", weight="bold")
            top = bottom
        return figure

    def strip(
        self, start_s: float, seconds: float = 10.0, *, leads: list[str] | None = None, raw: bool = False
    ) -> Figure:
        """Draw a stretch of signal, 25 mm/s and 10 mm/mV at the size of the figure.

        Parameters
        ----------
        start_s, seconds : float
            Start and length.
        leads : list of str, optional
            Leads that are drawn; without it all.
        raw : bool
            Draws the signal as recorded, less its median, not as conditioned.
        """
        result = self._result
        strip = result.strip(start_s, seconds)
        uv: NDArray[Any] = strip["raw_uv"] - np.median(strip["raw_uv"], axis=0) if raw else strip["clean_uv"]
        shown = self._columns(leads)
        labels = 10.0
        lanes = [_Lane([uv[:, lead] * MM_PER_MV / 1000], 40) for lead, _ in shown]
        width = 5 * math.ceil((seconds * MM_PER_S + labels) / 5)
        kind = "as recorded" if raw else "conditioned"
        title = f"{result._summary['record']['name']} from {start_s:g} s, {kind}, 25 mm/s, 10 mm/mV"
        top = sum(lane.height for lane in lanes)
        figure, axes = _sheet(width, top, title)
        x = labels + (strip["time_s"] - start_s) * MM_PER_S
        for (lead, name), lane in zip(shown, lanes):
            top -= lane.height
            axes.plot(
                x[: len(uv)], top + lane.base + uv[:, lead] * MM_PER_MV / 1000, color=_TRACE, linewidth=0.7
            )
            axes.text(1.5, top + lane.base, name, fontsize=8, va="center", weight="bold")
        for second in range(int(seconds) + 1):
            axes.text(labels + second * MM_PER_S, -1, f"{start_s + second:g} s", fontsize=6, va="top")
        return figure
