#!/usr/bin/env python3
"""Ten minutes of a simulated exercise test through a session, with nothing but ctypes: raw frames in, heart rates and
ST values of every lead out. See ../README.md for the signal and for what is printed. Argument: the shared library,
where the loader does not find it by itself."""
import sys
from ctypes import (CDLL, POINTER, Structure, byref, c_bool, c_double, c_float, c_int16, c_int32, c_size_t, c_void_p,
                    sizeof)

from simulated import FS, LEADS, LINES_EVERY, UV_PER_BIT, frames


class Options(Structure):  # the structs and functions of api/qzSessionC.h
    _fields_ = [("size", c_size_t), ("fs", c_int16), ("leads", c_int16), ("uv_per_unit", c_double),
                ("mains_hz", c_int16), ("lowpass_hz", c_int16), ("smooth", c_int16), ("postJms", c_int16),
                ("beat", c_void_p), ("beat_rows", c_void_p), ("beat_count", c_size_t),
                ("conditioned", c_bool), ("st_rate_limit", c_double), ("paced", c_bool), ("comb", c_bool)]


class Event(Structure):
    _fields_ = [("kind", c_int32), ("lead", c_int32), ("seconds", c_double), ("bpm", c_double),
                ("void_from_seconds", c_double), ("again", c_bool), ("rr_ms", c_double),
                ("beat_class", c_int32), ("shape", c_int32), ("voted_bpm", c_double), ("q_ms", c_double),
                ("j_ms", c_double)]


INTERVAL, BEAT = 1, 2
lib = CDLL(sys.argv[1] if len(sys.argv) > 1 else "libqzStressTemplLib.so.1")
lib.qzs_create.restype, lib.qzs_push.restype = c_void_p, c_size_t
lib.qzs_options_init.argtypes = [POINTER(Options), c_size_t]
lib.qzs_push.argtypes = [c_void_p, c_void_p, c_size_t]
lib.qzs_next_event.restype, lib.qzs_next_event.argtypes = c_bool, [c_void_p, POINTER(Event), c_size_t]
lib.qzs_event_values.argtypes = [c_void_p] * 4 + [c_size_t]
lib.qzs_finish.argtypes = lib.qzs_free.argtypes = [c_void_p]

options, event = Options(), Event()
lib.qzs_options_init(options, sizeof(options))
options.fs, options.leads, options.uv_per_unit = FS, LEADS, UV_PER_BIT
session = lib.qzs_create(byref(options))
if not session:
    sys.exit("the options are refused")
level, slope = (c_float * LEADS)(), (c_float * LEADS)()
beats, latest_bpm = 0, 0.0  # the rate of the intervals that are shown as one


def take_events():
    global beats, latest_bpm
    while lib.qzs_next_event(session, event, sizeof(event)):
        if event.kind == INTERVAL and event.bpm > 0:
            latest_bpm = event.bpm
        beats += event.kind == BEAT
        if event.kind == BEAT and beats % LINES_EVERY == 0:
            lib.qzs_event_values(session, level, slope, None, LEADS)
            print("%.0f" % (event.seconds * FS), *("%.9g" % v for v in (event.bpm, latest_bpm, *level, *slope)))


for samples in frames():
    lib.qzs_push(session, (c_int16 * LEADS)(*samples), 1)
    take_events()
lib.qzs_finish(session)
take_events()
lib.qzs_free(session)
