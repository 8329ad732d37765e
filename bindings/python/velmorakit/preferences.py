"""The application's preferences, a mapping shared with the SDK and with other processes."""
import ctypes
import json
import math
import threading
from collections.abc import Callable, Iterator, MutableMapping
from datetime import datetime, timezone
from typing import Any, Union

from velmorakit._interface import (
    ChangeCallback,
    Kept,
    ReleaseCallback,
    c_text,
    call,
    error,
    library,
    take_text,
)
from velmorakit.errors import NotFoundError

TCF_V2 = "IABTCF_TCString"
TCF_V1 = "IABConsent_ConsentString"

Value = Union[bool, int, float, str, bytes, datetime, "list[Any]", "dict[str, Any]"]
Change = Callable[[str, "Value | None", "Value | None"], None]


class Observation:
    """Ends with end(), or at the end of a `with`."""

    def __init__(self, observer: ctypes.c_void_p) -> None:
        self._observer = observer

    def end(self) -> None:
        observer, self._observer = self._observer, ctypes.c_void_p()
        call("velmora_preferences_unobserve", observer)

    def __enter__(self) -> "Observation":
        return self

    def __exit__(self, *_: object) -> None:
        self.end()


class Preferences(MutableMapping[str, Value]):
    """A value that is set is visible at once, on every thread. Consent strings are set on the main
    thread, where the post that follows waits: elsewhere it is a WrongThreadError."""

    _owner: "int | None" = None

    def __getitem__(self, key: str) -> Value:
        text = take_text("velmora_preferences_get_json", _key(key, "get_json"), key=key)
        value: Value = json.loads(text, object_hook=_untag)
        return value

    def __setitem__(self, key: str, value: Value) -> None:
        owner = Preferences._owner
        if key in (TCF_V2, TCF_V1) and owner not in (None, threading.get_ident()):
            raise error(
                "velmora_preferences_set_text",
                7,
                "set on another thread than start() was called on, it would wait unsent: "
                "use preferences.set_on_main_loop(key, value)",
                key,
            )
        if isinstance(value, str):
            try:
                text = value.encode()
            except UnicodeEncodeError:
                raise error("velmora_preferences_set_text", 2, "not valid UTF-8", key) from None
            name = _key(key, "set_text")
            call("velmora_preferences_set_text", name, text, len(text), key=key)
        else:
            text = json.dumps(_tag(value)).encode()
            call("velmora_preferences_set_json", _key(key, "set_json"), text, key=key)

    def set_on_main_loop(self, key: str, value: Value) -> None:
        """Has the main thread set it, from any thread; returns at once."""
        name = _key(key, "set_json_on_main_loop")
        text = json.dumps(_tag(value)).encode()
        call("velmora_preferences_set_json_on_main_loop", name, text, key=key)

    def __delitem__(self, key: str) -> None:
        if key not in self:
            raise NotFoundError("velmora_preferences_remove", "nothing is stored", key)
        call("velmora_preferences_remove", _key(key, "remove"), key=key)

    def __iter__(self) -> Iterator[str]:
        keys = ctypes.POINTER(ctypes.c_char_p)()
        count = ctypes.c_size_t()
        call("velmora_preferences_keys", ctypes.byref(keys), ctypes.byref(count))
        try:
            return iter([(keys[i] or b"").decode() for i in range(count.value)])
        finally:
            library.velmora_free(keys)

    def __len__(self) -> int:
        return sum(1 for _ in self)

    def synchronize(self) -> None:
        """Waits until what was set is safe from a power cut, too."""
        call("velmora_preferences_synchronize")

    def observe(self, key: "str | None", changed: Change) -> Observation:
        """`changed(key, new, old)` for that key, or for every key, on the thread that made the change,
        inside its write; for another process's change, on the main thread. What it raises goes to
        sys.unraisablehook."""
        observer = ctypes.c_void_p()
        number = _observers.add(changed)
        name = None if key is None else _key(key, "observe")
        # Where this fails, the SDK releases the number.
        call("velmora_preferences_observe", name, _c_changed, number, _c_release,
             ctypes.byref(observer), key=key)
        return Observation(observer)


def _key(key: str, function: str) -> "bytes | None":
    return c_text(key, "velmora_preferences_" + function, "key")


def _tag(value: Any) -> Any:
    """JSON's own values, and tagged objects for what JSON lacks."""
    if isinstance(value, datetime):
        return {"$date": value.timestamp()}
    if isinstance(value, (bytes, bytearray)):
        return {"$data": value.hex()}
    if isinstance(value, float) and not math.isfinite(value):
        return {"$real": str(value)}
    if isinstance(value, (list, tuple)):
        return [_tag(entry) for entry in value]
    if isinstance(value, dict):
        tagged = {key: _tag(entry) for key, entry in value.items()}
        if len(tagged) == 1 and (only := next(iter(tagged))).startswith("$"):
            return {"$" + only: tagged[only]}
        return tagged
    if isinstance(value, (str, int, float)):
        return value
    raise TypeError(f"preferences hold no {type(value).__name__}: {value!r}")


def _untag(value: "dict[str, Any]") -> Any:
    if len(value) != 1:
        return value
    ((key, entry),) = value.items()
    if key == "$date":
        return datetime.fromtimestamp(entry, timezone.utc)
    if key == "$data":
        return bytes.fromhex(entry)
    if key == "$real":
        return float(entry)
    return {key[1:]: entry} if key.startswith("$$") else value


_observers = Kept()


def _changed(key: bytes, new: "bytes | None", old: "bytes | None", number: int) -> None:
    changed: Any = _observers.get(number)
    values = [None if text is None else json.loads(text, object_hook=_untag) for text in (new, old)]
    changed(key.decode(), *values)


_c_changed = ChangeCallback(_changed)


def _release(number: int) -> None:
    _observers.take(number)


_c_release = ReleaseCallback(_release)
