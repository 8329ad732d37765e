"""The page of a real `velmora ingest`, in a real browser, with a real `velmora run` as its host."""
import tempfile
import unittest

from browser import Browser
from posts import CONSENT, Client, body, item
from programs import Host, Service

MORE = ("COvFyGBOvFyGBAbAAAENAPCAAOAAAAAAAAAAAEEUACCKAAA.IFoEUQQgAIQwgIwQABAEAAAAOIAACAIAAAAQAIAgEAACEA"
        "AAAAgAQBAAAAAAAGBAAgAAAAAAAFAAECAAAgAAQARAEQAAAAAJAAIAAgAAAYQEAAAQmAgBC3ZAYzUw")


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = cls.enterClassContext(Browser())

    def setUp(self):
        self.service = self.enterContext(Service())
        self.browser.resize(1280, 800)
        self.browser.open(self.service.page)
        self.browser.wait_text(".status", "live")

    def tearDown(self):
        self.browser.open("about:blank")  # before the service ends
        self.assertEqual(self.browser.complaints(), [])

    def host(self, **options):
        return self.enterContext(Host(self.service.listening, **options))

    def row(self, number):
        return f"#row-{number}"

    def test_shows_a_consent_in_words_as_it_comes(self):
        page = self.browser
        page.wait_text(".empty", "velmora run --ingest " + self.service.listening)
        host = self.host()
        host.consent(CONSENT)
        page.wait_text(self.row(1), "3 events")
        page.click(self.row(1))
        page.wait_text(".consent", "Store and/or access information on a device")
        self.assertIn("The backend would take this request", page.text(".detail-pane"))
        self.assertEqual(page.text(".purposes .given"), "")
        self.assertIn("Consent: 4", page.text(".vendors"))
        page.run("const picture = document.querySelector('.squares');"
                 "const {left, top} = picture.getBoundingClientRect();"
                 "picture.dispatchEvent(new PointerEvent('pointermove',"
                 "{clientX: left + 8 * 3 + 1, clientY: top + 1}))")
        page.wait_text(".said", "Vendor 4: yes, in 1–4")

        host.consent(MORE)
        page.wait_text(self.row(2), "1 event")
        self.assertIn("Request 1", page.text(".detail-pane"))  # what is read does not move
        page.press("j")
        page.wait_text(".difference", "Create profiles for personalised advertising")
        page.wait_text(".difference", "+ granted: 2 vendors (consent): 6, 8")
        page.wait_text(".difference", "− withdrawn: 3 vendors (consent): 1, 3–4")
        given = page.run("return [...document.querySelectorAll('.purposes .given th')]"
                         ".map(each => each.innerText)")
        self.assertEqual([text[0] for text in given], ["1", "2", "3"])
        page.wait_text(".consent .findings", "not service-specific")
        page.wait_text(".consent .remedy", "What to do: have the consent tool set IsServiceSpecific")

    def test_a_fault_fails_the_next_post_and_the_event_comes_again(self):
        page = self.browser
        host = self.host()
        host.consent(CONSENT)
        page.click("#faults-button")
        page.click(".fault", "503")
        page.wait_text(".answering", "the next one 503")
        host.consent(MORE)
        page.wait_text(self.row(2), "503")
        page.wait_text(".answering", "answering 200")
        page.click("#faults-button")
        page.click(self.row(2))
        page.wait_text(".outcome", "503 Unavailable because you asked for it. The events stay")
        host.ask("foreground")
        host.settle()
        page.wait_text(self.row(3), "200")
        page.press("j")
        page.wait_text(".consent", "Came 2 times: in requests 2, 3.")

        page.click("nav a", "Devices")
        page.click(".device-list a", "com.example.demo")
        page.wait_text(".device-pane", "it came again because it was not delivered before")
        self.assertEqual(page.run("return document.querySelectorAll('.timeline .event').length"), 3)

    def test_explains_a_wrong_signature(self):
        page = self.browser
        self.host(secret="another-secret").consent(CONSENT)
        page.wait_text(self.row(1), "signature")
        page.click(self.row(1))
        page.wait_text(".findings", "the token was made with another secret")
        page.click("[role=tab]", "Headers")
        page.wait_text(".steps", "••••••••/consents/demo-key/")
        client = Client(self.service.listening)
        client.post(body([item()]), signed="1.0/consents")
        page.wait_text(self.row(2), "signature")
        page.press("j")
        page.wait_text(".token", "made with the path \"1.0/consents\"")
        Client(self.service.listening, key="demo-secret", secret="demo-key").post(body([item()]))
        page.wait_text(self.row(3), "signature")
        page.press("j")
        page.wait_text(".token", "key and secret are swapped")
        self.assertFalse(page.run("return document.documentElement.outerHTML.includes('demo-secret')"))

    def test_filters_and_keys(self):
        page = self.browser
        client = Client(self.service.listening)
        client.post(body([item()]))
        client.post(body([item("COther")], uuidV="11111111-8B86-D011-B42D-00CF4FC964FF"))
        client.post(body([], os="linux"))
        client.post({"batch": []}, path="/devices_errors", signed="devices_errors")
        page.wait_text(".totals", "4 requests · 2 events · ! 2 wrong")
        shown = ("return [...document.querySelectorAll('.row')].map(row => row.id.slice(4)).join()"
                 " === arguments[0]")
        page.press("/")
        page.press(*"COther")
        page.wait(shown, "2")
        page.press("Escape")
        page.wait(shown, "1,2,3,4")
        page.press("Escape")
        for name, value, rows in [("verdict", "wrong", "3,4"), ("kind", "errors", "4"),
                                  ("verdict", "", "4"), ("kind", "", "1,2,3,4")]:
            page.run("const select = document.querySelector(`select[name=${arguments[0]}]`);"
                     "select.value = arguments[1]; select.dispatchEvent(new Event('change'))", name, value)
            page.wait(shown, rows)
        page.press("j", "j", "j", "k")
        page.wait_text(".detail-head", "Request 2")
        page.press("?")
        page.wait_text(".keys", "the next request")
        page.press("Escape", "Escape")
        page.wait("return location.hash === '#/requests'")

        # The address says it all, and another page can be sent it.
        page.open(self.service.page + "#/requests/3/envelope?verdict=wrong")
        page.run("location.reload()")
        page.wait_text(".panel", "is \"linux\" instead of \"ios\"")
        page.wait(shown, "3,4")
        page.click("button", "Clear")
        page.wait_text(".empty", "No requests")

    def test_misses_nothing(self):
        page = self.browser
        client = Client(self.service.listening)
        client.post(body([item()]))
        page.wait_text(".totals", "1 request ·")
        page.click("button", "Pause")
        client.post(body([item("CTwo")]))
        page.wait_text(".filter-head", "Go on (1 new)")
        page.click("button", "Go on")
        page.wait_text(self.row(2), "1 event")

        # A page that nobody looks at lets go of its stream, and gets what it missed.
        look = ("Object.defineProperty(document, 'hidden', {value: arguments[0], configurable: true});"
                "document.dispatchEvent(new Event('visibilitychange'))")
        page.run(look, True)
        for number in range(3, 6):
            client.post(body([item(f"C{number}")]))
        page.run(look, False)
        page.wait("return [...document.querySelectorAll('.row')].map(row => row.id).join()"
                  " === 'row-1,row-2,row-3,row-4,row-5'")

        # A service that comes back on the same ports.
        ports = [address.rstrip("/").rsplit("/", 1)[1]
                 for address in (self.service.listening, self.service.page)]
        self.service.tell("quit")
        self.service.process.wait()
        page.wait_text(".status", "away")
        again = self.enterContext(Service("--listen", ports[0], "--page", ports[1]))
        page.wait_text("#notices", "The service was restarted")
        page.complaints()  # the browser notes each try
        for number in range(5):
            Client(again.listening).post(body([item(f"CAgain{number}")]))
        page.wait_text(".totals", "5 requests · 5 events")
        page.click("#faults-button")
        page.click(".fault", "401")
        page.wait_text(".answering", "401")  # with the token of the new run

    def test_shows_a_recording(self):
        page = self.browser
        file = self.enterContext(tempfile.TemporaryDirectory()) + "/recording"
        with Service("--record", file) as service:
            for number in range(3):
                Client(service.listening).post(body([item(f"C{number}")]))
        with Service("--replay", file, credentials=()) as replay:
            page.open(replay.page)
            page.wait_text(".status", "recording")
            page.wait_text(".totals", "3 requests · 3 events")
            page.click(self.row(3))
            page.click("[role=tab]", "Headers")
            page.wait_text(".token", "The token is right")
            for name in ("Faults", "Clear", "Pause"):
                self.assertFalse(page.run("return [...document.querySelectorAll('button')].some("
                                          "each => each.textContent === arguments[0]"
                                          " && each.checkVisibility())", name))
            page.open("about:blank")

    def test_fits_a_narrow_screen(self):
        page = self.browser
        page.resize(360, 740)
        Client(self.service.listening).post(body([item()]))
        overflow = "return document.documentElement.scrollWidth <= 360"
        page.click(self.row(1))
        for tab in ["Items", "Envelope", "Headers", "Body", "Consent"]:
            page.click("[role=tab]", tab)
            page.wait(overflow)
        self.assertEqual(page.run("return document.querySelector('.rows').checkVisibility()"), False)
        page.click(".back", "All requests")
        page.wait("return document.querySelector('.rows').checkVisibility()")
        page.wait(overflow)
        page.click("nav a", "Devices")
        page.click(".device-list a")
        page.wait_text(".device-pane", "com.example.demo")
        page.wait(overflow)


if __name__ == "__main__":
    unittest.main()
