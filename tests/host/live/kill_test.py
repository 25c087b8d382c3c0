"""Kills a running test at random moments and lets it go on: nothing that was kept is lost, nothing shifts in time.

Usage: kill_test.py QZSTRESS [KILLS [SEED]]
"""
import array
import json
import os
import random
import signal
import subprocess
import sys
import tempfile
import time

program = sys.argv[1]
kills = int(sys.argv[2]) if len(sys.argv) > 2 else 4
seed = int(sys.argv[3]) if len(sys.argv) > 3 else random.randrange(1 << 30)
print(f"seed {seed}")
chance = random.Random(seed)
MISSING, LEADS, SPEED = -32768, 3, 20

work = tempfile.TemporaryDirectory()
record, folder = os.path.join(work.name, "patient"), os.path.join(work.name, "kept")
seconds = 200 * (kills + 1)  # far more than is played
subprocess.run([program, "simulate", record, "--seconds", str(seconds), "--leads", "I,II,V5", "--fs", "250"], check=True)

with open(record + ".hea", "a") as file:
    file.write("# age: 61 sex: F\n# pacemaker\n")


def samples(path):
    found = array.array("h")
    with open(path, "rb") as file:
        data = file.read()
    found.frombytes(data[:len(data) // (2 * LEADS) * (2 * LEADS)])
    return found


def kept():
    try:
        return samples(folder + "/test.dat")
    except FileNotFoundError:
        return array.array("h")


def start(resumes):
    words = [program, "monitor", record, "--speed", str(SPEED), "--out", folder, "--no-page"] + ["--resume"] * resumes
    return subprocess.Popen(words, stdout=subprocess.DEVNULL)


truth, before, died = samples(record + ".dat"), array.array("h"), 0  # died: how often since it had gone on
for kill in range(kills):
    process = start(kill > 0)
    # A test that goes on takes what was kept first; now and then it is killed even then.
    waits = chance.random() < 0.8
    while waits and len(kept()) <= len(before):
        time.sleep(0.05)
    time.sleep(chance.random())
    process.send_signal(signal.SIGKILL)
    assert process.wait() == -signal.SIGKILL, "it had ended by itself"
    now = kept()
    assert now[:len(before)] == before, "what was kept has changed"
    assert not waits or len(now) > len(before)
    died += len(now) > len(before)
    before = now
    if len(now) > LEADS * 250 * 30:
        analysis = subprocess.run([program, "analyze", folder, "--quiet"], stderr=subprocess.PIPE, text=True)
        assert analysis.returncode == 0, (analysis.returncode, analysis.stderr)
process = start(True)
while len(kept()) < len(before) + LEADS * 250 * 60:
    time.sleep(0.05)
process.send_signal(signal.SIGTERM)
assert process.wait() == 0
now = kept()
wrong = sum(a != b and a != MISSING for a, b in zip(now, truth))
assert wrong == 0, f"{wrong} samples are not those of the patient at their time"
with open(folder + "/journal.jsonl") as file:
    lines = [json.loads(line) for line in file]
gaps = [line["value"] for line in lines if line.get("event") == "gap"]
missing = sum(sample == MISSING for sample in now) / LEADS / 250
assert len(gaps) == died and abs(sum(gaps) - missing) < 0.01, f"{gaps} are told, {missing} s missing"
with open(folder + "/results/result.json") as file:
    result = json.load(file)
assert len(result["st"]) > 30
assert result["patient"]["age_years"] == 61 and "pacemaker" in result["record"]["remarks"], "what the recording tells is lost"
print(f"{kills} kills, {missing:.1f} s of {len(now) / LEADS / 250:.1f} s missing, in {len(gaps)} gaps")
