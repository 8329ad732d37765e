"""Requests as a client puts them on the wire, right ones and others."""
import contextlib
import gzip
import hashlib
import http.client
import json
import urllib.parse

CONSENT = ("CQSbk4AQSbk4ANwAAAENAwCgAAAAAAAAAAYgACPAAAAA"
           ".IDKQA4AAgAKAGQAygAAA.YAAAAAAAAAAA")
UUID = "00000000-0000-0000-0000-000000000000"
DATE = "2026-11-21 15:17:10 +0100"


def item(consent=CONSENT, date=DATE):
    text = "(null)" if consent is None else consent.split("\0")[0]
    source = f"{UUID};{text};{date}".encode("utf-8", "surrogatepass")
    return {"consentString": consent, "localDate": date,
            "eventId": hashlib.sha256(source).hexdigest()}


def body(items, **changes):
    return {"postDate": DATE, "os": "ios", "uuid": UUID, "bundleId": "com.example.demo",
            "uuidV": "6F9619FF-8B86-D011-B42D-00CF4FC964FF", "sdkVersion": "87fc04-Debug",
            "appVersion": "1.0", "systemVersion": "12", "deviceModel": "x86_64", "batch": items,
            **changes}


class Client:
    """Posts to a service as the SDK does."""

    def __init__(self, listening, key="demo-key", secret="demo-secret"):
        self.place = urllib.parse.urlsplit(listening).netloc
        self.key, self.secret = key, secret

    def post(self, content, path="/1.0/consents", signed="consents", **headers):
        """`content` is what is packed: an object, or bytes."""
        raw = content if isinstance(content, bytes) else json.dumps(content).encode()
        packed = gzip.compress(raw, 9)
        token = hashlib.sha1(f"{self.secret}/{signed}/{self.key}/".encode()).hexdigest()
        all_headers = {"Authorization": f"Token token={token}", "Accept": "application/json",
                       "Content-Type": "application/json", "Content-Encoding": "gzip",
                       "X-Api-Key": self.key, "X-Bundle-Identifier": "com.example.demo"}
        all_headers.update({name.replace("_", "-"): value for name, value in headers.items()})
        with contextlib.closing(http.client.HTTPConnection(self.place)) as connection:
            connection.request("POST", path, packed, all_headers)
            return connection.getresponse().status
