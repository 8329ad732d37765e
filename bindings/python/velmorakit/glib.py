"""GLib and GTK: the SDK as a source of the default main context, on the main thread."""
from collections.abc import Callable

from gi.repository import GLib

from velmorakit.sdk import Velmora


def attach(sdk: Velmora) -> "Callable[[], None]":
    """What is returned ends it."""

    def readable(*_: object) -> bool:
        sdk.process()
        return True

    source = GLib.unix_fd_add_full(
        GLib.PRIORITY_DEFAULT, sdk.fileno(), GLib.IOCondition.IN, readable
    )

    def detach() -> None:
        GLib.source_remove(source)

    return detach
