"""A headless Chromium, driven over WebDriver's HTTP interface with the standard library alone."""
import base64
import json
import os
import re
import shutil
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

OPTIONS = ["--headless", "--disable-gpu", "--disable-background-networking",
           "--disable-component-update", "--disable-sync", "--no-first-run", "--hide-scrollbars",
           "--force-device-scale-factor=1", "--lang=en"]
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
KEYS = {"Escape": "\ue00c", "Enter": "\ue007", "ArrowDown": "\ue015", "Tab": "\ue004"}


class Browser:
    """Ended with its `with` block."""

    def __init__(self, width=1280, height=800):
        self.profile = tempfile.mkdtemp(prefix="velmora-page-")
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, text=True)
        for line in self.driver.stdout:
            if port := re.search(r"started successfully on port (\d+)", line):
                break
        self.base = f"http://127.0.0.1:{port[1]}"
        options = OPTIONS + [f"--user-data-dir={self.profile}", f"--window-size={width},{height}"]
        if os.geteuid() == 0:
            options.append("--no-sandbox")
        session = self._call("POST", "/session", {"capabilities": {"alwaysMatch": {
            "goog:chromeOptions": {"args": options, "binary": shutil.which("chromium")},
            "goog:loggingPrefs": {"browser": "ALL"}}}})
        self.base += "/session/" + session["sessionId"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self._call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait()
            self.driver.stdout.close()
            shutil.rmtree(self.profile, ignore_errors=True)

    def _call(self, method, path, body=None):
        data = None if method == "GET" or method == "DELETE" else json.dumps(body or {}).encode()
        request = urllib.request.Request(self.base + path, data, method=method,
                                         headers={"Content-Type": "application/json"})
        try:
            with urllib.request.urlopen(request, timeout=60) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from None

    def open(self, address):
        self._call("POST", "/url", {"url": address})

    def run(self, script, *arguments):
        return self._call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def run_async(self, script, *arguments):
        """The script's last argument is the function that takes its result."""
        return self._call("POST", "/execute/async", {"script": script, "args": list(arguments)})

    def devtools(self, command, **parameters):
        return self._call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def resize(self, width, height):
        self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=height,
                      deviceScaleFactor=1, mobile=False)

    def scheme(self, name):
        self.devtools("Emulation.setEmulatedMedia",
                      features=[{"name": "prefers-color-scheme", "value": name}])

    def wait(self, script, *arguments, seconds=20):
        """Asks until the script's result is true; returns that."""
        end = time.monotonic() + seconds
        while not (result := self.run(script, *arguments)):
            if time.monotonic() > end:
                raise AssertionError(f"waited in vain for: {script} {arguments}\n"
                                     f"the page says:\n{self.text('body')[:3000]}")
            time.sleep(0.05)
        return result

    def text(self, selector):
        """The text of the first such element; empty when there is none."""
        return self.run("return document.querySelector(arguments[0])?.textContent ?? ''", selector)

    def wait_text(self, selector, text):
        return self.wait("return (document.querySelector(arguments[0])?.textContent ?? '')"
                         ".replace(/\\s+/g, ' ').includes(arguments[1])", selector, text)

    def click(self, selector, text=""):
        """Clicks the first such element that holds the text, as a user would."""
        element = self.wait(
            "return [...document.querySelectorAll(arguments[0])].find(each => "
            "each.textContent.includes(arguments[1]) && each.checkVisibility())", selector, text)
        self._call("POST", f"/element/{element[ELEMENT]}/click")

    def press(self, *keys):
        """Keys to whatever has the focus."""
        actions = []
        for key in keys:
            value = KEYS.get(key, key)
            actions += [{"type": "keyDown", "value": value}, {"type": "keyUp", "value": value}]
        self._call("POST", "/actions", {"actions": [{"type": "key", "id": "k", "actions": actions}]})

    def screenshot(self, path):
        with open(path, "wb") as file:
            file.write(base64.b64decode(self._call("GET", "/screenshot")))

    def complaints(self):
        """What the page wrote to the browser's console since it was asked last."""
        return [entry["message"] for entry in self._call("POST", "/se/log", {"type": "browser"})
                if entry["level"] in ("SEVERE", "WARNING")]
