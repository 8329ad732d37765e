"""Changes, refusals and restarts for a long time: memory, descriptors and the file stay flat."""
import os
import signal
import subprocess
import time

import bench
from service import Service


LOG = 34 << 20  # the log may grow so far while nobody is quiet


def _figures(process, store):
    with open("/proc/%d/statm" % process.pid) as file:
        memory = int(file.read().split()[1]) * 4
    descriptors = len(os.listdir("/proc/%d/fd" % process.pid))
    return memory, descriptors, sum(os.path.getsize(piece) for piece in bench.pieces(store))


def check(seconds):
    result = bench.Result("soak: changes, 503s and posts at speed (%d s)" % seconds)
    with bench.Scratch() as folder:
        # Every fourth request is accepted.
        service = Service(lambda name, number: 200 if number % 4 == 3 else 503)
        store = folder + "/store"
        commands = []
        for number in range(seconds * 3):
            commands += ["storm=s%d,20,0" % number, "foreground", "run=0.3"]
        process = subprocess.Popen(bench.host_words(store, service.address("soak"), *commands),
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        early = late = None
        begin = time.monotonic()
        highest = [0, 0, 0]
        while time.monotonic() - begin < seconds and process.poll() is None:
            time.sleep(0.2)
            try:
                figures = _figures(process, store)
            except OSError:
                break
            highest = [max(pair) for pair in zip(highest, figures)]
            if time.monotonic() - begin < seconds / 3:
                early = highest
            late = highest
        ended = process.poll()
        process.send_signal(signal.SIGKILL)
        process.wait()
        result.tried = service.counts.get("soak", 0)
        result.accepted = len(service.accepted.get("soak", []))
        if ended not in (None, 0):
            result.fault("crashed", "status %s" % ended)
        for name, before, after, slack in zip(("memory", "descriptors", "bytes on disk"), early, late,
                                              (1024, 2, LOG)):
            result.notes.append("%s %d, then %d" % (name, before, after))
            if after > before * 1.25 + slack:
                result.fault("grows", "%s from %d to %d" % (name, before, after))
    return result
