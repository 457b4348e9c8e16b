"""What the library raises."""

from __future__ import annotations

from . import _c


class Error(Exception):
    """Base of the failures of an event or of the library.

    `code` is the code of the C++ interface, which several classes share; -1 for errors that have
    none.
    """

    def __init__(self, message: str, code: int = -1) -> None:
        super().__init__(message)
        self.code = code


class NotConfiguredError(Error):
    """A call before `use_settings`."""


class StorageError(Error):
    """Something was not done whole. `statistics().storage_failure` says why."""


class NotInitializedError(Error):
    """An event was sent before `use_settings`."""


class NotReadyError(Error):
    """An event was sent before the schemas had arrived. It is held back, and sent later."""


class InvalidDataError(Error):
    """An event's properties do not satisfy its schema. The message lists the reasons."""


class UnknownSchemaError(Error):
    """There is no schema of this id and version."""


class NotQueuedError(Error):
    """An event could not be stored, or holds what JSON cannot."""


class ConsentDeniedError(Error):
    """An event was sent while the user's consent is denied."""


class EventDroppedError(Error):
    """The function of `set_before_queue` has dropped an event."""


class BeforeQueueError(Error):
    """The function of `set_before_queue` has raised an exception. The message names it."""


class ShutDownError(Error):
    """An event was sent after `shutdown`."""


class SchemasError(Error):
    """The schemas could not be obtained."""


_BY_KIND = {
    1: NotInitializedError,
    2: NotReadyError,
    3: InvalidDataError,
    4: UnknownSchemaError,
    5: NotQueuedError,
    6: ConsentDeniedError,
    7: EventDroppedError,
    8: BeforeQueueError,
    9: ShutDownError,
    10: SchemasError,
}


def error_of(handle: int | None) -> Error | None:
    """The error behind a handle; None for success."""
    if handle is None:
        return None
    kind = _BY_KIND.get(_c.library.zentara_error_kind_of(handle), Error)
    message = str(_c.library.zentara_error_message(handle))
    return kind(message, _c.library.zentara_error_code(handle))


def check(status: int) -> None:
    """Raises what belongs to the status of a call."""
    if status == 0:
        return
    problem = str(_c.library.zentara_last_problem())
    raise {3: NotConfiguredError, 4: MemoryError, 5: StorageError}.get(status, ValueError)(problem)
