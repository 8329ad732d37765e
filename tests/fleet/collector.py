"""A collector, and requests as a device sends them."""
import gzip
import hashlib
import http.client
import json
import os
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

    def line_with(self, words, seconds=5, most=1):
        """Waits for so many that say so; returns how many do."""
        def count():
            return sum(words in str(line) for line in self.lines)

        end = time.monotonic() + seconds
        while time.monotonic() < end and count() < most:
            time.sleep(0.02)
        return count()


def get(port, path):
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
    connection.request("GET", path)
    return connection.getresponse().status


def headers(key=KEY, secret=SECRET):
    token = hashlib.sha1(f"{secret}/consents/{key}/".encode()).hexdigest()
    return {"Authorization": "Token token=" + token, "X-Api-Key": key, "Accept": "application/json",
            "Content-Type": "application/json", "Content-Encoding": "gzip",
            "X-Bundle-Identifier": "com.example.fleet"}


def body(count=1, device=None):
    device = device or str(uuid.uuid4()).upper()
    date = "2026-03-04 15:06:07 +0100"
    items = []
    for i in range(count):
        consent = f"CQtDjkAQtDjkAAfABBENB4FgAPAAAAAAAAAYgACLAAAAA.{i}"
        event = hashlib.sha256(f"{device};{consent};{date}".encode()).hexdigest()
        items.append({"consentString": consent, "localDate": date, "eventId": event})
    envelope = {"postDate": date, "os": "ios", "uuid": device, "uuidV": "", "sdkVersion": "000000-Debug",
                "bundleId": "com.example.fleet", "systemVersion": "12", "deviceModel": "x86_64"}
    return gzip.compress(json.dumps({**envelope, "batch": items}).encode(), 9)


def post(port, content, sent=None, path="/1.0/consents", seconds=30):
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=seconds)
    connection.request("POST", path, content, sent or headers())
    return connection.getresponse().status


def fleet(port, folder, *options):
    return subprocess.Popen([PROGRAM, "fleet", "--ingest", f"http://127.0.0.1:{port}/", "--api-key", KEY,
                             "--acknowledged", folder + "/acknowledged", *options],
                            env={**os.environ, "VELMORA_SECRET": SECRET}, stdout=subprocess.PIPE, text=True)


def acknowledged(folder):
    with open(folder + "/acknowledged") as file:
        return [line.strip() for line in file if line.endswith("\n")]
