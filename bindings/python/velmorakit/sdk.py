"""The SDK, one a process."""
import ctypes
import json
import threading
from collections.abc import Callable
from concurrent.futures import Future
from typing import Any, TypeVar

from velmorakit._interface import Kept, WorkCallback, c_text, call, error, library, take_text
from velmorakit.preferences import Preferences

Outcome = TypeVar("Outcome")


class Velmora:
    """Made by start(). Loops take it as it is, to be watched for reading: it has a fileno()."""

    def __init__(self) -> None:
        self.preferences = Preferences()

    def fileno(self) -> int:
        """Readable when process() has something to do; stays the SDK's."""
        descriptor = ctypes.c_int()
        call("velmora_run_loop_descriptor", ctypes.byref(descriptor))
        return descriptor.value

    def process(self) -> None:
        """Handles what is due. On the main thread, as the two that follow."""
        call("velmora_run_loop_process")

    def run(self, seconds: float = -1) -> None:
        """Runs the main run loop; without a number until stop()."""
        call("velmora_run_loop_run", seconds)

    def run_until_idle(self, seconds: float) -> bool:
        """Until nothing is outstanding, at most that long; True when nothing is."""
        settled = ctypes.c_int()
        call("velmora_run_loop_run_until_idle", seconds, ctypes.byref(settled))
        return settled.value != 0

    def stop(self) -> None:
        """Ends run(), from any thread."""
        call("velmora_run_loop_stop")

    def perform(self, work: "Callable[..., Outcome]", *arguments: object) -> "Future[Outcome]":
        """Has the main thread call `work`, from any thread; its result, or what it raised, comes in
        the future. The main thread must not wait for that."""
        future: "Future[Outcome]" = Future()
        number = _works.add((future, work, arguments))
        try:
            call("velmora_run_loop_perform", _c_work, number)
        except Exception:
            _works.take(number)
            raise
        return future

    def will_enter_foreground(self) -> None:
        """Counts a launch and posts what waits."""
        call("velmora_will_enter_foreground")

    def erase(self) -> None:
        """Stops the SDK and removes all that it keeps; start() starts it again. On the main thread."""
        call("velmora_erase")

    def status(self) -> "dict[str, Any]":
        """What is stored and what was sent."""
        status: "dict[str, Any]" = json.loads(take_text("velmora_status_json"))
        return status

    def diagnose(self) -> "dict[str, Any]":
        """What would keep the SDK from working here."""
        diagnosis: "dict[str, Any]" = json.loads(take_text("velmora_diagnose_json"))
        return diagnosis


def start(api_key: "str | None", secret: "str | None") -> Velmora:
    """Once; the calling thread becomes the main one."""
    with _start:
        if library.velmora_is_started():
            raise error("velmora_start", 4, "the SDK is started already: start it once")
        key = c_text(api_key, "velmora_start", "api_key")
        call("velmora_start", key, c_text(secret, "velmora_start", "secret"))
        Preferences._owner = threading.get_ident()
        return Velmora()


_start = threading.Lock()
_works = Kept()


def _work(number: int) -> None:
    held: Any = _works.take(number)
    future, work, arguments = held
    if future.set_running_or_notify_cancel():
        try:
            future.set_result(work(*arguments))
        except BaseException as raised:  # as executors do: it belongs to who waits
            future.set_exception(raised)


_c_work = WorkCallback(_work)
