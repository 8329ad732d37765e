"""What a host may say before the start."""
import ctypes
import json
from collections.abc import Callable
from dataclasses import dataclass

from velmorakit._interface import LogSink, c_text, call


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
    global _sink
    given = {name: value for name, value in vars(options).items() if name != "log"}
    function = "velmora_configure_json"
    call(function, c_text(json.dumps(given, ensure_ascii=False), function, "options"))
    if options.log is not None:
        _sink = LogSink(_writer(options.log))
        call("velmora_set_log_sink", _sink, None)


def _writer(log: "Callable[[str], None]") -> "Callable[[int, int, int, object], None]":
    def write(_level: int, line: int, length: int, _: object) -> None:
        log(ctypes.string_at(line, length).decode(errors="replace"))

    return write


# The SDK's threads may write a line until the process ends.
_sink: object = None
