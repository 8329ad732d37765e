"""What strangers and broken devices send: bounded memory, others are served, one clear line each."""
import contextlib
import csv
import glob
import gzip
import io
import json
import os
import resource
import socket
import sqlite3
import subprocess
import threading
import time

from collector import KEY, PROGRAM, SECRET, Collector, body, get, headers, post, stored, until

MOST_RESIDENT_MIB = 700


def head(length=None):
    """Without a length the body comes in chunks."""
    lines = "".join(f"{name}: {value}\r\n" for name, value in headers().items())
    body_is = "Transfer-Encoding: chunked" if length is None else f"Content-Length: {length}"
    return f"POST /1.0/consents HTTP/1.1\r\nHost: x\r\n{lines}{body_is}\r\n\r\n".encode()


def connected(port):
    return socket.create_connection(("127.0.0.1", port), timeout=60)


def corpus(port):
    """Every input that a fuzzer has kept, as a body and as a whole connection."""
    names = glob.glob(os.path.dirname(__file__) + "/../fuzz/corpus/*/*")
    assert len(names) > 20
    for name in names:
        with open(name, "rb") as file:
            content = file.read()
        for sent in (content, gzip.compress(content, 9)):
            assert post(port, sent) in (200, 400), name
        with connected(port) as peer:
            peer.sendall(content[:4000] + b"\r\n\r\n")


def idle(collector):
    """Ten thousand connections that say nothing, or as many as the machine allows."""
    _, most = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    peers = [connected(collector.port) for _ in range(min(10_000, most - 200))]
    begin = time.monotonic()
    assert post(collector.port, body()) == 200
    print(f"hostile: {len(peers)} idle connections, {collector.resident()} MiB, "
          f"a request in {1000 * (time.monotonic() - begin):.0f} ms")
    assert time.monotonic() - begin < 2
    for peer in peers:
        peer.close()


def drip(port, begins, result):
    """A byte now and then never makes a request: neither of a body nor of what may stand beside it."""
    begin = time.monotonic()
    with connected(port) as peer, contextlib.suppress(OSError):
        peer.sendall(begins)
        while time.monotonic() - begin < 40:
            peer.sendall(b"x")
            time.sleep(0.5)
    result.append(time.monotonic() - begin)


def endless(collector):
    """What may stand beside a chunked body has an end, too."""
    for begins in (b"5;", b"0\r\nX: "):
        with connected(collector.port) as peer, contextlib.suppress(OSError):
            peer.sendall(head() + begins + b"x" * (64 << 20))
            raise AssertionError(f"64 MB of it were taken after {begins}")


def two_lengths(collector):
    """Who tells twice where a body ends may mean another end than a proxy in front."""
    for other in ("Content-Length: 1", "Transfer-Encoding: chunked"):
        with connected(collector.port) as peer:
            peer.sendall(head(1)[:-2] + other.encode() + b"\r\n\r\n")
            answer = peer.recv(1000)
            assert b" 400 " in answer and b"Connection: close" in answer, answer


def too_large(collector):
    with connected(collector.port) as peer:
        peer.sendall(head(64 << 20))
        assert b" 413 " in peer.recv(1000)
    bomb = gzip.compress(b"[" + b"0" * (1 << 30), 9)
    begin = time.monotonic()
    bombs = [threading.Thread(target=lambda: results.append(post(collector.port, bomb))) for _ in range(8)]
    results = []
    for each in bombs:
        each.start()
    assert post(collector.port, body()) == 200
    others = time.monotonic() - begin
    for each in bombs:
        each.join()
    print(f"hostile: 8 bombs of 1 GiB, another request in {others:.1f} s, {collector.resident()} MiB")
    assert results == [400] * 8 and collector.resident() < MOST_RESIDENT_MIB
    assert collector.line_with("the body holds more than 64 MiB", 5, 8) == 8


def other_consents(collector, database):
    """What a device has, a host wrote: a consent may be any JSON, and comes out as it came in."""
    content = json.loads(gzip.decompress(body(6)))
    consents = ["text", "", None, 5, {"a": ["\u00e4", None]}, '","\r\n"']
    for item, consent in zip(content["batch"], consents):
        item["consentString"] = consent
    assert post(collector.port, gzip.compress(json.dumps(content).encode(), 9)) == 200
    assert [line["consent"] for line in stored(database)[-6:]] == consents
    table = subprocess.check_output([PROGRAM, "collect", "export", database, "--form", "csv"]).decode()
    misused = subprocess.run([PROGRAM, "collect", "export", database, "--form", "xml"],
                             stderr=subprocess.PIPE, text=True)
    assert misused.stderr.startswith("velmora collect export: --form: xml "), misused.stderr
    last = [row["content"] for row in list(csv.DictReader(io.StringIO(table, newline="")))[-6:]]
    assert last == ["text", "", "", "5", json.dumps(consents[4], ensure_ascii=False, separators=(",", ":")),
                    consents[5]], last


def keys_change(collector, folder):
    def reload(text, line):
        before = collector.line_with(line, 0)
        with open(folder + "/keys", "w") as keys:
            keys.write(text)
        collector.process.send_signal(1)
        assert collector.line_with(line, 5, before + 1) == before + 1

    assert post(collector.port, body(), headers("second", "s")) == 401
    reload(f"{KEY} {SECRET}\nsecond s\n", "keys-read")
    assert post(collector.port, body(), headers("second", "s")) == 200
    reload("no-secret\n", "keys-kept")
    assert post(collector.port, body(), headers("second", "s")) == 200
    reload(f"{KEY} {SECRET}\n", "keys-read")
    assert post(collector.port, body(), headers("second", "s")) == 401
    assert post(collector.port, body(), headers(KEY, "wrong")) == 401
    assert collector.line_with("everybody on this machine can read the secrets", 5, 3) == 3


def sink_fails(collector, database):
    """Somebody holds the database: 503, not ready; then all is well, and once."""
    again = body(3)
    holder = sqlite3.connect(database, isolation_level=None)
    holder.execute("BEGIN IMMEDIATE")
    assert post(collector.port, again) == 503
    assert not collector.ready() and get(collector.status_port, "/healthz") == 200
    holder.execute("ROLLBACK")
    assert post(collector.port, again) == post(collector.port, again) == 200
    assert collector.ready()
    count = holder.execute("SELECT count(*), count(DISTINCT event) FROM events").fetchone()
    assert count[0] == count[1], count
    holder.close()


def memory_ends(folder):
    """What waits for the sink counts as it lies in memory, not as it came: 2.5 MB in 200 bytes."""
    collector = Collector(folder, folder + "/full.db", "--memory", "8", name="full").start()
    date = "2026-03-04 15:06:07 +0100"
    device = "00000000-0000-0000-0000-000000000000"
    entries = {"postDate": date, "os": "ios", "vmrId": device, "uuid": device, "uuidV": "",
               "sdkVersion": "000000-Debug", "bundleId": "com.example.fleet", "batch": [{}] * 10_000}
    errors = gzip.compress(json.dumps(entries, separators=(",", ":")).encode(), 9)
    holder = sqlite3.connect(folder + "/full.db", isolation_level=None)
    holder.execute("BEGIN IMMEDIATE")
    answers = []
    devices = [threading.Thread(target=lambda: answers.append(
        post(collector.port, errors, headers(resource="devices_errors"), "/devices_errors"))) for _ in range(8)]
    for each in devices:
        each.start()
    with contextlib.suppress(TimeoutError):
        until(lambda: len(answers) >= 6, 4)
    holder.execute("ROLLBACK")
    for each in devices:
        each.join()
    print(f"hostile: 8 requests that unpack to 2.5 MB beside --memory 8, {answers.count(503)} refused, "
          f"{collector.resident()} MiB")
    assert set(answers) == {200, 503} and collector.resident() < MOST_RESIDENT_MIB, answers
    assert holder.execute("SELECT count(*) FROM events").fetchone() == (1,)  # all are equal
    holder.close()
    collector.kill()


def file_moves(collector, database):
    """What goes into a file that nobody finds any more is not acknowledged."""
    again = body(3)
    os.rename(database, database + ".away")
    assert post(collector.port, again) == 503 and not collector.ready()
    assert collector.line_with("was removed, moved or replaced") >= 1
    os.rename(database + ".away", database)
    assert post(collector.port, again) == 200 and collector.ready()


def few_descriptors(folder):
    """Strangers take all connections: a monitor is answered, and nothing spins."""
    collector = Collector(folder, folder + "/few.db", name="few")
    collector.command = ["prlimit", "--nofile=100:100", *collector.command]
    collector.start()
    with contextlib.ExitStack() as open_peers:
        for _ in range(200):
            open_peers.enter_context(connected(collector.port))
        until(lambda: collector.metrics()["velmora_connections"] == 50)
        before = collector.metrics()["process_cpu_seconds_total"]
        begin = time.monotonic()
        # A place is free as soon as those who say nothing have waited their short time.
        assert post(collector.port, body(), seconds=40) == 200
        print(f"hostile: 200 idle connections on 100 descriptors, a request in {time.monotonic() - begin:.0f} s")
        assert collector.metrics()["process_cpu_seconds_total"] - before < 1
    assert collector.end() == 0


def read_answer(peer):
    answer = b""
    while not answer.endswith(b"\n"):  # of the body, or of a head without one
        piece = peer.recv(1000)
        if not piece:
            break
        answer += piece
    return answer


def ends_well(collector):
    """Each request that has begun gets its answer from a collector that is asked to end."""
    content = body(1000)
    with contextlib.ExitStack() as open_peers:
        peers = [open_peers.enter_context(connected(collector.port)) for _ in range(20)]
        quiet = peers.pop()
        for peer in peers:
            peer.sendall(head(len(content)) + content[:100])
        until(lambda: collector.metrics()["velmora_open_requests"] == len(peers))
        collector.process.send_signal(15)
        assert collector.line_with("ending") == 1 and not collector.ready()
        quiet.sendall(head(0))
        assert b" 503 " in read_answer(quiet)
        for peer in peers:
            peer.sendall(content[100:])
        for peer in peers:
            answer = read_answer(peer)
            assert b" 200 " in answer and b"close" in answer and not peer.recv(1), answer
    assert collector.process.wait(30) == 0


def check(folder):
    database = folder + "/events.db"
    collector = Collector(folder, database)
    os.chmod(folder + "/keys", 0o644)
    assert collector.start().line_with("everybody on this machine can read the secrets") == 1
    dripped = []
    slow = [threading.Thread(target=drip, args=[collector.port, begins, dripped])
            for begins in (head(1000), head() + b"5;")]
    for each in slow:
        each.start()
    endless(collector)
    corpus(collector.port)
    two_lengths(collector)
    too_large(collector)
    other_consents(collector, database)
    keys_change(collector, folder)
    sink_fails(collector, database)
    file_moves(collector, database)
    assert not [name for name in glob.glob(database + "*") if os.stat(name).st_mode & 0o077], "others can read it"
    idle(collector)
    few_descriptors(folder)
    memory_ends(folder)
    for each in slow:
        each.join()
    assert len(dripped) == 2 and 19 < min(dripped) < max(dripped) < 30, dripped
    assert collector.line_with("did not come whole within 20 seconds", 5, 2) == 2
    assert post(collector.port, body()) == 200
    ends_well(collector)
