"""What all tests of the sandbox use: a running sandbox, and clients that talk to it."""

from __future__ import annotations

import http.client
import json
import os
import re
import shutil
import sqlite3
import ssl
import subprocess
import tempfile
import unittest
from collections.abc import Iterable, Mapping
from email.message import Message
from typing import Any, Union
from urllib.parse import quote

from sandboxprocess import SandboxProcess

EXECUTABLE = os.environ["VELTRANO_SANDBOX"]
EMAIL = "operator@quillmora.example"
PASSWORD = "demo-flight-7"
TODAY = "2026-03-10"
FORM = "application/x-www-form-urlencoded"
LOGIN = "/bslogin.php"
GROUPS = "/bsGetMyGroups.php"
TRACKERS = "/bsGetGroupTrackers.php"
INFO = "/bsGetGroupTrackerInfo.php"
ACTIVATE = "/activateTrackers.php"
EXTEND = "/extendTrackers.php"
REMOVE = "/removeActivation.php"


Body = Union[str, bytes, Iterable[bytes], None]
Reply = tuple[int, Message, Any]  # status, headers and the JSON object


def encode(items: Mapping[str, str]) -> str:
    """Form items as every form decoder reads them."""
    return "&".join(quote(k, safe="") + "=" + quote(v, safe="") for k, v in items.items())


class Sandbox(SandboxProcess):
    """One on a free port; the data folder outlives it, so that it can be started again."""

    def __init__(self, folder: str, *options: str, port: int = 0,
                 today: str | None = TODAY) -> None:
        self.folder = folder
        self.database = os.path.join(folder, "sandbox.sqlite")
        day = ["--today", today] if today else []
        super().__init__(EXECUTABLE, "--data-dir", folder, "--port", str(port), *options, *day,
                         log_path=os.path.join(folder, "log"))

    def requests_logged(self) -> list[str]:
        return [line for line in self.log().splitlines() if re.match(r"\d{4}-\d\d-\d\dT", line)]

    def dump(self) -> str:
        """The whole database as text."""
        connection = sqlite3.connect(self.database)
        try:
            return "\n".join(connection.iterdump())
        finally:
            connection.close()

    def sql(self, text: str, *values: Any) -> list[Any]:
        connection = sqlite3.connect(self.database)
        try:
            with connection:
                return connection.execute(text, values).fetchall()
        finally:
            connection.close()


class Client:
    """One kept-alive connection and the cookie of its session."""

    def __init__(self, sandbox: Sandbox, host: str = "localhost") -> None:
        context = ssl.create_default_context(cafile=sandbox.authority)
        self.connection = http.client.HTTPSConnection(
            host, sandbox.port, context=context, timeout=30)
        self.cookie: str | None = None

    def close(self) -> None:
        self.connection.close()

    def request(self, method: str, path: str, body: Body = None,
                headers: Mapping[str, str] | None = None) -> Reply:
        """Returns status, headers and the JSON object of the reply."""
        sent = dict(headers or {})
        if self.cookie:
            sent.setdefault("Cookie", self.cookie)
        self.connection.request(method, path, body=body, headers=sent)
        reply = self.connection.getresponse()
        text = reply.read()
        cookie = reply.getheader("Set-Cookie")
        if cookie:
            self.cookie = cookie.split(";")[0]
        return reply.status, reply.headers, json.loads(text.decode("utf-8")) if text else None

    def get(self, path: str, **items: str) -> Any:
        status, _, body = self.request("GET", path + ("?" + encode(items) if items else ""))
        assert status == 200, (status, body)
        return body

    def post(self, path: str, **items: str) -> Any:
        status, _, body = self.request("POST", path, encode(items), {"Content-Type": FORM})
        assert status == 200, (status, body)
        return body

    def login(self) -> Any:
        return self.post(LOGIN, email=EMAIL, password=PASSWORD)

    def activate(self, *periods: tuple[str, str, str]) -> Any:
        """Periods as (serial, start, days)."""
        entries = [{"deviceSn": s, "start": d, "days": n} for s, d, n in periods]
        return self.post(ACTIVATE, posted=json.dumps(entries, indent=4) + "\n")

    def extend(self, letter: str, *serials: str) -> Any:
        return self.post(EXTEND, extend=letter,
                         posted=json.dumps([{"deviceSn": s} for s in serials], indent=4) + "\n")

    def trackers(self, group: str = "12") -> dict[str, Any]:
        return {t["deviceSn"]: t for t in self.get(TRACKERS, idgroup=group)["trackers"]}


class TestCase(unittest.TestCase):
    """A test with a folder of its own and, if it wants, sandboxes and clients that end with it."""

    def setUp(self) -> None:
        self.folder = tempfile.mkdtemp(prefix="sandbox-test-")
        self.addCleanup(shutil.rmtree, self.folder)

    def start(self, *options: str, **arguments: Any) -> Sandbox:
        sandbox = Sandbox(self.folder, *options, **arguments)
        self.addCleanup(sandbox.end)
        return sandbox

    def client(self, sandbox: Sandbox, host: str = "localhost", login: bool = True) -> Client:
        client = Client(sandbox, host)
        self.addCleanup(client.close)
        if login:
            self.assertEqual(client.login()["id"], 1)
        return client

    def run_once(self, *options: str, **arguments: Any) -> subprocess.CompletedProcess[str]:
        """Runs it to its end: for starts that are to fail and for options that do not serve."""
        return subprocess.run([EXECUTABLE, *options], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, timeout=30, check=False,
                              **arguments)

    def assert_refused(self, reply: Any, *words: str) -> None:
        self.assertEqual(reply["rcode"], 1, reply)
        for word in words:
            self.assertIn(word, reply["msg"])


class ServiceTestCase(TestCase):
    """A test with one sandbox running and a client logged in."""

    def setUp(self) -> None:
        super().setUp()
        self.sandbox = self.start()
        self.user = self.client(self.sandbox)
