"""The server of a live test against pages that are slow, many or hostile, and against strangers.

Usage: server_test.py QZSTRESS [SEED]
"""
import atexit
import base64
import json
import os
import random
import resource
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

program = sys.argv[1]
seed = int(sys.argv[2]) if len(sys.argv) > 2 else random.randrange(1 << 30)
print(f"seed {seed}")
chance = random.Random(seed)
work = tempfile.TemporaryDirectory()


class Monitor:
    """A running test of the simulated patient or of 12 leads at 500 Hz, and its page's address."""

    def __init__(self, name, speed, *options, source="sim"):
        self.folder = os.path.join(work.name, name)
        words = [program, "monitor", source, "--speed", str(speed), "--port", "0", "--out", self.folder, *options]
        # The address sanitizer keeps what is freed, which the memory that is told here would show.
        environment = dict(os.environ, ASAN_OPTIONS="quarantine_size_mb=4")
        self.process = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, env=environment)
        atexit.register(self.process.kill)
        self.process.stdout.readline()
        self.url = self.process.stdout.readline().split()[1]
        self.port = int(self.url.split(":")[2].split("/")[0])

    def seconds_kept(self):
        return os.path.getsize(self.folder + "/test.dat") / 24 / 500

    def wait_until_kept(self, seconds):
        """Seconds; two minutes are for a machine that is busy."""
        until = time.monotonic() + 120
        while self.seconds_kept() < seconds:
            assert time.monotonic() < until and self.process.poll() is None, f"{self.seconds_kept()} s are kept"
            time.sleep(0.1)

    def resident_kib(self):
        with open(f"/proc/{self.process.pid}/status") as file:
            return next(int(line.split()[1]) for line in file if line.startswith("VmRSS"))

    def end(self, code=0):
        self.process.send_signal(signal.SIGTERM)
        assert self.process.wait(60) == code


def connect(port):
    door = socket.create_connection(("127.0.0.1", port))
    door.settimeout(15)
    return door


def read_all(door):
    data = b""
    try:
        while block := door.recv(1 << 16):
            data += block
    except ConnectionResetError:
        pass
    return data


def get(monitor, path, method="GET", host=None, **fields):
    """Status, fields and body of an answer."""
    with connect(monitor.port) as door:
        lines = [f"{method} {path} HTTP/1.1", f"Host: {host or f'127.0.0.1:{monitor.port}'}", "Connection: close"]
        lines += [f"{name.replace('_', '-')}: {value}" for name, value in fields.items()]
        door.sendall("\r\n".join(lines + ["", ""]).encode())
        head, _, body = read_all(door).partition(b"\r\n\r\n")
    return (int(head.split()[1]) if head else 0), head.decode(), body


class Page:
    """A WebSocket of a page."""

    def __init__(self, monitor, origin=None, **fields):
        self.door = connect(monitor.port)
        host = f"127.0.0.1:{monitor.port}"
        lines = ["GET /live HTTP/1.1", f"Host: {host}", "Upgrade: websocket", "Connection: Upgrade",
                 f"Sec-WebSocket-Key: {base64.b64encode(bytes(16)).decode()}", "Sec-WebSocket-Version: 13",
                 f"Origin: {origin or 'http://' + host}"] + [f"{name}: {value}" for name, value in fields.items()]
        self.door.sendall("\r\n".join(lines + ["", ""]).encode())
        self.data = b""
        while b"\r\n\r\n" not in self.data:
            block = self.door.recv(1 << 16)
            if not block:
                break
            self.data += block
        head, _, self.data = self.data.partition(b"\r\n\r\n")
        self.status = int(head.split()[1])

    def send(self, data, opcode=1):
        data = data.encode() if isinstance(data, str) else data
        length = struct.pack("!B", 128 | len(data)) if len(data) < 126 else struct.pack("!BH", 254, len(data))
        mask = bytes(4)  # an empty mask leaves the data as they are
        self.door.sendall(bytes([128 | opcode]) + length + mask + data)

    def take(self, count):
        while len(self.data) < count:
            block = self.door.recv(1 << 20)
            if not block:
                raise EOFError
            self.data += block
        taken, self.data = self.data[:count], self.data[count:]
        return taken

    def receive(self, wanted, is_it=lambda message: True):
        """The next message that is `wanted`: a type of JSON, or "signal". Two minutes are for a machine that is busy."""
        until = time.monotonic() + 120
        while True:
            assert time.monotonic() < until, f"there is no such {wanted}"
            first, length = self.take(2)
            if length == 126:
                length, = struct.unpack("!H", self.take(2))
            elif length == 127:
                length, = struct.unpack("!Q", self.take(8))
            data = self.take(length)
            if first & 15 == 8:
                raise EOFError
            if first & 15 == 9:
                self.send(data, 10)
            if first & 15 == 2 and wanted == "signal":
                return data
            if first & 15 == 1 and (message := json.loads(data))["type"] == wanted and is_it(message):
                return message

    def is_closed(self):
        try:
            self.receive("never")
        except (EOFError, OSError):
            return True


monitor = Monitor("plain \udcfc", 10)  # a byte that is no UTF-8

# The page, and nothing else.
status, head, body = get(monitor, "/")
assert status == 200 and b"<!DOCTYPE html>" in body and "Content-Security-Policy: default-src 'none'" in head
assert get(monitor, "/main.js")[0] == 200
for path in ["/../journal.jsonl", "/results/report.pdf", "/results/../test.dat", "/%2e%2e/test.dat", "//etc/passwd", "/index.html",
             "/?token=", "http://127.0.0.1/", "*"]:
    assert get(monitor, path)[0] in (400, 404), path
assert get(monitor, "/", "POST")[0] == 405
assert get(monitor, "/", host="patient.example:80")[0] == 421  # a name that leads here
assert get(monitor, "/", host=f"localhost:{monitor.port}")[0] == 200
assert get(monitor, "/", host=f"LocalHost:{monitor.port}")[0] == 200
assert get(monitor, "/", Cookie="a" * 9000)[0] in (0, 400, 431)
with connect(monitor.port) as door:
    door.sendall(bytes(chance.randrange(256) for _ in range(4096)) + b"\r\n\r\n")
    read_all(door)  # until it is closed
for origin in ["http://patient.example", "null", f"http://localhost:{monitor.port}"]:
    assert Page(monitor, origin).status == 403, origin

proxy = Page(monitor, f"https://127.0.0.1:{monitor.port}")  # with TLS, which the manual advises
assert proxy.status == 101
proxy.door.close()

# Another test at this port does not begin, and its folder stays free.
refused = os.path.join(work.name, "refused")
attempt = subprocess.run([program, "monitor", "sim", "--port", str(monitor.port), "--out", refused], capture_output=True, text=True)
assert attempt.returncode == 1 and attempt.stderr.count("\n") == 1 and not os.path.exists(refused), attempt.stderr

# Connections that ask for nothing keep no page out.
idle = [connect(monitor.port) for _ in range(200)]
assert get(monitor, "/")[0] == 200 and Page(monitor).status == 101
for door in idle:
    door.close()

# A page is told all, and is answered.
page = Page(monitor)
assert page.status == 101
hello = page.receive("hello")
assert hello["fs"] == 500 and len(hello["leads"]) == 12
monitor.wait_until_kept(4)
page.send('{"signal": 7, "from": 1000, "frames": 500}')
while (data := page.receive("signal"))[0] != 2:
    pass
with open(monitor.folder + "/test.dat", "rb") as file:
    file.seek(1000 * 24)
    assert data[32:] == file.read(500 * 24), "the kept signal is another one"
page.send('{"do": "start"}')
assert page.receive("done")["ok"]
page.send('{"do": "pressure", "value": 140, "other": 85}')
assert page.receive("done")["ok"]
page.send('{"do": "pressure", "value": 14, "other": 85}')
assert not page.receive("done")["ok"]
page.send('{"do": "mark", "text": "' + 201 * "x" + '"}')  # too long: no answer

# Nonsense is passed over, and too much of it ends the connection.
for text in ["", "{}", "[]", "null", "7", '"do"', "{", "[" * 4000, '{"do":' * 600, '{"do": 1}', '{"do": "fly"}', '{"ping": "x"}',
             '{"signal": -1}', '{"signal": 1, "from": 1e99, "frames": 1}', '{"signal": 1, "from": 0, "frames": 1e9}',
             '{"signal": 1, "from": 0, "frames": 5, "columns": 0}', "\x00", "\u00fc\ud7ff"]:
    page.send(text)
page.send('{"do": "mark", "text": "here"}')
assert page.receive("done")["ok"]
for opcode, data in [(2, b"binary"), (1, b"\xff\xfe"), (1, b"x" * 4097), (7, b""), (9, b"x" * 126)]:
    hostile = Page(monitor)
    hostile.send(data, opcode)
    assert hostile.is_closed(), (opcode, data[:8])
hostile = Page(monitor)
for _ in range(60):
    hostile.send('{"ping": 1}')
assert hostile.is_closed()
for _ in range(100):
    hostile = Page(monitor)
    try:
        hostile.door.sendall(bytes(chance.randrange(256) for _ in range(chance.randrange(1, 200))))
    except OSError:
        pass
    hostile.door.close()

# A page that never reads holds nothing up; twenty may be open, and no more.
page.door.close()  # it has answered no ping for as long as all that took
time.sleep(0.3)
page, stalled = Page(monitor), Page(monitor)
for _ in range(40):  # of 1.5 MB each, more than may wait for a page: it is given up
    stalled.send('{"signal": 1, "from": 0, "frames": 65536}')
pages = [Page(monitor) for _ in range(18)]
assert all(one.status == 101 for one in pages)
assert Page(monitor).status == 503
before, before_kib, started = monitor.seconds_kept(), monitor.resident_kib(), time.monotonic()
frames = []
while time.monotonic() < started + 2 or len(frames) <= 20 and time.monotonic() < started + 20:
    frames.append(struct.unpack("<d", page.receive("signal")[8:16])[0])
pace = (monitor.seconds_kept() - before) / (time.monotonic() - started)
assert pace > 2, f"{pace} times the pace"  # 10 where nothing else runs; 0 where a page holds it up
assert len(frames) > 20 and frames == sorted(frames), f"{len(frames)} messages"
assert monitor.resident_kib() < before_kib + 40_000, f"{before_kib} KiB grew to {monitor.resident_kib()}"
for one in pages + [stalled]:
    one.door.close()

# What cannot be drawn is told, whatever the name of the folder.
open(monitor.folder + "/strips", "w").close()
page.send('{"strip": 5}')
assert "strips" in page.receive("strip")["why"]

# The test ends by the page, and its results can be had.
page.send('{"do": "end", "text": "fatigue"}')
assert page.receive("results")["files"][0] == "report.pdf"
assert get(monitor, "/results/report.pdf")[2].startswith(b"%PDF")
assert get(monitor, "/results/report.pdf?")[0] == 404
with open(monitor.folder + "/results/result.json") as file:
    result = json.load(file)
assert "fatigue" in json.dumps(result["patient"])
assert '"systolic_mmhg": 140.0' in json.dumps(result), "the pressure is lost"
monitor.end()

# A test ends while the disk is full: when there is room again, what waited is kept, and results are made.
monitor = Monitor("full", 20)
page = Page(monitor)
monitor.wait_until_kept(12)
resource.prlimit(monitor.process.pid, resource.RLIMIT_FSIZE, (os.path.getsize(monitor.folder + "/test.dat"), resource.RLIM_INFINITY))
state = page.receive("state", lambda state: state["trouble"])
page.send('{"do": "end"}')
assert not page.receive("results")["files"]
resource.prlimit(monitor.process.pid, resource.RLIMIT_FSIZE, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))
assert page.receive("results")["files"]
assert monitor.seconds_kept() >= state["s"], "what waited is lost"
monitor.end()

# A recording that is damaged while it is played ends the test: what was read is kept, and results are made.
record = os.path.join(work.name, "record")
subprocess.run([program, "simulate", record], check=True)
with open(record + ".dat", "rb") as file:
    whole = file.read()
monitor = Monitor("damaged", 20, source=record)
page = Page(monitor)
monitor.wait_until_kept(12)
os.truncate(record + ".dat", os.path.getsize(monitor.folder + "/test.dat") + 300_001)  # in the middle of a frame
page.receive("events", lambda message: any("record.dat" in event["text"] for event in message["events"]))
assert page.receive("results")["files"]
with open(monitor.folder + "/test.dat", "rb") as file:
    assert whole.startswith(file.read()), "a frame that was not read is kept"
monitor.end(1)

# Beyond the loopback nothing is told without the token.
monitor = Monitor("open", 30, "--address", "0.0.0.0", "--host-name", "ECG-Room1")
token = monitor.url.split("token=")[1]
assert len(token) == 32
for path in ["/", "/main.js", "/?token=" + "0" * 32, "/?token=" + token[:-1]]:
    assert get(monitor, path)[0] == 403, path
status, head, _ = get(monitor, "/?token=" + token)
assert status == 303 and "HttpOnly; SameSite=Strict" in head and "Location: /\r\n" in head
cookie = f"qzstress-{monitor.port}={token}"  # a browser keeps the tokens of two monitors of one machine apart
assert f"Set-Cookie: {cookie};" in head
assert get(monitor, "/", Cookie="a=b; " + cookie)[0] == 200
assert get(monitor, "/", Cookie=cookie[:-1])[0] == 403
assert get(monitor, "/", host=f"ecg-room1:{monitor.port}", Cookie=cookie)[0] == 200  # as browsers write it
assert Page(monitor).status == 403
assert Page(monitor, Cookie=cookie).status == 101
monitor.wait_until_kept(12)  # of nothing there are no results
monitor.end()
print("ok")
