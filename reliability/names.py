"""The name of the service is resolved slowly, never, wrongly or to IPv6 alone. The name service stands
in a network of its own, which only the right to make namespaces gives; so this file runs itself there."""
import concurrent.futures
import fcntl
import json
import os
import socket
import ssl
import struct
import subprocess
import sys
import threading
import time

import bench
from service import Service

NAME = "ingest.example"
LONGEST_CALL = 100  # ms
LONGEST_END = 3  # s; the exit handler waits 2 s at most for what is under way
# What is asked for by which name: how it is answered, and whether events arrive.
WAYS = {"sound": True, "slow": True, "only6": True, "silent": False, "refused": False,
        "missing": False, "noise": False, "later": True}


def _answer(question):
    """Header, question and the record that was asked for, if there is one; or nothing."""
    end = question.index(b"\0", 12) + 5
    kind = struct.unpack(">H", question[end - 4:end - 2])[0]
    way = question[13:13 + question[12]].decode()
    status, record = 0, b""
    if way == "slow":
        time.sleep(1.5)
    elif way == "silent" or way == "later" and time.monotonic() < _answer.begin + 4:
        return None
    elif way == "noise":
        return question[:2] + os.urandom(60)
    elif way in ("refused", "missing"):
        status = 2 if way == "refused" else 3
    if status == 0 and kind == 1 and way != "only6":
        record = socket.inet_aton("127.0.0.1")
    elif status == 0 and kind == 28 and way == "only6":
        record = socket.inet_pton(socket.AF_INET6, "::1")
    head = question[:2] + struct.pack(">HHHHH", 0x8180 | status, 1, 1 if record else 0, 0, 0)
    found = struct.pack(">HHHIH", 0xC00C, kind, 1, 0, len(record)) + record if record else b""
    return head + question[12:end] + found


def _serve_names():
    listening = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    listening.bind(("127.0.0.1", 53))
    _answer.begin = time.monotonic()

    def serve(question, asker):
        answer = _answer(question)
        if answer:
            listening.sendto(answer, asker)

    while True:
        threading.Thread(target=serve, args=listening.recvfrom(4096), daemon=True).start()


def _inside(folder):
    """In the network of its own: a line of JSON for each way."""
    control = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    fcntl.ioctl(control, 0x8914, struct.pack("16sh", b"lo", 0x41))  # SIOCSIFFLAGS: up and running
    threading.Thread(target=_serve_names, daemon=True).start()
    tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    tls.load_cert_chain(folder + "/crt", folder + "/key")
    fourth = Service(tls=tls)
    sixth = Service(tls=tls, host="::1")

    def one(way):
        store = folder + "/" + way
        service = sixth if way == "only6" else fourth
        address = "https://%s.%s:%d/%s/" % (way, NAME, service.server.server_address[1], way)
        words = ["set=a-1", "foreground", "idle=6", "set=a-2", "foreground", "idle=%d" %
                 (6 if WAYS[way] else 2)]
        begin = time.monotonic()
        run = bench.run_host(store, address, *words)
        return {"way": way, "status": run.status, "errors": run.errors[-300:],
                "calls": [list(call) for call in run.calls],
                "after": time.monotonic() - begin - (run.calls[-1].at - run.calls[0].at),
                "delivered": service.accepted.get(way, []), "waiting": bench.stored(store)}

    with concurrent.futures.ThreadPoolExecutor(len(WAYS)) as pool:
        for told in pool.map(one, WAYS):
            print(json.dumps(told))


def check():
    result = bench.Result("the name service: slow, silent, refusing, noise, IPv6 alone, late")
    with bench.Scratch() as folder:
        bench.certificate(folder, "*." + NAME, "DNS:*." + NAME)
        with open(folder + "/resolv.conf", "w") as file:
            file.write("nameserver 127.0.0.1\noptions timeout:2 attempts:1\n")
        inside = subprocess.run(
            ["unshare", "--mount", "--net", "sh", "-c", 'mount --bind "$1/resolv.conf" '
             '"$(readlink -f /etc/resolv.conf)" && exec "$2" "$3" "$1"', "sh", folder,
             sys.executable, os.path.abspath(__file__)],
            env={**os.environ, "RELIABILITY_CA": folder + "/crt"}, capture_output=True, text=True)
        if inside.stderr.startswith("unshare: "):
            result.notes.append("needs the right to make namespaces: " + inside.stderr[-200:].strip())
            return result
        if inside.returncode != 0:
            result.fault("the check itself", inside.stderr[-500:])
        for told in map(json.loads, inside.stdout.splitlines()):
            way, calls = told["way"], [bench.Call(*call) for call in told["calls"]]
            result.tried += 1
            if told["status"] != 0:
                result.fault("crashed", "%s: %s" % (way, told["errors"]))
            for call in calls:
                if call.what in ("set", "start") and call.milliseconds > LONGEST_CALL:
                    result.fault("blocked", "%s: %s %.0f ms" % (way, call.what, call.milliseconds))
            if told["after"] > LONGEST_END:
                result.fault("blocked", "%s: %.1f s at the end" % (way, told["after"]))
            result.judge(bench.accepted(calls), told["delivered"] + told["waiting"], way, twice=False)
            if ("a-2" in told["delivered"]) != WAYS[way]:
                result.fault("delivery", "%s: %s %s" % (way, told["delivered"], told["errors"]))
    return result


if __name__ == "__main__":
    _inside(sys.argv[1])
