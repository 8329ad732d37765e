"""What a host may say before the start."""
import ctypes
import json
from collections.abc import Callable
from dataclasses import dataclass, fields

from velmorakit._interface import COptions, LogCallback, c_text, call


@dataclass(frozen=True)
class Options:
    """None and False mean the default; docs/reference.md explains each. `log` receives each line, on
    any thread, and must not call the SDK."""

    store_path: "str | None" = None
    bundle_identifier: "str | None" = None
    app_version: "str | None" = None
    information_dictionary: "dict[str, object] | None" = None
    ingest_base_address: "str | None" = None
    system_version: "str | None" = None
    identifier_for_vendor: "str | None" = None
    advertising_identifier: "str | None" = None
    tracking_status: int = 0
    legacy_tracking: bool = False
    certificate_authority_file: "str | None" = None
    pinned_public_key: "str | None" = None
    allow_proxy: bool = False
    store_companion: bool = False
    keep_unsent: bool = False
    shared_folder: bool = False
    log: "Callable[[str], None] | None" = None


def configure(options: Options) -> None:
    """Once, before every other use; later it raises InvalidStateError."""
    global _log
    given = COptions()
    call("velmora_options_init", ctypes.byref(given), ctypes.sizeof(given))
    for field in fields(options):
        value = getattr(options, field.name)
        if isinstance(value, dict):
            value = json.dumps(value)
        if isinstance(value, str):
            value = c_text(value, "velmora_configure", field.name)
        if value is not None and field.name != "log":
            setattr(given, field.name, value)
    if options.log is not None:
        given.log_callback = LogCallback(_writer(options.log))
    call("velmora_configure", ctypes.byref(given))
    _log = given.log_callback


def _writer(log: "Callable[[str], None]") -> "Callable[[int, int, object], None]":
    def write(line: int, length: int, _: object) -> None:
        log(ctypes.string_at(line, length).decode(errors="replace"))

    return write


# The SDK's threads may write a line until the process ends.
_log: object = None
