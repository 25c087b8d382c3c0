#!/usr/bin/env python3
"""Ten minutes of a simulated exercise test through the C interface, with nothing but ctypes: filter chain, both
heart rates, an averaged beat per lead, ST level and ST slope. See ../README.md for the signal and for what is
printed. Argument: the shared library, where the loader does not find it by itself."""
import sys
from ctypes import CDLL, c_bool, c_double, c_float, c_int16, c_size_t, c_void_p

from simulated import *

# The door: what the functions take and return, as in api/qzStressTemplLibC.h.
lib = CDLL(sys.argv[1] if len(sys.argv) > 1 else "libqzStressTemplLib.so.1")
short, frame_and_count = c_int16, [c_void_p, c_size_t]
for name, result, arguments in (
    ("filters_create", c_bool, [short] * 5), ("filters_filters", c_bool, frame_and_count),
    ("stress_create", c_bool, [short, short, c_double]), ("multi_init", c_bool, [short] * 3 + [c_double]),
    ("stress_init_templ", c_bool, [c_void_p, c_size_t, c_size_t, short, short, short, c_void_p]),
    ("stress_match", c_bool, frame_and_count), ("multi_mean_hr", short, frame_and_count),
    ("stress_mean_rr_ms", short, [short] * 3), ("heart_rate_of_three_leads", short, [short]),
    ("stress_st_level", c_bool, frame_and_count), ("stress_st_slope", c_bool, frame_and_count),
    ("stress_destroy", None, []), ("filters_destroy", None, []),
):
    function = getattr(lib, "qzc_" + name)
    function.restype, function.argtypes = result, arguments

lib.qzc_filters_create(FS, LEADS, 40, MAINS_HZ, 1)  # low-pass Hz, mains Hz, smoothing
lib.qzc_stress_create(FS, LEADS, UV_PER_BIT)
lib.qzc_multi_init(FS, LEADS, MAINS_HZ, UV_PER_BIT)
beat = (short * (LEADS * BEAT_LENGTH))(*(gain * wave(t, 0) for gain in GAINS for t in range(BEAT_LENGTH)))
lib.qzc_stress_init_templ(beat, LEADS, BEAT_LENGTH, POS_Q, POS_J, POST_J_MS, None)

beats = 0
heart_rate = heart_rate_of_three = 0  # beats/min
level, slope = (short * LEADS)(), (c_float * LEADS)()
for i, samples in enumerate(frames()):
    frame = (short * LEADS)(*samples)
    lib.qzc_filters_filters(frame, LEADS)
    hr = lib.qzc_multi_mean_hr(frame, LEADS)
    if hr > 0:
        heart_rate = hr
    rr_ms = lib.qzc_stress_mean_rr_ms(*frame[:3])
    if rr_ms > 0:
        heart_rate_of_three = lib.qzc_heart_rate_of_three_leads(rr_ms)
    if not lib.qzc_stress_match(frame, LEADS):
        continue

    lib.qzc_stress_st_level(level, LEADS)
    lib.qzc_stress_st_slope(slope, LEADS)
    beats += 1
    if beats % LINES_EVERY == 0:
        print(i, heart_rate, heart_rate_of_three, *level, *("%.9g" % value for value in slope))
lib.qzc_stress_destroy()
lib.qzc_filters_destroy()
