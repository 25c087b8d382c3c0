"""Tables of the results of one recording, as an archive keeps them, and their bytes as Parquet."""

from __future__ import annotations

import io
from typing import Any

import numpy as np

from . import _checks
from .analysis import Result

SUMMARY = {
    "record": "string",
    "length_s": "double",
    "leads": "int32",
    "beats_found": "int64",
    "beats_folded": "int64",
    "peak_heart_rate_per_min": "double",
    "peak_heart_rate_s": "double",
    "st_lead": "string",
    "st_largest_change_uv": "double",
    "st_largest_change_s": "double",
    "st_slope_then_uv_per_ms": "double",
    "reference_from_s": "double",
    "reference_to_s": "double",
    "duke": "double",
    "pwc130_w": "double",
    "pwc150_w": "double",
    "pwc170_w": "double",
    "warnings": "int32",
    "program": "string",
    "options": "string",
    "options_hash": "string",
}
"""Columns of the summary: those of the table of ``qzstress batch``, and the hash. Null is not known."""

FAILURES = {"record": "string", "program": "string", "options_hash": "string", "message": "string"}


def parquet(columns: dict[str, Any], types: dict[str, str] | None = None) -> bytes:
    """Return a table as the bytes of a Parquet file; `types` are names of Arrow. NaN is written as null."""
    pa = _checks.need("pyarrow", "archive")
    pq = _checks.need("pyarrow.parquet", "archive")
    schema = types and pa.schema([(name, pa.type_for_alias(kind)) for name, kind in types.items()])
    values = {
        name: pa.array(column, from_pandas=True) if isinstance(column, np.ndarray) else column
        for name, column in columns.items()
    }
    buffer = io.BytesIO()
    pq.write_table(pa.table(values, schema=schema), buffer, compression="zstd")
    return buffer.getvalue()


def tables_of(result: Result, marks: dict[str, str], endings: dict[str, str]) -> dict[str, bytes]:
    """Return the tables of a result, in the order in which they are to be written.

    Parameters
    ----------
    result : Result
        What an analysis has found.
    marks : dict
        What every row tells: record, program, options_hash.
    endings : dict
        Options of the program whose values name files beside the recording, and the ends of these names.
    """
    beats = result._beat_columns()
    return {
        "beats": parquet({**_repeated(marks, len(beats["time_s"])), **beats}),
        "trends": parquet(_trends(result, marks)),
        "summary": parquet(
            {name: [value] for name, value in _summary(result, marks, endings).items()}, SUMMARY
        ),
    }


def _repeated(marks: dict[str, str], rows: int) -> dict[str, Any]:
    pa = _checks.need("pyarrow", "archive")
    return {name: pa.repeat(pa.scalar(value), rows) for name, value in marks.items()}


def _trends(result: Result, marks: dict[str, str]) -> dict[str, Any]:
    """Return one row per folded beat and lead: recordings of other leads have the same columns."""
    arrays, leads = result._all_arrays(), result.lead_names
    per_beat = ("time_s", "rr_ms", "heart_rate_per_min", "st_point_ms", "qrs_onset_ms", "qrs_end_ms")
    rows = len(arrays["trend"]) * len(leads)
    return {
        **_repeated(marks, rows),
        **{name: np.repeat(arrays["trend"][:, i], len(leads)) for i, name in enumerate(per_beat)},
        "lead": np.tile(np.array(leads), len(arrays["trend"])),
        "st_uv": arrays["level_uv"].ravel(),
        "slope_uv_per_ms": arrays["slope_uv_per_ms"].ravel(),
        "change_uv": arrays["change_uv"].ravel(),
        "sthr_uv_min": arrays["sthr_uv_min"].ravel(),
    }


def _summary(result: Result, marks: dict[str, str], endings: dict[str, str]) -> dict[str, Any]:
    told = result.to_dict(trends=False)
    exercise, reference = told["exercise"], told["reference"] or {"from_s": None, "to_s": None}
    changed = [lead for lead in told["leads"] if lead["largest_change_uv"] is not None]
    worst = max(changed, key=lambda lead: abs(lead["largest_change_uv"]), default=None)
    options = {name: endings.get(name, value) for name, value in told["options"].items()}
    figures = {
        "length_s": told["record"]["length_s"],
        "leads": len(told["record"]["leads"]),
        "beats_found": told["beats_found"],
        "beats_folded": told["beats_folded"],
        "st_lead": worst and worst["name"],
        "st_largest_change_uv": worst and worst["largest_change_uv"],
        "st_largest_change_s": worst and worst["largest_change_s"],
        "st_slope_then_uv_per_ms": worst and worst["slope_then_uv_per_ms"],
        "reference_from_s": reference["from_s"],
        "reference_to_s": reference["to_s"],
        "warnings": len(told["warnings"]),
        "options": " ".join(
            name[2:] + ("" if value == "true" else f"={value}") for name, value in options.items()
        ),
    }
    of_exercise = ("peak_heart_rate_per_min", "peak_heart_rate_s", "duke", "pwc130_w", "pwc150_w", "pwc170_w")
    figures.update({name: exercise[name] for name in of_exercise})
    row = {**figures, **marks}
    return {name: row[name] for name in SUMMARY}
