"""A collector, and requests as a device sends them."""
import contextlib
import gzip
import hashlib
import http.client
import json
import os
import re
import signal
import socket
import subprocess
import threading
import time
import uuid

PROGRAM = os.environ.get("VELMORA", "build/dev/tools/velmora/velmora")
STARTED = []  # ended by `run`, whatever happens
KEY, SECRET = "fleet-key", "fleet-secret"


def free_port():
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        return taken.getsockname()[1]


class Collector:
    """One that is started again listens at the same address."""

    def __init__(self, folder, sink, *options, name="collector"):
        self.folder, self.name = folder, name
        self.port, self.status_port = free_port(), free_port()
        self.lines, self.process = [], None
        with open(folder + "/keys", "w") as keys:
            keys.write(f"{KEY} {SECRET}\n")
        os.chmod(folder + "/keys", 0o600)
        self.command = [PROGRAM, "collect", "--to", sink, "--keys", folder + "/keys",
                        "--quarantine", f"{folder}/{name}.quarantine",
                        "--listen", f"127.0.0.1:{self.port}", "--status", f"127.0.0.1:{self.status_port}",
                        *options]

    def start(self):
        self.process = subprocess.Popen(self.command, stdout=subprocess.PIPE, text=True)
        STARTED.append(self.process)
        first = self.process.stdout.readline()
        if '"listening"' not in first:
            raise RuntimeError(f"{self.name} does not listen: {first}")
        threading.Thread(target=self._read, args=[self.process.stdout], daemon=True).start()
        return self

    def _read(self, out):
        for line in out:
            self.lines.append(json.loads(line))

    def kill(self):
        self.process.kill()
        self.process.wait()

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(40)

    def resident(self):
        with open(f"/proc/{self.process.pid}/status") as status:
            return next(int(line.split()[1]) for line in status if line.startswith("VmRSS")) >> 10

    def ready(self):
        return get(self.status_port, "/readyz") == 200

    def metrics(self):
        """A value by its name, or by its name and label."""
        lines = fetch(self.status_port, "/metrics")[1].decode().splitlines()
        pairs = [line.rsplit(" ", 1) for line in lines if not line.startswith("#")]
        return {tuple(re.split('{.*="|"}', name)[:2]) if '"' in name else name: float(value) for name, value in pairs}

    def line_with(self, words, seconds=5, most=1):
        """Waits for so many that say so; returns how many do."""
        def count():
            return sum(words in str(line) for line in self.lines)

        with contextlib.suppress(TimeoutError):
            until(lambda: count() >= most, seconds)
        return count()


def until(is_so, seconds=20):
    """Waits for what comes about by itself."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        with contextlib.suppress(ConnectionError):
            if is_so():
                return
        time.sleep(0.02)
    raise TimeoutError(is_so)


def fetch(port, path):
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
    connection.request("GET", path)
    answer = connection.getresponse()
    return answer.status, answer.read()


def get(port, path):
    return fetch(port, path)[0]


def headers(key=KEY, secret=SECRET, resource="consents"):
    token = hashlib.sha1(f"{secret}/{resource}/{key}/".encode()).hexdigest()
    return {"Authorization": "Token token=" + token, "X-Api-Key": key, "Accept": "application/json",
            "Content-Type": "application/json", "Content-Encoding": "gzip",
            "X-Bundle-Identifier": "com.example.fleet"}


def body(count=1, device=None, more=""):
    device = device or str(uuid.uuid4()).upper()
    date = "2026-03-04 15:06:07 +0100"
    items = []
    for i in range(count):
        consent = f"CQtDjkAQtDjkAAfABBENB4FgAPAAAAAAAAAYgACLAAAAA.{i}{more}"
        event = hashlib.sha256(f"{device};{consent};{date}".encode()).hexdigest()
        items.append({"consentString": consent, "localDate": date, "eventId": event})
    envelope = {"postDate": date, "os": "ios", "uuid": device, "uuidV": "", "sdkVersion": "000000-Debug",
                "bundleId": "com.example.fleet", "systemVersion": "12", "deviceModel": "x86_64"}
    return gzip.compress(json.dumps({**envelope, "batch": items}).encode(), 9)


def post(port, content, sent=None, path="/1.0/consents", seconds=30, source="127.0.0.1"):
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=seconds, source_address=(source, 0))
    connection.request("POST", path, content, sent or headers())
    return connection.getresponse().status


def fleet(port, folder, *options, scheme="http"):
    return subprocess.Popen([PROGRAM, "fleet", "--ingest", f"{scheme}://127.0.0.1:{port}/", "--api-key", KEY,
                             "--acknowledged", folder + "/acknowledged", *options],
                            env={**os.environ, "VELMORA_SECRET": SECRET}, stdout=subprocess.PIPE, text=True)


def acknowledged(folder):
    with open(folder + "/acknowledged") as file:
        return [line.strip() for line in file if line.endswith("\n")]


def stored(database):
    """Each event of an SQLite file, as it is exported."""
    lines = subprocess.run([PROGRAM, "collect", "export", database], check=True, text=True,
                           stdout=subprocess.PIPE).stdout.splitlines()
    return [json.loads(line) for line in lines]
