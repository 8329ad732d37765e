"""Servers that nobody here wrote: nginx and haproxy end TLS before the service, in HTTP/1.1 and
HTTP/2, with TLS 1.2 and 1.3, kept connections that time out, and reloads under load."""
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
    location / {{ proxy_pass http://127.0.0.1:{behind}; }}
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


def check(turns):
    result = bench.Result("nginx and haproxy before the service: TLS 1.2/1.3, HTTP/1.1 and 2, reloads")
    if not shutil.which("nginx") or not shutil.which("haproxy"):
        result.notes.append("needs the packages nginx-light and haproxy")
        return result
    with bench.Scratch() as folder:
        bench.certificate(folder, "127.0.0.1", "IP:127.0.0.1")
        os.environ["RELIABILITY_CA"] = folder + "/crt"
        service = Service()
        behind = service.server.server_address[1]
        for program in ("nginx", "haproxy"):
            for http2 in (False, True):
                for tls in ("1.2", "1.3"):
                    name = "%s-%d-%s" % (program, http2, tls)
                    front = Front(program, folder, behind, http2, tls, "1s")
                    reloading = threading.Event()

                    def reload_often():
                        while not reloading.wait(0.7):
                            front.reload()

                    threading.Thread(target=reload_often, daemon=True).start()
                    store = folder + "/" + name
                    commands = []
                    for turn in range(turns):
                        # Apart, so that none is set while a request is under way.
                        commands += ["set=%s-%d" % (name, turn), "foreground",
                                     "run=%s" % ("0.4" if turn % 3 else "1.6")]
                    run = bench.run_host(store, "https://127.0.0.1:%d/%s/" % (front.port, name),
                                         *commands, "synchronize", limit=30 + 3 * turns)
                    reloading.set()
                    front.end()
                    result.tried += turns
                    if run.status != 0:
                        result.fault("crashed", "%s: %s" % (name, run.errors[-300:]))
                    delivered = service.accepted.get(name, [])
                    found = delivered + bench.stored(store)
                    result.judge(bench.accepted(run.calls), found, name, twice=False)
                    if not delivered:
                        result.fault("nothing arrived", "%s: %s" % (name, run.errors[-500:]))
                    result.notes.append("%s: %d requests, %d events arrived, %d wait" % (
                        name, service.counts.get(name, 0), len(delivered), len(bench.stored(store))))
        for name, problem in service.malformed:
            result.fault("malformed request", "%s %s" % (name, problem))
        del os.environ["RELIABILITY_CA"]
    return result
