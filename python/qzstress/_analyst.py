"""A process that analyses recordings for a worker of an archive, one after another.

Of a recording that crashes the analysis, exhausts the memory or never ends, this process dies, and not the
worker with what else it does. Requests come on stdin, answers go to stdout, both pickled. The kernel's
alarm ends the process at the time limit, also where its worker is gone; without a worker it ends at the end
of stdin.
"""

from __future__ import annotations

import contextlib
import os
import pickle
import signal
import subprocess
import sys
from dataclasses import dataclass, field
from typing import Any, Union

from . import _checks, _native
from ._tables import tables_of
from .analysis import analyze


@dataclass
class Request:
    """One recording to analyse.

    Attributes
    ----------
    path : str
        Its file, on this machine.
    options : dict
        Of `analyze`.
    marks : dict
        What every row tells: record, program, options_hash.
    endings : dict
        As `tables_of` takes them.
    time_limit_s : float
        Seconds after which the process is ended, 0 for never.
    """

    path: str
    options: dict[str, Any]
    marks: dict[str, str]
    endings: dict[str, str] = field(default_factory=dict)
    time_limit_s: float = 0.0


Answer = Union[dict[str, bytes], str]  # the tables, or what is wrong with the recording


class Analyst:
    """The worker's end of such a process. One thread at a time."""

    def __init__(self) -> None:
        # A session of its own: Ctrl-C at a terminal is for the worker. It finds the modules where this
        # process has found them: a folder "qzstress" where it is begun does not come first.
        begin = f"import sys; sys.path[:] = {sys.path!r}; from {__name__} import main; main()"
        self._process = subprocess.Popen(
            [sys.executable, "-c", begin],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            start_new_session=True,
        )

    def ask(self, request: Request) -> Answer | None:
        """Return the answer; None where the process has died instead: `end` tells of what."""
        assert self._process.stdin is not None
        assert self._process.stdout is not None
        try:
            pickle.dump(request, self._process.stdin)
            self._process.stdin.flush()
            answer: Answer = pickle.load(self._process.stdout)
        except (OSError, EOFError, pickle.UnpicklingError):
            return None
        return answer

    def end(self) -> int:
        """End the process, and return its exit code: minus the number of a signal that it died of."""
        assert self._process.stdin is not None
        assert self._process.stdout is not None
        with contextlib.suppress(OSError):  # what was not yet sent is for nobody
            self._process.stdin.close()
        self._process.stdout.close()
        return self._process.wait()


def _answer(request: Request) -> Answer:
    if request.marks["program"] != _native.program:
        return f"this worker has {_native.program}, the archive is of {request.marks['program']}"
    try:
        return tables_of(analyze(request.path, **request.options), request.marks, request.endings)
    except Exception as error:
        return str(error) or type(error).__name__


def main() -> None:
    """Answer requests until there are no more."""
    answers = os.fdopen(os.dup(1), "wb")
    os.dup2(2, 1)  # what else is printed must not come between answers
    _checks.need("pyarrow.parquet", "archive")  # whose import is not to count as time of a recording
    while True:
        try:
            request = pickle.load(sys.stdin.buffer)
        except EOFError:
            return
        signal.setitimer(signal.ITIMER_REAL, request.time_limit_s)
        answer = _answer(request)
        signal.setitimer(signal.ITIMER_REAL, 0)
        try:
            pickle.dump(answer, answers)
            answers.flush()
        except BrokenPipeError:
            os._exit(1)
