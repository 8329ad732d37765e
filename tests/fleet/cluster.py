"""Three nodes, two collectors and a fleet, killed at random: what was acknowledged is in the stream once."""
import base64
import contextlib
import json
import random
import socket
import subprocess
import time

from collector import STARTED, Collector, acknowledged, body, fleet, free_port, post, until


class Node:
    """One of a cluster, or without routes one by itself."""

    def __init__(self, folder, name, ports, routes=""):
        self.port, self.command = ports[0], ["nats-server", "-c", f"{folder}/{name}.conf"]
        self.log = open(f"{folder}/{name}.log", "w")
        with open(f"{folder}/{name}.conf", "w") as conf:
            conf.write(f'server_name: {name}\nlisten: 127.0.0.1:{ports[0]}\n'
                       f'jetstream {{ store_dir: "{folder}/{name}" }}\n')
            if routes:
                conf.write(f'cluster {{ name: fleet, listen: 127.0.0.1:{ports[1]}, routes: [{routes}] }}\n')

    def start(self):
        self.process = subprocess.Popen(self.command, stdout=self.log, stderr=self.log)
        STARTED.append(self.process)
        return self

    def kill(self):
        self.process.kill()
        self.process.wait()


class Client:
    """The few words of the protocol that reading a stream takes."""

    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=5)
        self.file = self.socket.makefile("rb")
        self.file.readline()
        self.socket.sendall(b'CONNECT {"verbose":false,"headers":true}\r\nSUB inbox 1\r\n')

    def ask(self, subject, content=""):
        self.socket.sendall(f"PUB {subject} inbox {len(content)}\r\n{content}\r\n".encode())
        while True:
            words = self.file.readline().split()
            if words and words[0] == b"PING":
                self.socket.sendall(b"PONG\r\n")
            elif words and words[0] in (b"MSG", b"HMSG"):
                return json.loads(self.file.read(int(words[-1]) + 2))


def stream(port):
    """A client, and what the stream holds; while the nodes choose who leads, nobody answers."""
    for _ in range(20):
        with contextlib.suppress(TimeoutError):
            client = Client(port)
            return client, client.ask("$JS.API.STREAM.INFO.VELMORA")["state"]
    raise TimeoutError("no node tells of the stream")


def messages(port):
    """The identifiers of all events in the stream."""
    client, state = stream(port)
    found = []
    for sequence in range(state["first_seq"], state["last_seq"] + 1):
        for _ in range(100):
            answer = client.ask("$JS.API.STREAM.MSG.GET.VELMORA", json.dumps({"seq": sequence}))
            if answer.get("error", {}).get("code") != 503:
                break
            time.sleep(0.2)  # who leads is chosen just now
        found.append(json.loads(base64.b64decode(answer["message"]["data"]))["eventId"])
    return found


def strange_stream(folder):
    """A stream that would lose what it acknowledges is refused."""
    node = Node(folder, "alone", (free_port(), 0)).start()
    until(lambda: socket.create_connection(("127.0.0.1", node.port)).close() or True)
    made = {"name": "VELMORA", "subjects": ["velmora.>"], "storage": "memory", "num_replicas": 1}
    assert "config" in Client(node.port).ask("$JS.API.STREAM.CREATE.VELMORA", json.dumps(made))
    refused = subprocess.run(Collector(folder, f"nats://127.0.0.1:{node.port}").command, capture_output=True, text=True)
    assert refused.returncode == 1 and "it is kept in memory" in refused.stderr, refused
    node.kill()


def check(folder, kills, seed):
    strange_stream(folder)
    chance = random.Random(seed)
    ports = [(free_port(), free_port()) for _ in range(3)]
    routes = ", ".join(f"nats://127.0.0.1:{cluster}" for _, cluster in ports)
    nodes = [Node(folder, f"node{i}", ports[i], routes).start() for i in range(3)]
    addresses = ",".join(f"nats://127.0.0.1:{port}" for port, _ in ports)
    collectors, loads, seeds = [], [], iter(range(1, 1000))

    def load(index):
        return fleet(collectors[index].port, folder, "--devices", "1000", "--changes-per-day", "50", "--days", "30",
                     "--speed-up", "300", "--connections", "16", "--seed", str(next(seeds)))

    try:
        collectors = [Collector(folder, addresses, name=f"collector{i}").start() for i in range(2)]
        # It never fits into a message, and hinders nobody else's.
        assert post(collectors[0].port, body(more="A" * (1 << 20))) == 400 and collectors[0].ready()
        assert post(collectors[0].port, body(3000)) == 200
        loads = [load(0), load(1)]
        for _ in range(kills):
            time.sleep(chance.uniform(0.3, 1.5))
            # One node at a time: what a majority has is what is promised.
            what = chance.choice((nodes, collectors, loads))
            index = chance.randrange(len(what))
            what[index].kill()
            if what is loads:
                loads[index].wait()
                loads[index] = load(index)
            else:
                what[index].start()
            if what is nodes:
                time.sleep(3)
        for each in loads:
            each.send_signal(2)
            assert json.loads(each.communicate(timeout=90)[0])["eventsLost"] == 0
        there, told = messages(nodes[0].port), acknowledged(folder)
        assert [each.end() for each in collectors] == [0, 0]
    finally:
        for each in loads + [held.process for held in collectors + nodes]:
            each.kill()
            each.wait()
    missing = set(told) - set(there)
    print(f"cluster: {kills} kills, acknowledged {len(told)}, in the stream {len(there)}, missing {len(missing)}")
    assert not missing, f"acknowledged and lost: {sorted(missing)[:5]}"
    assert len(there) == len(set(there)), "an event is in the stream twice"
    assert len(told) > 100
