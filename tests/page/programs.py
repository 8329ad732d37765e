"""The real service and the real host, as programs."""
import json
import os
import queue
import subprocess
import tempfile
import threading

VELMORA = os.environ["VELMORA_PROGRAM"]


class Program:
    """A velmora subcommand that answers lines with lines of JSON."""

    def __init__(self, *words):
        self.process = subprocess.Popen([VELMORA, *words], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.lines = queue.Queue()
        self.errors = []
        self.readers = [threading.Thread(target=self._read),
                        threading.Thread(target=lambda: self.errors.extend(self.process.stderr))]
        for reader in self.readers:
            reader.start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(line)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        for reader in self.readers:
            reader.join()
        for pipe in (self.process.stdin, self.process.stdout, self.process.stderr):
            pipe.close()

    def hear(self):
        return json.loads(self.lines.get(timeout=30))

    def tell(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def ask(self, line):
        self.tell(line)
        return self.hear()


class Service(Program):
    """`velmora ingest`; `page` and `listening` are its addresses."""

    def __init__(self, *options, credentials=("--api-key", "demo-key", "--secret", "demo-secret")):
        super().__init__("ingest", *credentials, *options)
        line = self.hear()
        self.page = line.get("page")
        self.listening = line.get("listening")


    def ask_for_fault(self, words):
        """Also reads the lines about requests that came before."""
        self.tell("fault " + words)
        while self.hear().get("command") != "fault":
            pass


class Host(Program):
    """`velmora run` on a store of its own."""

    def __init__(self, listening, secret="demo-secret", key="demo-key", app="com.example.demo"):
        self.folder = tempfile.TemporaryDirectory()
        super().__init__("run", "--api-key", key, "--secret", secret, "--ingest", listening,
                         "--store", self.folder.name + "/store.sqlite", "--bundle-id", app,
                         "--app-version", "1.0")

    def __exit__(self, *_):
        super().__exit__()
        self.folder.cleanup()

    def consent(self, text):
        """Sets a consent string and waits until it has been posted."""
        self.ask(f"set IABTCF_TCString {text}")
        self.settle()

    def settle(self):
        assert self.ask("settle 20")["settled"]
