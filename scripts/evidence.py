# Runs qzstress over annotated records and prints what it scores as Markdown: see scripts/evidence.
import array
import csv
import json
import math
import os
import subprocess
import sys
import tempfile
from collections import defaultdict
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from statistics import mean, median

LUDB_LEADS = ["i", "ii", "iii", "avr", "avl", "avf", "v1", "v2", "v3", "v4", "v5", "v6"]
WORST = 5
MARKED_UV, NEAR_RAW_UV = 100, 40  # a change that is farther off its mark is looked into; one so near the raw signal is right

NOISE_RECORDS, NOISES = ["100", "116"], ["bw", "ma"]
LEVELS_DB = [24, 18, 12, 6, 0, -6]
NOISE_TEST_S, FIRST_NOISE_S, NOISE_S = 900, 300, 120  # noise begins after five minutes: two minutes with, two without
MIXED_LEADS = 12


def run(program, *arguments):
    """The last line of stderr if the program fails, otherwise nothing."""
    done = subprocess.run([program, *arguments, "--quiet"], capture_output=True, text=True)
    return done.stderr.strip().splitlines()[-1] if done.returncode != 0 else ""


def references(record):
    """The options that name the annotations of a record; empty without any."""
    beats, marks = record.with_suffix(".atr"), record.with_suffix(".q1c")
    leads = [record.with_suffix("." + lead) for lead in LUDB_LEADS]
    options = ["--ann", str(beats)] if beats.exists() else []
    if marks.exists():
        options += ["--fiducials", str(marks)]
    elif leads[0].exists():
        options += ["--fiducials", ",".join(str(lead) for lead in leads if lead.exists())]
    return options


def evaluate_all(program, records, folder):
    """Scores by record, and messages of the records that failed."""
    def one(record):
        out = Path(folder, record.parent.name + "-" + record.name + ".json")
        failure = run(program, "evaluate", str(record), *references(record), "--json", str(out))
        return record, failure or json.loads(out.read_text())
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        return list(pool.map(one, records))


class Row:
    """One figure of a table: its value over all, its mean over the records, and the records where it is worst."""

    def __init__(self, name, gross, by_record, unit="%", is_bad_low=True):
        known = [(value, record) for record, value in by_record.items() if value is not None]
        faulty = [pair for pair in known if pair[0] != (100 if is_bad_low else 0)]
        show = lambda value: f"{value:.{2 if unit == '%' else 1}f}"
        badness = lambda pair: pair[0] if is_bad_low else -abs(pair[0])
        worst = ", ".join(f"{record} {show(value)}" for value, record in sorted(faulty, key=badness)[:WORST])
        average = show(mean(value for value, _ in known)) if known else "-"
        self.text = f"| {name}, {unit} | {gross} | {average} | {worst} |"


def share_row(name, parts):
    """`parts` tells of each record how many are right, and of how many."""
    right, of = (sum(part[i] for part in parts.values()) for i in (0, 1))
    gross = f"{100 * right / of:.2f} ({right} of {of})" if of else "-"
    return Row(name, gross, {record: 100 * r / n if n else None for record, (r, n) in parts.items()})


def offset_row(name, sizes):
    """Mean and SD over all beats, from those of each record; the average is that of the records' means."""
    sizes = {record: size for record, size in sizes.items() if size["beats"]}
    beats = sum(size["beats"] for size in sizes.values())
    if not beats:
        return None
    bias = sum(size["beats"] * size["mean_ms"] for size in sizes.values()) / beats
    squares = sum((size["beats"] - 1) * (size["sd_ms"] or 0) ** 2 + size["beats"] * (size["mean_ms"] - bias) ** 2
                  for size in sizes.values())
    within = mean(size["sd_ms"] for size in sizes.values() if size["sd_ms"] is not None)
    gross = f"{bias:.1f}, SD {math.sqrt(squares / max(beats - 1, 1)):.1f} ({beats} beats; SD within a record {within:.1f})"
    return Row(name, gross, {record: size["mean_ms"] for record, size in sizes.items()}, "ms", False)


def print_database(name, scored, program, folder):
    failures = {record.name: score for record, score in scored if isinstance(score, str)}
    scores = {record.name: score for record, score in scored if not isinstance(score, str)}
    print(f"## {name}: {len(scored)} records\n")
    for record, message in failures.items():
        print(f"- **{record} failed**: {message.removeprefix('qzstress: ')}")
    if failures:
        print()
    if not scores:
        return
    def hits(path):
        chosen = {record: path(score) for record, score in scores.items() if path(score)}
        return ({record: (hit["right"], hit["right"] + hit["missed"]) for record, hit in chosen.items()},
                {record: (hit["right"], hit["right"] + hit["extra"]) for record, hit in chosen.items()})
    rows = []
    for what, path in (("beats", lambda score: score["beats"]),
                       ("ventricular", lambda score: score["classes"] and score["classes"]["ventricular"]),
                       ("supraventricular", lambda score: score["classes"] and score["classes"]["supraventricular"])):
        found, right = hits(path)
        if found:
            rows += [share_row(f"{what}: sensitivity", found), share_row(f"{what}: positive predictivity", right)]
    rate = {record: score["heart_rate_shown"] for record, score in scores.items()}
    seconds = {record: shown["right_s"] + shown["wrong_s"] + shown["none_s"] for record, shown in rate.items()}
    rows.append(share_row("seconds with the right heart rate",
                          {record: (shown["right_s"], seconds[record]) for record, shown in rate.items()}))
    rows.append(Row("seconds without a heart rate", sum(shown["none_s"] for shown in rate.values()),
                    {record: shown["none_s"] for record, shown in rate.items()}, "s", False))
    normal = {record: score["normal_beats"] for record, score in scores.items()}
    rows.append(share_row("normal beats folded",
                          {record: (beats["folded"], beats["reference"]) for record, beats in normal.items()}))
    holes = {record: beats["longest_hole_s"] or 0 for record, beats in normal.items()}
    rows.append(Row("longest hole without ST", f"{max(holes.values()):.1f}", holes, "s", False))
    for what, key in (("QRS onset less hand mark", "qrs_onset"), ("J less hand mark", "j")):
        rows.append(offset_row(what, {record: score["hand_marks"][key] for record, score in scores.items()}))
    raw = {record: score["st_against_raw"] for record, score in scores.items() if score["st_against_raw"]}
    if raw:
        for uv in (15, 40):
            rows.append(share_row(f"half minutes with ST within {uv} uV of the raw signal",
                                  {record: (st[f"within_{uv}_uv"], st["half_minutes"]) for record, st in raw.items()}))
        for what, key in (("median", "difference_median_uv"), ("95 % of it below", "difference_95_percent_uv")):
            by_record = {record: st[key] for record, st in raw.items()}
            rows.append(Row(f"ST less that of the raw signal, {what}", f"{median(by_record.values()):.1f} in the middle record",
                            by_record, "uV", False))
    print("| figure | gross | average of the records | the five worst |\n|---|---|---|---|")
    print("\n".join(row.text for row in rows if row) + "\n")
    figures = lambda score: [part for part in (score["beats"]["sensitivity"], score["beats"]["positive_predictivity"])
                             if part is not None]
    for fault, is_faulty in (
            ("beats found or right below 95 %", lambda score: min(figures(score), default=0) < 0.95),
            ("wrong heart rate in more than 10 % of the time",
             lambda score: 9 * score["heart_rate_shown"]["wrong_s"]
             > score["heart_rate_shown"]["right_s"] + score["heart_rate_shown"]["none_s"]),
            ("less than 80 % of the normal beats folded", lambda score: (score["normal_beats"]["folded_part"] or 0) < 0.8),
            ("more than 30 s without ST", lambda score: (score["normal_beats"]["longest_hole_s"] or 0) > 30)):
        faulty = [record for record, score in scores.items() if is_faulty(score)]
        print(f"- {fault}: " + (", ".join(faulty) or "none"))
    print()
    print_causes(program, scored, folder)
    print_st_changes(scores)


def print_causes(program, scored, folder):
    """What the program itself says of holes of more than 15 s, and where it folds less than 85 % of the normal beats."""
    print("Holes of more than 15 s, records of which less than 85 % of the normal beats are folded, and what the program says of "
          "them:\n")
    any_told = False
    for record, score in scored:
        normal = {} if isinstance(score, str) else score["normal_beats"]
        if not normal.get("reference"):
            continue
        seconds, begin = normal["longest_hole_s"] or 0, normal["longest_hole_from_s"] or 0
        if seconds <= 15 and normal["folded_part"] >= 0.85:
            continue
        out = Path(folder, "cause.json")
        failure = run(program, "analyze", str(record), "--json", str(out), "--force")
        answer = None if failure else json.loads(out.read_text())
        whys = [] if failure else sorted({hole["why"] for lead in answer["leads"] for hole in lead["not_measured"]
                                          if hole["from_s"] < begin + seconds and hole["to_s"] > begin})
        told = [failure] if failure else whys or answer["warnings"]
        print(f"- {record.name}: {normal['folded']} of {normal['reference']} folded, {seconds:.0f} s without ST from {begin:.0f} s "
              f"on; {'; '.join(told) or 'nothing'}")
        any_told = True
    print("" if any_told else "- none\n")


def print_st_changes(scores):
    changes = [(record, change) for record, score in scores.items() for change in score["st_changes"]]
    if not changes:
        return
    print("| marked change of ST | at, s | marked, uV | measured, uV | error, uV | on the raw signal, uV |\n|---|---|---|---|---|---|")
    errors, otherwise = [], []
    number = lambda value: "-" if value is None else f"{value:.0f}"
    for record, change in changes:
        measured, raw = change["measured_uv"], change["raw_uv"]
        error = None if measured is None else measured - change["marked_uv"]
        if error is not None:
            errors.append(error)
        what = f"{record} {change['lead']} at {change['time_s']:.0f} s"
        if error is not None and abs(error) > MARKED_UV:
            otherwise.append(f"- {what}: " + (
                f"the raw signal changes by {raw:.0f} uV at the same point against the same level: the mark has another point or "
                "reference" if raw is not None and abs(measured - raw) <= NEAR_RAW_UV else
                f"the raw signal changes by {number(raw)} uV: what was measured is wrong, or has not come up with it"))
        elif error is None:
            otherwise.append(f"- {what}: " + (
                "not measured" if raw is not None else
                "the marks tell of no moment outside an episode, so that there is no level to count from"))
        print(f"| {record} {change['lead']} | {change['time_s']:.0f} | {change['marked_uv']:.0f} | {number(measured)} | {number(error)} "
              f"| {number(raw)} |")
    bias = mean(errors)
    spread = math.sqrt(sum((error - bias) ** 2 for error in errors) / max(len(errors) - 1, 1))
    print(f"\n{len(errors)} of {len(changes)} measured: error {bias:.0f} uV in the mean, SD {spread:.0f} uV, "
          f"{median(abs(error) for error in errors):.0f} uV in the median of the magnitudes.\n")
    if otherwise:
        print(f"Those more than {MARKED_UV} uV off, and those not measured:\n\n" + "\n".join(otherwise) + "\n")


def print_unmarked(program, records, folder):
    """What can be seen without marks: that there is an answer, and that it is believable."""
    def one(record):
        out = Path(folder, record.parent.name + "-" + record.name + ".json")
        failure = run(program, "analyze", str(record), "--json", str(out))
        return record.name, failure or json.loads(out.read_text())
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        answers = list(pool.map(one, records))
    print(f"## Without marks: {len(records)} records\n")
    for name, answer in answers:
        if isinstance(answer, str):
            print(f"- **{name} failed**: {answer.removeprefix('qzstress: ')}")
    known = {name: answer for name, answer in answers if not isinstance(answer, str)}
    rates = {name: [rate["heart_rate_per_min"] for rate in answer["heart_rate"]] for name, answer in known.items()}
    medians = {name: median(shown) for name, shown in rates.items() if shown}
    for what, names in (
            ("no heart rate", [name for name, shown in rates.items() if not shown]),
            ("median heart rate below 40 or above 150", [f"{name} {rate:.0f}" for name, rate in medians.items()
                                                         if not 40 <= rate <= 150]),
            ("beats folded for less than half of the intervals", [name for name, answer in known.items()
                                                                  if 2 * answer["beats_folded"] < answer["beats_found"]]),
            ("averaged beat not sure", [name for name, answer in known.items()
                                        if not answer["averaged_beat"]["confident"]])):
        print(f"- {what}: " + (", ".join(names) or "none"))
    print()


def read_212(record):
    """Sampling rate and signals of a WFDB record in format 212 with two signals, in units above its baselines."""
    header = record.with_suffix(".hea").read_text().splitlines()
    zeros = [int(line.split()[4]) for line in header[1:3]]
    packed = record.with_suffix(".dat").read_bytes()
    signed = lambda value: value - 4096 if value > 2047 else value
    low, middle, high = packed[0::3], packed[1::3], packed[2::3]
    return (int(header[0].split()[2].split("/")[0]),
            [[signed((m & 15) << 8 | l) - zeros[0] for l, m in zip(low, middle)],
             [signed((m >> 4) << 8 | h) - zeros[1] for m, h in zip(middle, high)]])


def read_beats(record, end):
    """Samples of the normal beats before `end`, and the bytes of an annotation file that ends there."""
    words = array.array("H", record.with_suffix(".atr").read_bytes())
    if sys.byteorder == "big":
        words.byteswap()
    samples, at, i = [], 0, 0
    while words[i]:
        code, number = words[i] >> 10, words[i] & 1023
        length = 1 + (number + 1) // 2 if code == 63 else 3 if code == 59 else 1
        if code == 59:
            at += words[i + 1] << 16 | words[i + 2]
        elif code < 50:
            at += number
            if at >= end:
                break
            if code == 1:
                samples.append(at)
        i += length
    return samples, record.with_suffix(".atr").read_bytes()[:2 * i] + bytes(2)


def trimmed_mean(values):
    """Without the twentieth part at either end."""
    values, rest = sorted(values), len(values) // 20
    return mean(values[rest:len(values) - rest])


def signal_power(signal, beats, fs):
    """An eighth of the squared peak-to-peak height of the QRS, as of a sine of that height."""
    reach = fs // 20
    heights = [max(around) - min(around) for around in (signal[max(beat - reach, 0):beat + reach + 1] for beat in beats)]
    return trimmed_mean(heights) ** 2 / 8


def noise_power(noise, fs):
    """The square of the rms in a second, over the first five minutes."""
    def rms(second):
        middle = mean(second)
        return math.sqrt(mean((value - middle) ** 2 for value in second))
    return trimmed_mean([rms(noise[start:start + fs]) for start in range(0, 300 * fs, fs)]) ** 2


def is_noisy(second):
    return second >= FIRST_NOISE_S and (second - FIRST_NOISE_S) // NOISE_S % 2 == 0


def mix_leads(signals, noises, fs):
    """Twelve leads as sums of the two signals in changing parts, and for each noise of its own: five minutes later in
    the recording than that of the lead before on the same channel."""
    leads, own = [], []
    for lead in range(MIXED_LEADS):
        a, b = math.cos(math.pi * lead / MIXED_LEADS), math.sin(math.pi * lead / MIXED_LEADS)
        leads.append([round(a * first + b * second) for first, second in zip(*signals)])
        noise, shift = noises[lead % 2], lead // 2 * 300 * fs
        own.append(noise[shift:] + noise[:shift])
    return leads, own


class NoiseTest:
    """A clean record, and how it is answered as it is and with noise."""

    def __init__(self, program, name, fs, signals, noises, beats, annotations, folder):
        self.program, self.name, self.fs, self.folder = program, name, fs, folder
        self.signals, self.noises, self.annotations = signals, noises, annotations
        self.gains = [math.sqrt(signal_power(signal, beats, fs) / noise_power(noise, fs))
                      for signal, noise in zip(signals, noises)]
        self.clean_st = self.answer(self.write("clean", signals))[1]

    def write(self, kind, signals):
        record = Path(self.folder, f"{self.name}{kind}")
        frames = array.array("h", bytes(2 * len(signals) * len(signals[0])))
        for lead, signal in enumerate(signals):
            frames[lead::len(signals)] = array.array("h", signal)
        if sys.byteorder == "big":
            frames.byteswap()
        record.with_suffix(".dat").write_bytes(frames.tobytes())
        record.with_suffix(".atr").write_bytes(self.annotations)
        record.with_suffix(".hea").write_text("\n".join(
            [f"{record.name} {len(signals)} {self.fs} {len(signals[0])}"]
            + [f"{record.name}.dat 16 200 16 0 0 0 0 L{lead + 1}" for lead in range(len(signals))]) + "\n")
        return record

    def answer(self, record):
        """Scores, and ST of every lead at every folded beat by the time in seconds; the record is removed."""
        scores, trends = record.with_suffix(".json"), record.with_suffix(".csv")
        failure = run(self.program, "evaluate", str(record), "--ann", f"{record}.atr", "--skip", str(FIRST_NOISE_S), "--json",
                      str(scores))
        score = {} if failure else json.loads(scores.read_text())
        st = {}
        if not run(self.program, "analyze", str(record), "--csv", str(trends)):
            with open(trends, newline="") as file:
                for row in csv.DictReader(file):
                    st[float(row["time_s"])] = [float(value) if value else None for key, value in row.items()
                                                if key.endswith("_st_uv")]
        record.with_suffix(".dat").unlink()
        return score, st

    def run(self, level):
        """Scores, ST errors in the noisy minutes, and the beats folded there with and without noise."""
        noisy = [list(signal) for signal in self.signals]
        for signal, noise, gain in zip(noisy, self.noises, self.gains):
            gain *= 10 ** (-level / 20)
            for start in range(FIRST_NOISE_S * self.fs, len(signal), 2 * NOISE_S * self.fs):
                for i in range(start, min(start + NOISE_S * self.fs, len(signal))):
                    signal[i] = max(-32768, min(32767, round(signal[i] + gain * noise[i])))
        score, st = self.answer(self.write(f"at{level}", noisy))
        times, errors, at = sorted(self.clean_st), [], 0
        for second in sorted(st):
            while at + 1 < len(times) and abs(times[at + 1] - second) <= abs(times[at] - second):
                at += 1
            if is_noisy(second) and abs(times[at] - second) <= 0.15:
                errors += [abs(now - then) for now, then in zip(st[second], self.clean_st[times[at]])
                           if None not in (now, then)]
        return score, errors, sum(map(is_noisy, st)), sum(map(is_noisy, self.clean_st))


def print_noise(program, records, folder):
    by_name = {record.name: record for record in records}
    print("## Noise stress test\n")
    lacking = [name for name in NOISE_RECORDS + NOISES if name not in by_name]
    if lacking:
        print("Not run: there is no record " + ", ".join(lacking) + ".\n")
        return
    print(f"""The first {NOISE_TEST_S // 60} minutes of the records {" and ".join(NOISE_RECORDS)} together, with noise of the records {" and ".join(NOISES)} (wander and muscle
noise) for two minutes of four, from minute 5 on; {MIXED_LEADS} leads are sums of a record's two in changing parts, each with
noise from another place of the recording. Signal power is an eighth of the squared QRS height, noise power the squared rms
in a second, lead by lead. Sensitivity, positive predictivity and heart rate are of all from minute 5 on. The ST error is
that against the same beats without noise, in the noisy minutes; folded are the beats there, of those without noise.
""")
    noises = {noise: read_212(by_name[noise])[1] for noise in NOISES}
    tests = defaultdict(list)
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        for name in NOISE_RECORDS:
            rate, signals = read_212(by_name[name])
            signals = [signal[:NOISE_TEST_S * rate] for signal in signals]
            beats, annotations = read_beats(by_name[name], NOISE_TEST_S * rate)
            for noise in NOISES:
                tests[noise, 2].append(pool.submit(NoiseTest, program, f"{name}{noise}2", rate, signals, noises[noise], beats,
                                                   annotations, folder))
            leads, own = mix_leads(signals, noises["ma"], rate)
            tests["ma", MIXED_LEADS].append(pool.submit(NoiseTest, program, f"{name}ma{MIXED_LEADS}", rate, leads, own, beats,
                                                        annotations, folder))
        runs = {(noise, leads, level): [pool.submit(test.result().run, level) for test in of_kind]
                for (noise, leads), of_kind in tests.items() for level in LEVELS_DB}
    print("| noise | leads | dB | sensitivity, % | positive predictivity, % | right heart rate, % | false ventricular | folded, % "
          "| ST error median, uV | 95 % of it below, uV |\n|---|---|---|---|---|---|---|---|---|---|")
    for (noise, leads, level), of_level in runs.items():
        results = [one.result() for one in of_level]
        scores = [score for score, _, _, _ in results if score]
        count = lambda key, what: sum(score[key][what] for score in scores)
        percent = lambda part, rest: f"{100 * part / (part + rest):.2f}" if part + rest else "-"
        errors = sorted(error for _, found, _, _ in results for error in found)
        folded, clean_folded = (sum(result[i] for result in results) for i in (2, 3))
        right, shown = count("beats", "right"), count("heart_rate_shown", "right_s")
        print(f"| {noise} | {leads} | {level} | {percent(right, count('beats', 'missed'))} | {percent(right, count('beats', 'extra'))} "
              f"| {percent(shown, count('heart_rate_shown', 'wrong_s') + count('heart_rate_shown', 'none_s'))} "
              f"| {sum(score['classes']['ventricular']['extra'] for score in scores)} "
              f"| {percent(folded, clean_folded - folded)} "
              + (f"| {median(errors):.0f} | {errors[len(errors) * 19 // 20]:.0f} |" if errors else "| - | - |"))
    print()


def main():
    program, folder = sys.argv[1], Path(sys.argv[2])
    with_noise = "--noise" in sys.argv
    records = sorted(header.with_suffix("") for header in folder.rglob("*.hea"))
    databases, unmarked = defaultdict(list), []
    for record in records:
        if references(record):
            databases[record.parent.name].append(record)
        elif record.name not in NOISES:
            unmarked.append(record)
    version = subprocess.run([program, "--version"], capture_output=True, text=True).stdout.strip()
    print(f"""# Evidence

How {version} answers on recordings of patients, against what people have marked on them. This file is written by

```
scripts/evidence FOLDER{' --noise' if with_noise else ''}
```

where FOLDER holds a folder for each database of annotated WFDB records, as PhysioNet distributes them. The figures are
those of `qzstress evaluate`; [qzstress.md](qzstress.md) says how each is counted. Whole records count, the first five
minutes as well. Gross is the figure over all beats or seconds of a database, the average that of its records' figures.
""")
    with tempfile.TemporaryDirectory() as work:
        for name, chosen in databases.items():
            print_database(name, evaluate_all(program, chosen, work), program, work)
        if unmarked:
            print_unmarked(program, unmarked, work)
        if with_noise:
            print_noise(program, records, work)
    print("""## What these figures cannot tell

- They are of the records that are in FOLDER. That is a part of each database, and EC57 asks for databases that are not among
  them: nothing here is a claim of conformity.
- Hand marks are those of one person or team each. Experts differ with an SD of 6.5 ms at the onset of the QRS and 11.6 ms at
  its end (CSE Working Party), and marks over twelve leads lie farther out than those over two.
- The marks of 10 s recordings (ludb) tell no classes: premature beats count as beats to fold, and the averaged beat is learned
  from the same 10 s. The seconds before the first heart rate are a tenth of all there.
- Marked ST changes are in steps of 50 uV, 80 ms behind J (60 ms above 120 beats/min), from a reference level in the first half minute of the recording; of
  an excerpt the level outside its episodes has to do.
- The trend follows ST some ten seconds late: short changes come out smaller than they are.
- A missed beat, a hole and a wrong heart rate often have one cause; the tables count it three times.
""")


main()
