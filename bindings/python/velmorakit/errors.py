"""What a call that failed raises. Each error is also one of Python's own kind."""


class VelmoraError(Exception):
    """`function` of the C interface refused; `message` says what was wrong and what to do; `key`
    is the preferences key it was about."""

    code = 0

    def __init__(self, function: str, message: str, key: "str | None" = None) -> None:
        super().__init__(message)
        self.function = function
        self.message = message
        self.key = key

    def __str__(self) -> str:
        about = f" of {self.key!r}" if self.key is not None else ""
        return f"{self.function}{about}: {self.message}"


class InvalidArgumentError(VelmoraError, ValueError):
    code = 1


class InvalidUTF8Error(VelmoraError, ValueError):
    code = 2


class TooLongError(VelmoraError, ValueError):
    code = 3


class InvalidStateError(VelmoraError, RuntimeError):
    """The options, or the start, come too late."""

    code = 4


class NotFoundError(VelmoraError, KeyError):
    code = 5


class WrongTypeError(VelmoraError, TypeError):
    code = 6


class WrongThreadError(VelmoraError, RuntimeError):
    """This is done on the thread that called start(): Velmora.perform() hands it over."""

    code = 7


class ForkedChildError(VelmoraError, RuntimeError):
    """The process was forked after the first use; with multiprocessing choose "spawn"."""

    code = 8


class OutOfMemoryError(VelmoraError, MemoryError):
    code = 9


class InternalError(VelmoraError, RuntimeError):
    code = 10


class StoreUnavailableError(VelmoraError, OSError):
    """The preferences file cannot be written now; the log says why."""

    code = 11


KINDS = {kind.code: kind for kind in VelmoraError.__subclasses__()}
