"""Archives: many recordings analysed on a cluster of Dask, their results in one Parquet dataset."""

from __future__ import annotations

import collections
import contextlib
import dataclasses
import hashlib
import inspect
import itertools
import logging
import math
import os
import posixpath
import queue
import signal
import sys
import tempfile
import time
import uuid
from collections.abc import Iterator, Sequence
from typing import Any, Union

import numpy as np

from . import _checks, _native
from ._analyst import Analyst, Request
from ._tables import FAILURES, parquet
from .analysis import _text, analyze
from .records import from_signal

Records = Union[str, "os.PathLike[str]", Sequence[str]]
FORMATS = (".hea", ".edf", ".bdf", ".csv", ".tsv")
TABLES = ("beats", "trends", "summary", "failures")
UNFINISHED = ".unfinished"  # folder of files that are not yet whole; readers of datasets pass over it
BESIDE = {"stages": "--stages", "patient": "", "pressures": ""}  # options with a file of each recording
_OF_CSV = ("fs", "uv_per_bit")
_BATCH_TABLE = b"record,length_s,leads,beats_found,"  # how results.csv of qzstress batch begins
_TASKS_PER_THREAD = (
    4  # that the scheduler knows of: a worker never waits for the next, and memory stays small
)
_TRIES_ALONE = 2  # a worker may die of what is not the recording's, even then
_SECONDS_PER_COUNT = 2.0  # of the cluster's threads, which may become more or fewer
_SECONDS_PER_PROGRESS = {True: 0.5, False: 30.0}  # on a terminal, in a log


class RecordingError(Exception):
    """A recording has no result; the message says why."""


@dataclasses.dataclass(frozen=True)
class Archived:
    """What a run over an archive has done.

    Attributes
    ----------
    made, found : int
        Recordings with a result of this run, and with one from before.
    failures : dict
        The message of each recording without a result.
    seconds : float
        Time it took.
    """

    made: int
    found: int
    failures: dict[str, str]
    seconds: float


@dataclasses.dataclass(frozen=True)
class _Job:
    """What is the same for all recordings of an archive."""

    out: str
    options: dict[str, Any]
    options_hash: str
    time_limit_s: float

    def key(self, record: str) -> str:
        """Return the name of the results of a recording."""
        identity = "\0".join((_native.program, self.options_hash, record))
        return hashlib.sha256(identity.encode("utf-8", "surrogateescape")).hexdigest()[:32]

    def marks(self, record: str) -> dict[str, str]:
        return {"record": record, "program": _native.program, "options_hash": self.options_hash}


def archive(
    records: Records,
    out: str | os.PathLike[str],
    client: Any = None,
    *,
    options: dict[str, Any] | None = None,
    time_limit_s: float = 600.0,
    tries: int = 2,
    progress: bool = True,
) -> Archived:
    """Analyse many recordings on a cluster, and keep the results as one Parquet dataset.

    `out` gets the folders ``summary`` (a row per recording, with the columns of ``qzstress batch``),
    ``beats`` (a row per beat), ``trends`` (a row per averaged beat and lead) and ``failures`` (a row per
    recording without a result), which pandas, DuckDB and Spark open as tables. Each row tells the program's
    version and a hash of the options. Begun again, it does what is missing; of one version, options and
    recording nothing is made twice. A recording is known by its path or URL.

    Parameters
    ----------
    records : path-like or sequence of str
        A folder, which is searched, a text file with a recording a line, or the recordings: paths or URLs of
        fsspec, as ``s3://bucket/folder``. The machines of a cluster must all reach them.
    out : path-like
        A folder or URL for the results.
    client : distributed.Client or str, optional
        The cluster, or the address of its scheduler; without it all cores of this machine.
    options : dict, optional
        Of `analyze`, for all recordings. ``stages``, ``patient`` and ``pressures`` are ends of the names of
        files beside each recording, as ``".atr"``; a recording without such a file is analysed without it.
    time_limit_s : float
        Seconds after which the analysis of a recording is given up, 0 for never.
    tries : int
        How often a recording that fails is tried in all.
    progress : bool
        Whether stderr shows progress, the time that is left, and at the end the recordings that failed.

    Returns
    -------
    Archived

    Raises
    ------
    RuntimeError
        The cluster is lost. What was finished is kept: begin again.
    """
    began = time.monotonic()
    fsspec = _checks.need("fsspec", "archive")
    distributed = _checks.need("distributed", "archive")
    _checks.need("pyarrow", "archive")
    told = _checked_options(options or {})
    limit = _checks.number("time_limit_s", time_limit_s, 0)
    tries = _checks.whole("tries", tries, 1, 100)
    beside = tuple(str(told[name]) for name in BESIDE if name in told)
    names = [name for name in find_recordings(records) if not name.endswith(beside)]
    job = _Job(_url(os.fspath(out)), told, _hash_of(told), limit)
    store, root = fsspec.core.url_to_fs(job.out)
    for name in (*TABLES, UNFINISHED):
        store.makedirs(posixpath.join(root, name), exist_ok=True)
    keys = {job.key(name): name for name in names}
    done = _listed(store, root, "summary") & keys.keys()
    open_keys = {key: name for key, name in keys.items() if key not in done}

    failures: dict[str, str] = {}
    with _Progress(progress, len(keys), len(done)) as shown:
        for key, message in _run(distributed, client, job, open_keys, tries):
            shown.step(message is not None)
            if message is None:
                continue
            failures[keys[key]] = message
            row = {**job.marks(keys[key]), "message": message}
            table = parquet({name: [value] for name, value in row.items()}, FAILURES)
            _write(store, root, "failures", key, table)
    for key in _listed(store, root, "failures") & keys.keys():
        if keys[key] not in failures:  # but had failed before
            store.rm_file(_path(root, "failures", key))
    if progress:
        for name, message in failures.items():
            print(f"{name}: {message}", file=sys.stderr)
    return Archived(len(open_keys) - len(failures), len(done), failures, time.monotonic() - began)


def find_recordings(records: Records) -> list[str]:
    """Return the recordings of a folder, of a text file with one a line, or of a sequence, each once.

    Parameters
    ----------
    records : path-like or sequence of str
        As `archive` takes them. Segments of a WFDB record are no recordings.

    Returns
    -------
    list of str
        URLs, and absolute paths on this machine. WFDB has its ".hea".
    """
    if isinstance(records, (str, os.PathLike)):
        place = _url(os.fspath(records))
        store, path = _checks.need("fsspec", "archive").core.url_to_fs(place)
        if store.isdir(path):
            found = _search(store, path)
        elif _extension(place) in FORMATS:
            raise _native.RecordError(
                f"{place} is taken for a recording by its name: a folder or a list is expected"
            )
        else:
            lines = [line.strip() for line in store.cat_file(path).decode().splitlines()]
            folder = posixpath.dirname(place)
            found = [
                line if "://" in line else posixpath.join(folder, line)
                for line in lines
                if line and not line.startswith("#")
            ]
        if not found:
            raise _native.RecordError(f"{place} holds no recordings")
    else:
        found = [os.fspath(record) for record in records]
    return list(dict.fromkeys(_url(name if _extension(name) in FORMATS else name + ".hea") for name in found))


def _url(name: str) -> str:
    """Return a URL as it is, and a path of this machine as an absolute one."""
    if not name or "\0" in name:
        raise ValueError(f"a path or URL is expected, not {name!r}")
    return name if "://" in name else os.path.abspath(name)


def _extension(name: str) -> str:
    return posixpath.splitext(name)[1].lower()


def _search(store: Any, folder: str) -> list[str]:
    files = set(store.find(folder))
    names = [name for name in files if _extension(name) in FORMATS]
    # A header of segments has no signal of its own name: the others need not be read.
    headers = [name for name in names if name.endswith(".hea") and f"{name[:-4]}.dat" not in files]
    left_out: set[str] = set()
    for name, text in _contents(store, headers).items():
        lines = _header_lines(text)
        if lines and "/" in lines[0][0]:
            left_out.update(posixpath.join(posixpath.dirname(name), f"{line[0]}.hea") for line in lines[1:])
    tables = [name for name in names if posixpath.basename(name) == "results.csv"]
    left_out.update(name for name, text in _contents(store, tables).items() if text.startswith(_BATCH_TABLE))
    is_local = "file" in _protocols(store)
    return sorted(
        name if is_local else store.unstrip_protocol(name) for name in names if name not in left_out
    )


def _contents(store: Any, names: list[str]) -> dict[str, bytes]:
    return dict(store.cat(names, on_error="omit")) if names else {}


def _protocols(store: Any) -> tuple[str, ...]:
    return (store.protocol,) if isinstance(store.protocol, str) else tuple(store.protocol)


def _header_lines(text: bytes) -> list[list[str]]:
    """Return the words of the lines of a WFDB header, without its comments."""
    lines = (line.split() for line in text.decode("utf-8", "replace").splitlines())
    return [words for words in lines if words and not words[0].startswith("#")]


def _checked_options(options: dict[str, Any]) -> dict[str, Any]:
    """Return the options that are not at their default. Refuses here what would fail on every recording."""
    known = set(inspect.signature(analyze).parameters) - {"source", "unit", "beat"}
    for name in options:
        if name not in known:
            raise TypeError(f"{name} is no option of an archive: known are {', '.join(sorted(known))}")
    given = {name: value for name, value in options.items() if value is not None and value is not False}
    for name in BESIDE:
        if name in given and not str(given[name]).startswith("."):
            raise ValueError(
                f"{name} is expected to be the end of the name of a file beside each recording, as '.atr', "
                f"not {given[name]!r}"
            )
    if "leads" in given:
        _checks.lead_names(list(given["leads"]))
    for name in _OF_CSV:
        if name in given:
            _checks.number(name, given[name], above=0)
    general = {name: value for name, value in given.items() if name not in (*BESIDE, *_OF_CSV, "leads")}
    with contextlib.suppress(_native.RecordError):  # a silent second, of which the options alone matter
        analyze(from_signal(np.zeros((100, 1), np.int16), 100), **general)
    return given


def _hash_of(options: dict[str, Any]) -> str:
    text = "\n".join(f"{name}={_text(value)}" for name, value in sorted(options.items()))
    return hashlib.sha256(text.encode()).hexdigest()[:16]


def _listed(store: Any, root: str, table: str) -> set[str]:
    """Return the keys of the results in a table."""
    store.invalidate_cache()  # workers write, too
    names = (posixpath.splitext(posixpath.basename(path)) for path in store.find(posixpath.join(root, table)))
    keys = {key for key, extension in names if extension == ".parquet"}
    store.invalidate_cache()
    return keys


def _path(root: str, table: str, key: str) -> str:
    return posixpath.join(root, table, f"{key}.parquet")


def _write(store: Any, root: str, table: str, key: str, data: bytes) -> None:
    """Write a file of a table so that it is there whole or not at all."""
    path = _path(root, table, key)
    if type(store).mv is _checks.need("fsspec", "archive").AbstractFileSystem.mv:
        # A store of objects: it shows them whole only, and to rename one would be to copy it.
        store.pipe_file(path, data)
        return
    pending = posixpath.join(root, UNFINISHED, f"{table}-{key}-{uuid.uuid4().hex}")
    store.pipe_file(pending, data)
    store.mv(pending, path)


@contextlib.contextmanager
def _cluster(distributed: Any, client: Any) -> Iterator[Any]:
    """Yield a client: that of the user, or one that ends with the run."""
    if client is not None and not isinstance(client, str):
        yield client
        return
    with contextlib.ExitStack() as stack:
        if client is None:
            # Threads of this process are enough: analyses have processes of their own.
            client = distributed.LocalCluster(
                n_workers=1,
                threads_per_worker=len(os.sched_getaffinity(0)),
                processes=False,
                memory_limit=None,
                dashboard_address=":0",
                silence_logs=logging.CRITICAL,  # failures are told at the end
            )
            stack.enter_context(client)
        yield stack.enter_context(distributed.Client(client))


def _run(
    distributed: Any, cluster: Any, job: _Job, records: dict[str, str], tries: int
) -> Iterator[tuple[str, str | None]]:
    """Have recordings analysed; yield the key of each when it is done, with a message where it failed."""
    if not records:
        return
    with _cluster(distributed, cluster) as client:
        tasks = _Tasks(distributed, client, job, tries)
        waiting = iter(records.items())
        suspects: list[str] = []
        tried: collections.Counter[str] = collections.Counter()  # alone
        while True:
            for key, record in itertools.islice(waiting, tasks.room()):
                tasks.submit(key, record, f"qzstress-{key}")
            # A worker that dies takes along recordings that are not to blame: each is tried again alone.
            if not tasks.running and suspects:
                key = suspects.pop()
                tried[key] += 1
                tasks.submit(key, records[key], f"qzstress-{key}-alone-{tried[key]}")
            if not tasks.running:
                break
            key, error = tasks.next()
            if isinstance(error, distributed.KilledWorker) and tried[key] < _TRIES_ALONE:
                suspects.insert(0, key)
            elif isinstance(error, distributed.KilledWorker):
                yield key, f"its worker died {(error.allowed_failures + 1) * tried[key]} times"
            else:
                yield key, None if error is None else str(error) or type(error).__name__
        client.run(end_analysts, on_error="ignore")


class _Tasks:
    """The tasks that the scheduler knows of, a few for each thread of the cluster."""

    def __init__(self, distributed: Any, client: Any, job: _Job, tries: int) -> None:
        self.running: dict[str, str] = {}  # keys of recordings, by the name of the task
        self._client, self._job, self._retries = client, job, tries - 1
        self._ended = distributed.as_completed()
        self._most, self._counted = 0, -math.inf

    def room(self) -> int:
        if time.monotonic() - self._counted >= _SECONDS_PER_COUNT:
            self._counted = time.monotonic()
            self._most = max(1, sum(self._client.nthreads().values())) * _TASKS_PER_THREAD
        return max(0, self._most - len(self.running))

    def submit(self, key: str, record: str, name: str) -> None:
        self.running[name] = key
        task = self._client.submit(
            _analyze_one, record, key, self._job, key=name, retries=self._retries, pure=False
        )
        self._ended.add(task)

    def next(self) -> tuple[str, BaseException | None]:
        """Wait for a task; return the key of its recording, and what went wrong."""
        future = next(self._ended)
        if future.status in ("cancelled", "lost"):
            raise RuntimeError(
                "the cluster is lost; what was finished is kept: begin again with the same words"
            )
        error = future.exception() if future.status == "error" else None
        future.release()
        return self.running.pop(future.key), error


_idle: queue.SimpleQueue[Analyst] = queue.SimpleQueue()  # of this worker


def end_analysts() -> None:
    """End the idle processes of this worker."""
    with contextlib.suppress(queue.Empty):
        while True:
            _idle.get_nowait().end()


def _analyze_one(record: str, key: str, job: _Job) -> None:
    """Analyse a recording on a worker, and write its results. Raises RecordingError."""
    url_to_fs = _checks.need("fsspec", "archive").core.url_to_fs
    store, root = url_to_fs(job.out)
    if store.exists(_path(root, "summary", key)):
        return  # by a worker that was lost before it could say so
    with tempfile.TemporaryDirectory() as folder:
        path, beside = _local_files(record, job.options, folder)
        options = {**{name: value for name, value in job.options.items() if name not in BESIDE}, **beside}
        if _extension(record) not in (".csv", ".tsv"):
            options = {name: value for name, value in options.items() if name not in _OF_CSV}
        endings = {BESIDE[name]: str(job.options[name]) for name in beside}
        answer = _ask(Request(path, options, job.marks(record), endings, job.time_limit_s))
        if isinstance(answer, str):
            raise RecordingError(answer.replace(folder, posixpath.dirname(record)))
    for table, data in answer.items():  # the summary, which lists what is finished, comes last
        _write(store, root, table, key, data)


def _ask(request: Request) -> dict[str, bytes] | str:
    try:
        analyst = _idle.get_nowait()
    except queue.Empty:
        analyst = Analyst()
    answer = analyst.ask(request)
    if answer is not None:
        _idle.put(analyst)
        return answer
    code = analyst.end()
    if code == -signal.SIGALRM:
        return f"given up after {request.time_limit_s:g} s"
    return (
        f"its analysis ended by signal {-code}" if code < 0 else f"its analysis ended with exit code {code}"
    )


def _local_files(record: str, options: dict[str, Any], folder: str) -> tuple[str, dict[str, str]]:
    """Return the path of a recording on this machine, and those of the files beside it that options name.

    What is elsewhere is copied into `folder`: the recording, what its header names, and those beside it.
    """
    store, path = _checks.need("fsspec", "archive").core.url_to_fs(record)
    stem = posixpath.splitext(path)[0]
    endings = {name: str(options[name]) for name in BESIDE if name in options}
    if "file" in _protocols(store):
        return path, {name: stem + end for name, end in endings.items() if os.path.exists(stem + end)}

    def fetch(name: str) -> str:
        local = os.path.join(folder, posixpath.basename(name))
        if not os.path.exists(local):
            store.get_file(name, local)
        return local

    try:
        local = fetch(path)
    except FileNotFoundError:
        raise RecordingError("is not there") from None
    headers = [local] if _extension(path) == ".hea" else []
    for header in headers:  # grows by the headers of segments
        with open(header, "rb") as file:
            lines = _header_lines(file.read())
        is_segmented = bool(lines) and "/" in lines[0][0]
        for name in dict.fromkeys(line[0] + (".hea" if is_segmented else "") for line in lines[1:]):
            if name in ("~", "~.hea"):
                continue  # a gap between segments
            if "/" in name or os.path.exists(os.path.join(folder, name)):
                continue  # the reader refuses what lies in other folders
            with contextlib.suppress(FileNotFoundError):  # the reader tells of it
                found = fetch(posixpath.join(posixpath.dirname(path), name))
                headers += [found] if is_segmented else []
    beside = {}
    for name, end in endings.items():
        with contextlib.suppress(FileNotFoundError):
            beside[name] = fetch(stem + end)
    return local, beside


class _Progress:
    """One line on stderr: how many are done, how many failed, and how long the rest takes."""

    def __init__(self, is_shown: bool, total: int, before: int) -> None:
        self._is_shown = is_shown
        self._total, self._before, self._done, self._failed = total, before, before, 0
        self._is_terminal = sys.stderr.isatty()
        self._began = self._told = time.monotonic()

    def __enter__(self) -> _Progress:
        self._tell()
        return self

    def __exit__(self, *_: object) -> None:
        self._tell()
        if self._is_shown and self._is_terminal:
            print(file=sys.stderr)

    def step(self, is_failed: bool) -> None:
        self._done += 1
        self._failed += is_failed
        now = time.monotonic()
        if now - self._told >= _SECONDS_PER_PROGRESS[self._is_terminal]:
            self._told = now
            self._tell()

    def _tell(self) -> None:
        if self._is_shown:
            print(self._line(), file=sys.stderr, end="\r" if self._is_terminal else "\n", flush=True)

    def _line(self) -> str:
        seconds = max(time.monotonic() - self._began, 1e-3)
        rate = (self._done - self._before) / seconds
        words = [f"archive: {self._done} of {self._total}"]
        if self._failed:
            words.append(f"{self._failed} failed")
        if rate > 0:
            words.append(f"{rate:.2f} recordings/s")
        if rate > 0 and self._done < self._total:
            words.append(f"{_duration((self._total - self._done) / rate)} left")
        line = ", ".join(words)
        return f"{line:<78}" if self._is_terminal else line  # over a longer one


def _duration(seconds: float) -> str:
    minutes, hours = seconds / 60, seconds / 3600
    return f"{seconds:.0f} s" if minutes < 2 else f"{minutes:.0f} min" if hours < 2 else f"{hours:.1f} h"
