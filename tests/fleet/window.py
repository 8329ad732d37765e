"""What a stream's window costs a node: its memory with it, and without, for the same events."""
import time

from cluster import Node
from collector import Collector, body, free_port, post, until

EVENTS, REQUEST = 300_000, 1000


def resident(folder, hours):
    port = free_port()
    node = Node(folder, f"node{hours}", [port]).start()
    collector = Collector(folder, f"nats://127.0.0.1:{port}", "--replicas", "1", "--window", str(hours),
                          name=f"window{hours}").start()
    for _ in range(EVENTS // REQUEST):
        assert post(collector.port, body(REQUEST)) == 200
    # A node that starts reads the window anew with the first event, and holds nothing else then.
    time.sleep(hours * 3600 if hours < 1 else 0)
    node.kill()
    node.start()
    until(lambda: post(collector.port, body()) == 200, 60)
    time.sleep(20)
    with open(f"/proc/{node.process.pid}/status") as status:
        kib = next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))
    collector.end()
    node.kill()
    return kib * 1024


def check(folder):
    without, within = resident(folder, 0.01), resident(folder, 168)
    print(f"window: {EVENTS} events, {without >> 20} MiB resident beyond it, {within >> 20} MiB within it, "
          f"{(within - without) / EVENTS:.0f} bytes an event")
