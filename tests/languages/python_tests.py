"""The Python module: what becomes of values, of errors and of calls on other threads."""
import asyncio
import gc
import multiprocessing
import sys
import tempfile
import threading
import unittest
import weakref
from datetime import datetime, timezone

import velmorakit
from gi.repository import GLib
from velmorakit import glib
from velmorakit.aio import attached

folder = tempfile.TemporaryDirectory()
lines = []
velmorakit.configure(
    velmorakit.Options(
        store_path=folder.name + "/store.db",
        bundle_identifier="com.example.tests",
        ingest_base_address="http://127.0.0.1:1/",
        information_dictionary={"VMRLogsEnabled": True},
        keep_unsent=True,
        log=lines.append,
    )
)
sdk = velmorakit.start("key", "secret")


def elsewhere(work):
    """What `work` returns on another thread, or raises there."""
    outcome = []

    def run():
        try:
            outcome.append(work())
        except Exception as raised:
            outcome.append(raised)

    thread = threading.Thread(target=run)
    thread.start()
    thread.join()
    return outcome[0]


def in_child(queue):
    try:
        sdk.status()
    except velmorakit.ForkedChildError as error:
        queue.put(error.function)


class ModuleTests(unittest.TestCase):
    def test_values_come_back_as_they_were_set(self):
        for value in (True, 0, -(2**63), 1.0, float("inf"), "a\0b ü", "", b"\0\xff",
                      datetime(2026, 11, 22, 5, 0, tzinfo=timezone.utc),
                      [1, "2", {"$date": "no date"}, {"$$x": b"1"}], {"a": {}, "b": [2.5]}):
            sdk.preferences["value"] = value
            self.assertEqual(sdk.preferences["value"], value)
            self.assertIs(type(sdk.preferences["value"]), type(value))
        self.assertIn("value", sdk.preferences)
        del sdk.preferences["value"]
        self.assertEqual(sdk.preferences.get("value", 7), 7)
        with self.assertRaises(TypeError):
            sdk.preferences["value"] = object()

    def test_errors_are_exceptions_that_say_where_and_what(self):
        with self.assertRaises(KeyError) as missing:
            sdk.preferences["no such key"]
        self.assertIsInstance(missing.exception, velmorakit.NotFoundError)
        self.assertEqual(missing.exception.key, "no such key")
        self.assertEqual(str(missing.exception), "velmora_preferences_get_json of 'no such key': "
                         'nothing is stored under "no such key": set it first')
        for key, value, kind in (("", 1, velmorakit.InvalidArgumentError),
                                 ("k\0", 1, velmorakit.InvalidArgumentError),
                                 ("k", "\ud800", velmorakit.InvalidUTF8Error),
                                 ("k" * 1025, 1, velmorakit.TooLongError)):
            with self.assertRaises(kind) as refused:
                sdk.preferences[key] = value
            self.assertIsInstance(refused.exception, ValueError)
        with self.assertRaises(velmorakit.InvalidStateError):
            velmorakit.start("key", "secret")
        with self.assertRaises(velmorakit.InvalidStateError):
            velmorakit.configure(velmorakit.Options())

    def test_another_thread_is_told_and_hands_over(self):
        self.assertIsInstance(elsewhere(sdk.process), velmorakit.WrongThreadError)
        consent = velmorakit.TCF_V2, "CQtDjk"
        refusal = elsewhere(lambda: sdk.preferences.update([consent]))
        self.assertIsInstance(refusal, velmorakit.WrongThreadError)
        self.assertIn("set_on_main_loop", str(refusal))
        self.assertIsNone(elsewhere(lambda: sdk.preferences.set_on_main_loop(*consent)))
        failing = elsewhere(lambda: sdk.perform(lambda: sdk.preferences[""]))
        self.assertFalse(failing.done())
        sdk.process()
        self.assertEqual(sdk.preferences[velmorakit.TCF_V2], "CQtDjk")
        self.assertIsInstance(failing.exception(0), velmorakit.InvalidArgumentError)

    def test_observers_are_told_until_they_end_and_are_then_released(self):
        class Changes(list):
            def __call__(self, *change):
                self.append(change)

        changes = Changes()
        released = weakref.ref(changes)
        with sdk.preferences.observe("observed", changes):
            sdk.preferences["observed"] = b"new"
            del sdk.preferences["observed"]
        sdk.preferences["observed"] = 1
        self.assertEqual(changes, [("observed", b"new", None), ("observed", None, b"new")])
        del changes
        gc.collect()
        self.assertIsNone(released())
        with self.assertRaises(velmorakit.InvalidArgumentError):
            sdk.preferences.observe("", print)

    def test_what_an_observer_raises_is_reported_and_the_write_holds(self):
        reported = []
        hook, sys.unraisablehook = sys.unraisablehook, lambda given: reported.append(given.exc_type)
        try:
            with sdk.preferences.observe("observed", lambda *_: 1 / 0):
                sdk.preferences["observed"] = 2
        finally:
            sys.unraisablehook = hook
        self.assertEqual(reported, [ZeroDivisionError])
        self.assertEqual(sdk.preferences["observed"], 2)

    def test_loops_are_woken_by_other_threads(self):
        async def wait():
            with attached(sdk):
                future = elsewhere(lambda: sdk.perform(threading.get_ident))
                return await asyncio.wait_for(asyncio.wrap_future(future), 10)

        self.assertEqual(asyncio.run(wait()), threading.get_ident())
        loop = GLib.MainLoop()
        detach = glib.attach(sdk)
        late = GLib.timeout_add_seconds(10, loop.quit)
        future = elsewhere(lambda: sdk.perform(loop.quit))
        loop.run()
        self.assertTrue(future.done())
        GLib.source_remove(late)
        detach()

    def test_a_forked_child_is_refused(self):
        context = multiprocessing.get_context("fork")
        queue = context.Queue()
        child = context.Process(target=in_child, args=(queue,))
        child.start()
        self.assertEqual(queue.get(timeout=10), "velmora_status_json")
        child.join()

    def test_what_is_erased_is_gone_and_the_sdk_starts_again(self):
        first = sdk.status()["vmrId"]
        sdk.erase()
        self.assertIsNone(sdk.status()["vmrId"])
        velmorakit.start("key", "secret")
        self.assertNotIn(sdk.status()["vmrId"], (None, first))

    def test_the_log_and_the_reports_are_python_values(self):
        self.assertTrue(lines and all(isinstance(line, str) for line in lines))
        self.assertIn("storedConsentEvents", sdk.status())
        self.assertEqual(sdk.diagnose()["store"]["path"], folder.name + "/store.db")
        self.assertTrue(sdk.diagnose()["consents"]["keepUnsent"])


if __name__ == "__main__":
    unittest.main()
