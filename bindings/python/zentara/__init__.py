"""Event tracking.

    import zentara

    zentara.use_settings("my-tenant", zentara.Environment.QA)
    with zentara.client(flush=5) as client:
        client.wait_until_ready()
        client.send("page-view", "1", {"title": "Home"})

Every function may be called from any thread. Times are seconds. Functions that are set here, such
as that of `set_before_queue`, are called on the thread that the C interface names, and hold until
`shutdown`. What they raise is reported as Python reports what it cannot raise, except where the
function says otherwise.

The library is the file that ZENTARA_LIBRARY names, libZentaraClient.so.3 beside this package, or
what the loader of the system finds.
"""

from __future__ import annotations

import atexit
import ctypes
import dataclasses
import itertools
import json
import os
import threading
import time
import weakref
from collections.abc import Callable, Iterable, Mapping
from typing import Any

from . import _c
from ._c import library as _library
from .errors import (BeforeQueueError, ConsentDeniedError, Error, EventDroppedError,
                     InvalidDataError, NotConfiguredError, NotInitializedError, NotQueuedError,
                     NotReadyError, SchemasError, ShutDownError, StorageError, UnknownSchemaError,
                     check as _check, error_of as _error_of)
from .records import (AnonymousUser, Consent, Decision, DeliveryKind, DeliveryNotice,
                      DeliveryPolicy, Environment, Event, Failure, FetchResult, FlushOutcome,
                      FlushResult, LogLevel, LogLine, Outgoing, Statistics, UserTokenType, ValidationOutcome,
                      ValidationReport)

__version__: str = _library.zentara_version().decode()

HsidFunction = Callable[[str], None]
FetchFunction = Callable[[FetchResult], None]
ReadyFunction = Callable[["Error | None"], None]
LogFunction = Callable[[LogLine], None]
BeforeQueueFunction = Callable[[Outgoing], "Decision | None"]
ObserverFunction = Callable[[DeliveryNotice], None]

_DROP, _REFUSE = 1, 2

# The functions that the library holds, by the number that is their context.
_held: dict[int, Callable[..., Any]] = {}
_numbers = itertools.count(1)


# What interrupts a function here is raised again by the call of this thread that led to it.
_thread = threading.local()


def _give(function: Callable[..., Any], call: Callable[[int], int]) -> None:
    """Makes a call of the library, which releases the number of the function that it gets."""
    number = next(_numbers)
    _held[number] = function
    try:
        status = call(number)
    except ctypes.ArgumentError:  # The library was not called.
        del _held[number]
        raise
    _check(status)


def _reported(call: Callable[[int], int]) -> Any:
    """What the library reports before its call returns."""
    reports: list[Any] = []
    _thread.interrupt = None
    _give(reports.append, call)
    interrupt, _thread.interrupt = _thread.interrupt, None
    if interrupt is not None or not reports:
        raise interrupt or KeyboardInterrupt
    return reports[0]


@_c.Release
def _release(number: int) -> None:
    del _held[number]


@_c.Ready
def _on_ready(number: int, error: int | None) -> None:
    _held[number](_error_of(error))


@_c.Send
def _on_sent(number: int, event: int, error: int | None) -> None:
    try:
        _held[number](_error_of(error))
    except BaseException as interrupt:
        _thread.interrupt = interrupt


@_c.AnonymousUser
def _on_anonymous_user(number: int, kind: _c.Text, value: _c.Text, public: _c.Text) -> None:
    _held[number](AnonymousUser(str(kind), str(value), public.or_none()))


@_c.Hsid
def _on_hsid(number: int, hsid: _c.Text) -> None:
    _held[number](str(hsid))


@_c.Fetch
def _on_fetched(number: int, result: int) -> None:
    _held[number](FetchResult(result))


@_c.LogSink
def _on_line(number: int, record: Any) -> None:
    line = record.contents
    _held[number](LogLine(LogLevel(line.level), str(line.component), str(line.text)))


@_c.Observer
def _on_notice(number: int, record: Any) -> None:
    notice = record.contents
    uuids = tuple(str(notice.action_uuids[index]) for index in range(notice.count))
    _held[number](DeliveryNotice(DeliveryKind(notice.kind), uuids, str(notice.reason)))


@_c.BeforeQueue
def _on_outgoing(number: int, handle: int) -> int:
    try:
        draft = _c.Draft()
        _check(_library.zentara_event_read(_library.zentara_outgoing_event(handle), draft))
        properties = _library.zentara_outgoing_properties(handle)
        text = str(_library.zentara_value_json(_library.zentara_properties_value(properties)))
        outgoing = Outgoing(
            schema_id=str(draft.schema_id), schema_version=str(draft.schema_version),
            content_type=str(draft.content_type), relation_id=draft.relation_id.or_none(),
            action_uuid=str(_library.zentara_outgoing_action_uuid(handle)),
            properties=json.loads(text), url=str(_library.zentara_outgoing_url(handle)),
            referer=str(_library.zentara_outgoing_referer(handle)))
        before = dataclasses.replace(outgoing)
        # To Python, 1, 1.0 and True are equal.
        content = _json(outgoing.properties)
        decision = _held[number](outgoing)
        if decision is not None and decision != Decision.QUEUE:
            return _DROP
        if (changed := _json(outgoing.properties)) != content:
            _check(_library.zentara_properties_replace_json(properties, _c.text(changed)))
        if outgoing.url != before.url:
            _check(_library.zentara_outgoing_set_url(handle, _c.text(outgoing.url)))
        if outgoing.referer != before.referer:
            _check(_library.zentara_outgoing_set_referer(handle, _c.text(outgoing.referer)))
        return Decision.QUEUE
    except Exception as error:
        reason = f"{type(error).__name__}: {error}"
        _library.zentara_outgoing_set_reason(handle, _c.text(reason))
        return _REFUSE
    except BaseException as interrupt:
        _thread.interrupt = interrupt
        return _REFUSE


# Python cannot be called any more when the interpreter is finalized.
@atexit.register
def _forget_functions() -> None:
    if _held:
        shutdown(0)


def _json(properties: Mapping[str, Any]) -> str:
    return json.dumps(properties, allow_nan=False, ensure_ascii=False)


def _milliseconds(seconds: float) -> int:
    return int(seconds * 1000)


def _draft(event: Event) -> _c.Draft:
    return _c.Draft(
        schema_id=_c.text(event.schema_id), schema_version=_c.text(event.schema_version),
        content_type=_c.text(event.content_type), url=_c.text(event.url),
        referer=_c.text(event.referer), relation_id=_c.text(event.relation_id),
        properties_json=_c.text(_json(event.properties)))


def _send(client: int | None, event: Event) -> Error | None:
    draft = _draft(event)
    return _reported(
        lambda number: _library.zentara_send(client, draft, _on_sent, number, _release))


def _raise(error: Error | None) -> None:
    if error is not None:
        raise error


class Client:
    """The client of this process. As a context manager it flushes at its end.

    After `shutdown` it refuses events with `ShutDownError`.
    """

    def __init__(self, handle: int, flush: float = 10) -> None:
        self._handle = handle
        self._flush = flush
        self.flushed: FlushResult | None = None  #: what the flush at the end of `with` achieved
        release = weakref.finalize(self, _library.zentara_client_release, handle)
        # Threads and other functions of atexit may use the client until the process ends.
        release.atexit = False

    def __enter__(self) -> Client:
        return self

    def __exit__(self, *exception: object) -> None:
        self.flushed = flush(self._flush)

    def wait_until_ready(self, timeout: float = 30) -> bool:
        """Whether the schemas have arrived in time. Until then events are held back."""
        end = time.monotonic() + timeout
        while not is_ready():
            if time.monotonic() > end:
                return False
            time.sleep(0.01)
        return True

    def send(self, schema_id: str, schema_version: str, properties: Mapping[str, Any] = {}, *,
             url: str = "", referer: str = "", content_type: str = "application/json",
             relation_id: str | None = None) -> None:
        """Validates and queues one event. Returns when it is on disk, or raises an `Error`.

        Properties that JSON cannot hold are a `TypeError` or a `ValueError`.
        """
        self.send_event(Event(schema_id, schema_version, properties, url, referer, content_type,
                              relation_id))

    def send_event(self, event: Event) -> None:
        _raise(_send(self._handle, event))

    def send_events(self, events: Iterable[Event],
                    relation_id: str | None = None) -> list[Error | None]:
        """Sends events in order, with this relation id in place of their own. Raises no `Error`:
        returns one for each event, None for those that are queued."""
        return [_send(self._handle, dataclasses.replace(event, relation_id=relation_id))
                for event in events]

    def validate(self, schema_id: str, schema_version: str,
                 properties: Mapping[str, Any]) -> ValidationReport:
        """What `send` would say. Sends nothing."""
        report = _c.ReportRecord()
        draft = _draft(Event(schema_id, schema_version, properties))
        _check(_library.zentara_validate(self._handle, draft, report))
        messages = tuple(str(report.messages[index]) for index in range(report.count))
        return ValidationReport(ValidationOutcome(report.outcome), messages)

    @property
    def context_id(self) -> str:
        return str(_library.zentara_context_id(self._handle))

    def new_context_id(self) -> None:
        _check(_library.zentara_new_context_id(self._handle))

    def set_advertising_id(self, advertising_id: str | None) -> None:
        """None removes it."""
        _check(_library.zentara_set_advertising_id(self._handle, _c.text(advertising_id)))


# Configuration.


def set_bundle_identifier(identifier: str) -> None:
    _check(_library.zentara_set_bundle_identifier(_c.text(identifier)))


def set_documents_directory(path: str | os.PathLike[str]) -> None:
    _check(_library.zentara_set_documents_directory(_c.text(os.fspath(path))))


def set_preferences_directory(path: str | os.PathLike[str]) -> None:
    _check(_library.zentara_set_preferences_directory(_c.text(os.fspath(path))))


def set_device(system_name: str, system_version: str, hardware_model: str) -> None:
    """Sets the facts about the device that go into the user agent."""
    _check(_library.zentara_set_device(_c.text(system_name), _c.text(system_version),
                                       _c.text(hardware_model)))


def use_endpoints(*, production_collector: str | None = None, qa_collector: str | None = None,
                  production_schemas: str | None = None, qa_schemas: str | None = None,
                  certificate_authority_file: str | None = None) -> None:
    """Replaces the endpoints that are given. To be called before the first `client`."""
    _check(_library.zentara_use_endpoints(_c.Endpoints(
        production_collector=_c.text(production_collector), qa_collector=_c.text(qa_collector),
        production_schemas=_c.text(production_schemas), qa_schemas=_c.text(qa_schemas),
        certificate_authority_file=_c.text(certificate_authority_file))))


def use_settings(tenant: str, environment: Environment, advertising_id: str | None = None,
                 delivery: DeliveryPolicy = DeliveryPolicy()) -> None:
    """Configures the process. Called again, it replaces everything."""
    _check(_library.zentara_use_settings(_c.text(tenant), environment, _c.text(advertising_id),
                                         _c.Policy(**dataclasses.asdict(delivery))))


def client(*, flush: float = 10, ready: ReadyFunction | None = None) -> Client:
    """The client of this process, built by the first call.

    `flush` is the deadline of the flush at the end of `with`. `ready` is called each time schemas
    arrive, with None, or could not be obtained, with the error; on a worker or before this returns.
    """
    handle = ctypes.c_void_p()
    if ready is None:
        _check(_library.zentara_get(_c.Ready(), None, _c.Release(), handle))
    else:
        _give(ready, lambda number: _library.zentara_get(_on_ready, number, _release, handle))
    assert handle.value is not None
    return Client(handle.value, flush)


def is_ready() -> bool:
    """Whether events are validated and queued when sent. Until then they are held back."""
    return _library.zentara_is_ready()


# Events, through the client of this process.


def send(schema_id: str, schema_version: str, properties: Mapping[str, Any] = {}, *, url: str = "",
         referer: str = "", content_type: str = "application/json",
         relation_id: str | None = None) -> None:
    """Like `Client.send`. Builds the client if needed."""
    _raise(_send(None, Event(schema_id, schema_version, properties, url, referer, content_type,
                             relation_id)))


def set_logged_user(token_type: UserTokenType, token: str) -> None:
    """Sets the user whose token goes with the events sent from now on.

    Does nothing while consent is denied.
    """
    _check(_library.zentara_set_logged_user(token_type, _c.text(token)))


def remove_logged_user() -> None:
    _check(_library.zentara_remove_logged_user())


def anonymous_user() -> AnonymousUser | None:
    """The anonymous token that is stored."""
    user = _reported(lambda number: _library.zentara_get_anonymous_user(
        _on_anonymous_user, number, _release))
    return None if user == AnonymousUser("", "", None) else user


def get_hsid(function: HsidFunction) -> None:
    """Fetches the identity and reports the session token that came with it, on a worker.

    The token is empty when the fetch failed. Nothing is reported when the fetch gave none.
    """
    _give(function, lambda number: _library.zentara_get_hsid(_on_hsid, number, _release))


# Delivery.


def perform_fetch(completion: FetchFunction) -> None:
    """Delivers up to ten queued events. The completion comes on a worker or before this returns."""
    _give(completion,
          lambda number: _library.zentara_perform_fetch(_on_fetched, number, _release))


def _flush_result(record: _c.FlushRecord) -> FlushResult:
    return FlushResult(FlushOutcome(record.outcome), record.delivered, record.waiting,
                       record.held_back, str(record.last_failure))


def flush(deadline: float = 10) -> FlushResult:
    """Delivers until the queue is empty, a batch fails, or the deadline has passed.

    In a function that the library calls it does nothing; the outcome is REFUSED.
    """
    record = _c.FlushRecord()
    _check(_library.zentara_flush_and_wait(_milliseconds(deadline), record))
    return _flush_result(record)


def shutdown(deadline: float = 10) -> FlushResult:
    """Refuses events from now on, flushes, and forgets all functions.

    A later `client` builds anew, with the same settings.
    """
    record = _c.FlushRecord()
    _check(_library.zentara_shutdown(_milliseconds(deadline), record))
    return _flush_result(record)


def pause_delivery() -> None:
    """Posts no events until `resume_delivery`. Events are queued."""
    _library.zentara_pause_delivery()


def resume_delivery() -> None:
    _library.zentara_resume_delivery()


def retry_refused() -> None:
    """Posts those events again that were passed over because the collector refused them alone."""
    _library.zentara_retry_refused()


# The user's will.


def set_consent(consent: Consent) -> None:
    """Sets what the user allows, for this process and for later starts."""
    _check(_library.zentara_set_consent(consent))


def consent() -> Consent:
    return Consent(_library.zentara_get_consent())


def forget_user() -> None:
    """Removes the events, the identity and the logged user, and begins anew."""
    _check(_library.zentara_forget_user())


# Functions and values of the host. Each replaces what was set before; None removes it.


def set_log_sink(least: LogLevel, sink: LogFunction | None) -> None:
    """Hands every line of this level or above to `sink`, on a worker; nothing is printed then.

    A fatal line comes on the thread that fails.
    """
    if sink is None:
        _check(_library.zentara_set_log_sink(least, _c.LogSink(), None, _c.Release()))
    else:
        _give(sink, lambda number: _library.zentara_set_log_sink(least, _on_line, number, _release))


def quiet_log(line: LogLine) -> None:
    """A sink that keeps the library silent."""


def set_before_queue(function: BeforeQueueFunction | None) -> None:
    """Sets the function that sees each event before it is queued, on the thread that sends it.

    It may change the properties, the url and the referer; it drops the event with `Decision.DROP`.
    Any decision but QUEUE and None drops the event, too. If it raises an `Exception`, the event is
    refused with a `BeforeQueueError`. KeyboardInterrupt, SystemExit and the like refuse the event,
    and the `send` that led to the call raises them.
    """
    if function is None:
        _check(_library.zentara_set_before_queue(_c.BeforeQueue(), None, _c.Release()))
    else:
        _give(function,
              lambda number: _library.zentara_set_before_queue(_on_outgoing, number, _release))


def set_global_properties(properties: Mapping[str, Any] | None) -> None:
    """Sets the properties that every event gets, unless it has one of that name itself."""
    handle = _library.zentara_properties_make_from_json(_c.text(_json(properties or {})))
    if handle is None:
        raise ValueError(str(_library.zentara_last_problem()))
    _check(_library.zentara_set_global_properties_take(handle))


def set_delivery_observer(observer: ObserverFunction | None) -> None:
    """Sets the function that is told what becomes of events, on a worker."""
    if observer is None:
        _check(_library.zentara_set_delivery_observer(_c.Observer(), None, _c.Release()))
    else:
        _give(observer,
              lambda number: _library.zentara_set_delivery_observer(_on_notice, number, _release))


def set_fail_fast(enabled: bool) -> None:
    """For development: with True, an event that its schema refuses ends the process."""
    _library.zentara_set_fail_fast(enabled)


# The library borrows the bytes until the process ends.
_bundled: list[bytes] = []


def set_bundled_schemas(table: str | bytes) -> None:
    """Sets the schemas that the application brings: a table as the schemas service answers it.

    A client that is built later begins with it unless there is a cache of schemas. Empty: none.
    """
    content = _c.utf8(table) if isinstance(table, str) else bytes(table)
    _bundled.append(content)
    _check(_library.zentara_set_bundled_schemas(_c.borrowed(content)))


def set_session_timeout(seconds: int) -> None:
    """Starts a new context with the next event when nothing was sent for so long; 0: never."""
    _library.zentara_set_session_timeout(seconds)


def statistics() -> Statistics:
    """What became of the events of this process so far."""
    size = _library.zentara_statistics_size()
    record = ctypes.create_string_buffer(size)
    ctypes.c_size_t.from_buffer(record).value = size
    _check(_library.zentara_read_statistics(record))
    values: dict[str, int | Failure] = {}
    for field in dataclasses.fields(Statistics):
        name = _c.text(field.name)
        if field.type == "Failure":
            failure = _c.FailureRecord()
            _check(_library.zentara_failure_of(record, name, failure))
            values[field.name] = Failure(str(failure.text), failure.time, failure.in_a_row)
        else:
            count = ctypes.c_int64()
            _check(_library.zentara_count_of(record, name, count))
            values[field.name] = count.value
    return Statistics(**values)  # type: ignore[arg-type]
