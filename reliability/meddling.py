"""Somebody else empties, cuts, copies over, removes, renames or replaces the files while a host uses
them, and the host is killed some changes later."""
import os
import random
import shutil
import subprocess

import bench

BEFORE = 30  # changes; a backup is taken in the middle of them
AFTER = 3


def cut(path, rng):
    os.truncate(path, rng.randrange(os.path.getsize(path) + 1))


def copy_over(store, backup):
    """As cp does it: the same file gets other bytes."""
    for suffix in ("", "-wal"):
        with open(backup + suffix, "rb") as source, open(store + suffix, "wb") as target:
            target.write(source.read())


def remove_all(store):
    for piece in bench.pieces(store):
        try:
            os.remove(piece)
        except FileNotFoundError:  # the host, too, removes what its file leaves behind
            pass


def replace(store, backup):
    remove_all(store)
    for suffix in ("", "-wal"):
        os.rename(backup + suffix, store + suffix)


MEDDLERS = {
    "nothing": lambda store, backup, rng: None,
    "file emptied": lambda store, backup, rng: os.truncate(store, 0),
    "log emptied": lambda store, backup, rng: os.truncate(store + "-wal", 0),
    "log cut": lambda store, backup, rng: cut(store + "-wal", rng),
    "both emptied": lambda store, backup, rng: [os.truncate(store + s, 0) for s in ("", "-wal")],
    "backup copied over": lambda store, backup, rng: copy_over(store, backup),
    "backup put in place": lambda store, backup, rng: replace(store, backup),
    "file removed": lambda store, backup, rng: os.remove(store),
    "log removed": lambda store, backup, rng: os.remove(store + "-wal"),
    "index removed": lambda store, backup, rng: os.remove(store + "-shm"),
    "all removed": lambda store, backup, rng: remove_all(store),
    "file renamed": lambda store, backup, rng: os.rename(store, store + ".old"),
    "log moved into the file": lambda store, backup, rng: subprocess.run(
        ["sqlite3", store, "PRAGMA wal_checkpoint(TRUNCATE)"], capture_output=True, check=True),
}


def check(rounds, seed):
    result = bench.Result("files emptied, cut, copied over, removed or replaced while in use")
    rng = random.Random(seed)
    with bench.Scratch() as folder:
        for number in range(rounds * len(MEDDLERS)):
            what, meddle = list(MEDDLERS.items())[number % len(MEDDLERS)]
            where = "%s, round %d" % (what, number // len(MEDDLERS))
            os.mkdir("%s/%d" % (folder, number), 0o700)
            store = "%s/%d/store" % (folder, number)
            backup = "%s/%d/backup" % (folder, number)
            host = subprocess.Popen(
                bench.host_words(store, bench.NOWHERE, "storm=a,%d,0" % BEFORE, "until=%s.go,9" % backup,
                                 "storm=b,%d,0" % AFTER, "until=%s.never,30" % backup),
                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            calls = []

            def until(text):
                for line in host.stdout:
                    calls.extend(bench.calls_of(line))
                    if calls and calls[-1].text == text:
                        break

            until("a-%d" % (BEFORE // 2))
            bench.copy_store(store, backup)
            until("a-%d" % BEFORE)
            meddle(store, backup, rng)
            open(backup + ".go", "w").close()
            until("b-%d" % AFTER)
            host.kill()
            errors = host.communicate()[1]
            result.tried += 1
            result.judge(bench.accepted(calls), bench.reopened(store), where, twice=False)
            for call in calls:
                if call.what == "set" and call.milliseconds > 100:
                    result.fault("blocked", "%s: %s %.0f ms" % (where, call.text, call.milliseconds))
            lines = errors.count("VelmoraKit: ")
            if lines > 1:
                result.fault("told more than once", "%s: %s" % (where, errors[-600:]))
            shutil.rmtree(os.path.dirname(store))
    return result
