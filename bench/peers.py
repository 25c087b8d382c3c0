"""peers.py SIGNAL: what users would take in place of the stages, on the same signal: ten seconds of 12 leads at 500 Hz,
16-bit frames. Prints a Markdown table of the processor's time per sample and lead, least of some runs."""
import sys
import time

import numpy as np

FS, LEADS, RUNS = 500, 12, 5
signal = np.fromfile(sys.argv[1], dtype=np.int16).reshape(-1, LEADS).astype(np.float64)
beat = signal[700:840]  # as long as the window of the matcher
rows = []


def measure(what, late, samples, work):
    """A row of the table; work() handles so many samples. A library that fails is told, not left out."""
    try:
        work()
        least = min(timed(work) for _ in range(RUNS))
        rows.append((what, f"{least / samples:.1f}", late))
    except Exception as error:
        rows.append((what, f"failed: {type(error).__name__}", late))


def timed(work):
    start = time.process_time_ns()
    work()
    return time.process_time_ns() - start


def sosfilt(frames_per_call):
    from scipy import signal as dsp

    sections = dsp.butter(2, 40, fs=FS, output="sos")
    state = np.zeros((len(sections), 2, LEADS))

    def work():
        now = state
        for start in range(0, len(signal), frames_per_call):
            _, now = dsp.sosfilt(sections, signal[start : start + frames_per_call], axis=0, zi=now)

    return work


def each_lead(of_one):
    return lambda: [of_one(lead) for lead in range(LEADS)]


def correlate(lead):
    np.correlate(signal[:, lead], beat[:, lead], mode="valid")


def match_template(lead):
    import cv2

    line = signal[:, lead].astype(np.float32).reshape(1, -1)
    cv2.matchTemplate(line, beat[:, lead].astype(np.float32).reshape(1, -1), cv2.TM_CCOEFF_NORMED)


def soxr():
    import soxr

    soxr.resample(signal, FS, 2 * FS)


def samplerate():
    import samplerate

    samplerate.resample(signal.astype(np.float32), 2.0, "sinc_fastest")


def gqrs():
    from wfdb import processing

    processing.gqrs_detect(sig=signal[:, 1] / 1000, fs=FS, adc_gain=1000, adc_zero=0)


def xqrs():
    from wfdb import processing

    processing.xqrs_detect(sig=signal[:, 1] / 1000, fs=FS, verbose=False)


def sleepecg():
    import sleepecg

    sleepecg.detect_heartbeats(signal[:, 1], FS)


def neurokit():
    import neurokit2

    neurokit2.ecg_peaks(neurokit2.ecg_clean(signal[:, 1], sampling_rate=FS), sampling_rate=FS)


count = signal.size
measure("low-pass: SciPy sosfilt, all at once", "the whole signal", count, sosfilt(len(signal)))
measure("low-pass: SciPy sosfilt, frame by frame", "as the low-pass", count, sosfilt(1))
measure("correlation: NumPy correlate, not normalised", "the whole signal", count, each_lead(correlate))
measure("correlation: OpenCV matchTemplate, normalised", "the whole signal", count, each_lead(match_template))
measure("doubling: soxr", "the whole signal", count, soxr)
measure("doubling: libsamplerate, sinc_fastest", "the whole signal", count, samplerate)
for name, detector in (("wfdb gqrs", gqrs), ("wfdb xqrs", xqrs), ("sleepecg", sleepecg), ("NeuroKit2", neurokit)):
    measure(f"QRS, one lead: {name}", "the whole signal", len(signal), detector)

print("\n| in place of a stage | ns per sample and lead | answers after |\n|---|---|---|")
for row in rows:
    print("| " + " | ".join(row) + " |")
