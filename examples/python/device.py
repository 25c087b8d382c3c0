#!/usr/bin/env python3
"""A device for `qzstress monitor listen://127.0.0.1:5000`: two leads of a made-up heart, 500 samples a second.

Usage: device.py [HOST PORT]
"""
import json
import math
import socket
import struct
import sys
import time

FS, UV_PER_UNIT, BLOCK = 500, 2.5, 25  # samples a second; microvolts; frames sent at once, 50 ms


def heart_uv(seconds):
    """One beat a second: P, QRS and T as bells around R at 0.5 s."""
    t = seconds % 1 - 0.5
    bell = lambda centre, width, height: height * math.exp(-((t - centre) / width) ** 2)
    return bell(-0.16, 0.025, 120) + bell(-0.025, 0.01, -150) + bell(0, 0.01, 1200) + bell(0.03, 0.01, -250) + bell(0.25, 0.05, 300)


host, port = (sys.argv[1], int(sys.argv[2])) if len(sys.argv) > 2 else ("127.0.0.1", 5000)
with socket.create_connection((host, port)) as monitor:
    monitor.sendall(json.dumps({"fs": FS, "leads": ["II", "V5"], "uVpb": UV_PER_UNIT}).encode() + b"\n")
    start = time.monotonic()
    for block in range(10**9):
        times = [(block * BLOCK + i) / FS for i in range(BLOCK)]
        units = [round(heart_uv(t) / UV_PER_UNIT) for t in times]
        monitor.sendall(b"".join(struct.pack("<2h", unit, unit * 3 // 2) for unit in units))
        time.sleep(max(0, start + (block + 1) * BLOCK / FS - time.monotonic()))
