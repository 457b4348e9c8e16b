"""Queries a running zentara-collector, for tests.

    from zentara_collector import CollectorProcess

    with CollectorProcess("schemas") as process:
        collector = process.client()
        application.open_home_page()
        view = collector.expect_event(schema="page-view-1", text="Home")
        assert view["event"]["properties"]["section"] == "home"
        collector.expect_no_event(verdict="bad")

Needs nothing but Python's standard library. Times are seconds, except where they are of the
collector. Events are the objects that docs/collector.md describes.
"""

from .client import (CollectorClient, CollectorError, CollectorSummary, Event, ExpectationError,
                     FoundEvents)
from .process import CollectorProcess

__all__ = ["CollectorClient", "CollectorError", "CollectorProcess", "CollectorSummary", "Event",
           "ExpectationError", "FoundEvents"]
