"""Tests of the shop with a real collector.

    export PYTHONPATH=bindings/python ZENTARA_LIBRARY=build/release/library/libZentaraClient.so.3
    export ZENTARA_COLLECTOR=build/release/apps/collector/zentara-collector
    python3 -m unittest discover --start-directory examples/python-tests

With the Debian packages the last line is enough.
"""

from __future__ import annotations

import pathlib
import tempfile
import unittest

import zentara
from shop import Product, Shop
from zentara_collector import CollectorClient, CollectorProcess

SCHEMAS = pathlib.Path(__file__).resolve().parents[1] / "schemas"
BOOTS = Product("HI-48992", 129.5)


class ShopTest(unittest.TestCase):
    collector: CollectorClient

    @classmethod
    def setUpClass(cls) -> None:
        process = CollectorProcess(SCHEMAS)
        cls.addClassCleanup(process.stop)
        cls.collector = process.client()
        zentara.use_endpoints(qa_collector=process.url, qa_schemas=process.url)

    def setUp(self) -> None:
        self.collector.reset()
        self.addCleanup(self.collector.clear_faults)
        # Each test begins without queued events, and with a client of its own. After `shutdown` the
        # library may still flush files of the test before.
        folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
        zentara.set_documents_directory(folder.name)
        zentara.set_preferences_directory(folder.name)
        zentara.set_log_sink(zentara.LogLevel.FATAL, zentara.quiet_log)
        zentara.use_settings("shop", zentara.Environment.QA)
        client = zentara.client()
        self.addCleanup(zentara.shutdown, 0)
        self.assertTrue(client.wait_until_ready())
        self.shop = Shop(client, language="de")

    def test_page_is_viewed_once(self) -> None:
        self.shop.open("Home", "home")
        zentara.flush()
        view = self.collector.expect_event(schema="page-view-1", properties={"section": "home"})
        self.assertEqual(view["event"]["properties"],
                         {"title": "Home", "section": "home", "language": "de"})
        self.assertEqual(self.collector.count(verdict="any"), 1)

    def test_cart_has_a_total(self) -> None:
        self.shop.add_to_cart(BOOTS, 1)
        self.shop.add_to_cart(BOOTS, 2)
        zentara.flush()
        found = self.collector.wait_for(2, schema="add-to-cart-1")
        self.assertEqual([event["event"]["properties"]["cartTotal"] for event in found.events],
                         ["129.50", "388.50"])

    def test_empty_quantity_sends_nothing(self) -> None:
        with self.assertRaises(zentara.InvalidDataError):
            self.shop.add_to_cart(BOOTS, 0)
        zentara.flush()
        self.collector.expect_no_event(verdict="any")

    def test_lost_answer_makes_a_duplicate(self) -> None:
        self.collector.set_fault("event", answer="lost", times=1)
        self.shop.open("Offers", "category")
        self.assertEqual(zentara.flush().outcome, zentara.FlushOutcome.FAILED)
        self.assertEqual(zentara.flush().outcome, zentara.FlushOutcome.EMPTY)
        summary = self.collector.summary()
        self.assertEqual((summary.distinct_actions, summary.duplicates), (1, 1))


if __name__ == "__main__":
    unittest.main()
