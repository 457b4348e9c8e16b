"""nginx and HAProxy, with the configurations of packaging/deployment, in front of a collector."""

import gzip
import http.client
import json
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile
import time
import unittest

EXAMPLES = pathlib.Path(os.environ["ZENTARA_EXAMPLES"])
DEPLOYMENT = pathlib.Path(os.environ["ZENTARA_DEPLOYMENT"])
PATIENCE = 30  # seconds; only a failing test waits this long


def get(port, path, headers={}, method="GET"):
    """The status, the headers and the body of an answer."""
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
    connection.request(method, path, headers={"Host": "collector.example", **headers})
    response = connection.getresponse()
    body = response.read()
    connection.close()
    return response.status, response.headers, body


def eventually(condition):
    end = time.monotonic() + PATIENCE
    while not (result := condition()):
        if time.monotonic() > end:
            raise AssertionError("it did not happen in time")
    return result


def replaced(text, old, new):
    if text.count(old) != 1:
        raise AssertionError(f"{old!r} is there {text.count(old)} times")
    return text.replace(old, new)


class ProxyTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.schemas = self.folder / "schemas"
        shutil.copytree(EXAMPLES / "schemas", self.schemas)
        self.log = self.folder / "log"
        with open(self.log, "wb") as log:
            self.collector = self.run_beside(
                [os.environ["ZENTARA_COLLECTOR"], "--port", "0", "--no-https", "--log", "json",
                 "--reachable-from-the-network", "--trusted-proxy", "127.0.0.1",
                 "--schemas", str(self.schemas)],
                stdout=subprocess.PIPE, stderr=log)
        self.port, self.page = (
            int(self.collector.stdout.readline().rsplit(b":", 1)[1]) for _ in range(2))
        # The proxy inherits its port, so that no other program can take it.
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(self.listener.close)
        self.proxy = self.listener.getsockname()[1]

    def run_beside(self, command, **more):
        process = subprocess.Popen(command, **more)
        self.addCleanup(lambda: process.stdout and process.stdout.close())
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        return process

    def start_nginx(self):
        site = (DEPLOYMENT / "nginx.conf").read_text()
        site = replaced(site, "listen 80;", f"listen 127.0.0.1:{self.proxy};")
        site = replaced(site, "server 127.0.0.1:8080;", f"server 127.0.0.1:{self.port};")
        site = replaced(site, "/var/cache/nginx/zentara", str(self.folder / "cache"))
        (self.folder / "site").write_text(site)
        user = "user root;" if os.geteuid() == 0 else ""
        temporary = "".join(f"{name}_temp_path {self.folder}/{name};"
                            for name in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        main = self.folder / "nginx.conf"
        main.write_text(
            f"{user} daemon off; pid {self.folder}/pid; error_log {self.folder}/nginx.log;"
            f"events {{}} http {{ access_log off; {temporary} include {self.folder}/site; }}")
        descriptor = self.listener.fileno()
        self.run_beside(
            [os.environ["ZENTARA_NGINX"], "-c", str(main), "-e", str(self.folder / "nginx.log")],
            pass_fds=[descriptor], env={**os.environ, "NGINX": f"{descriptor};"})

    def start_haproxy(self):
        text = (DEPLOYMENT / "haproxy.cfg").read_text()
        text = replaced(text, "bind :80", f"bind fd@{self.listener.fileno()}")
        text = replaced(text, "127.0.0.1:8080", f"127.0.0.1:{self.port}")
        # As many as the limit of descriptors of a user allows.
        text = replaced(text, "maxconn 10000", "maxconn 100")
        (self.folder / "haproxy.cfg").write_text(text)
        with open(self.folder / "haproxy.log", "wb") as log:
            self.run_beside([os.environ["ZENTARA_HAPROXY"], "-db", "-f",
                             str(self.folder / "haproxy.cfg")],
                            pass_fds=[self.listener.fileno()], stderr=log)

    def summary(self):
        return json.loads(get(self.page, "/received/summary", {"Host": "localhost"})[2])

    def metric(self, name):
        text = get(self.page, "/metrics", {"Host": "localhost"})[2].decode()
        return [line.rsplit(" ", 1)[1] for line in text.splitlines() if line.startswith(name)]

    def check_services(self):
        url = f"http://127.0.0.1:{self.proxy}"
        subprocess.run([os.environ["ZENTARA_TRACK"], "--collector", url, "--documents",
                        str(self.folder / "host"), EXAMPLES / "events.jsonl"],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.assertEqual(self.summary()["good"], 291)
        for path in ("/", "/received/summary", "/received", "/faults", "/metrics", "/catalogue",
                     "/health", "/event/../received/summary"):
            self.assertEqual(get(self.proxy, path)[0], 404, path)
        self.assertEqual(get(self.proxy, "/received", method="DELETE")[0], 404)
        self.assertEqual(self.summary()["good"], 291)
        get(self.proxy, "/id", {"X-Forwarded-For": "192.0.2.7"})
        eventually(lambda: '"path":"/id","status":200,"client":"192.0.2.7"' in
                   self.log.read_text())

    def check_absence(self):
        self.collector.terminate()
        # A request that reaches the collector as it ends may get another status.
        headers = eventually(lambda: (answer := get(self.proxy, "/id"))[0] == 503 and answer[1])
        self.assertEqual(headers["Retry-After"], "30")

    def test_nginx(self):
        self.start_nginx()
        self.check_services()

        table = get(self.port, "/schemas")[2]
        tag = get(self.port, "/schemas")[1]["ETag"]
        status, headers, body = get(self.proxy, "/schemas")
        self.assertEqual((status, headers["ETag"], body), (200, tag, table))
        status, headers, body = get(self.proxy, "/schemas", {"Accept-Encoding": "br, gzip"})
        self.assertEqual(headers["Content-Encoding"], "gzip")
        self.assertEqual(gzip.decompress(body), table)
        # After a second it asks, and is told that nothing has changed.
        eventually(lambda: get(self.proxy, "/schemas")[1]["X-Cache"] == "REVALIDATED")
        unchanged = 'zentara_collector_requests_total{service="schemas",status="304"}'
        self.assertGreaterEqual(int(self.metric(unchanged)[0]), 1)
        self.assertEqual(get(self.proxy, "/schemas", {"If-None-Match": tag})[0], 304)
        (self.schemas / "new-1.json").write_text("{}")
        eventually(lambda: get(self.proxy, "/schemas")[2] == get(self.port, "/schemas")[2] != table)
        self.check_absence()

    def test_haproxy(self):
        self.start_haproxy()
        self.check_services()
        # Its checks see the end of the collector, which still answers its open requests.
        self.assertEqual(get(self.proxy, "/id")[0], 200)
        self.check_absence()


if __name__ == "__main__":
    unittest.main()
