"""A collector for a test suite."""

from __future__ import annotations

import os
import subprocess
from collections.abc import Sequence

from .client import CollectorClient, CollectorError


class CollectorProcess:
    """Runs zentara-collector at a free port until `stop`, or until the end of `with`.

    `schemas` is the folder or bundle to serve. `options` go to the program as well. `program` is by
    default what ZENTARA_COLLECTOR names, or zentara-collector of the PATH.
    """

    def __init__(self, schemas: str | os.PathLike[str], options: Sequence[str] = (),
                 program: str | os.PathLike[str] | None = None) -> None:
        command = [program or os.environ.get("ZENTARA_COLLECTOR", "zentara-collector"),
                   "--port", "0", "--no-https", "--quiet", "--schemas", schemas, *options]
        self._process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        assert self._process.stdout is not None
        line = self._process.stdout.readline()
        if not line.startswith("listening "):
            raise CollectorError(f"{command[0]} ended with {self.stop()}")
        self.url = line.split()[1]  #: such as "http://127.0.0.1:34567"

    def client(self) -> CollectorClient:
        return CollectorClient(self.url)

    def stop(self) -> int:
        """Ends the program with SIGTERM and returns its exit code."""
        self._process.terminate()
        self._process.communicate()
        return self._process.returncode

    def __enter__(self) -> CollectorProcess:
        return self

    def __exit__(self, *exception: object) -> None:
        self.stop()
