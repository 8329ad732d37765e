"""An ingest service that notes which events it has accepted; the answers are the check's to choose."""
import gzip
import http.server
import json
import socket
import socketserver
import threading


class Service:
    """answer(name, n) gives the status of the nth request below /name/, or None to close without one;
    after(name, n) is called when it has been sent."""

    def __init__(self, answer=lambda name, n: 200, after=lambda name, n: None, tls=None,
                 host="127.0.0.1"):
        self.lock = threading.Lock()
        self.counts = {}
        self.accepted = {}  # name: consent strings of the requests that got a 200, in order
        self.malformed = []
        self.seen = set()  # what a server before this one says of its connection
        outer = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"
            wbufsize = -1

            def log_message(self, *_):
                pass

            def do_POST(self):
                name = self.path.split("/")[1]
                try:
                    outer.take(self, name)
                except OSError:
                    self.close_connection = True

        class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
            daemon_threads = True
            request_queue_size = 128
            address_family = socket.AF_INET6 if ":" in host else socket.AF_INET

            def handle_error(self, *_):
                pass

        self.answer = answer
        self.after = after
        self.server = Server((host, 0), Handler)
        if tls:
            self.server.socket = tls.wrap_socket(self.server.socket, server_side=True,
                                                 do_handshake_on_connect=False)
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def take(self, request, name):
        body = request.rfile.read(int(request.headers.get("Content-Length", 0)))
        try:
            items = json.loads(gzip.decompress(body))["batch"]
            strings = [item["consentString"] for item in items]
        except Exception as problem:  # whatever it is, the request was not sound
            self.malformed.append((name, repr(problem)))
            strings = []
        with self.lock:
            self.seen.add(request.headers.get("X-Seen"))
            number = self.counts.get(name, 0)
            self.counts[name] = number + 1
        status = self.answer(name, number)
        if status is None:
            request.close_connection = True
            return
        request.send_response(status)
        request.send_header("Content-Length", "0")
        request.end_headers()
        request.wfile.flush()
        if status == 200:
            with self.lock:
                self.accepted.setdefault(name, []).extend(strings)
        self.after(name, number)

    def address(self, name):
        return "http://127.0.0.1:%d/%s/" % (self.server.server_address[1], name)
