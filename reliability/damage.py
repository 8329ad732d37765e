"""Bytes of the store are turned while no process runs."""
import os
import random

import bench
from service import Service

PAGE = 4096


def check(rounds, seed):
    result = bench.Result("damaged bytes: none is delivered; the rows of one page at most are set aside")
    rng = random.Random(seed)
    with bench.Scratch() as folder:
        service = Service(after=lambda name, number: open(folder + "/store.answered", "w").close())
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
            # What the service gets is what the host believed.
            name = str(number)
            after = bench.run_host(store, service.address(name), "set=after-1", "foreground",
                                   "until=%s.answered,5" % store, "synchronize")
            result.tried += 1
            where = "bit at byte %d" % at
            if after.status != 0:
                result.fault("crashed", "%s: %s" % (where, after.errors[-200:]))
                continue
            found = service.accepted.get(name, [])
            believed = [text for text in found if text is not None and text not in known
                        and text != "after-1"]
            if believed:
                result.fault("believed", "%s: %s" % (where, believed[:2]))
            if "after-1" not in found:
                result.fault("lost", where + ": what was set afterwards")
            missing = [text for text in known if text not in found]
            if missing and str(store) not in after.errors:
                result.fault("lost", "%s: %d missing without a word" % (where, len(missing)))
            # A page takes its own rows with it, the first one says where all the others are; a
            # file that was set aside keeps them.
            aside = any(".damaged" in piece for piece in bench.pieces(store))
            if len(missing) > 12 and not (at < PAGE and aside):
                result.fault("lost", "%s: %d missing" % (where, len(missing)))
            result.announced += len(missing)
            result.accepted += len(known)
    return result
