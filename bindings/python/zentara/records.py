"""The values that go into the library and come out of it."""

from __future__ import annotations

import dataclasses
import enum
from collections.abc import Mapping
from typing import Any


class Environment(enum.IntEnum):
    PRODUCTION = 0
    QA = 1


class Consent(enum.IntEnum):
    GRANTED = 0
    PENDING = 1
    DENIED = 2


class UserTokenType(enum.IntEnum):
    QVN_ID = 0
    GUEST = 1
    EXTERNAL_ID = 2


class LogLevel(enum.IntEnum):
    INFO = 0
    WARNING = 1
    FATAL = 2


class Decision(enum.IntEnum):
    QUEUE = 0
    DROP = 1


class FlushOutcome(enum.IntEnum):
    EMPTY = 0
    FAILED = 1
    DEADLINE = 2
    REFUSED = 3


class FetchResult(enum.IntEnum):
    NEW_DATA = 0
    NO_DATA = 1
    FAILED = 2


class DeliveryKind(enum.IntEnum):
    DELIVERED = 0
    EVICTED = 1
    DROPPED = 2
    REFUSED = 3


class ValidationOutcome(enum.IntEnum):
    VALID = 0
    INVALID = 1
    UNKNOWN_SCHEMA = 2
    NOT_READY = 3


@dataclasses.dataclass(frozen=True)
class DeliveryPolicy:
    """How queued events are delivered. As it is made, ten events leave every ten seconds."""

    continue_at_once: bool = False
    largest_body_size: int = 0
    compress_bodies: bool = False
    back_off: bool = False
    isolate_refused: bool = False
    reuse_connections: bool = False


@dataclasses.dataclass(frozen=True)
class FlushResult:
    outcome: FlushOutcome
    delivered: int
    waiting: int
    held_back: int
    last_failure: str


@dataclasses.dataclass(frozen=True)
class LogLine:
    level: LogLevel
    component: str
    text: str


@dataclasses.dataclass(frozen=True)
class DeliveryNotice:
    kind: DeliveryKind
    action_uuids: tuple[str, ...]
    reason: str


@dataclasses.dataclass(frozen=True)
class ValidationReport:
    outcome: ValidationOutcome
    messages: tuple[str, ...]


@dataclasses.dataclass(frozen=True)
class AnonymousUser:
    type: str
    value: str
    public_value: str | None


@dataclasses.dataclass(frozen=True)
class Event:
    """An event to be sent."""

    schema_id: str
    schema_version: str
    properties: Mapping[str, Any] = dataclasses.field(default_factory=dict)
    url: str = ""
    referer: str = ""
    content_type: str = "application/json"
    relation_id: str | None = None


@dataclasses.dataclass
class Outgoing:
    """An event on its way to the queue. `properties`, `url` and `referer` may be changed."""

    schema_id: str
    schema_version: str
    content_type: str
    relation_id: str | None
    action_uuid: str
    properties: dict[str, Any]
    url: str
    referer: str


@dataclasses.dataclass(frozen=True)
class Failure:
    """The last failure of a part of the library; `time` in milliseconds since 1970 UTC."""

    text: str
    time: int
    in_a_row: int


@dataclasses.dataclass(frozen=True)
class Statistics:
    """What became of the events of this process."""

    accepted: int
    held_back: int
    not_saved: int
    held_back_not_saved: int
    refused_not_initialized: int
    refused_invalid: int
    refused_unknown_schema: int
    refused_not_encodable: int
    refused_consent: int
    refused_shut_down: int
    refused_by_hook: int
    dropped_by_hook: int
    released: int
    dropped_invalid: int
    dropped_unknown_schema: int
    held_back_evicted: int
    held_back_discarded: int
    delivered: int
    evicted: int
    discarded: int
    batches_delivered: int
    batches_failed: int
    restored: int
    held_back_restored: int
    waiting: int
    in_flight: int
    passed_over: int
    held_back_waiting: int
    schemas_failure: Failure
    identity_failure: Failure
    delivery_failure: Failure
    storage_failure: Failure
