"""Disks that are held by another process, full, tiny or read-only."""
import os
import sqlite3
import subprocess
import tempfile

import bench

LONGEST_CALL = 100  # ms; 50 ms of waiting, and a busy machine


def held():
    """Another process holds the file, its log or its shared memory for a while."""
    result = bench.Result("the store is held by another process")
    ways = {"a write transaction": "BEGIN IMMEDIATE", "an exclusive lock": "BEGIN EXCLUSIVE",
            "a reader": "BEGIN; SELECT * FROM preferences"}
    with bench.Scratch() as folder:
        for number, (way, sql) in enumerate(ways.items()):
            store = "%s/%d" % (folder, number)
            bench.run_host(store, bench.NOWHERE, "set=old-1", "synchronize")
            holder = subprocess.Popen(
                ["python3", "-c", "import sqlite3,sys,time; c=sqlite3.connect(sys.argv[1],"
                 "isolation_level=None); [c.execute(s).fetchall() for s in sys.argv[2].split(';')];"
                 "print('held',flush=True); time.sleep(1)", store, sql], stdout=subprocess.PIPE)
            holder.stdout.readline()
            run = bench.run_host(store, bench.NOWHERE, "storm=new,10,20000", "run=2", "synchronize")
            holder.wait()
            result.tried += 1
            for call in run.calls:
                if call.what in ("set", "start") and call.milliseconds > LONGEST_CALL:
                    result.fault("blocked", "%s: %s %.0f ms" % (way, call.what, call.milliseconds))
            result.judge(["old-1"] + bench.accepted(run.calls), bench.reopened(store), way, False)
    return result


def small():
    """A disk of 1 MB that fills up, gets room again, and one that becomes read-only."""
    result = bench.Result("a tiny disk fills up and gets room again; a disk becomes read-only")
    place = tempfile.mkdtemp(prefix="velmora-disk-")
    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=1m,mode=700", "tmpfs", place],
                      capture_output=True).returncode != 0:
        os.rmdir(place)
        result.notes.append("needs the right to mount, root's for instance")
        return result
    try:
        store = place + "/store"
        full = bench.run_host(store, bench.NOWHERE, "storm=a,3000,0", "run=1.5", "storm=b,3000,0",
                              "run=2", "synchronize", limit=60)
        result.tried += 1
        expected = bench.accepted(full.calls)
        done = any(call.what == "synchronize" and call.result == 0 for call in full.calls)
        if done or not bench.announced(full.errors):
            result.judge(expected, bench.stored(store), "1 MB", False)
        else:
            result.announced += 1
        subprocess.run(["mount", "-o", "remount,size=64m", place], check=True)
        again = bench.run_host(store, bench.NOWHERE, "storm=c,100,0", "synchronize")
        result.tried += 1
        result.judge(bench.accepted(again.calls), bench.stored(store), "room again", False)
        kept = bench.stored(store)
        subprocess.run(["mount", "-o", "remount,ro", place], check=True)
        locked = bench.run_host(store, bench.NOWHERE, "storm=d,10,0", "synchronize")
        result.tried += 1
        if locked.status != 0:
            result.fault("crashed", locked.errors[-300:])
        if not bench.announced(locked.errors):
            result.fault("nothing told", "read-only: " + locked.errors[-300:])
        subprocess.run(["mount", "-o", "remount,rw", place], check=True)
        result.judge(kept, bench.reopened(store), "read-only and back", False)
    finally:
        subprocess.run(["umount", place], capture_output=True)
        os.rmdir(place)
    return result
