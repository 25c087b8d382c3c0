"""``python -m qzstress.lsl SOURCE``: a stream of the Lab Streaming Layer as a device of the monitor.

It is sent as the monitor takes signals from devices: one line of JSON, then frames of 16-bit samples. The
stream is looked for until it is there, and again whenever it is lost; the monitor marks the time between as
a gap.
"""

from __future__ import annotations

import argparse
import json
import socket
import sys
import time
from collections.abc import Iterator, Sequence
from typing import Any

import numpy as np

_UV = {"uv": 1.0, "mv": 1e3, "v": 1e6}
_UNITS = {
    **_UV,
    "µv": 1.0,
    "μv": 1.0,  # the Greek letter
    "microvolt": 1.0,
    "microvolts": 1.0,
    "millivolt": 1e3,
    "millivolts": 1e3,
    "volt": 1e6,
    "volts": 1e6,
}
_MISSING = -32768  # a sample that there is none of, as the monitor marks it
_LOOK_S, _PULL_S, _RETRY_S = 2.0, 0.2, 1.0
_PIPE_S = 5  # of signal that waits in the inlet; older samples are dropped
_LONGEST_CHUNK = 4096  # samples


class StreamError(Exception):
    """A stream that cannot be sent as an electrocardiogram; says why."""


def _channels(info: Any) -> list[tuple[str, str]]:
    """Return name and unit of each channel, as far as the stream tells them."""
    told: list[tuple[str, str]] = []
    channel = info.desc().child("channels").child("channel")
    while not channel.empty() and len(told) < info.channel_count():
        told.append((channel.child_value("label"), channel.child_value("unit")))
        channel = channel.next_sibling("channel")
    told += [("", "")] * (info.channel_count() - len(told))
    return [(name or str(number), unit) for number, (name, unit) in enumerate(told, 1)]


class Layout:
    """How the samples of a stream become frames."""

    def __init__(self, info: Any, leads: Sequence[str], unit: str, uv_per_unit: float) -> None:
        channels = _channels(info)
        names = [name for name, _ in channels]
        missing = [lead for lead in leads if lead not in names]
        if missing:
            raise StreamError(f"the stream has no channel {missing[0]}, but {', '.join(names)}")
        self.fs = round(info.nominal_srate())
        if self.fs != info.nominal_srate() or not 100 <= self.fs <= 2000:
            raise StreamError(f"a whole rate of 100 to 2000 Hz is expected, not {info.nominal_srate():g} Hz")
        self.places = [names.index(lead) for lead in leads or names]
        self.leads = [names[place] for place in self.places]
        if len(self.leads) > 64:
            raise StreamError(f"1 to 64 channels are expected, not {len(self.leads)}: choose some by --leads")
        self.uv_per_unit = uv_per_unit
        units = [unit or channels[place][1].strip().lower() for place in self.places]
        unknown = [lead for lead, one in zip(self.leads, units) if one not in _UNITS]
        if unknown:
            raise StreamError(f"the unit of {unknown[0]} is not known: tell it by --unit")
        self._factors = np.array([_UNITS[one] for one in units]) / uv_per_unit

    def header(self) -> bytes:
        """Return the line that goes ahead of the frames."""
        told = {"fs": self.fs, "leads": self.leads, "uVpb": self.uv_per_unit}
        return json.dumps(told).encode() + b"\n"

    def frames(self, samples: Sequence[Sequence[float]]) -> bytes:
        """Return samples as frames: rounded, cut to 16 bits, missing where they are no number."""
        with np.errstate(over="ignore"):
            units = np.rint(np.asarray(samples, dtype=float)[:, self.places] * self._factors)
        limited = np.clip(units, _MISSING + 1, 32767)
        return bytes(np.where(np.isnan(limited), _MISSING, limited).astype("<i2").tobytes())


def _address(source: str) -> tuple[str, str, int]:
    way, _, rest = source.partition("://")
    host, _, port = rest.rpartition(":")
    if way not in ("tcp", "listen") or not port.isdigit():
        raise StreamError(f"{source}: expected tcp://HOST:PORT or listen://HOST:PORT, as the monitor is told")
    return way, host.strip("[]") or "127.0.0.1", int(port)


def _connections(source: str) -> Iterator[socket.socket]:
    """Yield connections to the monitor, one after the other: it listens, or is waited for."""
    way, host, port = _address(source)
    if way == "tcp":
        family = socket.AF_INET6 if ":" in host else socket.AF_INET
        with socket.create_server((host, port), family=family) as server:
            while True:
                yield server.accept()[0]
    while True:
        try:
            yield socket.create_connection((host, port), timeout=_RETRY_S)
        except OSError:
            time.sleep(_RETRY_S)


def _say(text: str) -> None:
    print(f"qzstress: {text}", file=sys.stderr, flush=True)


def _lost(pylsl: Any) -> type[Exception]:
    """Return what is raised for a stream that is gone; its place depends on the version."""
    lost: type[Exception] = pylsl.util.LostError if hasattr(pylsl, "util") else pylsl.LostError
    return lost


def _send(pylsl: Any, inlet: Any, layout: Layout, monitor: socket.socket) -> bool:
    """Send until either end is lost; return True where it is the stream."""
    try:
        monitor.sendall(layout.header())
        while True:
            samples, _ = inlet.pull_chunk(timeout=_PULL_S, max_samples=_LONGEST_CHUNK)
            if len(samples) > 0:
                monitor.sendall(layout.frames(samples))
    except _lost(pylsl):
        return True
    except OSError:
        return False


def forward(told: argparse.Namespace) -> None:
    """Send the stream to the monitor until interrupted."""
    import pylsl

    connections = _connections(told.source)
    while True:
        key, value = ("name", told.name) if told.name else ("type", told.type)
        found = pylsl.resolve_byprop(key, value, timeout=_LOOK_S)
        if not found:
            continue
        # Where a stream has an identity pylsl would wait for it by itself, and nobody would be told.
        inlet = pylsl.StreamInlet(found[0], max_buflen=_PIPE_S, recover=False)
        try:
            layout = Layout(inlet.info(), told.leads, told.unit, told.uv_per_unit)
        except _lost(pylsl):
            continue
        _say(f"{found[0].name()}: {', '.join(layout.leads)} at {layout.fs} Hz")
        is_lost = False
        while not is_lost:
            monitor = next(connections)
            inlet.flush()
            with monitor:
                is_lost = _send(pylsl, inlet, layout, monitor)
            _say("the stream is lost" if is_lost else "the monitor has closed the connection")
        inlet.close_stream()


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="python -m qzstress.lsl",
        description="Send a stream of the Lab Streaming Layer to qzstress monitor as a device does.",
    )
    parser.add_argument("source", metavar="SOURCE", help="what the monitor was told: tcp:// or listen://")
    parser.add_argument("--name", help="of the stream; without it the first one of its type")
    parser.add_argument("--type", default="ECG", help="of the stream (%(default)s)")
    parser.add_argument(
        "--leads", type=lambda text: text.split(","), default=[], help="channels to send, as I,II,V5; all"
    )
    parser.add_argument(
        "--unit",
        choices=sorted(_UV),
        default="",
        type=str.lower,
        help="of samples, where the stream lacks it",
    )
    parser.add_argument(
        "--uv-per-unit", type=float, default=1.0, help="microvolts of one step of what is sent (%(default)g)"
    )
    return parser


def main(words: Sequence[str] | None = None) -> int:
    """Run the command; return the exit code."""
    told = _parser().parse_args(words)
    try:
        _address(told.source)
        forward(told)
    except KeyboardInterrupt:
        return 130
    except ImportError:
        _say("needs pylsl: pip install 'qzstress[lsl]'")
    except (StreamError, OSError) as error:
        _say(str(error))
    return 1


if __name__ == "__main__":
    sys.exit(main())
