"""The documents' examples against the sandbox, the documents against each other and against the
client's sources."""

from __future__ import annotations

import json
import re
import shutil
import socket
import ssl
import tempfile
import unittest
from typing import Any

import yaml
from httpmessages import head_lines, header, read_body, read_head
from recorded import (CHARACTERS, EXCHANGES, OPENAPI, PROTOCOL, ROOT, SANDBOX, Exchange, quotes,
                      types)
from support import PASSWORD, Sandbox

# What the documents say of a reply's head; the rest is the server's own affair.
REPLY_HEADERS = ["Cache-Control", "Content-Length", "Content-Type", "Set-Cookie"]
COOKIE = re.compile(r"(?<=veltrano_session=)[^;]+")
BY_NAME = {exchange.name: exchange for exchange in EXCHANGES}
SOURCE_FOLDERS = ["window", "service"]


def token(head: list[str]) -> str:
    found = COOKIE.search(header(head, "Set-Cookie"))
    return found[0] if found else ""


class Wire:
    """One connection to the sandbox, for bytes."""

    def __init__(self, sandbox: Sandbox) -> None:
        context = ssl.create_default_context(cafile=sandbox.authority)
        self._socket = context.wrap_socket(
            socket.create_connection(("127.0.0.1", sandbox.port), timeout=30),
            server_hostname="localhost")
        self._replies = self._socket.makefile("rb")

    def close(self) -> None:
        self._replies.close()
        self._socket.close()

    def ask(self, head: list[str], body: str) -> tuple[list[str], str]:
        self._socket.sendall(("\r\n".join(head) + "\r\n\r\n" + body).encode("utf-8"))
        reply = read_head(self._replies)
        if not reply:
            raise AssertionError("The connection ended within the reply's head.")
        return head_lines(reply), read_body(self._replies, reply).decode("utf-8")


class TestReplay(unittest.TestCase):
    """What was recorded, once more."""

    def setUp(self) -> None:
        self.maxDiff = None
        folder = tempfile.mkdtemp(prefix="protocol-test-")
        self.addCleanup(shutil.rmtree, folder)
        self.sandbox = Sandbox(folder, *SANDBOX["options"], today=None)
        self.addCleanup(self.sandbox.end)
        for statement in SANDBOX["sql"]:
            self.sandbox.sql(statement)

    def wire(self) -> Wire:
        wire = Wire(self.sandbox)
        self.addCleanup(wire.close)
        return wire

    def test_exchanges(self) -> None:
        """In the recorded order: what one changes, the next ones show."""
        wire = self.wire()
        recorded_token, this_token = "no token yet", ""
        for exchange in EXCHANGES:
            with self.subTest(exchange.name):
                head = exchange.request_head
                if not exchange.session_ended:
                    head = [line.replace(recorded_token, this_token) for line in head]
                reply_head, body = wire.ask(head, exchange.request_body)
                if token(exchange.reply_head):
                    recorded_token, this_token = token(exchange.reply_head), token(reply_head)
                self.assert_reply(exchange, reply_head, body)

    def assert_reply(self, exchange: Exchange, head: list[str], body: str) -> None:
        self.assertEqual(head[0], exchange.reply_head[0])
        reply = json.loads(body)
        self.assertEqual(types(reply), types(exchange.reply))
        self.assertEqual(reply, exchange.reply)
        self.assertEqual(body, exchange.reply_body)
        for name in REPLY_HEADERS:
            self.assertEqual(COOKIE.sub("", header(head, name)),
                             COOKIE.sub("", header(exchange.reply_head, name)), name)

    def test_recorded_lengths(self) -> None:
        """A body that was touched after the recording betrays itself."""
        for exchange in EXCHANGES:
            with self.subTest(exchange.name):
                length = len(exchange.request_body.encode("utf-8"))
                self.assertEqual(header(exchange.request_head, "Content-Length"),
                                 str(length) if exchange.method == "POST" else "")

    def test_characters_in_a_query(self) -> None:
        """Each text as the name of a tracker, which the reply repeats."""
        login, rename = BY_NAME["login"], BY_NAME["rename"]
        wire = self.wire()
        this_token = token(wire.ask(login.request_head, login.request_body)[0])
        for row in CHARACTERS:
            with self.subTest(row["typed"]):
                encoded = rename.target.rpartition("&name=")[2]
                head = [COOKIE.sub(this_token, line).replace(encoded, row["query"])
                        for line in rename.request_head]
                reply_head, body = wire.ask(head, "")
                if "sandbox" in row:
                    # The library under the sandbox does not take it.
                    self.assertEqual(reply_head[0], row["sandbox"])
                    wire = self.wire()
                else:
                    self.assertEqual(json.loads(body)["name"], row["read"])

    def test_characters_in_a_body(self) -> None:
        """Each text as the address of the account: only who is read right may log in."""
        login = BY_NAME["login"]
        wire = self.wire()
        for row in CHARACTERS:
            with self.subTest(row["typed"]):
                self.sandbox.sql("UPDATE account SET email = ?", row["read"])
                form = f"email={row['body']}&password={PASSWORD}"
                length = len(form.encode("utf-8"))
                head = [f"Content-Length: {length}" if line.startswith("Content-Length") else line
                        for line in login.request_head]
                self.assertEqual(json.loads(wire.ask(head, form)[1])["id"], 1)


class TestProtocolDocument(unittest.TestCase):
    """service-protocol.md."""

    def setUp(self) -> None:
        self.maxDiff = None
        self.text = PROTOCOL.read_text(encoding="utf-8")

    def test_quoted_requests(self) -> None:
        found = [quote for quote in quotes() if quote.kind == "http"]
        self.assertTrue(found)
        for quote in found:
            with self.subTest(quote.name):
                exchange = BY_NAME[quote.name]
                quoted_head, _, body = quote.text.partition("\n\n")
                lines = quoted_head.split("\n")
                self.assertEqual(lines[0], exchange.request_head[0])
                # Headers may be left out, but none may be invented, changed or moved.
                kept = [line for line in exchange.request_head if line in lines]
                self.assertEqual(lines, kept)
                self.assertEqual(body, exchange.request_body)

    def test_quoted_replies(self) -> None:
        found = [quote for quote in quotes() if quote.kind == "json"]
        self.assertTrue(found)
        for quote in found:
            with self.subTest(quote.name):
                name, _, item = quote.name.partition(" ")
                exchange = BY_NAME[name]
                if item:
                    # A form's item as it is decoded, to the character.
                    self.assertEqual(quote.text + "\n", dict(exchange.items)[item])
                    continue
                quoted = json.loads(quote.text)
                self.assertEqual(types(quoted), types(exchange.reply))
                # Compact again, which also compares the members' order.
                self.assertEqual(json.dumps(quoted, ensure_ascii=False, separators=(",", ":")),
                                 exchange.reply_body)

    def test_no_other_blocks(self) -> None:
        self.assertEqual({quote.kind for quote in quotes()}, {"http", "json"})

    def test_every_request_is_quoted(self) -> None:
        quoted = {quote.name for quote in quotes() if quote.kind == "http"}
        kinds = {request_row(exchange) for exchange in EXCHANGES if exchange.name in quoted}
        self.assertEqual(kinds, {request_row(exchange) for exchange in EXCHANGES})

    def test_table_of_requests(self) -> None:
        rows = re.findall(r"^\| (?:GET|POST) \| `/\w+\.php` \| [^|]* \|", self.text, re.M)
        self.assertEqual(sorted(rows), sorted({request_row(exchange) for exchange in EXCHANGES}))
        self.assertEqual(len(rows), 8)

    def test_table_of_characters(self) -> None:
        table = re.search(r"^\| typed \|.*?\n\n", self.text, re.M | re.S)
        assert table
        rows = ["| " + " | ".join(cell(row[key]) for key in ("typed", "body", "query", "read"))
                + " |" for row in CHARACTERS]
        self.assertEqual(table[0].strip().split("\n")[2:], rows)

    def test_members(self) -> None:
        for exchange in EXCHANGES:
            for member in sorted(members(exchange.reply) - {"msg"}):
                self.assertIn(f"`{member}`", self.text, exchange.name)


def request_row(exchange: Exchange) -> str:
    """The beginning of a request's row in the table of requests."""
    items = [f"`{name}`" + (f"=`{value}`" if name == "fx" else "")
             for name, value in exchange.items]
    return f"| {exchange.method} | `{exchange.path}` | {', '.join(items) or 'none'} |"


def cell(text: str) -> str:
    """Code in a table's cell."""
    if not text:
        return "*nothing*"
    marks = "``" if "`" in text else "`"
    return marks + text.replace("|", r"\|") + marks


def members(value: Any) -> set[str]:
    """The names of all members, down to the last object."""
    if isinstance(value, dict):
        return set(value).union(*(members(member) for member in value.values()))
    if isinstance(value, list):
        return set().union(*(members(element) for element in value))
    return set()


class TestSources(unittest.TestCase):
    """What the sources send and read must be in both documents."""

    def setUp(self) -> None:
        self.client = "\n".join(source.read_text(encoding="utf-8") for folder in SOURCE_FOLDERS
                                for source in sorted((ROOT / folder).glob("*.cpp")))
        self.protocol = PROTOCOL.read_text(encoding="utf-8")
        self.openapi = OPENAPI.read_text(encoding="utf-8")

    def assert_documented(self, pattern: str, least: int) -> None:
        names = set(re.findall(pattern, self.client))
        self.assertGreaterEqual(len(names), least, "the sources are written in another way now")
        for name in sorted(names):
            with self.subTest(name):
                self.assertIn(f"`{name}`", self.protocol)
                self.assertRegex(self.openapi, rf"(?m)^ *(?:- name: )?{re.escape(name)}:?$")

    def test_paths(self) -> None:
        self.assert_documented(r'"(/\w+\.php)"', 3)

    def test_paths_in_any_form(self) -> None:
        """A path that is put together from pieces would escape the test above."""
        self.assertEqual(len(re.findall(r"\.php", self.client)),
                         len(re.findall(r'"/\w+\.php"', self.client)))

    def test_items(self) -> None:
        self.assert_documented(r'addQueryItem\(\s*"(\w+)"', 3)
        self.assertEqual(len(re.findall(r"addQueryItem", self.client)),
                         len(re.findall(r'addQueryItem\(\s*"\w+"', self.client)))

    def test_posted_members(self) -> None:
        self.assert_documented(r'\{\s*"(\w+)",(?! ")', 0)

    def test_members_of_replies(self) -> None:
        self.assert_documented(r'(?:\[(?:QLatin1String\()?|Key = latin1\()"(\w+)"', 16)

    def test_sandbox_serves_the_same(self) -> None:
        endpoints = (ROOT / "sandbox" / "endpoints.cpp").read_text(encoding="utf-8")
        served = set(re.findall(r'\{"(/\w+\.php)", "(GET|POST)"', endpoints))
        self.assertEqual(served, {(exchange.path, exchange.method) for exchange in EXCHANGES})


class TestOpenApi(unittest.TestCase):
    """openapi.yaml holds every recorded exchange, in the same words."""

    def setUp(self) -> None:
        self.maxDiff = None
        self.document = yaml.safe_load(OPENAPI.read_text(encoding="utf-8"))

    def resolved(self, node: dict[str, Any]) -> dict[str, Any]:
        if "$ref" not in node:
            return node
        target = self.document
        for key in node["$ref"].removeprefix("#/").split("/"):
            target = target[key]
        return target

    def operation(self, exchange: Exchange) -> dict[str, Any]:
        return self.document["paths"][exchange.path][exchange.method.lower()]

    def test_operations(self) -> None:
        described = {(path, method.upper()) for path, item in self.document["paths"].items()
                     for method in item}
        self.assertEqual(described, {(exchange.path, exchange.method) for exchange in EXCHANGES})

    def test_requests(self) -> None:
        for exchange in EXCHANGES:
            with self.subTest(exchange.name):
                operation = self.operation(exchange)
                if exchange.method == "POST":
                    content_type = header(exchange.request_head, "Content-Type")
                    media = operation["requestBody"]["content"][content_type]
                    example = media["examples"][exchange.name]["value"]
                    self.assertEqual(list(example.items()), exchange.items)
                    self.assertEqual(list(media["schema"]["properties"]), list(example))
                else:
                    examples = [(parameter["name"], parameter["examples"][exchange.name]["value"])
                                for parameter in operation.get("parameters", [])
                                if exchange.name in parameter["examples"]]
                    self.assertEqual(examples, exchange.items)
                    self.assertNotIn("requestBody", operation)

    def test_posted_schemas(self) -> None:
        """The validator takes no look into the text of an item."""
        for exchange in EXCHANGES:
            posted = dict(exchange.items).get("posted")
            if posted is None:
                continue
            with self.subTest(exchange.name):
                body = next(iter(self.operation(exchange)["requestBody"]["content"].values()))
                schema = self.resolved(body["schema"]["properties"]["posted"]["contentSchema"])
                elements = schema["items"]["properties"]
                for element in json.loads(posted):
                    self.assertEqual(set(element), set(elements))
                    self.assertEqual({elements[name]["type"] for name in element}, {"string"})
                    self.assertEqual(set(types(element).values()), {"str"})

    def test_replies(self) -> None:
        for exchange in EXCHANGES:
            with self.subTest(exchange.name):
                status = exchange.reply_head[0].split(" ")[1]
                reply = self.resolved(self.operation(exchange)["responses"][status])
                examples = reply["content"]["application/json"]["examples"]
                example = examples[exchange.name]["value"]
                self.assertEqual(types(example), types(exchange.reply))
                self.assertEqual(example, exchange.reply)

    def test_no_other_examples(self) -> None:
        names = {exchange.name for exchange in EXCHANGES}

        def check(node: Any) -> None:
            if isinstance(node, dict):
                self.assertNotIn("example", node)
                self.assertLessEqual(set(node.get("examples", {})), names)
                for value in node.values():
                    check(value)
            elif isinstance(node, list):
                for value in node:
                    check(value)

        check(self.document)


if __name__ == "__main__":
    unittest.main()
