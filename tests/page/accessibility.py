#!/usr/bin/env python3
"""Asks axe-core about every state of the page, light and dark, wide and narrow.

Usage: accessibility.py AXE; AXE is the file axe.min.js. VELMORA_PROGRAM names the program.
"""
import sys

from browser import Browser
from posts import Client, body, item
from programs import Service

ASK = """const done = arguments[arguments.length - 1];
axe.run(document, {resultTypes: ['violations']}).then(result => done(result.violations.flatMap(
    ({id, help, nodes}) => nodes.map(node => `${id}: ${help}: ${node.target}: ${node.failureSummary}`))));"""


def states(page):
    """Brings the page from one state to the next."""
    yield "nothing came"
    client = Client(page.service.listening)
    client.post(body([item(), item(None), item("COther")]))
    client.post(body([item()], os="linux"), signed="1.0/consents")
    client.post(b"no JSON")
    page.wait_text(".totals", "3 requests")
    yield "list"
    for number in (1, 2, 3):
        page.press("j")
        page.wait_text(".detail-head", f"Request {number}")
        for tab in page.run("return [...document.querySelectorAll('[role=tab]')].map(each => each.id)"):
            page.click("#" + tab)
            page.wait("return document.querySelector('.panel').textContent !== ''")
            yield f"request {number}, {tab}"
    page.click("#faults-button")
    page.click(".fault", "503")
    page.wait_text(".answering", "503")
    page.press("?")
    yield "faults and keys"
    page.press("Escape", "Escape")
    page.click("#faults-button")
    page.click("nav a", "Devices")
    page.click(".device-list a")
    page.wait_text(".device-pane", "Gaps")
    yield "devices"


def main():
    with open(sys.argv[1]) as file:
        axe = file.read()
    found = set()
    for width in (1280, 360):
        with Service() as service, Browser() as page:
            page.service = service
            page.resize(width, 800)
            page.open(service.page)
            page.wait_text(".status", "live")
            page.run(axe + "; window.axe = axe;")
            for state in states(page):
                for scheme in ("light", "dark"):
                    page.scheme(scheme)
                    for violation in page.run_async(ASK):
                        found.add(violation)
                        print(f"{width} px, {state}, {scheme}: {violation}\n")
    print(f"axe-core finds {len(found) or 'nothing'}")
    return bool(found)


if __name__ == "__main__":
    sys.exit(main())
