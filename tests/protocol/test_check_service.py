"""scripts/check-service: what it sends, and what it says of services."""

from __future__ import annotations

import contextlib
import gzip
import importlib.machinery
import io
import os
import pty
import select
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import types
import unittest
from dataclasses import dataclass
from pathlib import Path
from typing import Any
from unittest import mock

import wrongservices as wrong
from httpmessages import header
from recorded import CHARACTERS, ROOT, SANDBOX
from scriptedservice import BY_NAME, OTHER_GROUP, Answer, ScriptedService
from support import EMAIL, EXECUTABLE, PASSWORD, Sandbox
from wrongservices import (NOT_CHECKED, REFUSED, TITLES, TOKEN, Row, body, both, difference,
                           expected, head)

SCRIPT = ROOT / "scripts" / "check-service"
TYPED = f"{EMAIL}\n{PASSWORD}\n".encode()
OPENSSL = shutil.which(os.environ.get("VELTRANO_OPENSSL", ""))
UNKNOWN_CA = ("leads to no CA that this system or --ca knows; or the service does not send the "
              "certificates between the two")
CA_PARTS = ["ca.pem", "ca.key"]
PATIENCE = 20  # seconds for what takes less than one


def load_script() -> Any:
    """As a module, though its name does not end like one's."""
    module = types.ModuleType("check_service")
    module.__file__ = str(SCRIPT)
    sys.modules[module.__name__] = module
    importlib.machinery.SourceFileLoader(module.__name__, module.__file__).exec_module(module)
    return module


check_service = load_script()


@dataclass
class Run:
    code: int
    output: str
    errors: str


def run_here(*arguments: str, typed: bytes = TYPED) -> Run:
    """The script within this process, which saves starting Python for every row."""
    buffers = [io.BytesIO(data) for data in (typed, b"", b"")]
    streams = [io.TextIOWrapper(buffer, encoding="utf-8") for buffer in buffers]
    with mock.patch.object(sys, "stdin", streams[0]), contextlib.redirect_stdout(streams[1]), \
            contextlib.redirect_stderr(streams[2]):
        try:
            code = check_service.main(arguments)
        except SystemExit as end:
            code = end.code
    for stream in streams[1:]:
        stream.flush()
    output, errors = (buffer.getvalue().decode("utf-8") for buffer in buffers[1:])
    return Run(code, output, errors)


def run_script(*arguments: str, typed: bytes = TYPED) -> Run:
    done = subprocess.run([SCRIPT, *arguments], input=typed, capture_output=True, timeout=PATIENCE,
                          check=False)
    return Run(done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8"))


def setUpModule() -> None:
    """One service for all, with the certificate that a sandbox would show."""
    TestCase.folder = Path(tempfile.mkdtemp(prefix="check-service-test-"))
    unittest.addModuleCleanup(shutil.rmtree, TestCase.folder)
    subprocess.run([EXECUTABLE, "--make-ca", "--data-dir", TestCase.folder], check=True,
                   stdout=subprocess.DEVNULL)
    TestCase.service = ScriptedService(TestCase.folder / "server.pem")
    unittest.addModuleCleanup(TestCase.service.close)
    # To load the system's own CAs again and again would take as long as all the rest.
    system_cas = system_trusts("/dev/null")
    system_cas.start()
    unittest.addModuleCleanup(system_cas.stop)


def system_trusts(file: str) -> Any:
    return mock.patch.dict(os.environ, SSL_CERT_FILE=file, SSL_CERT_DIR="/nonexistent")


class TestCase(unittest.TestCase):
    """With the service that gives the recorded replies."""

    folder: Path
    service: ScriptedService

    def setUp(self) -> None:
        self.maxDiff = None
        self.service.begin_anew()

    def ask(self, *options: str, typed: bytes = TYPED) -> Run:
        run = run_here(f"localhost:{self.service.port}", "--ca", f"{self.folder}/ca.pem", *options,
                       typed=typed)
        self.assert_no_secrets(run)
        return run

    def assert_no_secrets(self, run: Run) -> None:
        for secret in (PASSWORD, TOKEN):
            self.assertNotIn(secret, run.output + run.errors)

    def assert_not_asked(self, run: Run, sentence: str) -> None:
        self.assertEqual((run.code, run.errors), (2, f"check-service: {sentence}\n"))

    def assert_no_connection(self, run: Run, reason: str) -> None:
        self.assert_not_asked(run, f"{reason} An operator would see that {REFUSED}.")
        self.assertEqual(run.output, "")


class TestServices(TestCase):
    """A row for each thing that a service may have about it, and all of the output."""

    def check(self, name: str, rows: list[Row]) -> None:
        for row in rows:
            with self.subTest(row.special):
                self.service.begin_anew()
                row.change(self.service.answers[name])
                run = self.ask()
                code, lines = expected({name: row.told, **row.others}, row.titles)
                self.assertEqual(run.output.splitlines(), lines)
                self.assertEqual((run.code, run.errors), (code, ""))

    def test_login(self) -> None:
        self.check("login", wrong.LOGIN)

    def test_groups(self) -> None:
        self.check("groups", wrong.GROUPS)

    def test_trackers(self) -> None:
        self.check("trackers", wrong.TRACKERS)

    def test_details(self) -> None:
        self.check("details", wrong.DETAILS)

    def test_without_a_session(self) -> None:
        self.check("groups-no-session", wrong.NO_SESSION)

    def test_only_the_first_groups_are_asked_for(self) -> None:
        groups = self.service.answers["groups"].value["groups"]
        groups += [{"id": str(number), "group_name": ""} for number in range(4)]
        lines = self.ask().output.splitlines()
        self.assertEqual(lines[6:8], ['trackers of "1 - ": as documented',
                                      "trackers of 2 more groups: not asked for"])

    def test_too_large(self) -> None:
        """As it comes, and as it is unpacked."""
        told = difference("the reply is too large: more than 1 MiB, and not looked at",
                          "the window stands still while the client reads it all")
        large = b'{"a":"' + b"x" * 2**20 + b'"}'
        with mock.patch.object(check_service, "LARGEST_REPLY", 2**20):
            self.check("groups", [Row("plain", body(large), told, {}, wrong.NO_GROUP)])
            packed = both(body(gzip.compress(large)), head(Content_Encoding="gzip"))
            self.check("details", [Row("packed", packed, told)])

    def test_no_more_is_kept_than_may_be(self) -> None:
        """Of a reply without an end, and of one that is small only while it is packed."""
        limit = 2**20
        endless = mock.Mock(**{"read.side_effect": bytes})
        with mock.patch.object(check_service, "LARGEST_REPLY", limit):
            kept, _ = check_service.read_body(endless)
            self.assertEqual(endless.read.call_count, limit // check_service.PIECE + 1)
            self.assertEqual(len(kept), limit + check_service.PIECE)
            packed = gzip.compress(bytes(10 * limit))
            self.assertEqual(len(check_service.unpacked(packed)), limit + 1)

    def test_no_reply_to_the_login(self) -> None:
        """There is nobody to ask further questions."""
        for special, data, what in [
                ("closed without a byte", b"", "the connection was closed without a reply"),
                ("half a line", b"HTTP/1.1 2", "the reply is no HTTP"),
                ("no HTTP", b"SSH-2.0-x\r\n", "the reply is no HTTP")]:
            with self.subTest(special):
                self.service.answers["login"].whole = data
                run = self.ask()
                self.assertEqual(run.output.splitlines(), [
                    "login: not as documented", *difference(what, REFUSED), NOT_CHECKED,
                    "1 of 1 replies is not as documented."])
                self.assertEqual(run.code, 1)

    def test_silent(self) -> None:
        """Never a byte, or a byte now and then."""
        held, dripping = Answer({}, held=True), Answer({}, drop_seconds=0.05)
        no_reply = "no whole reply within 0.3 seconds"
        for name, answer, effect in [
                ("login", held, "the login button stays disabled"),
                ("login", dripping, "the login button stays disabled"),
                ("groups", held, "the list of groups and the table stay as they are"),
                ("trackers", held, "the table stays empty, with a progress bar below it"),
                ("details", dripping, "no dialog opens")]:
            with self.subTest(name, dripping=answer is dripping):
                self.service.begin_anew()
                self.service.answers[name] = answer
                run = self.ask("--seconds", "0.3")
                block = f"{TITLES[name]}: not as documented\n  {no_reply}\n    -> {effect}\n"
                self.assertIn(block, run.output)
                self.assertEqual(run.code, 1)


class TestRequests(TestCase):
    """What is sent is what the client sends."""

    def recorded(self, name: str) -> tuple[list[str], str]:
        exchange = BY_NAME[name]
        host = f"Host: localhost:{self.service.port}"
        return ([host if line.startswith("Host: ") else line for line in exchange.request_head],
                exchange.request_body)

    def targets(self) -> list[str]:
        return [head[0].split(" ")[1] for head, _ in self.service.requests]

    def test_recorded_requests(self) -> None:
        """To the byte, but for the port; the service hands out the recorded cookie."""
        del self.service.answers["trackers"].value["trackers"][0]  # it was the second
        self.ask()
        del self.service.requests[3]  # the group whose trackers were not recorded
        self.assertEqual(self.service.requests, [
            self.recorded(name) for name in ["login", "groups", "trackers", "trackers-no-sim",
                                             "details", "groups-no-session"]])

    def test_trackers_of_another_group(self) -> None:
        self.service.answers["trackers"].value["trackers"] = []
        self.ask()
        self.assertEqual(self.service.requests[5], self.recorded("details-other-group"))

    def test_typed_characters(self) -> None:
        """The address and the password, as they are typed and sent."""
        more = [{"typed": "%%41", "body": "%25%2541"},
                {"typed": "%41 100%", "body": "%2541 100%25"},
                {"typed": "%c3%a9%FF", "body": "é%FF"},
                {"typed": "\x01\t\x7f", "body": "%01%09%7F"},
                {"typed": " both ends ", "body": " both ends "}]
        for row in CHARACTERS + more:
            with self.subTest(row["typed"]):
                self.service.requests.clear()
                typed = f"{row['typed']}\n{row['typed']}\r\n".encode("utf-8")
                run_here(f"localhost:{self.service.port}", "--ca", f"{self.folder}/ca.pem",
                         typed=typed)
                head, sent = self.service.requests[0]
                self.assertEqual(sent, f"email={row['body']}&password={row['body']}")
                self.assertEqual(header(head, "Content-Length"), str(len(sent.encode("utf-8"))))

    def test_characters_in_a_query(self) -> None:
        for row in CHARACTERS + [{"typed": "%41 100%", "query": "%2541%20100%25"}]:
            with self.subTest(row["typed"]):
                self.service.begin_anew()
                self.service.answers["groups"].value["groups"] = [
                    {"id": row["typed"], "group_name": row["typed"]}]
                self.service.answers[OTHER_GROUP].value["trackers"] = [{"deviceSn": row["typed"]}]
                self.ask()
                text, label = row["query"], f"{row['typed']} - {row['typed']}"
                self.assertEqual(self.targets()[2:4], [
                    f"/bsGetGroupTrackers.php?idgroup={text}",
                    "/bsGetGroupTrackerInfo.php?fx=getInfo&"
                    + check_service.query_text([("groupId", label)]) + f"&SN={text}"])

    def test_what_the_service_did_not_send(self) -> None:
        """As the client: ids of other types, and keys without an equals sign."""
        for value, item in [(12, "=12"), (12.0, "=12"), (12.5, "=12.5"), (False, "=false"),
                            (None, ""), (["12"], ""), ("", "=")]:
            with self.subTest(value):
                self.service.begin_anew()
                self.service.answers["groups"].value["groups"] = [{"id": value}]
                for name in ("trackers", OTHER_GROUP):
                    self.service.answers[name].value["trackers"] = [{"deviceSn": 1}]
                self.ask()
                self.assertEqual(self.targets()[2:4], [
                    f"/bsGetGroupTrackers.php?idgroup{item}",
                    "/bsGetGroupTrackerInfo.php?fx=getInfo&groupId=%20-%20&SN"])


class TestNotAsked(TestCase):
    """Exit code 2, and one sentence."""

    def at(self, host: str, *options: str) -> Run:
        return run_here(host, "--ca", f"{self.folder}/ca.pem", *options)

    def listener(self) -> tuple[socket.socket, str]:
        """Plain, and never accepting by itself."""
        listener = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(listener.close)
        return listener, f"localhost:{listener.getsockname()[1]}"

    def test_nobody_listens(self) -> None:
        listener, host = self.listener()
        listener.close()
        self.assert_no_connection(self.at(host), f"No connection to {host}: Connection refused.")

    def test_nobody_accepts(self) -> None:
        _, host = self.listener()
        self.assert_no_connection(self.at(host, "--seconds", "0.2"),
                                  f"No connection to {host} within 0.2 seconds.")

    def test_no_tls(self) -> None:
        listener, host = self.listener()

        def answer() -> None:
            connection, _ = listener.accept()
            with connection:
                connection.sendall(b"HTTP/1.1 400 Bad Request\r\n\r\n")
                connection.recv(1000)

        thread = threading.Thread(target=answer)
        thread.start()
        self.addCleanup(thread.join)
        self.assert_no_connection(self.at(host),
                                  f"{host} does not speak TLS, or no version that is safe.")

    def test_ca_that_is_not_given(self) -> None:
        host = f"localhost:{self.service.port}"
        self.assert_no_connection(run_here(host), f"The certificate of {host} {UNKNOWN_CA}.")
        with system_trusts(f"{self.folder}/ca.pem"):
            self.assertEqual(run_here(host).code, 0)
            # One more is no less.
            self.assertEqual(run_here(host, "--ca", f"{self.folder}/server.pem").code, 0)

    def test_impossible_name(self) -> None:
        """A build takes it all the same."""
        self.assert_no_connection(self.at("a..b"), "a..b cannot be the name of a host.")

    def test_refused_login(self) -> None:
        for message, told in [
                ("Wrong password.", ': "Wrong password."'), ("", ", without a word."),
                ("a\x1b[31mb", ': "a?[31mb"'), ("x" * 101, f': "{"x" * 100}..."'),
                (f"{PASSWORD} is wrong.", ": (withheld: it holds the password or the session)")]:
            with self.subTest(message):
                self.service.begin_anew()
                self.service.answers["login"] = Answer({"id": 0, "msg": message, "name": ""})
                run = self.ask()
                self.assert_not_asked(run, f"The service refused the login{told}")
                self.assertTrue(run.output.startswith("login: as documented\n"))
                self.assertEqual(len(self.service.requests), 1)

    def test_refused_login_that_differs(self) -> None:
        self.service.answers["login"] = Answer({"id": 0, "msg": 7, "name": ""})
        run = self.ask()
        self.assert_not_asked(run, "The service refused the login, without a word.")
        self.assertEqual(run.output.splitlines(), ["login: not as documented", *difference(
            "msg is a number instead of a text",
            'the box titled "Error" of a refused login has no text')])

    def test_hosts(self) -> None:
        """As cmake/ServiceHost.cmake has it."""
        for host in ["", "https://a.example", "a.example/", "a.example/path", "a b", " a.example",
                     "a.example:", "a.example:0", "a.example:65536", "a.example:" + "9" * 30,
                     "a.example:x", ".a", "a-", "[::1", "::1", "[g::1]", "a.example\n",
                     "ä.example"]:
            with self.subTest(host):
                run = run_here(host)
                self.assertEqual(run.code, 2)
                self.assertIn("is neither host nor host:port, which is without a scheme and a path",
                              run.errors)
        for host, parts in [("a.example", ("a.example", "")), ("a--b.c", ("a--b.c", "")),
                            ("A.Example:0443", ("a.example", ":443")),
                            ("10.0.0.1:1", ("10.0.0.1", ":1")),
                            ("[2001:DB8::1]:65535", ("[2001:db8::1]", ":65535"))]:
            self.assertEqual(check_service.host_and_port(host), parts)

    def test_ca_files(self) -> None:
        key, empty = self.folder / "both.pem", self.folder / "empty.pem"
        key.write_bytes(b"".join((self.folder / name).read_bytes() for name in CA_PARTS))
        empty.write_text("-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n", "ascii")
        for file, sentence in [
                (self.folder / "none.pem", "cannot be read: No such file or directory"),
                (self.folder, "cannot be read: Is a directory"),
                (key, "holds a private key, which must not be compiled in"),
                (self.folder / "server.key", "holds a private key, which must not be compiled in"),
                (SCRIPT, "holds no PEM certificate"),
                (empty, "holds no PEM certificate")]:
            with self.subTest(file.name):
                run = run_here("localhost", "--ca", str(file))
                self.assertEqual(run.code, 2)
                self.assertIn(f'"{file}" {sentence}', run.errors)

    def test_command_lines(self) -> None:
        """What is too much is not repeated: it may be a password."""
        for arguments in [(), ("localhost", PASSWORD), ("localhost", "--password", PASSWORD),
                          ("localhost", f"--password={PASSWORD}"), ("localhost", "--seconds", "0"),
                          ("localhost", "--seconds", "-1"), ("localhost", "--seconds", "nan"),
                          ("localhost", "--ca"), ("localhost", "--sec", "3")]:
            with self.subTest(arguments):
                run = run_here(*arguments)
                self.assertEqual((run.code, run.output), (2, ""))
                self.assertNotIn(PASSWORD, run.errors)
                self.assertTrue(run.errors.startswith("usage: check-service HOST[:PORT] "))

    def test_help(self) -> None:
        run = run_here("--help")
        self.assertEqual((run.code, run.errors), (0, ""))
        for word in ["HOST[:PORT]", "--ca FILE", "--seconds N", "exit codes:", "Nothing is booked"]:
            self.assertIn(word, run.output)

    def test_standard_input(self) -> None:
        for typed, sentence in [
                (b"", "Address and password are to be two lines of the standard input."),
                (b"nora@club.example\n",
                 "Address and password are to be two lines of the standard input."),
                (b"nora@club.example\nsecr\xff\xfet", "Address and password must be UTF-8.")]:
            self.assert_not_asked(self.ask(typed=typed), sentence)
        self.assertEqual(self.service.requests, [])

    def test_script_without_the_document(self) -> None:
        nowhere = self.folder / "openapi.yaml"
        with mock.patch.object(check_service, "OPENAPI", nowhere):
            self.assert_not_asked(self.ask(typed=b""),
                                  f"{nowhere} is needed: No such file or directory.")

    def test_mistake_of_the_script(self) -> None:
        with mock.patch.object(check_service, "check", side_effect=ValueError(PASSWORD)):
            run = self.ask()
        self.assertEqual(run.code, 2)
        self.assertIn("check-service: ValueError\n", run.errors)


@unittest.skipUnless(OPENSSL, "there is no openssl to make certificates with")
class TestCertificates(TestCase):
    """Those that the client refuses as well."""

    def assert_refused(self, name: str, problem: str, host: str = "localhost") -> None:
        service = ScriptedService(self.folder / f"{name}.pem")
        self.addCleanup(service.close)
        run = run_here(f"{host}:{service.port}", "--ca", f"{self.folder}/ca.pem")
        self.assertEqual(service.requests, [])
        self.assert_no_connection(run, f"The certificate of {host}:{service.port} {problem}.")

    def test_refused(self) -> None:
        self.folder = Path(tempfile.mkdtemp(prefix="check-service-test-"))
        self.addCleanup(shutil.rmtree, self.folder)
        assert OPENSSL is not None
        subprocess.run([ROOT / "tests" / "support" / "make-certificates", OPENSSL, self.folder],
                       check=True)
        for name, problem in [("untrusted", UNKNOWN_CA), ("wrong-host", "is not for this name"),
                              ("expired", "has expired"),
                              ("stranger-ca", "is signed by nobody but itself")]:
            with self.subTest(name):
                self.assert_refused(name, problem)
        self.assert_refused("trusted", "is not for this address", "127.0.0.1")
        # What there is no sentence for is told in the library's words, which may change.
        with mock.patch.object(check_service, "CERTIFICATE_PROBLEMS", {}):
            self.assert_refused("expired", "is refused: certificate has expired")


class TestPassword(TestCase):
    """Where it is seen: nowhere."""

    def test_process(self) -> None:
        """While the reply to the login is awaited."""
        if not Path("/proc/self/cmdline").exists():
            self.skipTest("this system does not show the processes' command lines")
        self.service.answers["login"].held = True
        process = subprocess.Popen([SCRIPT, f"localhost:{self.service.port}", "--ca",
                                    f"{self.folder}/ca.pem"], stdin=subprocess.PIPE)
        try:
            assert process.stdin is not None
            process.stdin.write(TYPED)
            process.stdin.close()
            self.assertTrue(self.service.arrived.wait(PATIENCE))
            for name in ("cmdline", "environ"):
                shown = Path(f"/proc/{process.pid}/{name}").read_bytes()
                self.assertNotEqual(shown, b"")
                self.assertNotIn(PASSWORD.encode(), shown)
        finally:
            process.kill()
            process.wait()

    def test_terminal(self) -> None:
        """It is asked for, and what is typed is not seen."""
        terminal, other_side = pty.openpty()
        self.addCleanup(os.close, terminal)
        # The terminal that a leader of a session opens first becomes its controlling one, which is
        # where a password is asked for.
        take = ("import os, sys; os.close(os.open(os.ttyname(0), os.O_RDWR)); "
                "os.execv(sys.argv[1], sys.argv[1:])")
        process = subprocess.Popen(
            [sys.executable, "-c", take, SCRIPT, f"localhost:{self.service.port}", "--ca",
             f"{self.folder}/ca.pem"],
            stdin=other_side, stdout=other_side, stderr=other_side, start_new_session=True)
        self.addCleanup(process.kill)
        os.close(other_side)
        shown = self.read_until(terminal, b"E-mail address: ")
        os.write(terminal, EMAIL.encode() + b"\n")
        shown += self.read_until(terminal, b"Password: ")
        os.write(terminal, PASSWORD.encode() + b"\n")
        shown += self.read_until(terminal, b"")
        self.assertEqual(process.wait(PATIENCE), 0)
        self.assertIn(b"All 7 replies are as documented.", shown)
        self.assertNotIn(PASSWORD.encode(), shown)
        self.assertEqual(self.service.requests[0][1], BY_NAME["login"].request_body)

    def read_until(self, terminal: int, end: bytes) -> bytes:
        """To the end of all that comes, where none is given."""
        shown = b""
        while not end or not shown.endswith(end):
            self.assertTrue(select.select([terminal], [], [], PATIENCE)[0], shown)
            try:
                piece = os.read(terminal, 1000)
            except OSError:  # how Linux tells that the other side is closed
                piece = b""
            if not piece:
                break
            shown += piece
        return shown


class TestSandbox(unittest.TestCase):
    """The service that the documents were recorded from."""

    def setUp(self) -> None:
        self.maxDiff = None
        folder = tempfile.mkdtemp(prefix="check-service-test-")
        self.addCleanup(shutil.rmtree, folder)
        self.sandbox = Sandbox(folder, *SANDBOX["options"], today=None)
        self.addCleanup(self.sandbox.end)

    def test_as_documented(self) -> None:
        """And what is in its database stays as it is."""
        before = self.sandbox.dump()
        for host in ["localhost", "127.0.0.1", *(["[::1]"] if has_ipv6() else [])]:
            with self.subTest(host):
                run = run_script(f"{host}:{self.sandbox.port}", "--ca", self.sandbox.authority)
                code, lines = expected({}, {})
                self.assertEqual(run.output.splitlines(), lines)
                self.assertEqual((run.code, run.errors, code), (0, "", 0))
        self.assertEqual(self.sandbox.dump(), before)

    def test_refused_login(self) -> None:
        run = run_script(f"localhost:{self.sandbox.port}", "--ca", self.sandbox.authority,
                         typed=f"{EMAIL}\nanother\n".encode())
        self.assertEqual(run, Run(2, "login: as documented\n", "check-service: The service refused "
                                  'the login: "Wrong e-mail address or password."\n'))

    def test_account_without_groups(self) -> None:
        self.sandbox.sql("DELETE FROM tracker_group")
        run = run_script(f"localhost:{self.sandbox.port}", "--ca", self.sandbox.authority)
        code, lines = expected({}, wrong.NO_GROUP)
        self.assertEqual((run.code, run.output.splitlines()), (code, lines))


def has_ipv6() -> bool:
    try:
        with socket.create_server(("::1", 0), family=socket.AF_INET6):
            return True
    except OSError:
        return False


class TestDocumentation(unittest.TestCase):
    """What the script says must be there for all that is documented."""

    KEYWORDS = {"$ref", "type", "format", "description", "required", "properties", "items",
                "pattern"}
    ENDPOINTS = [check_service.LOGIN, check_service.GROUPS, check_service.TRACKERS,
                 check_service.DETAILS, check_service.NO_SESSION]

    def setUp(self) -> None:
        self.documentation = check_service.Documentation()

    def places(self, schema: dict[str, Any], place: str = "") -> dict[str, dict[str, Any]]:
        schema = self.documentation.resolved(schema)
        found = {place: schema} if place else {}
        for name, described in schema.get("properties", {}).items():
            found |= self.places(described, f"{place}.{name}" if place else name)
        return found | (self.places(schema["items"], f"{place}[]") if "items" in schema else {})

    def test_every_member_has_an_effect(self) -> None:
        for endpoint in self.ENDPOINTS:
            with self.subTest(endpoint.name):
                self.assertEqual(set(check_service.EFFECTS[endpoint.name]),
                                 set(self.places(self.documentation.reply(endpoint))))

    def test_every_keyword_is_checked(self) -> None:
        """The script reads the few that are in use."""
        for endpoint in self.ENDPOINTS:
            reply = self.documentation.reply(endpoint)
            for place, schema in self.places(reply).items():
                with self.subTest(endpoint=endpoint.name, place=place):
                    self.assertLessEqual(set(schema), self.KEYWORDS)
                    self.assertEqual(schema.get("format", "int32"), "int32")
                    self.assertEqual("format" in schema, schema["type"] == "integer")
                    self.assertIn(schema.get("pattern"), [None, "^[0-9]+$", "^[0-9]{1,10}$"])

    def test_every_endpoint_is_asked_or_named(self) -> None:
        for path, operations in self.documentation.document["paths"].items():
            for method in operations:
                asked = any((endpoint.path, endpoint.method) == (path, method.upper())
                            for endpoint in self.ENDPOINTS)
                named = f"{method.upper()} {path}" in check_service.NOT_CHECKED
                self.assertTrue(asked or named, path)

    def test_recorded_replies(self) -> None:
        for name in ["login", "login-refused", "groups", "groups-no-session", "trackers",
                     "trackers-no-sim", "trackers-session-ended", "details"]:
            exchange = BY_NAME[name]
            endpoint = next(one for one in self.ENDPOINTS if one.path == exchange.path)
            schema = self.documentation.reply(endpoint)
            self.assertEqual(list(self.documentation.differences(exchange.reply, schema)), [], name)
            self.assertEqual(list(self.documentation.extras(exchange.reply, schema)), [], name)


if __name__ == "__main__":
    unittest.main()
