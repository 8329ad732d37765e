"""The C interface, as far as the module uses it: <VelmoraKit/velmora.h>."""
import ctypes
import threading
from ctypes import POINTER, c_char_p, c_double, c_int, c_size_t, c_void_p

from velmorakit.errors import KINDS, VelmoraError

library = ctypes.CDLL("libVelmoraKit.so.1")

LogSink = ctypes.CFUNCTYPE(None, c_int, c_void_p, c_size_t, c_void_p)
WorkCallback = ctypes.CFUNCTYPE(None, c_void_p)
ChangeCallback = ctypes.CFUNCTYPE(None, c_char_p, c_char_p, c_char_p, c_void_p)
ReleaseCallback = ctypes.CFUNCTYPE(None, c_void_p)


for _name, _arguments in {
    "configure_json": [c_char_p],
    "set_log_sink": [LogSink, c_void_p],
    "start": [c_char_p, c_char_p],
    "erase": [],
    "will_enter_foreground": [],
    "run_loop_descriptor": [POINTER(c_int)],
    "run_loop_process": [],
    "run_loop_run": [c_double],
    "run_loop_run_until_idle": [c_double, POINTER(c_int)],
    "run_loop_stop": [],
    "run_loop_perform": [WorkCallback, c_void_p],
    "preferences_set_text": [c_char_p, c_char_p, c_size_t],
    "preferences_set_json": [c_char_p, c_char_p],
    "preferences_set_json_on_main_loop": [c_char_p, c_char_p],
    "preferences_get_json": [c_char_p, POINTER(c_void_p)],
    "preferences_remove": [c_char_p],
    "preferences_keys": [POINTER(POINTER(c_char_p)), POINTER(c_size_t)],
    "preferences_synchronize": [],
    "preferences_observe": [c_char_p, ChangeCallback, c_void_p, ReleaseCallback, POINTER(c_void_p)],
    "preferences_unobserve": [c_void_p],
    "status_json": [POINTER(c_void_p)],
    "diagnose_json": [POINTER(c_void_p)],
}.items():
    getattr(library, "velmora_" + _name).argtypes = _arguments
library.velmora_last_error_message.restype = c_char_p
library.velmora_free.argtypes = [c_void_p]
library.velmora_free.restype = None


def error(function: str, code: int, message: str, key: "str | None" = None) -> VelmoraError:
    return KINDS.get(code, VelmoraError)(function, message, key)


def call(function: str, *arguments: object, key: "str | None" = None) -> None:
    """Calls the C function; what it refuses becomes an exception."""
    code = getattr(library, function)(*arguments)
    if code != 0:
        raise error(function, code, library.velmora_last_error_message().decode(), key)


def take_text(function: str, *arguments: object, key: "str | None" = None) -> str:
    """Calls a C function whose last argument hands out a text."""
    text = c_void_p()
    call(function, *arguments, ctypes.byref(text), key=key)
    try:
        return ctypes.string_at(text.value or 0).decode()
    finally:
        library.velmora_free(text)


def c_text(text: "str | None", function: str, what: str) -> "bytes | None":
    """What C would cut off at a NUL is refused, as is what UTF-8 cannot say."""
    if text is None:
        return None
    if "\0" in text:
        raise error(function, 1, f'"{what}" contains a NUL, which ends it: leave it out')
    try:
        return text.encode()
    except UnicodeEncodeError:
        raise error(function, 2, f'"{what}" is not valid UTF-8: convert it first') from None


class Kept:
    """What C holds by a number until it gives it back: a Python object is not an address."""

    def __init__(self) -> None:
        self._lock = threading.Lock()
        self._objects: "dict[int, object]" = {}
        self._next = 1

    def add(self, held: object) -> int:
        with self._lock:
            number = self._next
            self._next += 1
            self._objects[number] = held
            return number

    def get(self, number: int) -> object:
        return self._objects[number]

    def take(self, number: int) -> object:
        with self._lock:
            return self._objects.pop(number)
