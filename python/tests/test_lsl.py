"""A stream of the Lab Streaming Layer arrives as the monitor takes it from devices; pylsl is stood in for."""

from __future__ import annotations

import json
import socket
import sys
import threading
from types import SimpleNamespace
from typing import Any

import numpy as np
import pytest

from qzstress import lsl


class LostError(Exception):
    """A stream that is gone."""


class Channel:
    """A channel of a description, or the end of them."""

    def __init__(self, rest: list[tuple[str, str]]) -> None:
        self.rest = rest

    def child(self, _name: str) -> Channel:
        return self

    def next_sibling(self, _name: str) -> Channel:
        return Channel(self.rest[1:])

    def empty(self) -> bool:
        return not self.rest

    def child_value(self, name: str) -> str:
        return self.rest[0][name == "unit"]


def info(fs: float = 500, channels: tuple[tuple[str, str], ...] = (("I", "mV"), ("II", "uV"))) -> Any:
    """Return what a stream tells of itself."""
    return SimpleNamespace(
        name=lambda: "amplifier",
        nominal_srate=lambda: fs,
        channel_count=lambda: len(channels),
        desc=lambda: Channel(list(channels)),
    )


@pytest.fixture
def streams(monkeypatch: pytest.MonkeyPatch) -> list[list[list[list[float]]]]:
    """Stand in for pylsl by streams that are found one after the other: chunks, then each is lost."""
    coming: list[list[list[list[float]]]] = []

    class Inlet:
        def __init__(self, _info: Any, max_buflen: int, recover: bool) -> None:
            assert not recover
            self.chunks = coming.pop(0)

        def info(self) -> Any:
            return info()

        def flush(self) -> None:
            pass

        def close_stream(self) -> None:
            pass

        def pull_chunk(self, timeout: float, max_samples: int) -> tuple[list[list[float]], list[float]]:
            if not self.chunks:
                raise LostError
            return self.chunks.pop(0), []

    def find(key: str, value: str, timeout: float) -> list[Any]:
        assert (key, value) == ("type", "ECG")
        if not coming:
            raise KeyboardInterrupt
        return [info()]

    monkeypatch.setitem(
        sys.modules, "pylsl", SimpleNamespace(resolve_byprop=find, StreamInlet=Inlet, LostError=LostError)
    )
    return coming


def test_a_stream_is_sent_scaled_and_again_after_it_was_lost(streams: Any) -> None:
    streams += [[[[1.0, 20.4], [-0.5, np.nan]], [], [[99.0, -40000.0]]], [[[0.1, 7.0]]]]
    with socket.create_server(("127.0.0.1", 0)) as server:
        heard: list[bytes] = []

        def listen() -> None:
            for _ in range(2):
                with server.accept()[0] as connection, connection.makefile("rb") as device:
                    heard.append(device.read())

        monitor = threading.Thread(target=listen)
        monitor.start()
        assert lsl.main([f"listen://127.0.0.1:{server.getsockname()[1]}"]) == 130
        monitor.join()
    frames = []
    for sent in heard:
        line, _, rest = sent.partition(b"\n")
        assert json.loads(line) == {"fs": 500, "leads": ["I", "II"], "uVpb": 1.0}
        frames.append(np.frombuffer(rest, "<i2").reshape(-1, 2).tolist())
    assert frames == [[[1000, 20], [-500, -32768], [32767, -32767]], [[100, 7]]]


@pytest.mark.parametrize(
    ("told", "leads", "unit", "why"),
    [
        (info(99), [], "", "100 to 2000 Hz"),
        (info(250.5), [], "", "250.5 Hz"),
        (info(), ["V5"], "", "no channel V5"),
        (info(channels=(("I", "degrees"),)), [], "", "unit of I"),
        (info(channels=(("I", ""),) * 65), [], "mv", "65"),
    ],
)
def test_a_stream_that_is_none_of_an_electrocardiogram_is_refused(
    told: Any, leads: list[str], unit: str, why: str
) -> None:
    with pytest.raises(lsl.StreamError, match=why):
        lsl.Layout(told, leads, unit, 1.0)


def test_channels_are_chosen_by_name_in_order() -> None:
    layout = lsl.Layout(info(2000), ["II"], "mv", 2.5)
    assert layout.leads == ["II"]
    assert np.frombuffer(layout.frames([[1, 2.0]]), "<i2").tolist() == [800]


def test_it_says_in_one_line_what_is_missing(
    monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str]
) -> None:
    monkeypatch.setitem(sys.modules, "pylsl", None)
    assert lsl.main(["listen://:5000"]) == 1
    assert lsl.main(["serial:5000"]) == 1
    first, second = capsys.readouterr().err.splitlines()
    assert "pip install 'qzstress[lsl]'" in first
    assert "tcp://HOST:PORT" in second
