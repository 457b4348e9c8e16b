"""Makes the calls beside it, with a client that prints each event on a line. With the URL of a
collector and a folder, the events are sent."""

import json
import sys


class Printer:
    def send(self, schema_id, schema_version, properties, *, url, referer, relation_id):
        assert (referer, relation_id) == ("", None)
        print(schema_id, schema_version, url, json.dumps(properties, allow_nan=False))


class Sender:
    def __init__(self, collector, folder):
        import zentara
        zentara.set_documents_directory(folder)
        zentara.set_preferences_directory(folder)
        zentara.use_endpoints(qa_collector=collector, qa_schemas=collector)
        zentara.use_settings("typed", zentara.Environment.QA)
        self.error, self.end = zentara.UnknownSchemaError, zentara.shutdown
        self.client = zentara.client()
        assert self.client.wait_until_ready()

    def send(self, *arguments, **options):
        try:
            self.client.send(*arguments, **options)
        except self.error:
            pass


if __name__ == "__main__":
    sys.modules["host"] = sys.modules["__main__"]
    client = Sender(*sys.argv[1:]) if len(sys.argv) == 3 else Printer()
    import calls  # noqa: F401
    if len(sys.argv) == 3:
        client.end(30)
