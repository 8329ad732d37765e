"""Consent strings made for tests and pictures: version 2 as of 2.3, with vendors as ranges."""
import time

LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"


class Bits:
    def __init__(self):
        self.text = ""

    def number(self, value, bits):
        self.text += format(value, f"0{bits}b")
        return self

    def letters(self, pair):
        for letter in pair:
            self.number(ord(letter) - ord("A"), 6)
        return self

    def row(self, ids, bits):
        self.text += "".join("1" if id in ids else "0" for id in range(1, bits + 1))
        return self

    def vendors(self, ids):
        highest = max(ids, default=0)
        return self.number(highest, 16).number(0, 1).row(set(ids), highest)

    def segment(self):
        padded = self.text + "0" * (-len(self.text) % 6)
        return "".join(LETTERS[int(padded[at:at + 6], 2)] for at in range(0, len(padded), 6))


def consent_string(purposes, vendors, disclosed, interests=(), features=(), made=None):
    day = int(made or time.time()) // 86400 * 864000
    core = Bits().number(2, 6).number(day, 36).number(day, 36).number(55, 12).number(7, 12)
    core.number(1, 6).letters("EN").number(142, 12).number(5, 6).number(1, 1).number(0, 1)
    core.row(features, 12).row(purposes, 24).row(interests, 24).number(0, 1).letters("DE")
    core.vendors(vendors).vendors([]).number(0, 12)
    return core.segment() + "." + Bits().number(1, 3).vendors(disclosed).segment()
