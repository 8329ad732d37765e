"""What the page withstands: texts that want to be more than texts, and many requests."""
import unittest
import urllib.parse

from browser import Browser
from posts import Client, body, item
from programs import Service

MARKUP = "<img src=x onerror=document.title='owned'><script>document.title='owned'</script>"
BIDI = "abc\u202edef\u2066\u200b\x07\x00\x1b[31m"
HOSTILE = MARKUP + BIDI


def hostile_body():
    items = [item(HOSTILE), item("C" + "A" * (1 << 20)), item(None), 17, HOSTILE,
             {HOSTILE: HOSTILE, "consentString": HOSTILE, "localDate": HOSTILE, "eventId": HOSTILE}]
    return body(items, **{key: HOSTILE for key in ("postDate", "os", "uuid", "uuidV", "bundleId",
                                                   "sdkVersion", "appVersion", "systemVersion",
                                                   "deviceModel", HOSTILE, "big")})


class HostileTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = cls.enterClassContext(Browser())

    def setUp(self):
        self.service = self.enterContext(Service())
        self.browser.open(self.service.page)
        self.browser.wait_text(".status", "live")

    def tearDown(self):
        self.browser.open("about:blank")
        self.assertEqual(self.browser.complaints(), [])

    def test_shows_hostile_texts_as_texts(self):
        page = self.browser
        client = Client(self.service.listening)
        content = hostile_body()
        content["big"] = "B" * (1 << 20)
        path = "/" + urllib.parse.quote(MARKUP)
        client.post(content, X_Markup=MARKUP, X_Latin="\xff\xfe", X_Bundle_Identifier=MARKUP)
        client.post(content, path=path, Accept=MARKUP)
        client.post(b'["' + b"x" * 3_000_000 + b'"]')
        client.post(b"\xff\xfe no JSON " + MARKUP.encode())
        client.post({"batch": [{"exception": HOSTILE, "metadata": {HOSTILE: HOSTILE}}]},
                    path="/devices_errors", signed="devices_errors")
        client.post(body([item(), item(None)], uuid=5, uuidV=["x"], bundleId={}))
        page.wait_text(".totals", "6 requests")
        for number in range(1, 7):
            page.press("j")
            page.wait_text(".detail-head", f"Request {number}")
            for tab in page.run("return [...document.querySelectorAll('[role=tab]')].map(each => each.id)"):
                page.click("#" + tab)
                page.wait("return document.querySelector('.panel').textContent !== ''")
        page.press("k", "k", "k", "k", "k")
        page.wait_text(".detail-head", "Request 1")
        page.click("#tab-envelope")
        page.wait_text(".panel", "<img src=x onerror=document.title='owned'><script>")
        page.wait_text(".panel", "abcU+202EdefU+2066U+200BU+0007NULU+001B[31m")
        page.wait_text(".panel", "show all 65,")
        page.click(".panel button", "show all")
        page.wait_text(".panel", "the first of 1048576 bytes; the whole is in the body")
        page.click("#tab-body")
        page.click(".panel button", "Load all of it")
        page.click(".panel button", "show all 1,048,576 characters")
        page.click("#tab-consent")
        page.wait("return document.querySelector('.chooser select')")
        page.run("const select = document.querySelector('.chooser select');"
                 "select.value = 0; select.dispatchEvent(new Event('change'))")
        page.wait_text(".consent", "This is not a consent string")
        page.click("nav a", "Devices")
        page.click(".device-list a")
        page.wait_text(".device-pane", "<script>")
        self.assertEqual(page.run("return document.title"), "VelmoraKit ingest")
        self.assertEqual(page.run("return document.querySelectorAll('img, script:not([src])').length"), 0)

    def test_shows_what_was_refused_and_what_was_not_checked(self):
        page = self.browser
        client = Client(self.service.listening)
        client.post(body([item()]), Origin="http://evil.example")
        client.post(body([item()]), path="/nowhere")
        page.wait_text("#row-1", "refused")
        page.press("j")
        page.wait_text(".findings", "so a web page sent the request")
        page.wait_text(".outcome", "403")
        page.press("j")
        page.wait_text(".detail-pane table", "not checked")

    def test_stays_small_with_many_requests(self):
        page = self.browser
        client = Client(self.service.listening)
        for number in range(1200):
            client.post(body([item(f"C{number}")]))
        page.wait_text(".totals", "1,200 requests · 1,200 events")
        page.wait_text(".totals", "the oldest 200 have gone, 1,000 are kept")
        page.wait("return document.getElementById('row-1200')?.ariaSetSize === '1000'")
        self.assertLess(page.run("return document.querySelectorAll('.row').length"), 60)
        # What is read stays where it is while others come and go.
        page.run("document.querySelector('.rows').scrollTop = 64 * 500")
        page.wait("return document.getElementById('row-701')")
        page.run("document.getElementById('row-701').click()")
        place = "return document.getElementById('row-701').getBoundingClientRect().top"
        before = page.run(place)
        for number in range(100):
            client.post(body([item(f"D{number}")]))
        page.wait_text(".totals", "1,300 requests")
        self.assertEqual(page.run(place), before)
        page.click(".later", "Newer below")
        page.wait("return document.getElementById('row-1300')")


if __name__ == "__main__":
    unittest.main()
