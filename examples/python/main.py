#!/usr/bin/env python3
"""A command-line application in Python: ctypes and a selectors loop. Every line on standard input
plays a consent tool: it is a new TCF v2 string.

    VELMORA_INGEST=http://127.0.0.1:8080/ VELMORA_API_KEY=key VELMORA_SECRET=secret ./main.py
"""
import ctypes
import os
import selectors
import sys


class Options(ctypes.Structure):
    """velmora_options of <VelmoraKit/velmora.h>."""

    _fields_ = [
        ("size", ctypes.c_size_t),
        ("store_path", ctypes.c_char_p),
        ("bundle_identifier", ctypes.c_char_p),
        ("app_version", ctypes.c_char_p),
        ("information_dictionary", ctypes.c_char_p),
        ("ingest_base_address", ctypes.c_char_p),
        ("system_version", ctypes.c_char_p),
        ("identifier_for_vendor", ctypes.c_char_p),
        ("advertising_identifier", ctypes.c_char_p),
        ("tracking_status", ctypes.c_uint32),
        ("legacy_tracking", ctypes.c_uint32),
        ("certificate_authority_file", ctypes.c_char_p),
        ("pinned_public_key", ctypes.c_char_p),
        ("allow_proxy", ctypes.c_uint32),
        ("store_companion", ctypes.c_uint32),
        ("log_callback", ctypes.c_void_p),
        ("log_context", ctypes.c_void_p),
        ("keep_unsent", ctypes.c_uint32),
        ("shared_folder", ctypes.c_uint32),
    ]


velmora = ctypes.CDLL("libVelmoraKit.so.1")
velmora.velmora_last_error_message.restype = ctypes.c_char_p


def check(result):
    if result != 0:
        sys.exit("VelmoraKit: " + velmora.velmora_last_error_message().decode())


def start():
    options = Options()
    size = ctypes.c_size_t(ctypes.sizeof(options))
    check(velmora.velmora_options_init(ctypes.byref(options), size))
    options.bundle_identifier = b"com.example.python"
    options.app_version = b"1.0"
    options.ingest_base_address = os.environb.get(b"VELMORA_INGEST")
    options.store_path = os.environb.get(b"VELMORA_STORE")
    check(velmora.velmora_configure(ctypes.byref(options)))
    check(
        velmora.velmora_start(
            os.environb.get(b"VELMORA_API_KEY"), os.environb.get(b"VELMORA_SECRET")
        )
    )


def descriptor():
    number = ctypes.c_int()
    check(velmora.velmora_run_loop_descriptor(ctypes.byref(number)))
    return number.value


def main():
    start()
    # An application without windows comes to the foreground when it starts. This posts what an
    # earlier run could not. A string that is set while that post is under way goes with its
    # success, unsent: so first let it end. A host that cannot wait sets options.keep_unsent.
    check(velmora.velmora_will_enter_foreground())
    settled = ctypes.c_int()
    check(velmora.velmora_run_loop_run_until_idle(ctypes.c_double(5), ctypes.byref(settled)))

    loop = selectors.DefaultSelector()
    sdk = loop.register(descriptor(), selectors.EVENT_READ)
    loop.register(sys.stdin, selectors.EVENT_READ)
    while True:
        for key, _ in loop.select():
            if key is sdk:
                check(velmora.velmora_run_loop_process())
                continue
            line = os.read(sys.stdin.fileno(), 4096)  # one line: enough for input that is typed
            if not line:
                return  # nothing needs to be ended: what is not posted yet is stored
            check(velmora.velmora_preferences_set_string(b"IABTCF_TCString", line.strip()))


main()
