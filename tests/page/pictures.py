#!/usr/bin/env python3
"""Takes the pictures of the README. Usage: pictures.py FOLDER; VELMORA_PROGRAM names the program."""
import html
import pathlib
import subprocess
import sys
import tempfile

from browser import Browser
from programs import VELMORA, Host, Service
from strings import consent_string

DISCLOSED = [id for id in range(1, 1131) if id % 17]
MUCH = [id for id in DISCLOSED if id % 3]
LITTLE = [id for id in DISCLOSED if id % 7 == 1]
ALL = consent_string(range(1, 12), MUCH, DISCLOSED, interests=[2, 7, 8, 9, 10], features=[1])
SOME = consent_string([1, 2, 7, 8, 9, 10], LITTLE, DISCLOSED, interests=[2, 7, 8, 9, 10])

FEW = consent_string([1, 2, 7, 8, 9, 10], range(2, 90, 3), range(1, 121), interests=[2, 7, 8, 9, 10])

TERMINAL = """<!doctype html><meta charset="utf-8"><style>
body { margin: 0; background: #101615; } pre { margin: 0; padding: 20px 24px; display: inline-block;
color: #dfe9e6; font: 14px/20px ui-monospace, "DejaVu Sans Mono", monospace; } b { color: #63cbc5; }
</style><pre><b>$ velmora tcf %s…</b>
%s</pre>"""


def page_pictures(page, folder):
    with Service() as service:
        page.open(service.page)
        with Host(service.listening) as host, \
                Host(service.listening, secret="another", app="com.example.kiosk") as other:
            host.consent(ALL)
            other.consent(SOME)
            service.ask_for_fault("503 next")
            host.consent(SOME)
            host.ask("foreground")
            host.settle()
            page.wait_text("#row-4", "200")
            page.click("#row-4")
            page.wait_text(".vendors", "Copy list")
            page.screenshot(folder / "page-consent.png")
            page.scheme("dark")
            page.click("#row-2")
            page.wait_text(".findings", "another secret")
            page.click("#tab-headers")
            page.wait_text(".steps", "SHA-1 of it")
            page.screenshot(folder / "page-signature.png")


def terminal_picture(page, folder):
    text = subprocess.run([VELMORA, "tcf", FEW], capture_output=True, text=True, check=True).stdout
    with tempfile.NamedTemporaryFile("w", suffix=".html") as file:
        file.write(TERMINAL % (FEW[:24], html.escape(text)))
        file.flush()
        page.open("file://" + file.name)
        page.resize(*page.run("const box = document.querySelector('pre').getBoundingClientRect();"
                              "return [Math.ceil(box.width), Math.ceil(box.height)]"))
        page.screenshot(folder / "velmora-tcf.png")


def main():
    folder = pathlib.Path(sys.argv[1])
    with Browser() as page:
        page.resize(1440, 960)
        page_pictures(page, folder)
        terminal_picture(page, folder)


if __name__ == "__main__":
    main()
