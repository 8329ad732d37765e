"""What every check uses: the built host and shim, a scratch folder, a host's run and its judgement."""
import collections
import glob
import os
import re
import shutil
import sqlite3
import struct
import subprocess
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILT = os.path.join(ROOT, "build", "reliability")
NOWHERE = "http://127.0.0.1:9/"
SUFFIXES = ("", "-wal", "-shm", "-lock")

Run = collections.namedtuple("Run", "status calls errors seen hit hung")
Call = collections.namedtuple("Call", "what text result milliseconds at")


def library_folder(build):
    return os.path.join(ROOT, "build", build, "src")


def build(preset):
    """The library, and host and shim beside it."""
    subprocess.run([ROOT + "/scripts/build", preset, "VelmoraKit_shared"], check=True)
    os.makedirs(BUILT, exist_ok=True)
    folder = library_folder(preset)
    here = os.path.dirname(os.path.abspath(__file__))
    subprocess.run(["cc", "-O1", "-Wall", "-Wextra", "-shared", "-fPIC", here + "/shim.c", "-o",
                    BUILT + "/shim.so", "-ldl"], check=True)
    subprocess.run(["cc", "-O1", "-Wall", "-Wextra", "-I" + ROOT + "/include", here + "/host.c",
                    "-L" + folder, "-lVelmoraKit", "-Wl,-rpath," + folder, "-o", BUILT + "/host"],
                   check=True)


def certificate(folder, name, alternative):
    """key, crt, and pem with both."""
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                    "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj", "/CN=" + name,
                    "-addext", "subjectAltName=" + alternative, "-keyout", folder + "/key", "-out",
                    folder + "/crt"], check=True, capture_output=True)
    with open(folder + "/pem", "w") as out:
        for part in ("crt", "key"):
            with open(folder + "/" + part) as file:
                out.write(file.read())


class Scratch:
    """A folder in memory where there is one, gone at its end."""

    def __enter__(self):
        self.path = tempfile.mkdtemp(prefix="velmora-reliability-",
                                     dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None)
        return self.path

    def __exit__(self, *_):
        shutil.rmtree(self.path, ignore_errors=True)


def host_words(store, address, *commands):
    return [BUILT + "/host", store, address, *commands]


def calls_of(text):
    calls = []
    for line in text.splitlines():
        words = line.split()
        if len(words) == 5:
            calls.append(Call(words[0], words[1], int(words[2]), float(words[3]), float(words[4])))
    return calls


def run_host(store, address, *commands, limit=20, shim=None, prefix=()):
    """Runs a host to its end, or kills it at the limit."""
    environment = {k: v for k, v in os.environ.items() if not k.lower().endswith("_proxy")}
    count = store + ".count"
    if shim:
        environment.update(shim, SHIM_COUNT=count, LD_PRELOAD=BUILT + "/shim.so")
    process = subprocess.Popen([*prefix, *host_words(store, address, *commands)],
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, env=environment)
    hung = False
    try:
        out, errors = process.communicate(timeout=limit)
    except subprocess.TimeoutExpired:
        hung = True
        process.kill()
        out, errors = process.communicate()
    seen = hit = 0
    if os.path.exists(count):
        with open(count, "rb") as file:
            seen, hit = struct.unpack("QQ", file.read(16))
        os.remove(count)
    return Run(process.returncode, calls_of(out.decode(errors="replace")),
               errors.decode(errors="replace"), seen, hit, hung)


def accepted(calls):
    """The strings whose set the host was told to be done."""
    return [call.text for call in calls if call.what == "set" and call.result == 0]


def copy_store(store, to):
    for suffix in ("", "-wal"):
        if os.path.exists(store + suffix):
            shutil.copyfile(store + suffix, to + suffix)
            os.chmod(to + suffix, 0o600)


def damage_index(store):
    """Turns a page of an index around, moved into the file: the rows stay, the file is damaged."""
    connection = sqlite3.connect(store)
    connection.execute("PRAGMA wal_checkpoint(TRUNCATE)")
    page, = connection.execute("SELECT rootpage FROM sqlite_schema WHERE name="
                               "'sqlite_autoindex_preferences_1'").fetchone()
    size, = connection.execute("PRAGMA page_size").fetchone()
    connection.close()
    with open(store, "r+b") as file:
        file.seek((page - 1) * size)
        file.write(b"\xff")
    for suffix in ("-wal", "-shm"):
        if os.path.exists(store + suffix):
            os.remove(store + suffix)


def stored(store, whole=True):
    """The strings of the waiting events, oldest first, read from a copy. Raises for a damaged file,
    unless a damaged one will do."""
    with Scratch() as folder:
        copy_store(store, folder + "/store")
        if not os.path.exists(folder + "/store"):
            return []
        connection = sqlite3.connect(folder + "/store")
        try:
            if whole and connection.execute("PRAGMA integrity_check").fetchall() != [("ok",)]:
                raise sqlite3.DatabaseError("the file is damaged")
            if not connection.execute("SELECT 1 FROM sqlite_schema WHERE name='records'").fetchall():
                return []
            return [row[0] for row in connection.execute(
                "SELECT consentString FROM records WHERE list='VMRConsentEventsArray' "
                "ORDER BY number")]
        finally:
            connection.close()


def reopened(store):
    """The same, after the next start of a host has looked into the file."""
    run = run_host(store, NOWHERE)
    assert run.status == 0, run.errors
    return stored(store)


def announced(errors):
    """Whether a line says that something could not be written."""
    return re.search(r"cannot be (used|written|opened)|stays in memory", errors) is not None


def pieces(store):
    return glob.glob(glob.escape(store) + "*")


class Result:
    """A line of the table."""

    def __init__(self, what):
        self.what = what
        self.tried = 0
        self.accepted = 0
        self.announced = 0  # events that were in memory alone, and a line said so
        self.faults = collections.Counter()
        self.examples = []
        self.notes = []

    def fault(self, kind, example=""):
        self.faults[kind] += 1
        if len(self.examples) < 5:
            self.examples.append("%s: %s" % (kind, example))

    def judge(self, expected, found, example="", twice=True):
        """Every accepted string must be found, and none of them twice."""
        self.accepted += len(expected)
        missing = collections.Counter(expected) - collections.Counter(found)
        if missing:
            self.fault("lost", "%s %s" % (sorted(missing)[:3], example))
        names = collections.Counter(text for text in found if text is not None)
        if twice and any(count > 1 for count in names.values()):
            self.fault("twice", "%s %s" % ([t for t, c in names.items() if c > 1][:3], example))
