"""The host is killed (SIGKILL) at any moment and at every system call of its work."""
import collections
import random
import re
import subprocess
import time

import bench

ROUNDS_OF_A_STORE = 20


def only_last_repeated(found):
    """A start may note the string it finds once more; so of a round's strings only the last."""
    last = {}
    for text in found:
        match = re.fullmatch(r"(\w+)-(\d+)", text or "")
        if match:
            last[match[1]] = max(last.get(match[1], 0), int(match[2]))
    counts = collections.Counter(text for text in found if text is not None)
    return [text for text, count in counts.items()
            if count > 2 or count == 2 and int(text.rsplit("-", 1)[1]) != last[text.rsplit("-", 1)[0]]]


def at_random(rounds, seed):
    result = bench.Result("kill -9 at a random moment of changes without a pause")
    rng = random.Random(seed)
    with bench.Scratch() as folder:
        for number in range(rounds):
            store = "%s/%d" % (folder, number // ROUNDS_OF_A_STORE)
            if number % ROUNDS_OF_A_STORE == 0:
                known = []
                for old in bench.pieces("%s/%d" % (folder, number // ROUNDS_OF_A_STORE - 1)):
                    bench.os.remove(old)
            process = subprocess.Popen(
                bench.host_words(store, bench.NOWHERE, "storm=r%d,100000,0" % number),
                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
            time.sleep(rng.uniform(0.002, 0.03))
            process.kill()
            out = process.communicate()[0].decode(errors="replace")
            done = bench.accepted(bench.calls_of(out[:out.rfind("\n") + 1]))
            known += done
            found = bench.stored(store)
            result.tried += 1
            result.judge(known, found, "in round %d" % number, twice=False)
            result.accepted += len(done) - len(known)
            repeated = only_last_repeated(found)
            if repeated:
                result.fault("twice", "%s in round %d" % (repeated[:3], number))
    return result


def at_every_call(groups, most, damaged=False):
    """most: how many points of each group are tried, spread evenly over them."""
    result = bench.Result("kill -9 before every system call" +
                          (" while a damaged file is replaced" if damaged else ""))
    with bench.Scratch() as folder:
        template = folder + "/template"
        before = bench.run_host(template, bench.NOWHERE, "set=old-1", "set=old-2", "run=0.1",
                                "synchronize")
        old = bench.accepted(before.calls)
        assert old == ["old-1", "old-2"], before
        if damaged:
            bench.damage_index(template)
        for group in groups:
            count = bench.run_host(_copy(template, folder + "/count"), bench.NOWHERE, "set=new-1",
                                   "set=new-2", "synchronize", shim={"SHIM_KILL": group + ":0"}).seen
            step = max(1, count // most)
            for number in range(1, count + 1, step):
                store = _copy(template, "%s/%s-%d" % (folder, group, number))
                run = bench.run_host(store, bench.NOWHERE, "set=new-1", "set=new-2", "synchronize",
                                     shim={"SHIM_KILL": "%s:%d" % (group, number)})
                result.tried += 1
                where = "%s %d" % (group, number)
                if run.status not in (0, -9):
                    result.fault("crashed", "%s %s" % (where, run.errors[-300:]))
                expected = old + bench.accepted(run.calls)
                result.judge(expected, bench.reopened(store), where, twice=False)
                for piece in bench.pieces(store):
                    bench.os.remove(piece)
    return result


def _copy(template, to):
    bench.copy_store(template, to)
    return to
