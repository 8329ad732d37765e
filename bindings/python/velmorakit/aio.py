"""asyncio: the SDK as a reader of an event loop, on the main thread."""
import asyncio
from collections.abc import Iterator
from contextlib import contextmanager

from velmorakit.sdk import Velmora


@contextmanager
def attached(sdk: Velmora) -> Iterator[Velmora]:
    """In a coroutine: `with attached(sdk): ...`"""
    loop = asyncio.get_running_loop()
    descriptor = sdk.fileno()
    loop.add_reader(descriptor, sdk.process)
    try:
        yield sdk
    finally:
        loop.remove_reader(descriptor)
