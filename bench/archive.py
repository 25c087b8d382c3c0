"""archive.py PROGRAM RECORDINGS MINUTES LEADS: an archive on two or more worker processes of this machine against
qzstress batch, and what a task costs beside its analysis. Prints a Markdown table."""

import os
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

import distributed
import psutil
import qzstress
from qzstress import archives

SIGNALS = 10  # different ones; further recordings are headers that name one of them
EMPTY_TASKS = 1000


def make_recordings(folder, recordings, minutes, leads):
    """Fill a folder; return the bytes of one recording."""
    names = ["I", "II", "V1", "V2", "V3", "V4", "V5", "V6", "aVR", "aVL", "aVF", "III"][:leads]
    for number in range(recordings):
        header = folder / f"r{number}.hea"
        if number < SIGNALS:
            qzstress.simulate(60 * minutes, seed=number, leads=names).write(header.with_suffix(""))
        else:
            text = (folder / f"r{number % SIGNALS}.hea").read_text()
            header.write_text(text.replace(f"r{number % SIGNALS} ", f"r{number} ", 1))
    return (folder / "r0.dat").stat().st_size


def cpu_seconds(workers):
    """CPU time of this process, with the scheduler, and of workers with their children, ended ones as well."""
    processes = [psutil.Process(pid) for pid in workers]
    ended = sum(sum(process.cpu_times()[:4]) for process in processes)
    alive = sum(sum(child.cpu_times()[:2]) for process in processes for child in process.children())
    return time.process_time() + ended + alive


class PeakMemory(threading.Thread):
    """The most memory that processes and their children have held, MB."""

    def __init__(self, pids):
        super().__init__(daemon=True)
        self.pids, self.of_children, self.ended = pids, 0.0, threading.Event()

    def run(self):
        while not self.ended.wait(0.5):
            for pid in self.pids:
                for child in psutil.Process(pid).children():
                    self.of_children = max(self.of_children, peak_mb(child.pid))


def peak_mb(pid):
    try:
        lines = Path(f"/proc/{pid}/status").read_text().splitlines()
    except OSError:
        return 0.0
    return next((int(line.split()[1]) / 1024 for line in lines if line.startswith("VmHWM")), 0.0)


def timed(work, workers):
    began, cpu = time.monotonic(), cpu_seconds(workers)
    result = work()
    return result, time.monotonic() - began, cpu_seconds(workers) - cpu


def empty_tasks(client):
    """Clock and CPU time of client and scheduler for tasks of an archive that do nothing."""
    job = archives._Job("out", {}, "0123456789abcdef", 600.0)
    records = {job.key(str(number)): f"s3://bucket/folder/{number}.hea" for number in range(EMPTY_TASKS)}
    analyze_one, archives._analyze_one = archives._analyze_one, nothing
    began, cpu = time.monotonic(), time.process_time()
    for _ in archives._run(distributed, client, job, records, 1):
        pass
    archives._analyze_one = analyze_one
    return time.monotonic() - began, time.process_time() - cpu


def nothing(record, key, job):
    """In place of an analysis."""


def size_of(folder):
    return sum(path.stat().st_size for path in folder.rglob("*") if path.is_file())


def main():
    program, recordings, minutes, leads = sys.argv[1], *map(int, sys.argv[2:5])
    cores = len(os.sched_getaffinity(0))
    with tempfile.TemporaryDirectory() as name:
        folder, out = Path(name, "in"), Path(name, "out")
        folder.mkdir()
        size = make_recordings(folder, recordings, minutes, leads)
        began, before = time.monotonic(), os.times()
        subprocess.run([program, "batch", folder, "--out", Path(name, "batch"), "--quiet"], check=True)
        batch_s, after = time.monotonic() - began, os.times()
        batch_cpu = sum(after[2:4]) - sum(before[2:4])
        with (
            distributed.LocalCluster(n_workers=cores, threads_per_worker=1, dashboard_address=":0") as cluster,
            distributed.Client(cluster) as client,
        ):
            workers = list(client.run(os.getpid).values())
            empty_s, empty_cpu = empty_tasks(client)
            memory = PeakMemory(workers)
            memory.start()
            own_cpu = -time.process_time()
            done, archive_s, archive_cpu = timed(lambda: qzstress.archive(folder, out, client), workers)
            own_cpu += time.process_time()
            memory.ended.set()
            again, again_s, _ = timed(lambda: qzstress.archive(folder, out, client, progress=False), workers)
            scheduler_mb, worker_mb = peak_mb(os.getpid()), max(map(peak_mb, workers))
        if done.made != recordings or again.found != recordings:
            sys.exit(f"not all were made: {done}, {again}")
        load = os.getloadavg()[1]
        print(
            f"{recordings} recordings of {minutes} minutes, {leads} leads, 500 Hz, {size / 1e6:.1f} MB each; "
            f"{cores} cores, load of the machine {load:.0f}\n"
        )
        print("| | batch | archive |\n|---|---|---|")
        print(f"| recordings per second | {recordings / batch_s:.2f} | {recordings / archive_s:.2f} |")
        print(f"| CPU per recording, ms | {1e3 * batch_cpu / recordings:.0f} | {1e3 * archive_cpu / recordings:.0f} |")
        print(
            f"| results per recording, kB | {size_of(Path(name, 'batch')) / 1e3 / recordings:.0f} | "
            f"{size_of(out) / 1e3 / recordings:.0f} |"
        )
        print("\n| of the archive | |\n|---|---|")
        print(f"| CPU of client and scheduler per recording, ms | {1e3 * own_cpu / recordings:.1f} |")
        print(f"| task that does nothing, CPU of client and scheduler, ms | {1e3 * empty_cpu / EMPTY_TASKS:.1f} |")
        print(f"| tasks that do nothing, per second | {EMPTY_TASKS / empty_s:.0f} |")
        print(f"| begun again with nothing to do, s | {again_s:.2f} |")
        print(f"| memory of client with scheduler, MB | {scheduler_mb:.0f} |")
        print(f"| memory of a worker / of its analysis, MB | {worker_mb:.0f} / {memory.of_children:.0f} |")


if __name__ == "__main__":
    main()
