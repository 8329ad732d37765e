"""Servers that nobody here wrote: nginx and haproxy end TLS before the service, in HTTP/1.1 and
HTTP/2, with TLS 1.2 and 1.3. Kept connections time out, end after three requests (in HTTP/2 with
GOAWAY), and the server is loaded anew again and again while several hosts post."""
import concurrent.futures
import itertools
import os
import shutil
import socket
import subprocess
import threading
import time

import bench
from service import Service

NGINX = """
daemon off; master_process on; worker_processes 1; error_log {folder}/nginx.log; pid {folder}/nginx.pid;
events {{ worker_connections 64; }}
http {{
  access_log off; client_body_temp_path {folder}/body; proxy_temp_path {folder}/proxy;
  fastcgi_temp_path {folder}/fastcgi; uwsgi_temp_path {folder}/uwsgi; scgi_temp_path {folder}/scgi;
  keepalive_timeout {keep}; keepalive_requests 3;
  server {{
    listen 127.0.0.1:{port} ssl{http2}; ssl_certificate {folder}/pem; ssl_certificate_key {folder}/pem;
    ssl_protocols {tls};
    location / {{
      proxy_pass http://127.0.0.1:{behind};
      proxy_set_header X-Seen "$ssl_protocol $server_protocol $connection_requests";
    }}
  }}
}}
"""
HAPROXY = """
global
  stats socket {folder}/haproxy.sock level admin expose-fd listeners
  hard-stop-after 2s
defaults
  mode http
  timeout connect 2s
  timeout client 5s
  timeout server 5s
  timeout http-keep-alive {keep}
frontend f
  bind 127.0.0.1:{port} ssl crt {folder}/pem alpn {alpn} ssl-min-ver {tls} ssl-max-ver {tls}
  http-request set-header X-Seen "%[ssl_fc_protocol] HTTP/%[req.ver] -"
  default_backend b
backend b
  server s 127.0.0.1:{behind}
"""


def _free_port():
    with socket.create_server(("127.0.0.1", 0)) as listening:
        return listening.getsockname()[1]


class Front:
    """One of the two servers, with TLS, before the service."""

    def __init__(self, program, folder, behind, http2, tls, keep):
        self.port = _free_port()
        self.folder = folder
        if program == "nginx":
            text = NGINX.format(folder=folder, port=self.port, behind=behind, keep=keep,
                                http2=" http2" if http2 else "", tls="TLSv" + tls)
            self.words = ["nginx", "-p", folder, "-c", folder + "/conf", "-e", folder + "/nginx.log"]
        else:
            text = HAPROXY.format(folder=folder, port=self.port, behind=behind, keep=keep,
                                  alpn="h2,http/1.1" if http2 else "http/1.1", tls="TLSv" + tls)
            self.words = ["haproxy", "-W", "-f", folder + "/conf"]
        with open(folder + "/conf", "w") as file:
            file.write(text)
        self.process = subprocess.Popen(self.words, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        for _ in range(100):
            try:
                socket.create_connection(("127.0.0.1", self.port)).close()
                return
            except OSError:
                time.sleep(0.05)
        raise RuntimeError(program + " does not listen")

    def reload(self):
        self.process.send_signal(1 if self.words[0] == "nginx" else 12)  # SIGHUP, SIGUSR2

    def end(self):
        self.process.terminate()
        try:
            self.process.wait(5)
        except subprocess.TimeoutExpired:
            self.process.kill()


def _hosts(result, front, service, folder, name, turns):
    """Three hosts at once. The first lets kept connections time out; the others leave no pause."""
    def one(number):
        store = "%s/%s-%d" % (folder, name, number)
        words = []
        for turn in range(turns):
            # One by one: what is set while a request is under way goes with it.
            words += ["set=%s-%d-%d" % (name, number, turn), "foreground", "idle=5"]
            if number == 0:
                words.append("run=%s" % (2.2 if turn % 3 == 2 else 0.1))
        path = "%s-%d" % (name, number)
        run = bench.run_host(store, "https://127.0.0.1:%d/%s/" % (front.port, path), *words,
                             "synchronize", limit=30 + 8 * turns)
        return path, run, bench.stored(store)

    requests = arrived = waiting = 0
    with concurrent.futures.ThreadPoolExecutor(3) as pool:
        for path, run, left in pool.map(one, range(3)):
            delivered = service.accepted.get(path, [])
            result.tried += turns
            if run.status != 0:
                result.fault("crashed", "%s: %s" % (path, run.errors[-300:]))
            result.judge(bench.accepted(run.calls), delivered + left, path, twice=False)
            if not delivered:
                result.fault("nothing arrived", "%s: %s" % (path, run.errors[-500:]))
            requests += service.counts.get(path, 0)
            arrived += len(delivered)
            waiting += len(left)
    return "%d requests, %d events arrived, %d wait" % (requests, arrived, waiting)


def check(turns):
    result = bench.Result("nginx and haproxy before the service: TLS 1.2/1.3, HTTP/1.1 and 2, reloads")
    if not shutil.which("nginx") or not shutil.which("haproxy"):
        result.notes.append("needs nginx and haproxy: scripts/setup reliability")
        return result
    with bench.Scratch() as folder:
        bench.certificate(folder, "127.0.0.1", "IP:127.0.0.1")
        os.environ["RELIABILITY_CA"] = folder + "/crt"

        def one(way):
            program, http2, tls = way
            name = "%s-%d-%s" % way
            own = "%s/%s" % (folder, name)
            os.mkdir(own)
            shutil.copy(folder + "/pem", own)
            service = Service()
            front = Front(program, own, service.server.server_address[1], http2, tls, "2s")
            ended = threading.Event()

            def reload_often():
                for number in itertools.count():
                    if ended.wait(0.3 if number % 4 else 2.5):
                        return
                    front.reload()

            threading.Thread(target=reload_often, daemon=True).start()
            try:
                told = _hosts(result, front, service, own, name, turns)
            finally:
                ended.set()
                front.end()
            seen = " ".join(("TLSv" + tls, "HTTP/2.0" if http2 else "HTTP/1.1"))
            if {text.rsplit(" ", 1)[0] for text in service.seen} != {seen}:
                result.fault("another protocol", "%s: %s" % (name, service.seen))
            if program == "nginx" and not service.seen & {seen + " 2", seen + " 3"}:
                result.fault("no connection kept", name)
            for path, problem in service.malformed:
                result.fault("malformed request", "%s %s" % (path, problem))
            return "%s: %s" % (name, told)

        ways = [(program, http2, tls) for program in ("nginx", "haproxy")
                for http2 in (False, True) for tls in ("1.2", "1.3")]
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            result.notes += pool.map(one, ways)
        del os.environ["RELIABILITY_CA"]
    return result
