"""The power goes: what was written and not synced is lost, partly there, out of order or torn."""
import os
import random
import sqlite3

import bench

SAFE_AFTER = 1.0  # s; a flush follows a write after 0.3 s


def read_record(path):
    """[(time, what, offset, bytes or size, path)] in order."""
    steps = []
    with open(path, "rb") as file:
        while True:
            head = file.readline()
            if not head:
                return steps
            at, what, offset, size, name = head.decode().rstrip("\n").split(" ", 4)
            payload = file.read(int(size)) if what in ("write", "rename") else b""
            steps.append((float(at), what, int(offset), payload, name))


def folder_after(steps, rng):
    """The files as a disk may have them after the steps: what was synced is there, of the rest any
    part, in any order, a sector of a write for itself."""
    durable = {}
    pending = {}
    for _, what, offset, payload, name in steps:
        if what == "write" or what == "truncate":
            pending.setdefault(name, []).append((what, offset, payload))
        elif what == "sync":
            content = durable.setdefault(name, bytearray())
            for change in pending.pop(name, []):
                _apply(content, *change)
        elif what == "create":
            durable.setdefault(name, bytearray())
        elif what == "unlink":
            durable.pop(name, None)
            pending.pop(name, None)
        elif what == "rename":
            to = payload.decode()
            if name in durable:
                durable[to] = durable.pop(name)
            if name in pending:
                pending[to] = pending.pop(name)
    for name, changes in pending.items():
        content = durable.setdefault(name, bytearray())
        parts = []
        for what, offset, payload in changes:
            if what == "truncate":
                parts.append((what, offset, payload))
                continue
            for at in range(0, len(payload), 512):
                parts.append((what, offset + at, payload[at:at + 512]))
        style = rng.choice(("none", "first", "any", "shuffled"))
        if style == "first":
            parts = parts[:rng.randint(0, len(parts))]
        elif style == "any":
            parts = [part for part in parts if rng.random() < 0.5]
        elif style == "shuffled":
            rng.shuffle(parts)
            parts = parts[:rng.randint(0, len(parts))]
        else:
            parts = []
        for part in parts:
            _apply(content, *part)
    return durable


def _apply(content, what, offset, payload):
    if what == "truncate":
        del content[offset:]
        content.extend(b"\0" * (offset - len(content)))
        return
    content.extend(b"\0" * (offset - len(content)))
    content[offset:offset + len(payload)] = payload


def check(cuts, seed, seconds):
    result = bench.Result("power cut at a random moment (unsynced writes lost, partial, torn)")
    rng = random.Random(seed)
    with bench.Scratch() as folder:
        store = folder + "/store"
        record = folder + "/record"
        gap = 20000
        run = bench.run_host(store, bench.NOWHERE, "storm=a,%d,%d" % (seconds * 25, gap),
                             "run=2.5", "storm=b,400,0", "run=2.5", "set=c-1", "run=2",
                             limit=60 + seconds * 3, shim={"SHIM_RECORD": record})
        assert run.status == 0, run.errors
        steps = read_record(record)
        times = {call.text: call.at for call in run.calls if call.what == "set" and call.result == 0}
        aside = 0
        begin, end = steps[0][0], steps[-1][0]
        for number in range(cuts):
            cut = rng.uniform(begin, end + 1)
            files = folder_after([step for step in steps if step[0] <= cut], rng)
            target = folder + "/cut"
            for piece in bench.pieces(target):
                os.remove(piece)
            for name, content in files.items():
                if name.startswith(store) and not name.endswith("-shm"):
                    with open(target + name[len(store):], "wb") as file:
                        file.write(content)
                    os.chmod(target + name[len(store):], 0o600)
            expected = [text for text, at in times.items() if at + SAFE_AFTER < cut]
            result.tried += 1
            try:
                found = bench.reopened(target)
            except (sqlite3.DatabaseError, AssertionError) as problem:
                result.fault("damaged", "%s at %.3f" % (problem, cut - begin))
                continue
            result.judge(expected, found, "cut %d at %.3f s" % (number, cut - begin), twice=False)
            # A new file may be there without its first page until its log is moved for the first
            # time; then all is carried over from the log.
            aside += any("damaged" in piece for piece in bench.pieces(target))
        result.notes.append("%d times only the log was left, and all was carried over from it" % aside)
    return result
