"""The collector is killed again and again under load: nothing that it acknowledged is missing."""
import json
import random
import time

from collector import Collector, acknowledged, fleet, stored


def check(folder, kills, seed):
    chance = random.Random(seed)
    database = folder + "/events.db"
    collector = Collector(folder, database).start()
    # More than the time that the kills take.
    load = fleet(collector.port, folder, "--devices", "3000", "--changes-per-day", "50", "--days", "30",
                 "--speed-up", "1000", "--connections", "32", "--seed", str(seed))
    try:
        for _ in range(kills):
            time.sleep(chance.uniform(0.02, 0.15))
            collector.kill()
            collector.start()
        load.send_signal(2)
        figures = json.loads(load.communicate(timeout=90)[0])
    finally:
        load.kill()
    collector.end()

    there, told = [line["eventId"] for line in stored(database)], acknowledged(folder)
    missing = set(told) - set(there)
    print(f"kills: {kills}, acknowledged {len(told)}, stored {len(there)}, missing {len(missing)}, "
          f"broken requests {figures['answers'].get('none', 0)}")
    assert not missing, f"acknowledged and lost: {sorted(missing)[:5]}"
    assert len(there) == len(set(there)), "an event is there twice"
    assert figures["eventsLost"] == 0 and len(told) > kills
    assert figures["answers"].get("none", 0) > 0, "no request met a kill: the load is too small"
