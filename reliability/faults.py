"""Each memory, file, lock, thread and socket call of a whole run fails once, and from there on."""
import concurrent.futures
import errno
import os

import bench
from service import Service

CASES = [("memory", errno.ENOMEM), ("open", errno.EMFILE), ("open", errno.EACCES),
         ("write", errno.ENOSPC), ("write", errno.EIO), ("read", errno.EIO), ("sync", errno.EIO),
         ("lock", errno.ENOLCK), ("stat", errno.EIO), ("rename", errno.EIO), ("unlink", errno.EIO),
         ("map", errno.ENOMEM), ("thread", errno.EAGAIN), ("socket", errno.ENETUNREACH),
         ("event", errno.ENOSPC)]
LONGEST_CALL = 100  # ms; 50 ms of waiting for a held store, and a busy machine


def _one(folder, service, template, name, group, number, problem, last):
    store = "%s/%s" % (folder, name)
    bench.copy_store(template, store)
    told = store + ".answered"
    run = bench.run_host(
        store, service.address(name), "set=new-1", "set=new-2", "set=new-3", "foreground",
        "until=%s-0,0.7" % told, "set=new-4", "foreground", "until=%s-1,0.7" % told, "synchronize",
        limit=60, shim={"SHIM_FAIL": "%s:%d:%d:%d" % (group, problem, number, last)})
    return store, run


def check(most, from_there_on, jobs=6):
    result = bench.Result("every call fails " + ("from there on" if from_there_on else "once"))
    with bench.Scratch() as folder:
        def after(name, number):
            open("%s/%s.answered-%d" % (folder, name, number), "w").close()
        # The first request is accepted, the rest is refused: what is left must be in the store.
        service = Service(lambda name, number: 200 if number == 0 else 503, after)
        template = folder + "/template"
        assert bench.run_host(template, bench.NOWHERE, "set=old-1", "set=old-2",
                              "synchronize").status == 0
        serial = iter(range(10**9))

        def point(group, problem, number):
            last = 2**62 if from_there_on else number
            name = "%s%d-%d" % (group, next(serial), number)
            store, run = _one(folder, service, template, name, group, number, problem, last)
            where = "%s %s at %d" % (group, errno.errorcode[problem], number)
            faults = []
            if run.hung:
                faults.append(("hung", where))
            elif run.status != 0:
                faults.append(("crashed", "%s: status %d %s" % (where, run.status, run.errors[-200:])))
            for call in run.calls:
                if call.what in ("set", "start") and call.milliseconds > LONGEST_CALL:
                    faults.append(("blocked", "%s: %s %.0f ms" % (where, call.what, call.milliseconds)))
            synchronized = any(c.what == "synchronize" and c.result == 0 for c in run.calls)
            expected = ["old-1", "old-2"] + bench.accepted(run.calls)
            found = service.accepted.get(name, []) + bench.reopened(store)
            lost = [text for text in expected if text not in found]
            if lost and (synchronized or not bench.announced(run.errors)):
                faults.append(("lost", "%s: %s %s" % (where, lost, run.errors[-500:])))
            for piece in bench.pieces(store):
                os.remove(piece)
            return len(expected), bool(lost), faults

        def judged(group, problem, number):
            # A thread that waits for one that waits for the processor: what blocks, blocks again.
            first = point(group, problem, number)
            only_blocked = {kind for kind, _ in first[2]} == {"blocked"}
            return point(group, problem, number) if only_blocked else first

        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            for group, problem in CASES:
                store, run = _one(folder, service, template, "count-%s-%d" % (group, problem),
                                  group, 0, problem, 0)
                step = max(1, run.seen // most)
                for count, announced_loss, faults in pool.map(
                        lambda number: judged(group, problem, number), range(1 + step // 2, run.seen + 1, step)):
                    result.tried += 1
                    result.accepted += count
                    result.announced += announced_loss
                    for kind, example in faults:
                        result.fault(kind, example)
        for name, problem in service.malformed:
            result.fault("malformed request", "%s %s" % (name, problem))
    return result
