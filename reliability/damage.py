"""Bytes of the store are turned while no process runs."""
import os
import random

import bench


def check(rounds, seed):
    result = bench.Result("damaged bytes: one event's at most is set aside, all others survive")
    rng = random.Random(seed)
    with bench.Scratch() as folder:
        template = folder + "/template"
        run = bench.run_host(template, bench.NOWHERE, "storm=a,200,0", "synchronize")
        connection = bench.sqlite3.connect(template)
        connection.execute("PRAGMA wal_checkpoint(TRUNCATE)")
        connection.close()
        known = bench.accepted(run.calls)
        size = os.path.getsize(template)
        for number in range(rounds):
            store = folder + "/store"
            for piece in bench.pieces(store):
                os.remove(piece)
            bench.shutil.copyfile(template, store)
            os.chmod(store, 0o600)
            at = rng.randrange(size)
            with open(store, "r+b") as file:
                file.seek(at)
                old = file.read(1)[0]
                file.seek(at)
                file.write(bytes([old ^ (1 << rng.randrange(8))]))
            after = bench.run_host(store, bench.NOWHERE, "set=after-1", "synchronize")
            result.tried += 1
            where = "bit at byte %d" % at
            if after.status != 0:
                result.fault("crashed", "%s: %s" % (where, after.errors[-200:]))
                continue
            found = bench.stored(store, whole=False)
            false = [text for text in found if text is not None and text not in known
                     and text != "after-1"]
            if false:
                result.fault("believed", "%s: %s" % (where, false[:2]))
            missing = [text for text in known if text not in found]
            if "after-1" not in found:
                result.fault("lost", where + ": what was set afterwards")
            if missing and "VelmoraKit" not in after.errors and "Preferences" not in after.errors:
                result.fault("lost", "%s: %d missing without a word" % (where, len(missing)))
            # A page of a damaged tree may take its neighbours' rows with it; a row alone may not.
            if len(missing) > 12:
                result.fault("lost", "%s: %d missing" % (where, len(missing)))
            result.announced += len(missing)
            result.accepted += len(known)
    return result
