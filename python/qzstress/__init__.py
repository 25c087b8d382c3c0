"""Heart rate and ST of multi-lead electrocardiograms recorded during exercise.

`analyze` does a whole recording, `Session` one that is still running; `read` and `simulate` bring recordings;
`qzstress.parts` has the library's filters, detectors and indices one by one. It is a building block, not a
medical device.
"""

from ._native import RecordError
from ._native import predicted_rates as _predicted_rates
from ._native import program as _program
from ._native import protocols as _protocols
from .analysis import Result, analyze
from .archives import Archived, archive
from .records import Recording, Stage, formats, from_mne, from_signal, from_wfdb, read, simulate
from .session import BeatClass, EventKind, LearnedBeat, Session, STShape, event_dtype

__version__ = _program.split()[-1]
protocols = tuple(_protocols)
"""Named courses of exercise tests, for `analyze`."""
predicted_rates = tuple(_predicted_rates)
"""Formulas of the maximal heart rate of the age, for `analyze`."""

__all__ = [
    "Archived",
    "BeatClass",
    "EventKind",
    "LearnedBeat",
    "RecordError",
    "Recording",
    "Result",
    "STShape",
    "Session",
    "Stage",
    "__version__",
    "analyze",
    "archive",
    "event_dtype",
    "formats",
    "from_mne",
    "from_signal",
    "from_wfdb",
    "predicted_rates",
    "protocols",
    "read",
    "simulate",
]
