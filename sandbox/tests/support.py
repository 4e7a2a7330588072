"""What all tests of the sandbox use: a running sandbox, and clients that talk to it."""

import http.client
import json
import os
import re
import shutil
import signal
import sqlite3
import ssl
import subprocess
import tempfile
import time
import unittest
from urllib.parse import quote

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


def encode(items):
    """Form items as every form decoder reads them."""
    return "&".join(quote(k, safe="") + "=" + quote(v, safe="") for k, v in items.items())


class Sandbox:
    """One process on a free port; the data folder outlives it, so that it can be started again."""

    def __init__(self, folder, *options, port=0, today=TODAY):
        self.folder = folder
        self.database = os.path.join(folder, "sandbox.sqlite")
        self.log_path = os.path.join(folder, "log")
        command = [EXECUTABLE, "--data-dir", folder, "--port", str(port), *options]
        if today:
            command += ["--today", today]
        with open(self.log_path, "ab") as log:
            self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=log, text=True)
        self.lines = []
        for line in self.process.stdout:
            self.lines.append(line.rstrip("\n"))
            if line.startswith("listening on "):
                break
        else:
            self.process.wait()
            self.process.stdout.close()
            raise AssertionError("did not start: " + self.log())
        self.port = int(self.lines[-1].rsplit(":", 1)[1])
        self.authority = self.line("CA certificate: ")

    def line(self, prefix):
        found = [line[len(prefix):] for line in self.lines if line.startswith(prefix)]
        assert len(found) == 1, (prefix, self.lines)
        return found[0]

    def log(self):
        with open(self.log_path, "rb") as log:
            return log.read().decode("utf-8")

    def requests_logged(self):
        return [line for line in self.log().splitlines() if re.match(r"\d{4}-\d\d-\d\dT", line)]

    def dump(self):
        """The whole database as text."""
        connection = sqlite3.connect(self.database)
        try:
            return "\n".join(connection.iterdump())
        finally:
            connection.close()

    def sql(self, text, *values):
        connection = sqlite3.connect(self.database)
        try:
            with connection:
                return connection.execute(text, values).fetchall()
        finally:
            connection.close()

    def end(self, number=signal.SIGTERM):
        """Stops it and returns its exit code and how many seconds that took."""
        start = time.monotonic()
        if self.process.poll() is None:
            self.process.send_signal(number)
        code = self.process.wait(20)
        self.process.stdout.close()
        return code, time.monotonic() - start


class Client:
    """One kept-alive connection and the cookie of its session."""

    def __init__(self, sandbox, host="localhost"):
        context = ssl.create_default_context(cafile=sandbox.authority)
        self.connection = http.client.HTTPSConnection(
            host, sandbox.port, context=context, timeout=30)
        self.cookie = None

    def close(self):
        self.connection.close()

    def request(self, method, path, body=None, headers=None):
        """Returns status, headers and the JSON object of the reply."""
        headers = dict(headers or {})
        if self.cookie:
            headers.setdefault("Cookie", self.cookie)
        self.connection.request(method, path, body=body, headers=headers)
        reply = self.connection.getresponse()
        text = reply.read()
        if reply.getheader("Set-Cookie"):
            self.cookie = reply.getheader("Set-Cookie").split(";")[0]
        body = json.loads(text.decode("utf-8")) if text else None
        return reply.status, reply.headers, body

    def get(self, path, **items):
        status, _, body = self.request("GET", path + ("?" + encode(items) if items else ""))
        assert status == 200, (status, body)
        return body

    def post(self, path, **items):
        status, _, body = self.request("POST", path, encode(items), {"Content-Type": FORM})
        assert status == 200, (status, body)
        return body

    def login(self):
        return self.post(LOGIN, email=EMAIL, password=PASSWORD)

    def activate(self, *periods):
        """Periods as (serial, start, days)."""
        entries = [{"deviceSn": s, "start": d, "days": n} for s, d, n in periods]
        return self.post(ACTIVATE, posted=json.dumps(entries, indent=4) + "\n")

    def extend(self, letter, *serials):
        return self.post(EXTEND, extend=letter,
                         posted=json.dumps([{"deviceSn": s} for s in serials], indent=4) + "\n")

    def trackers(self, group="12"):
        return {t["deviceSn"]: t for t in self.get(TRACKERS, idgroup=group)["trackers"]}


class TestCase(unittest.TestCase):
    """A test with a folder of its own and, if it wants, sandboxes and clients that end with it."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="sandbox-test-")
        self.addCleanup(shutil.rmtree, self.folder)

    def start(self, *options, **arguments):
        sandbox = Sandbox(self.folder, *options, **arguments)
        self.addCleanup(sandbox.end)
        return sandbox

    def client(self, sandbox, host="localhost", login=True):
        client = Client(sandbox, host)
        self.addCleanup(client.close)
        if login:
            self.assertEqual(client.login()["id"], 1)
        return client

    def run_once(self, *options, **arguments):
        """Runs it to its end: for starts that are to fail and for options that do not serve."""
        return subprocess.run([EXECUTABLE, *options], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, timeout=30, check=False,
                              **arguments)

    def assert_refused(self, reply, *words):
        self.assertEqual(reply["rcode"], 1, reply)
        for word in words:
            self.assertIn(word, reply["msg"])


class ServiceTestCase(TestCase):
    """A test with one sandbox running and a client logged in."""

    def setUp(self):
        super().setUp()
        self.sandbox = self.start()
        self.user = self.client(self.sandbox)
