"""Archives outlive recordings that crash, hang and kill, and make nothing twice."""

from __future__ import annotations

import csv
import os
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

import fsspec
import pytest

import qzstress
from qzstress.__main__ import main
from qzstress._tables import SUMMARY
from qzstress.archives import find_recordings

dask = pytest.importorskip("dask")
distributed = pytest.importorskip("distributed")
pd = pytest.importorskip("pandas")
pytestmark = pytest.mark.filterwarnings("default")  # those of Dask are its own

GOOD = ["a", "b", "c", "sub/d"]
FAULTS = """
import ctypes, os, pathlib, signal
if "_analyst" in pathlib.Path("/proc/self/cmdline").read_text():
    from qzstress import _native

    def analyze(path, *rest, of=_native.analyze_file):
        name, once = pathlib.Path(path).stem, pathlib.Path(path + ".killed")
        if name == "crash":
            os.abort()
        if name == "hang":
            if signal.getitimer(signal.ITIMER_REAL)[0] > 0:
                signal.setitimer(signal.ITIMER_REAL, 0.2)  # the limit is long: nobody is to wait for it
            worker = os.getppid()
            while os.getppid() == worker:
                ctypes.PyDLL(None).usleep(10000)  # with the interpreter's lock held
        if name == "killer" or name == "again" and not once.exists():
            once.touch()
            os.kill(os.getppid(), signal.SIGKILL)
        return of(path, *rest)

    _native.analyze_file = analyze
"""


@pytest.fixture(scope="module")
def recordings(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Return a folder with four short recordings."""
    folder = tmp_path_factory.mktemp("recordings")
    (folder / "sub").mkdir()
    for seed, name in enumerate(GOOD):
        qzstress.simulate(40, fs=250, seed=seed, leads=["V5", "I"][: 1 + seed % 2]).write(folder / name)
    return folder


@pytest.fixture
def faulty(recordings: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    """Return a copy with recordings that do harm to the processes that are started."""
    shutil.copytree(recordings, tmp_path / "in")
    (tmp_path / "in/broken.hea").write_text("no header\n")
    for name in ("crash", "hang", "killer", "again"):
        shutil.copy(tmp_path / "in/a.hea", tmp_path / f"in/{name}.hea")
    (tmp_path / "faults").mkdir()
    (tmp_path / "faults/sitecustomize.py").write_text(FAULTS)
    package = str(Path(qzstress.__file__).parent.parent)
    monkeypatch.setenv("PYTHONPATH", os.pathsep.join((str(tmp_path / "faults"), package)))
    return tmp_path / "in"


def files(folder: Path) -> dict[str, tuple[int, int]]:
    """Return the results that are there, and what changes when one is written again."""
    found = (path for path in folder.rglob("*.parquet") if path.parent.name != "failures")
    return {str(path): (path.stat().st_ino, path.stat().st_mtime_ns) for path in found}


def names(folder: Path, table: str = "summary") -> list[str]:
    """Return the names of the recordings in the rows of a table."""
    return sorted(Path(record).stem for record in pd.read_parquet(folder / table)["record"])


def test_recordings_that_crash_hang_and_kill_are_listed_and_the_others_done(
    faulty: Path, tmp_path: Path
) -> None:
    out = tmp_path / "out"
    settings = {"distributed.scheduler.allowed-failures": 0, "distributed.worker.daemon": False}
    with (
        dask.config.set(settings),
        distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=":0") as cluster,
    ):
        done = qzstress.archive(faulty, out, cluster.scheduler_address, time_limit_s=100, progress=False)
    failures = {Path(record).stem: message for record, message in done.failures.items()}
    assert "broken.hea" in failures.pop("broken")
    assert failures == {
        "crash": "its analysis ended by signal 6",
        "hang": "given up after 100 s",
        "killer": "its worker died 2 times",
    }
    assert names(out) == ["a", "again", "b", "c", "d"]
    assert names(out, "failures") == ["broken", "crash", "hang", "killer"]
    beats, trends = (pd.read_parquet(out / table).groupby("record") for table in ("beats", "trends"))
    alone = qzstress.analyze(faulty / "b")
    assert beats.get_group(str(faulty / "b.hea"))["time_s"].tolist() == alone.beats["time_s"].tolist()
    trend = trends.get_group(str(faulty / "b.hea"))
    assert trend[trend["lead"] == "I"]["st_uv"].tolist() == alone.trend["I_st_uv"].tolist()
    assert trend["options_hash"].nunique() == len(set(trend["program"])) == 1


def test_begun_again_it_does_what_is_missing_and_nothing_twice(
    faulty: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    out = tmp_path / "out"
    words = ["archive", str(faulty), "--out", str(out), "--mains=50", "--quiet"]
    (faulty / "killer.hea").unlink()
    (faulty / "again.hea").unlink()
    command = [sys.executable, "-m", "qzstress", *words, "--timeout=0", "--tries=1"]
    first = subprocess.Popen(command, cwd=tmp_path)
    deadline = time.monotonic() + 300
    while len(files(out / "summary")) < 2 and first.poll() is None and time.monotonic() < deadline:
        time.sleep(0.01)
    os.kill(first.pid, signal.SIGKILL)  # with its scheduler and its worker
    assert first.wait() == -signal.SIGKILL
    before = files(out)
    assert len([path for path in before if "summary" in path]) >= 2

    monkeypatch.delenv("PYTHONPATH")
    assert main(words) == 3
    assert names(out) == ["a", "b", "c", "crash", "d", "hang"]
    assert names(out, "failures") == ["broken"]
    listed = {Path(path).name for path in before if "summary" in path}
    whole = {path: state for path, state in before.items() if Path(path).name in listed}
    assert whole.items() <= files(out).items()
    shutil.copy(faulty / "a.hea", faulty / "broken.hea")
    assert main(words) == 0
    assert list((out / "failures").iterdir()) == []


def test_stores_of_fsspec_and_files_beside_a_recording(recordings: Path) -> None:
    store = fsspec.filesystem("memory")
    store.put(str(recordings), "/in", recursive=True)
    store.pipe_file("/in/b.stages", b"0 0 Rest\n15 100 Work\n")
    store.pipe_file("/in/b.bp.csv", b"time,systolic,diastolic\n20,150,80\n")
    store.pipe_file("/in/long.hea", b"long/2 1 250 20000\na 10000\nc 10000\n")
    beside = {"stages": ".stages", "pressures": ".bp.csv", "fs": 99}
    done = qzstress.archive("memory://in", "memory://out", options=beside, progress=False)
    assert (done.made, done.failures) == (3, {})
    table = pd.read_parquet("memory://out/summary").set_index("record")
    assert table["options"].to_dict() == {
        "memory:///in/b.hea": "stages=.stages",
        "memory:///in/long.hea": "",
        "memory:///in/sub/d.hea": "",
    }
    assert table["length_s"]["memory:///in/long.hea"] == 80
    for options, made in ((beside, 0), ({"mains_hz": 50}, 1)):
        again = qzstress.archive(["memory:///in/b"], "memory://out", options=options, progress=False)
        assert (again.made, again.found) == (made, 1 - made)
    assert pd.read_parquet("memory://out/summary")["options_hash"].nunique() == 2


def test_the_summary_is_the_table_of_the_programs_batch(
    program: Path, recordings: Path, tmp_path: Path
) -> None:
    arguments = [program, "batch", recordings, "--out", tmp_path / "batch", "--quiet", "--mains=50"]
    subprocess.run(arguments, check=True)
    shutil.copy(tmp_path / "batch/results.csv", recordings / "results.csv")
    try:
        qzstress.archive(recordings, tmp_path / "out", options={"mains_hz": 50}, progress=False)
    finally:
        (recordings / "results.csv").unlink()
    rows = pd.read_parquet(tmp_path / "out/summary").sort_values("record").to_dict("records")
    with open(tmp_path / "batch/results.csv", encoding="utf-8") as file:
        told = list(csv.DictReader(file))
    assert [*told[0], "options_hash"] == list(SUMMARY) == list(rows[0])
    for one, other in zip(told, rows):
        for name, text in one.items():
            if isinstance(other[name], float):
                digits = len(text.partition(".")[2])
                assert text == ("" if other[name] != other[name] else f"{other[name]:.{digits}f}")
            else:
                assert text == str(other[name])


def test_what_would_fail_on_every_recording_is_refused_before(
    recordings: Path, tmp_path: Path, capsys: pytest.CaptureFixture[str], monkeypatch: pytest.MonkeyPatch
) -> None:
    for options, kind in (
        ({"bet": 1}, TypeError),
        ({"beat": None}, TypeError),
        ({"smooth": 7}, ValueError),
        ({"stages": "stages.txt"}, ValueError),
        ({"fs": 0}, ValueError),
    ):
        with pytest.raises(kind, match=next(iter(options))):
            qzstress.archive(recordings, tmp_path / "out", options=options)
    (tmp_path / "list.txt").write_text("# a comment\nx\ny.EDF\n/z.csv\ns3://b/w\nx.hea\n")
    listed = find_recordings(tmp_path / "list.txt")
    assert listed == [str(tmp_path / "x.hea"), str(tmp_path / "y.EDF"), "/z.csv", "s3://b/w.hea"]
    with pytest.raises(SystemExit, match="2"):
        main(["archive", str(recordings)])
    assert main(["archive", str(tmp_path / "missing"), "--out", str(tmp_path)]) == 1
    monkeypatch.setitem(sys.modules, "distributed", None)
    assert main(["archive", str(recordings), "--out", str(tmp_path)]) == 1
    assert "pip install 'qzstress[archive]'" in capsys.readouterr().err
