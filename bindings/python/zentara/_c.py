"""The C interface, as ctypes sees it. zentara.h documents it."""

from __future__ import annotations

import ctypes
import os
import re
from ctypes import CFUNCTYPE, POINTER, c_bool, c_char, c_char_p, c_int32, c_int64
from ctypes import c_size_t, c_void_p
from pathlib import Path


class Text(ctypes.Structure):
    _fields_ = [("bytes", POINTER(c_char)), ("length", c_size_t)]

    def __str__(self) -> str:
        content = ctypes.string_at(self.bytes, self.length) if self.bytes else b""
        return content.decode(errors="replace")

    def or_none(self) -> str | None:
        return str(self) if self.bytes else None


def utf8(text: str) -> bytes:
    """The text as UTF-8. Lone surrogates, which UTF-8 cannot hold, become U+FFFD."""
    try:
        return text.encode()
    except UnicodeEncodeError:
        return re.sub("[\ud800-\udfff]", "\ufffd", text).encode()


def text(value: str | None) -> Text:
    """The text, absent for None. Its bytes live as long as the result."""
    if value is None:
        return Text(None, 0)
    return borrowed(utf8(value))


def borrowed(content: bytes) -> Text:
    """The bytes as a text. They live as long as the result."""
    return Text(ctypes.cast(ctypes.c_char_p(content), POINTER(c_char)), len(content))


class Record(ctypes.Structure):
    """Begins with its size."""

    def __init__(self, **members: object) -> None:
        super().__init__(ctypes.sizeof(self), **members)


class Endpoints(Record):
    _fields_ = [("size", c_size_t), ("production_collector", Text), ("qa_collector", Text),
                ("production_schemas", Text), ("qa_schemas", Text),
                ("certificate_authority_file", Text)]


class Policy(Record):
    _fields_ = [("size", c_size_t), ("largest_body_size", c_int64), ("continue_at_once", c_bool),
                ("compress_bodies", c_bool), ("back_off", c_bool), ("isolate_refused", c_bool),
                ("reuse_connections", c_bool), ("reserved", c_bool * 3)]


class Draft(Record):
    _fields_ = [("size", c_size_t), ("schema_id", Text), ("schema_version", Text),
                ("content_type", Text), ("url", Text), ("referer", Text), ("relation_id", Text),
                ("properties_json", Text), ("properties", c_void_p)]


class FlushRecord(Record):
    _fields_ = [("size", c_size_t), ("outcome", c_int32), ("delivered", c_int64),
                ("waiting", c_int64), ("held_back", c_int64), ("last_failure", Text)]


class LogRecord(Record):
    _fields_ = [("size", c_size_t), ("level", c_int32), ("component", Text), ("text", Text)]


class NoticeRecord(Record):
    _fields_ = [("size", c_size_t), ("kind", c_int32), ("count", c_size_t),
                ("action_uuids", POINTER(Text)), ("reason", Text)]


class ReportRecord(Record):
    _fields_ = [("size", c_size_t), ("outcome", c_int32), ("count", c_size_t),
                ("messages", POINTER(Text))]


class FailureRecord(ctypes.Structure):
    _fields_ = [("text", Text), ("time", c_int64), ("in_a_row", c_int64)]


# The context of a callback is a number: ctypes gives None for 0, so numbers begin with 1.
Release = CFUNCTYPE(None, c_void_p)
Ready = CFUNCTYPE(None, c_void_p, c_void_p)
Send = CFUNCTYPE(None, c_void_p, c_void_p, c_void_p)
AnonymousUser = CFUNCTYPE(None, c_void_p, Text, Text, Text)
Hsid = CFUNCTYPE(None, c_void_p, Text)
Fetch = CFUNCTYPE(None, c_void_p, c_int32)
LogSink = CFUNCTYPE(None, c_void_p, POINTER(LogRecord))
BeforeQueue = CFUNCTYPE(c_int32, c_void_p, c_void_p)
Observer = CFUNCTYPE(None, c_void_p, POINTER(NoticeRecord))

_SIGNATURES: dict[str, tuple[object, list[object]]] = {
    "zentara_version": (c_char_p, []),
    "zentara_last_problem": (Text, []),
    "zentara_set_bundle_identifier": (c_int32, [Text]),
    "zentara_set_documents_directory": (c_int32, [Text]),
    "zentara_set_preferences_directory": (c_int32, [Text]),
    "zentara_set_device": (c_int32, [Text, Text, Text]),
    "zentara_use_endpoints": (c_int32, [POINTER(Endpoints)]),
    "zentara_use_settings": (c_int32, [Text, c_int32, Text, POINTER(Policy)]),
    "zentara_set_bundled_schemas": (c_int32, [Text]),
    "zentara_is_configured": (c_bool, []),
    "zentara_value_json": (Text, [c_void_p]),
    "zentara_properties_make_from_json": (c_void_p, [Text]),
    "zentara_properties_replace_json": (c_int32, [c_void_p, Text]),
    "zentara_properties_value": (c_void_p, [c_void_p]),
    "zentara_error_kind_of": (c_int32, [c_void_p]),
    "zentara_error_code": (c_int64, [c_void_p]),
    "zentara_error_message": (Text, [c_void_p]),
    "zentara_event_read": (c_int32, [c_void_p, POINTER(Draft)]),
    "zentara_get": (c_int32, [Ready, c_void_p, Release, POINTER(c_void_p)]),
    "zentara_client_release": (None, [c_void_p]),
    "zentara_is_ready": (c_bool, []),
    "zentara_send": (c_int32, [c_void_p, POINTER(Draft), Send, c_void_p, Release]),
    "zentara_new_context_id": (c_int32, [c_void_p]),
    "zentara_context_id": (Text, [c_void_p]),
    "zentara_set_advertising_id": (c_int32, [c_void_p, Text]),
    "zentara_set_logged_user": (c_int32, [c_int32, Text]),
    "zentara_remove_logged_user": (c_int32, []),
    "zentara_get_anonymous_user": (c_int32, [AnonymousUser, c_void_p, Release]),
    "zentara_get_hsid": (c_int32, [Hsid, c_void_p, Release]),
    "zentara_perform_fetch": (c_int32, [Fetch, c_void_p, Release]),
    "zentara_flush_and_wait": (c_int32, [c_int64, POINTER(FlushRecord)]),
    "zentara_shutdown": (c_int32, [c_int64, POINTER(FlushRecord)]),
    "zentara_pause_delivery": (None, []),
    "zentara_resume_delivery": (None, []),
    "zentara_retry_refused": (None, []),
    "zentara_set_consent": (c_int32, [c_int32]),
    "zentara_get_consent": (c_int32, []),
    "zentara_forget_user": (c_int32, []),
    "zentara_set_log_sink": (c_int32, [c_int32, LogSink, c_void_p, Release]),
    "zentara_outgoing_event": (c_void_p, [c_void_p]),
    "zentara_outgoing_action_uuid": (Text, [c_void_p]),
    "zentara_outgoing_properties": (c_void_p, [c_void_p]),
    "zentara_outgoing_url": (Text, [c_void_p]),
    "zentara_outgoing_referer": (Text, [c_void_p]),
    "zentara_outgoing_set_url": (c_int32, [c_void_p, Text]),
    "zentara_outgoing_set_referer": (c_int32, [c_void_p, Text]),
    "zentara_outgoing_set_reason": (c_int32, [c_void_p, Text]),
    "zentara_set_before_queue": (c_int32, [BeforeQueue, c_void_p, Release]),
    "zentara_set_global_properties_take": (c_int32, [c_void_p]),
    "zentara_set_delivery_observer": (c_int32, [Observer, c_void_p, Release]),
    "zentara_validate": (c_int32, [c_void_p, POINTER(Draft), POINTER(ReportRecord)]),
    "zentara_set_fail_fast": (None, [c_bool]),
    "zentara_set_session_timeout": (None, [c_int64]),
    "zentara_statistics_size": (c_size_t, []),
    "zentara_read_statistics": (c_int32, [c_void_p]),
    "zentara_count_of": (c_int32, [c_void_p, Text, POINTER(c_int64)]),
    "zentara_failure_of": (c_int32, [c_void_p, Text, POINTER(FailureRecord)]),
}

_NAME = "libZentaraClient.so.3"


def _load() -> ctypes.CDLL:
    named = os.environ.get("ZENTARA_LIBRARY")
    beside = Path(__file__).parent / _NAME
    library = ctypes.CDLL(named or (str(beside) if beside.exists() else _NAME))
    for name, (result, arguments) in _SIGNATURES.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = arguments
    return library


library = _load()
