"""VelmoraKit for Python: watches the consent strings in the application's preferences and posts
every change to the ingest service.

    import velmorakit

    velmorakit.configure(velmorakit.Options(bundle_identifier="com.example.kiosk",
                                            ingest_base_address="https://ingest.example.com/"))
    sdk = velmorakit.start("the key", "the secret")
    sdk.preferences[velmorakit.TCF_V2] = "CQtDjk..."
    sdk.run_until_idle(10)  # an application attaches it to its loop: velmorakit.aio, velmorakit.glib

The thread that calls start() is the main run loop's. What must be done there raises WrongThreadError
elsewhere; Velmora.perform() hands it over.
"""

from velmorakit.errors import (
    ForkedChildError,
    InternalError,
    InvalidArgumentError,
    InvalidStateError,
    InvalidUTF8Error,
    NotFoundError,
    OutOfMemoryError,
    StoreUnavailableError,
    TooLongError,
    VelmoraError,
    WrongThreadError,
    WrongTypeError,
)
from velmorakit.options import Options, configure
from velmorakit.preferences import TCF_V1, TCF_V2, Observation, Preferences, Value
from velmorakit.sdk import Velmora, start

__all__ = [
    "TCF_V1",
    "TCF_V2",
    "ForkedChildError",
    "InternalError",
    "InvalidArgumentError",
    "InvalidStateError",
    "InvalidUTF8Error",
    "NotFoundError",
    "Observation",
    "Options",
    "OutOfMemoryError",
    "Preferences",
    "StoreUnavailableError",
    "TooLongError",
    "Value",
    "Velmora",
    "VelmoraError",
    "WrongThreadError",
    "WrongTypeError",
    "configure",
    "start",
]
