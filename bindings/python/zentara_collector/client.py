"""The client."""

from __future__ import annotations

import http.client
import json
import ssl
import urllib.error
import urllib.request
from collections.abc import Mapping
from dataclasses import dataclass
from typing import Any, Literal, TypedDict, Unpack
from urllib.parse import quote

Event = dict[str, Any]

# For the answer itself, in addition to the requested wait.
_PATIENCE = 30.0


class CollectorError(Exception):
    """The collector cannot be reached, or its answer is invalid."""


class ExpectationError(AssertionError):
    """An expectation of a test failed. The text names the selection and what arrived instead."""


class Selection(TypedDict, total=False):
    """Selects events; all members must match."""

    schema: str  #: "{id}-{version}"
    user: str  #: the user's token, or "{type}={token}"
    tenant: str  #: of the envelope
    context: str  #: the client's context id
    client: str  #: the client's UUID
    text: str  #: anywhere in the event's JSON text
    since: int  #: received then or later, milliseconds since 1970
    after: int  #: with a larger number
    properties: Mapping[str, str | int | float | bool | None]
    """Of these properties: {"section": "home", "variant.size": "L"}."""
    duplicate: bool
    verdict: Literal["good", "bad", "any"]
    """Of the check against the schema on arrival; good by default."""


@dataclass(frozen=True)
class FoundEvents:
    """The result of a wait."""

    satisfied: bool  #: enough events match
    total: int  #: that match
    events: list[Event]  #: at most the first 100 of them


@dataclass(frozen=True)
class CollectorSummary:
    """Counts of everything received."""

    requests: int
    envelopes: int
    events: int
    good: int
    bad: int
    distinct_actions: int
    duplicates: int
    missing: int  #: sequence numbers that have not arrived
    last_number: int  #: of the newest event


class CollectorClient:
    """Each call sends one request and blocks until it is answered, or raises `CollectorError`. Any
    thread.

    `url` is the address that the collector prints, for example "http://127.0.0.1:8080". For https,
    `authority_file` names the certificate authority; without it those of the system count.
    """

    def __init__(self, url: str, authority_file: str | None = None) -> None:
        self._url = url.rstrip("/")
        # Other than by default, no proxy.
        handlers: list[urllib.request.BaseHandler] = [urllib.request.ProxyHandler({})]
        if self._url.startswith("https:"):
            context = ssl.create_default_context(cafile=authority_file)
            handlers.append(urllib.request.HTTPSHandler(context=context))
        self._opener = urllib.request.build_opener(*handlers)

    def wait_for(self, count: int = 1, timeout: float = 10,
                 **selection: Unpack[Selection]) -> FoundEvents:
        """Waits until at least `count` events match."""
        milliseconds = round(timeout * 1000)
        answer = self._ask("GET", f"/received/wait?count={count}&timeout={milliseconds}"
                           f"&{_query_for(selection)}", patience=timeout + _PATIENCE)
        return FoundEvents(answer["satisfied"], answer["total"], answer["events"])

    def expect_event(self, timeout: float = 10, **selection: Unpack[Selection]) -> Event:
        """Waits for one event and returns it. Raises `ExpectationError` if there is none in time."""
        found = self.wait_for(1, timeout, **selection)
        if found.satisfied:
            return found.events[0]
        raise ExpectationError(f"no event with {_query_for(selection)} within "
                               f"{round(timeout * 1000)} ms; received: "
                               f"{_json(self.get('/received/summary'))}")

    def expect_no_event(self, quiet_time: float = 0, **selection: Unpack[Selection]) -> None:
        """Raises `ExpectationError` if an event matches, now or within `quiet_time`. Without a quiet
        time the caller must know that everything has arrived."""
        found = self.wait_for(1, quiet_time, **selection)
        if found.satisfied:
            raise ExpectationError(f"an event with {_query_for(selection)} has arrived: "
                                   f"{_json(found.events[0])}")

    def events(self, **selection: Unpack[Selection]) -> list[Event]:
        """All events that match, in order of arrival."""
        return self.get(f"/received/events?{_query_for(selection)}")["events"]

    def count(self, **selection: Unpack[Selection]) -> int:
        return self.get(f"/received/events?limit=0&{_query_for(selection)}")["total"]

    def summary(self) -> CollectorSummary:
        answer = self.get("/received/summary")
        return CollectorSummary(
            requests=answer["requests"], envelopes=answer["envelopes"], events=answer["events"],
            good=answer["good"], bad=answer["bad"], distinct_actions=answer["distinctActions"],
            duplicates=answer["duplicates"], missing=answer["missing"],
            last_number=answer["lastNumber"])

    def reset(self) -> None:
        """Removes everything received."""
        self._ask("DELETE", "/received")

    def set_fault(self, service: Literal["schemas", "id", "event", "all"],
                  **fault: str | int | float) -> None:
        """Makes a service fail, for example with answer="status", status=503."""
        self._ask("PUT", f"/faults/{service}", fault)

    def clear_faults(self) -> None:
        self._ask("DELETE", "/faults")

    def get(self, path: str) -> Any:
        """The answer to GET `path`, for queries without a method here."""
        return self._ask("GET", path)

    def _ask(self, method: str, path: str, body: Mapping[str, Any] | None = None,
             patience: float = _PATIENCE) -> Any:
        request = urllib.request.Request(
            self._url + path, method=method, data=None if body is None else _json(body).encode(),
            headers={"Content-Type": "application/json"})
        name = f"{method} {self._url}{path}"
        try:
            with self._opener.open(request, timeout=patience) as answer:
                text = answer.read()
        except urllib.error.HTTPError as error:
            with error:
                reason = error.read().decode(errors="replace")
            raise CollectorError(f"{name}: {error.code} {reason}") from None
        except (OSError, http.client.HTTPException) as error:
            raise CollectorError(f"{name}: {_reason_of(error)}") from error
        try:
            return json.loads(text)
        except ValueError as error:
            raise CollectorError(f"{name}: the answer is not JSON: {error}") from None


def _reason_of(error: Exception) -> str:
    cause = error.reason if isinstance(error, urllib.error.URLError) else error
    if isinstance(cause, TimeoutError):
        return "Timeout was reached"
    if isinstance(cause, ConnectionRefusedError):
        return "Couldn't connect to server"
    return str(cause)


def _json(value: Any) -> str:
    return json.dumps(value, ensure_ascii=False, separators=(",", ":"))


def _query_for(selection: Selection) -> str:
    """As `queryFor` of the client in C++ writes it, so that messages are the same."""
    known = dict(selection)
    parameters = [(name, known.pop(name, None)) for name in
                  ["schema", "user", "tenant", "context", "client", "text", "since", "after"]]
    parameters += [(f"property.{path}", value if isinstance(value, str) else _json(value))
                   for path, value in known.pop("properties", {}).items()]
    if (duplicate := known.pop("duplicate", None)) is not None:
        parameters.append(("duplicate", _json(duplicate)))
    verdicts = {"good": "true", "bad": "false", "any": "any"}
    parameters.append(("good", verdicts[known.pop("verdict", "good")]))
    if known:
        raise TypeError(f"events cannot be selected by {', '.join(known)}")
    return "&".join(f"{quote(name, safe='')}={quote(str(value), safe='')}"
                    for name, value in parameters if value is not None)
