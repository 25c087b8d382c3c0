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

NOISE_RECORDS, NOISES = ["100", "116"], ["bw", "ma"]
LEVELS_DB = [24, 18, 12, 6, 0, -6]
FIRST_NOISE_S, NOISE_S = 300, 120  # noise begins after five minutes: two minutes with, two without


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


def print_database(name, scored):
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
    print_st_changes(scores)


def print_st_changes(scores):
    changes = [(record, change) for record, score in scores.items() for change in score["st_changes"]]
    if not changes:
        return
    print("| marked change of ST | at, s | marked, uV | measured, uV | error, uV |\n|---|---|---|---|---|")
    errors = []
    for record, change in changes:
        measured = change["measured_uv"]
        if measured is not None:
            errors.append(measured - change["marked_uv"])
        print(f"| {record} {change['lead']} | {change['time_s']:.0f} | {change['marked_uv']:.0f} | "
              + (f"{measured:.0f} | {errors[-1]:.0f} |" if measured is not None else "- | - |"))
    bias = mean(errors)
    spread = math.sqrt(sum((error - bias) ** 2 for error in errors) / max(len(errors) - 1, 1))
    print(f"\n{len(errors)} of {len(changes)} measured: error {bias:.0f} uV in the mean, SD {spread:.0f} uV, "
          f"{median(abs(error) for error in errors):.0f} uV in the median of the magnitudes.\n")


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
    """The two signals of a WFDB record in format 212, and its header's first line."""
    header = record.with_suffix(".hea").read_text().splitlines()
    packed = record.with_suffix(".dat").read_bytes()
    signed = lambda value: value - 4096 if value > 2047 else value
    low, middle, high = packed[0::3], packed[1::3], packed[2::3]
    return header, ([signed((m & 15) << 8 | l) for l, m in zip(low, middle)],
                    [signed((m >> 4) << 8 | h) for m, h in zip(middle, high)])


def trimmed_mean(values):
    """Without the twentieth part at either end."""
    values, rest = sorted(values), len(values) // 20
    return mean(values[rest:len(values) - rest])


def beat_samples(record):
    """Samples of the first beats of an annotation file without skips or gaps, which is enough here."""
    words = array.array("H", record.with_suffix(".atr").read_bytes())
    if sys.byteorder == "big":
        words.byteswap()
    samples, at, i = [], 0, 0
    while i < len(words) and words[i] and len(samples) < 300:
        code, number = words[i] >> 10, words[i] & 1023
        i += 1
        if code == 63:
            i += (number + 1) // 2
        elif code == 59:
            at += words[i] << 16 | words[i + 1]
            i += 2
        elif code < 50:
            at += number
            if code == 1:
                samples.append(at)
    return samples


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


def st_by_beat(program, record, folder):
    """ST of every lead at every folded beat, by the time in seconds."""
    out = Path(folder, record.name + ".csv")
    if run(program, "analyze", str(record), "--csv", str(out)):
        return {}
    with open(out, newline="") as file:
        return {float(row["time_s"]): [float(value) if value else None for key, value in row.items() if key.endswith("_st_uv")]
                for row in csv.DictReader(file)}


def noisy_run(program, clean, header, signals, noises, gains, noise_name, level, clean_st, folder):
    """Scores and ST errors of one record with noise at one level."""
    fs = int(header[0].split()[2].split("/")[0])
    noisy = [array.array("h", signal) for signal in signals]
    for lead, noise in enumerate(noises):
        gain = gains[lead] * 10 ** (-level / 20)
        for start in range(FIRST_NOISE_S * fs, len(noisy[lead]), 2 * NOISE_S * fs):
            for i in range(start, min(start + NOISE_S * fs, len(noisy[lead]))):
                noisy[lead][i] = max(-32768, min(32767, round(signals[lead][i] + gain * noise[i])))
    record = Path(folder, f"{clean.name}{noise_name}{level}")
    frames = array.array("h", bytes(4 * len(noisy[0])))
    frames[0::2], frames[1::2] = noisy
    if sys.byteorder == "big":
        frames.byteswap()
    record.with_suffix(".dat").write_bytes(frames.tobytes())
    lines = [f"{record.name} 2 {fs} {len(noisy[0])}"]
    for line in header[1:3]:
        fields = line.split()
        lines.append(f"{record.name}.dat 16 {fields[2]} 16 {fields[4]} 0 0 0 {fields[8]}")
    record.with_suffix(".hea").write_text("\n".join(lines) + "\n")

    out = record.with_suffix(".json")
    failure = run(program, "evaluate", str(record), "--ann", str(clean.with_suffix(".atr")), "--skip", "300",
                  "--json", str(out))
    score = {} if failure else json.loads(out.read_text())
    st = st_by_beat(program, record, folder)
    record.with_suffix(".dat").unlink()
    times, errors, at = sorted(clean_st), [], 0
    for second in sorted(st):
        while at + 1 < len(times) and abs(times[at + 1] - second) <= abs(times[at] - second):
            at += 1
        if is_noisy(second) and abs(times[at] - second) <= 0.15:
            errors += [abs(now - then) for now, then in zip(st[second], clean_st[times[at]]) if None not in (now, then)]
    return level, score, errors, sum(map(is_noisy, st)), sum(map(is_noisy, clean_st))


def print_noise(program, records, folder):
    by_name = {record.name: record for record in records}
    print("## Noise stress test\n")
    lacking = [name for name in NOISE_RECORDS + NOISES if name not in by_name]
    if lacking:
        print("Not run: there is no record " + ", ".join(lacking) + ".\n")
        return
    print(f"""Signal power is an eighth of the squared QRS height, noise power the squared rms in a second, each lead by itself. The noise
begins at minute 5 and is there for two minutes of four. Sensitivity, positive predictivity and heart rate are of all from
minute 5 on, records {" and ".join(NOISE_RECORDS)} together. The ST error is that against the same beats without noise, in the noisy
minutes, both leads; folded are the beats there, of those without noise.
""")
    jobs = defaultdict(list)
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        for name in NOISE_RECORDS:
            clean = by_name[name]
            header, signals = read_212(clean)
            fs = int(header[0].split()[2].split("/")[0])
            beats = beat_samples(clean)
            clean_st = st_by_beat(program, clean, folder)
            for noise_name in NOISES:
                noises = read_212(by_name[noise_name])[1]
                gains = [math.sqrt(signal_power(signal, beats, fs) / noise_power(noise, fs))
                         for signal, noise in zip(signals, noises)]
                for level in LEVELS_DB:
                    jobs[noise_name, level].append(pool.submit(noisy_run, program, clean, header, signals, noises, gains,
                                                               noise_name, level, clean_st, folder))
    print("| noise | dB | sensitivity, % | positive predictivity, % | right heart rate, % | false ventricular | folded, % "
          "| ST error median, uV | 95 % of it below, uV |\n|---|---|---|---|---|---|---|---|---|")
    for (noise_name, level), runs in jobs.items():
        results = [job.result() for job in runs]
        scores = [score for _, score, _, _, _ in results if score]
        count = lambda key, what: sum(score[key][what] for score in scores)
        percent = lambda part, rest: f"{100 * part / (part + rest):.2f}" if part + rest else "-"
        errors = sorted(error for _, _, found, _, _ in results for error in found)
        folded, clean_folded = (sum(result[i] for result in results) for i in (3, 4))
        right = count("beats", "right")
        shown = count("heart_rate_shown", "right_s")
        print(f"| {noise_name} | {level} | {percent(right, count('beats', 'missed'))} | {percent(right, count('beats', 'extra'))} "
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
            print_database(name, evaluate_all(program, chosen, work))
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
