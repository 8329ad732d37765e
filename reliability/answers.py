"""Whatever the service answers: an event leaves the store only with a 200."""
import socket
import threading

import bench

WHOLE = b"HTTP/1.1 %s\r\nContent-Length: 0\r\n\r\n"
ANSWERS = {
    "200": (WHOLE % b"200 OK", True),
    "200 with a megabyte": (b"HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n[]" + b" " * 999998, True),
    "200, not JSON": (b"HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc", False),
    "204": (b"HTTP/1.1 204 No Content\r\n\r\n", False),
    "201": (WHOLE % b"201 Created", False),
    "301 elsewhere": (b"HTTP/1.1 301 Moved\r\nLocation: http://127.0.0.1:9/\r\nContent-Length: 0\r\n\r\n", False),
    "401": (WHOLE % b"401 Unauthorized", False),
    "500": (WHOLE % b"500 Error", False),
    "a status of four digits": (WHOLE % b"2000 OK", False),
    "nothing": (b"", False),
    "half a status line": (b"HTTP/1.1 20", False),
    "200, headers cut off": (b"HTTP/1.1 200 OK\r\nContent-Le", False),
    "200, body cut off": (b"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc", False),
    "200, chunk cut off": (b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n10\r\nabc", False),
    "200, broken gzip": (b"HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 3\r\n\r\nabc", False),
    "200, two lengths": (b"HTTP/1.1 200 OK\r\nContent-Length: 3\r\nContent-Length: 4\r\n\r\nabc", False),
    "200, a length beyond all numbers": (b"HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999\r\n\r\n[]", False),
    "another protocol": (b"SSH-2.0-OpenSSH_9\r\n", False),
    "noise": (bytes(range(256)) * 40, False),
    "100,000 headers": (b"HTTP/1.1 200 OK\r\n" + b"a: b\r\n" * 100000 + b"\r\n", False),
    "2 MB of body": (b"HTTP/1.1 200 OK\r\nContent-Length: 2097152\r\n\r\n" + b"x" * 2097152, False),
}


class RawService:
    """Reads a request whole and answers it with the bytes; then the connection is closed."""

    def __init__(self, answer):
        self.listening = socket.create_server(("127.0.0.1", 0))
        self.requests = 0
        self.answer = answer
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            try:
                connection, _ = self.listening.accept()
            except OSError:
                return
            with connection:
                data = b""
                try:
                    while b"\r\n\r\n" not in data:
                        data += connection.recv(65536)
                    head, body = data.split(b"\r\n\r\n", 1)
                    length = next(int(line.split(b":")[1]) for line in head.split(b"\r\n")
                                  if line.lower().startswith(b"content-length"))
                    while len(body) < length:
                        body += connection.recv(65536)
                    self.requests += 1
                    connection.sendall(self.answer)
                except OSError:
                    pass


def check():
    result = bench.Result("every answer: an event leaves the store only with a whole 200")
    with bench.Scratch() as folder:
        for number, (what, (answer, empties)) in enumerate(ANSWERS.items()):
            service = RawService(answer)
            store = "%s/%d" % (folder, number)
            address = "http://127.0.0.1:%d/" % service.listening.getsockname()[1]
            run = bench.run_host(store, address, "set=a-1", "set=a-2", "foreground", "run=0.7",
                                 "synchronize")
            service.listening.close()
            result.tried += 1
            if run.status != 0:
                result.fault("crashed", "%s: %s" % (what, run.errors[-200:]))
            if service.requests != 1:
                result.fault("requests", "%s: %d instead of 1" % (what, service.requests))
            found = bench.stored(store)
            result.accepted += 2
            if empties and found:
                result.fault("not emptied", what)
            if not empties and [text for text in ("a-1", "a-2") if text not in found]:
                result.fault("lost", "%s: %s" % (what, found))
    return result
