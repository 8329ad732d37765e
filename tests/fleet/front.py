"""What stands around a collector: TLS, proxies before it, the service manager, a monitor."""
import contextlib
import json
import os
import signal
import socket
import sqlite3
import subprocess
import time

from prometheus_client.parser import text_string_to_metric_families

from collector import (KEY, PROGRAM, SECRET, STARTED, Collector, acknowledged, body, fetch, fleet, free_port, get,
                       headers, post, until)

NGINX = """user root; daemon off; pid {folder}/nginx.pid; error_log {folder}/nginx.log; worker_processes 1;
events {{ }}
http {{
  access_log off; client_body_temp_path {folder}/nginx.body; proxy_temp_path {folder}/nginx.proxy;
  fastcgi_temp_path {folder}/1; uwsgi_temp_path {folder}/2; scgi_temp_path {folder}/3;
  upstream collectors {{ server 127.0.0.1:{port}; keepalive 16; }}
  server {{
    listen 127.0.0.1:{front}; client_max_body_size 32m;
    location / {{
      proxy_pass http://collectors; proxy_http_version 1.1; proxy_set_header Connection "";
      proxy_set_header X-Forwarded-For $proxy_add_x_forwarded_for;
    }}
  }}
}}
"""
HAPROXY = """defaults
  mode http
  timeout connect 5s
  timeout client 30s
  timeout server 30s
  option forwardfor
  option redispatch
frontend devices
  bind 127.0.0.1:{front}
  default_backend collectors
backend collectors
  option httpchk GET /readyz
  default-server check inter 100ms rise 1 fall 1
"""


@contextlib.contextmanager
def running(*command, port=None, **options):
    process = subprocess.Popen(command, **options)
    STARTED.append(process)
    try:
        if port:
            until(lambda: socket.create_connection(("127.0.0.1", port)).close() or True)
        yield process
    finally:
        process.terminate()
        process.wait(20)


def nginx(folder, port):
    front = free_port()
    with open(f"{folder}/nginx.conf", "w") as conf:
        conf.write(NGINX.format(folder=folder, port=port, front=front))
    # Its own words before it has read where to log.
    return front, running("/usr/sbin/nginx", "-c", f"{folder}/nginx.conf", port=front, stderr=subprocess.DEVNULL)


def haproxy(folder, collectors):
    front = free_port()
    with open(f"{folder}/haproxy.conf", "w") as conf:
        conf.write(HAPROXY.format(front=front))
        for each in collectors:
            conf.write(f"  server {each.name} 127.0.0.1:{each.port} check port {each.status_port}\n")
    return front, running("/usr/sbin/haproxy", "-q", "-f", f"{folder}/haproxy.conf", port=front)


def forwarded(folder):
    """The peer is the connection's, or what the nearest proxy says; never what the device says."""
    peers = {}
    for options in ((), ("--trust-forwarded",)):
        database = f"{folder}/forwarded{len(options)}.db"
        collector = Collector(folder, database, *options).start()
        for name, (front, proxy) in {"nginx": nginx(folder, collector.port),
                                     "haproxy": haproxy(folder, [collector])}.items():
            with proxy:
                forged = {**headers(), "X-Forwarded-For": "192.0.2.1", "X-Api-Key": KEY}
                assert post(front, body(), forged, source="127.0.0.9") == 200, name
                assert post(front, body(400), source="127.0.0.9") == 200, name
        assert post(collector.port, body(), source="127.0.0.9") == 200
        assert collector.end() == 0
        with sqlite3.connect(database) as events:
            peers[len(options)] = [row[0] for row in events.execute("SELECT peer FROM requests ORDER BY id")]
    assert peers == {0: ["127.0.0.1"] * 4 + ["127.0.0.9"], 1: ["127.0.0.9"] * 5}, peers


def replaced(folder):
    """Two collectors behind a balancer that asks whether they are ready; one is replaced under load."""
    collectors = [Collector(folder, f"{folder}/balanced{i}.db", name=f"balanced{i}").start() for i in range(2)]
    front, proxy = haproxy(folder, collectors)
    with proxy:
        load = fleet(front, folder, "--devices", "500", "--changes-per-day", "50", "--days", "30",
                     "--speed-up", "500", "--connections", "16")
        for each in collectors:
            until(lambda: each.metrics()["velmora_requests_total", "200"] > 200)
            assert each.end() == 0
            each.start()
        load.send_signal(signal.SIGINT)
        figures = json.loads(load.communicate(timeout=60)[0])
    there = set()
    for i, each in enumerate(collectors):
        assert each.end() == 0
        with sqlite3.connect(f"{folder}/balanced{i}.db") as events:
            there |= {row[0] for row in events.execute("SELECT lower(hex(event)) FROM events")}
    told = acknowledged(folder)
    print(f"front: two collectors replaced under load, answers {figures['answers']}")
    assert figures["eventsLost"] == 0 and len(told) > 300 and not set(told) - there


def tls(folder):
    """By itself, as a client sees it that checks the certificate."""
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                    "-days", "2", "-subj", "/CN=localhost", "-addext", "subjectAltName=IP:127.0.0.1",
                    "-keyout", folder + "/tls.key", "-out", folder + "/tls.pem"], check=True, capture_output=True)
    collector = Collector(folder, folder + "/tls.db", "--tls-cert", folder + "/tls.pem",
                          "--tls-key", folder + "/tls.key").start()
    with open(folder + "/body", "wb") as file:
        file.write(body(300))

    def curl(*options):
        sent = [word for name, value in headers().items() for word in ("-H", f"{name}: {value}")]
        return subprocess.run(["curl", "-sS", "-o", "/dev/null", "-w", "%{http_code}", "--noproxy", "*", *sent,
                               "--data-binary", f"@{folder}/body", *options,
                               f"https://127.0.0.1:{collector.port}/1.0/consents"], capture_output=True, text=True)

    assert curl("--cacert", folder + "/tls.pem").stdout == "200"
    assert curl().returncode == 60
    for version in ("1.2", "1.3"):
        assert curl("--cacert", folder + "/tls.pem", f"--tlsv{version}", "--tls-max", version).stdout == "200"
    assert curl("--cacert", folder + "/tls.pem", "--tlsv1.0", "--tls-max", "1.1").returncode != 0
    with socket.create_connection(("127.0.0.1", collector.port)) as plain:
        plain.sendall(b"POST /1.0/consents HTTP/1.1\r\n\r\n")
        load = fleet(collector.port, folder, "--devices", "50", "--changes-per-day", "20", "--speed-up", "86400",
                     "--ca-file", folder + "/tls.pem", scheme="https")
        figures = json.loads(load.communicate(timeout=60)[0])
    assert figures["answers"] == {"200": figures["requests"]} and figures["eventsLost"] == 0, figures
    assert collector.end() == 0


def manager(folder):
    """A socket that is handed over, and what the manager is told."""
    collector = Collector(folder, folder + "/manager.db")
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as told:
        told.bind(folder + "/notify")
        told.settimeout(20)
        command = collector.command[:collector.command.index("--listen")]
        with running("systemd-socket-activate", "-l", f"127.0.0.1:{collector.port}", "-E", "NOTIFY_SOCKET", *command,
                     port=collector.port, env={**os.environ, "NOTIFY_SOCKET": folder + "/notify"},
                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
            assert post(collector.port, body()) == 200
            assert told.recv(100) == b"READY=1"
            process.send_signal(signal.SIGTERM)
            assert told.recv(100) == b"STOPPING=1" and process.wait(20) == 0


def units(folder):
    """The units as they are installed, with this program's path."""
    units = os.path.dirname(os.path.abspath(__file__)) + "/../../cmake/velmora-collect."
    for kind in ("service", "socket"):
        with open(units + kind) as unit, open(f"{folder}/velmora-collect.{kind}", "w") as copy:
            copy.write(unit.read().replace("ExecStart=velmora", "ExecStart=" + os.path.abspath(PROGRAM)))
    result = subprocess.run(["systemd-analyze", "verify", "--man=no", f"{folder}/velmora-collect.socket",
                             f"{folder}/velmora-collect.service"], capture_output=True, text=True)
    assert result.returncode == 0 and "velmora-collect" not in result.stderr, result.stderr


def monitored(folder):
    """Readiness, liveness and figures, as a monitor reads them."""
    collector = Collector(folder, folder + "/monitored.db").start()
    again = body(3)
    assert [post(collector.port, each) for each in (again, again, b"x")] == [200, 200, 400]
    assert post(collector.port, again, headers(secret="wrong")) == 401
    assert post(collector.port, again, path="/other") == 404
    figures = collector.metrics()
    assert [figures["velmora_requests_total", answer] for answer in ("200", "400", "401", "404", "503")] == [
        2, 1, 1, 1, 0]
    assert figures["velmora_events_added_total"] == figures["velmora_events_known_total"] == 3
    assert figures["velmora_request_seconds_count"] == figures["velmora_request_seconds_bucket", "+Inf"] == 5
    assert figures["velmora_commit_seconds_count"] == 2 and figures["process_cpu_seconds_total"] > 0
    text = fetch(collector.status_port, "/metrics")[1].decode()
    families = {family.name: family.type for family in text_string_to_metric_families(text)}
    assert "unknown" not in families.values() and len(families) > 12, families
    assert [get(collector.status_port, path) for path in ("/healthz", "/readyz", "/other")] == [200, 200, 404]
    assert collector.end() == 0
    assert all(line["at"].endswith("Z") and line["event"] for line in collector.lines)
    refused = [(line["answer"], line["peer"]) for line in collector.lines if line["event"] == "refused"]
    assert refused == [(answer, "127.0.0.1") for answer in (400, 401, 404)], refused
    assert {line["event"] for line in collector.lines} == {"refused", "ending", "ended"}


def strangers(folder):
    """A fleet tries this machine, however it is spelled, and no name that only looks like it."""
    def is_tried(host):
        command = [PROGRAM, "fleet", "--ingest", f"https://{host}/", "--api-key", KEY, "--devices", "1",
                   "--days", "0.001", "--speed-up", "1000000"]
        return subprocess.run(command, env={**os.environ, "VELMORA_SECRET": SECRET},
                              capture_output=True).returncode == 0

    tried = ["localhost", "127.1.2.3", "127.1", "2130706433", "[::1]", "[::ffff:127.0.0.1]"]
    others = ["0.0.0.0", "128.0.0.1", "127.0.0.1.example", "localhost.example", "127.0.0.1@192.0.2.1",
              "192.0.2.1#127.0.0.1", "[::ffff:192.0.2.1]"]
    assert [host for host in tried + others if is_tried(host)] == tried


def check(folder):
    for each in (strangers, monitored, manager, units, tls, forwarded, replaced):
        begin = time.monotonic()
        own = f"{folder}/{each.__name__}"
        os.mkdir(own)
        each(own)
        print(f"front: {each.__name__}, {time.monotonic() - begin:.1f} s")
