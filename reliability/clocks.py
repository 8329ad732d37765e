"""The machine's clock is set ahead and back, while the host runs and between its runs."""
import concurrent.futures

import bench
from service import Service

DAY = 86400
STEPS = (60, -60, DAY, -DAY, 400 * DAY, -400 * DAY, 20 * 365 * DAY, -40 * 365 * DAY)
LONGEST_CALL = 100  # ms


def check():
    result = bench.Result("stepped clocks: nothing is held back, and the order stays")
    with bench.Scratch() as folder:
        healthy = Service()
        refusing = Service(lambda name, number: 503)
        def one(number, step):
            # While it runs: what was set before the step and after it arrives.
            name = "running-%d" % number
            steps = [word for ahead in (step, 0, step) for word in
                     ("clock=%d" % ahead, "set=%d" % ahead, "foreground", "idle=5")]
            run = bench.run_host("%s/%s" % (folder, name), healthy.address(name), "set=first",
                                 "foreground", "idle=5", *steps, shim={"SHIM_CLOCK": "0"})
            _judge(result, run, ["first", str(step), "0", str(step)],
                   healthy.accepted.get(name, []), "%+d s" % step)
            # Between runs: what waits is in the order in which it was set, and arrives.
            store = "%s/between-%d" % (folder, number)
            name = "between-%d" % number
            for ahead in (0, step, 0):
                bench.run_host(store, refusing.address(name), "storm=at%d,3,0" % ahead,
                               "foreground", "idle=5", "synchronize", shim={"SHIM_CLOCK": str(ahead)})
            waiting = bench.stored(store)
            last = bench.run_host(store, healthy.address(name), "set=last", "foreground", "idle=5",
                                  shim={"SHIM_CLOCK": str(step)})
            expected = ["at%d-%d" % (ahead, n) for ahead in (0, step, 0) for n in (1, 2, 3)] + ["last"]
            found = healthy.accepted.get(name, [])
            _judge(result, last, expected, found, "%+d s between runs" % step)
            if found[:len(waiting)] != waiting:
                result.fault("order", "%+d s: %s" % (step, found))

        # They mostly wait: the host posts a second after its return.
        with concurrent.futures.ThreadPoolExecutor(len(STEPS)) as pool:
            list(pool.map(one, range(len(STEPS)), STEPS))
    return result


def _judge(result, run, expected, found, where):
    result.tried += 1
    if run.status != 0:
        result.fault("crashed", "%s: %s" % (where, run.errors[-300:]))
    for call in run.calls:
        if call.what in ("set", "start") and call.milliseconds > LONGEST_CALL:
            result.fault("blocked", "%s: %s %.0f ms" % (where, call.what, call.milliseconds))
    in_order = [text for number, text in enumerate(found)
                if text is not None and (number == 0 or found[number - 1] != text)]
    result.judge(expected, found, where, twice=False)
    rest = iter(in_order)
    if not all(text in rest for text in expected):
        result.fault("order", "%s: %s" % (where, found))
