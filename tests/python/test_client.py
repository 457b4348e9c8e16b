"""The package against the real collector."""

from __future__ import annotations

import ctypes
import datetime
import gc
import json
import os
import queue
import subprocess
import sys
import tempfile
import threading
import unittest
import urllib.request

import zentara

PAGE = {"title": "Home", "section": "home", "language": "en"}


class Collector:
    def __init__(self) -> None:
        self._process = subprocess.Popen(
            [os.environ["ZENTARA_COLLECTOR"], "--port", "0", "--quiet", "--no-https", "--schemas",
             os.environ["ZENTARA_SCHEMAS"]], stdout=subprocess.PIPE, text=True)
        assert self._process.stdout is not None
        self.url = self._process.stdout.readline().split()[1]

    def received(self, things: str) -> list[dict]:
        with urllib.request.urlopen(f"{self.url}/received/{things}") as answer:
            return json.load(answer)[things]

    def events(self) -> list[dict]:
        return [received["event"] for received in self.received("events")]

    def stop(self) -> None:
        self._process.kill()
        self._process.communicate()


class CollectorTest(unittest.TestCase):
    def setUp(self) -> None:
        # After `shutdown` the library may still flush files.
        folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
        self.collector = Collector()
        self.addCleanup(self.collector.stop)
        # Ends the client that the next test could otherwise see.
        self.addCleanup(zentara.shutdown, 0)
        self.folder = folder.name
        zentara.set_documents_directory(folder.name)
        zentara.set_preferences_directory(folder.name)
        zentara.use_endpoints(qa_collector=self.collector.url, qa_schemas=self.collector.url)
        zentara.use_settings("tenant", zentara.Environment.QA)
        self.before = zentara.statistics()

    def ready_client(self) -> zentara.Client:
        client = zentara.client(flush=20)
        self.assertTrue(client.wait_until_ready())
        return client

    def counted(self, name: str) -> int:
        return getattr(zentara.statistics(), name) - getattr(self.before, name)

    def test_every_value_of_an_event_arrives(self) -> None:
        page = PAGE | {"title": "Ünï \U0001f600", "loadMs": 7, "scrollDepth": 0.5}
        with self.ready_client() as client:
            zentara.set_logged_user(zentara.UserTokenType.EXTERNAL_ID, "own token")
            client.send("page-view", "1", page, url="own url", referer="own referer",
                        content_type="own/type", relation_id="own relation")
            outcomes = client.send_events([zentara.Event("page-view", "1", PAGE, url="second"),
                                           zentara.Event("page-view", "1", {})], "batch")
        self.assertEqual(client.flushed,
                         zentara.FlushResult(zentara.FlushOutcome.EMPTY, 2, 0, 0, ""))
        self.assertEqual([type(outcome) for outcome in outcomes],
                         [type(None), zentara.InvalidDataError])
        first, second = self.collector.events()
        self.assertEqual(
            (first["id"], first["version"], first["properties"], first["url"],
             first["zentaraClientReferer"], first["contentType"], first["zentaraRelationId"]),
            ("page-view", "1", page, "own url", "own referer", "own/type", "own relation"))
        self.assertEqual((second["url"], second["zentaraRelationId"]), ("second", "batch"))
        self.assertEqual(first["zentaraClientContextID"], client.context_id)
        (envelope,) = self.collector.received("envelopes")
        self.assertIn("EXT_ID=own token", envelope["headers"]["Cookie"])
        with open(self.folder + "/anonymous-token-storage", encoding="utf-8") as file:
            (token,) = json.load(file)
        self.assertEqual(zentara.anonymous_user(),
                         zentara.AnonymousUser(token["type"], token["value"], token["publicValue"]))

    def test_errors_have_classes(self) -> None:
        client = self.ready_client()
        with self.assertRaises(zentara.InvalidDataError) as invalid:
            zentara.send("page-view", "1", PAGE | {"title": 5})
        self.assertEqual(invalid.exception.code, 2)
        report = client.validate("page-view", "1", PAGE | {"title": 5})
        self.assertEqual(report.outcome, zentara.ValidationOutcome.INVALID)
        self.assertTrue(str(invalid.exception).endswith(report.messages[0]))
        for expected, call in [
                (zentara.UnknownSchemaError, lambda: zentara.send("page-view", "2", PAGE)),
                (TypeError, lambda: zentara.send("a", "1", {"when": datetime.date.today()})),
                (ValueError, lambda: zentara.send("a", "1", {"number": float("nan")})),
                (ValueError, lambda: zentara.use_settings("t", 2)),  # type: ignore[arg-type]
                (ValueError, lambda: zentara.set_consent(3)),  # type: ignore[arg-type]
                (ValueError, lambda: zentara.use_endpoints(qa_schemas="no url")),
                (ctypes.ArgumentError, lambda: zentara.set_log_sink("all", print)),
                (ValueError, lambda: zentara.set_logged_user(3, "t"))]:  # type: ignore[arg-type]
            with self.assertRaises(expected):
                call()
        self.assertEqual(zentara._held, {})
        zentara.shutdown(0)
        with self.assertRaises(zentara.ShutDownError):
            client.send("page-view", "1", PAGE)
        with self.assertRaises(zentara.NotInitializedError):
            zentara.send("page-view", "1", PAGE)
        for call in [zentara.anonymous_user, zentara.remove_logged_user]:
            with self.assertRaisesRegex(zentara.NotConfiguredError, "zentara_use_settings"):
                call()

    def test_hook_changes_and_refuses(self) -> None:
        client = self.ready_client()
        seen: list[zentara.Outgoing] = []

        def decide(outgoing: zentara.Outgoing) -> zentara.Decision | None:
            seen.append(outgoing)
            if outgoing.properties["title"] == "raise":
                raise KeyError("own")
            if outgoing.properties["title"] == "interrupt":
                raise KeyboardInterrupt
            if outgoing.properties["title"] == "unknown":
                return 7  # type: ignore[return-value]
            if outgoing.properties["title"] == "number":
                outgoing.properties["loadMs"] = int(outgoing.properties["loadMs"])
                return None
            outgoing.properties["section"] = "basket"
            outgoing.url = "own url"
            outgoing.referer = "own referer"
            return None

        notices: list[zentara.DeliveryNotice] = []
        told = threading.Event()
        zentara.set_delivery_observer(lambda notice: (notices.append(notice), told.set()))
        zentara.set_global_properties({"language": "de"})
        zentara.set_before_queue(decide)
        client.send("page-view", "1", {"title": "Home", "section": "home"}, url="u", referer="r")
        client.send("page-view", "1", PAGE | {"title": "number", "loadMs": 1.0})
        with self.assertRaises(KeyboardInterrupt):
            client.send("page-view", "1", PAGE | {"title": "interrupt"})
        with self.assertRaises(zentara.EventDroppedError):
            client.send("page-view", "1", PAGE | {"title": "unknown"})
        with self.assertRaisesRegex(zentara.BeforeQueueError, "KeyError: 'own'$"):
            client.send("page-view", "1", PAGE | {"title": "raise"})
        zentara.set_before_queue(None)
        zentara.set_global_properties(None)
        self.assertEqual(zentara.flush(20).delivered, 2)
        self.assertTrue(told.wait(20))
        event, number = self.collector.events()
        self.assertEqual(event["properties"],
                         {"language": "de", "title": "Home", "section": "basket"})
        self.assertIs(type(number["properties"]["loadMs"]), int)
        self.assertEqual((event["url"], event["zentaraClientReferer"]), ("own url", "own referer"))
        self.assertEqual(notices, [zentara.DeliveryNotice(zentara.DeliveryKind.DELIVERED,
                                                          (seen[0].action_uuid, seen[1].action_uuid),
                                                          "")])
        self.assertEqual((self.counted("dropped_by_hook"), self.counted("refused_by_hook")), (1, 2))

    def test_sink_receives_lines(self) -> None:
        lines: list[zentara.LogLine] = []
        told = threading.Event()
        zentara.set_log_sink(zentara.LogLevel.INFO, lambda line: (lines.append(line), told.set()))
        zentara.use_endpoints(qa_collector="http://127.0.0.1:1", qa_schemas="http://127.0.0.1:1")
        with self.assertRaises(zentara.NotReadyError):
            zentara.send("page-view", "1", PAGE)
        self.assertTrue(told.wait(20))
        held_back = zentara.LogLine(zentara.LogLevel.INFO, "client",
                                    "Event queued to be sent later: page-view.")
        zentara.shutdown(0)
        self.assertIn(held_back, lines)
        self.assertEqual(self.counted("held_back"), 1)

    def test_identity_and_fetch_are_reported(self) -> None:
        client = self.ready_client()
        self.assertTrue(zentara.is_ready())
        hsids: queue.Queue[str] = queue.Queue()
        zentara.get_hsid(hsids.put)
        self.assertNotEqual(hsids.get(timeout=20), "")
        results: queue.Queue[zentara.FetchResult] = queue.Queue()
        client.send("page-view", "1", PAGE)
        zentara.perform_fetch(results.put)
        self.assertIs(results.get(timeout=20), zentara.FetchResult.NEW_DATA)
        zentara.perform_fetch(results.put)
        self.assertIs(results.get(timeout=20), zentara.FetchResult.NO_DATA)

    def test_forked_child_uses_the_library_first(self) -> None:
        script = """if True:
            import atexit, os
            # Called after the functions of the package.
            atexit.register(lambda: print(len(zentara._held)))
            import zentara
            if os.fork():
                os._exit(os.waitstatus_to_exitcode(os.wait()[1]))
            zentara.set_device("OwnOS", "9", "own model")
            zentara.set_log_sink(zentara.LogLevel.INFO, zentara.quiet_log)
            """
        ended = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True,
                               timeout=60)
        self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (0, "0\n", ""))

    def test_bundled_schemas_make_the_first_start_ready(self) -> None:
        zentara.use_endpoints(qa_schemas="http://127.0.0.1:1")
        self.addCleanup(zentara.set_bundled_schemas, "")
        for table in ('{"own-%d":{}}' % 1, b'{"own-1":{"title":"\xc3\xa4"}}'):
            zentara.set_bundled_schemas(table)
            reports: list[zentara.Error | None] = []
            zentara.client(ready=reports.append)
            self.assertEqual(reports[:1], [None])
            zentara.shutdown(0)

    def test_texts_live_long_enough(self) -> None:
        client = self.ready_client()
        gc.disable()
        self.addCleanup(gc.enable)
        for number in range(200):
            client.send("page-view", "1", PAGE | {"title": f"title {number}"}, url=f"url {number}")
            gc.collect(0)
        self.assertEqual(self.counted("accepted"), 200)

    def test_process_ends_with_functions_set(self) -> None:
        script = """if True:
            import atexit
            # Called after the functions of the package.
            atexit.register(lambda: print(len(client.context_id)))
            import zentara
            zentara.set_documents_directory(DIRECTORY)
            zentara.set_preferences_directory(DIRECTORY)
            zentara.use_endpoints(qa_collector=URL, qa_schemas=URL)
            zentara.use_settings("tenant", zentara.Environment.QA)
            zentara.set_log_sink(zentara.LogLevel.INFO, lambda line: None)
            zentara.set_delivery_observer(lambda notice: None)
            client = zentara.client(ready=lambda error: None)
            client.wait_until_ready()
            client.send("page-view", "1", %s)
            """ % PAGE
        with tempfile.TemporaryDirectory() as folder:
            script = script.replace("DIRECTORY", repr(folder)).replace("URL", repr(
                self.collector.url))
            for _ in range(5):
                ended = subprocess.run([sys.executable, "-c", script], capture_output=True,
                                       text=True, timeout=60)
                self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (0, "36\n", ""))


if __name__ == "__main__":
    unittest.main()
