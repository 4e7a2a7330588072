"""Requests that no client may send: a clear 4xx with a message, and nothing lost."""

from __future__ import annotations

import json
import socket
import ssl
import unittest
from collections.abc import Iterator

from support import (ACTIVATE, EMAIL, EXTEND, FORM, GROUPS, INFO, LOGIN, PASSWORD, REMOVE, TRACKERS,
                     Body, Reply, ServiceTestCase, encode)

GOOD = '{"deviceSn": "2310520", "start": "2026-04-01", "days": "7"}'


class BadInputTestCase(ServiceTestCase):
    def setUp(self) -> None:
        super().setUp()
        self.before = self.sandbox.dump()

    def tearDown(self) -> None:
        # Whatever came in: the service lives, the session too, and nothing has changed.
        self.assertEqual(self.sandbox.dump(), self.before)
        other = self.client(self.sandbox)
        other.cookie = self.user.cookie
        self.assertEqual(other.get(GROUPS)["rcode"], 0)
        self.assertNotIn("error:", self.sandbox.log())

    def assert_bad(self, reply: Reply, status: int = 400, *words: str) -> None:
        got, headers, body = reply
        self.assertEqual(got, status, body)
        self.assertEqual(headers["Content-Type"], "application/json; charset=utf-8")
        self.assertEqual(set(body), {"rcode", "msg"})
        self.assertEqual(body["rcode"], -1)
        self.assertTrue(body["msg"])
        for word in words:
            self.assertIn(word, body["msg"])

    def form(self, path: str, body: Body, **headers: str) -> Reply:
        return self.user.request("POST", path, body, dict({"Content-Type": FORM}, **headers))


class Paths(BadInputTestCase):
    def test_unknown(self) -> None:
        for path in ("/", "/bslogin", "/BSLOGIN.PHP", "/bslogin.php/", "//bslogin.php", "/x" * 3000,
                     "/../etc/passwd", "/bslogin.php%00", "/%ff%fe", "/bslogin.php;x"):
            for method in ("GET", "POST", "PUT", "DELETE", "OPTIONS", "HEAD"):
                with self.subTest(path=path[:40], method=method):
                    body = "a=b" if method in ("POST", "PUT") else None
                    other = self.client(self.sandbox, login=False)
                    status, headers, reply = other.request(
                        method, path, body, {"Content-Type": FORM})
                    if method == "HEAD":
                        self.assertEqual(status, 404)
                    else:
                        self.assert_bad((status, headers, reply), 404, "no such page")
                    other.close()

    def test_wrong_methods(self) -> None:
        allowed = {LOGIN: "POST", ACTIVATE: "POST", EXTEND: "POST", GROUPS: "GET",
                   TRACKERS: "GET", INFO: "GET", REMOVE: "GET"}
        for path, right in allowed.items():
            for method in ("GET", "POST", "PUT", "PATCH", "DELETE", "OPTIONS", "TRACE"):
                for body in (None, "activationId=25&idgroup=12"):
                    if method == right or (body and method in ("GET", "OPTIONS", "TRACE")):
                        continue
                    with self.subTest(path=path, method=method, body=body):
                        reply = self.user.request(method, path, body, {"Content-Type": FORM})
                        self.assert_bad(reply, 405, right)
                        self.assertEqual(reply[1]["Allow"], right)

    def test_head_is_a_wrong_method_too(self) -> None:
        status, headers, _ = self.user.request("HEAD", GROUPS)
        self.assertEqual((status, headers["Allow"]), (405, "GET"))

    def test_the_items_of_a_post_are_not_read_from_the_query(self) -> None:
        reply = self.form(LOGIN + "?" + encode({"email": EMAIL, "password": PASSWORD}), "")
        self.assert_bad(reply, 400, "missing")

    def test_too_long_an_address(self) -> None:
        self.assert_bad(self.user.request("GET", GROUPS + "?a=" + "x" * 9000), 414, "too long")


class Forms(BadInputTestCase):
    def test_missing_items(self) -> None:
        posted = encode({"posted": f"[{GOOD}]"})
        for method, path, body in [
                ("POST", ACTIVATE, ""), ("POST", ACTIVATE, None), ("POST", ACTIVATE, "Posted=[]"),
                ("POST", EXTEND, posted), ("POST", EXTEND, "extend=Y"), ("GET", TRACKERS, None),
                ("GET", TRACKERS + "?", None), ("GET", TRACKERS + "?id=12", None),
                ("GET", REMOVE, None), ("GET", INFO, None), ("GET", INFO + "?fx=getInfo", None),
                ("GET", INFO + "?fx=getInfo&groupId=12", None),
                ("GET", INFO + "?fx=getInfo&SN=2310400", None),
                ("GET", INFO + "?groupId=12&SN=2310400", None),
                ("GET", INFO + "?fx=saveInfo&groupId=12&SN=2310400", None)]:
            with self.subTest(path=path, body=body):
                self.assert_bad(self.user.request(method, path, body, {"Content-Type": FORM}),
                                400, "missing")

    def test_unknown_function(self) -> None:
        for function in ("", "getinfo", "getInfo ", "deleteInfo"):
            path = INFO + "?" + encode({"fx": function, "groupId": "12", "SN": "2310400"})
            self.assert_bad(self.user.request("GET", path), 400, "fx")

    def test_encoding(self) -> None:
        for body, word in [
                (b"posted=%", "percent"), (b"posted=%4", "percent"), (b"posted=%zz", "percent"),
                (b"posted=%4g", "percent"), (b"%=1&posted=[]", "percent"),
                (b"posted=\xff\xfe", "UTF-8"), (b"posted=%ff", "UTF-8"), (b"posted=%c3", "UTF-8"),
                (b"posted=%ed%a0%80", "UTF-8"), (b"posted=%c0%af", "UTF-8"), (b"\xff=1", "UTF-8"),
                (b"posted=[]&posted=[]", "twice"), (b"posted=[]&post%65d=[]", "twice")]:
            with self.subTest(body=body):
                self.assert_bad(self.form(ACTIVATE, body), 400, word)

    def test_encoding_in_a_query(self) -> None:
        for query, word in [("idgroup=%", "percent"), ("idgroup=%ff", "UTF-8"),
                            ("idgroup=12&idgroup=27", "twice")]:
            self.assert_bad(self.user.request("GET", TRACKERS + "?" + query), 400, word)

    def test_other_content_types(self) -> None:
        for kind in ("application/json", "text/plain", "", "multipart/form-data",
                     "multipart/form-data; boundary=x", FORM + "x", "a" * 5000):
            with self.subTest(kind=kind[:40]):
                other = self.client(self.sandbox, login=False)
                other.cookie = self.user.cookie
                reply = other.request("POST", ACTIVATE, encode({"posted": f"[{GOOD}]"}),
                                      {"Content-Type": kind})
                self.assertIn(reply[0], (400, 415))
                self.assert_bad(reply, reply[0])
                other.close()

    def test_content_type_with_a_character_set_or_in_capitals(self) -> None:
        for kind in (FORM + "; charset=UTF-8", FORM.upper()):
            _, _, reply = self.user.request("POST", ACTIVATE, "posted=[]", {"Content-Type": kind})
            self.assertEqual(reply["rcode"], 1)


class PostedJson(BadInputTestCase):
    def test_not_the_array_that_is_wanted(self) -> None:
        for posted in [
                "", " ", "[", "]", "{", "nonsense", "[1,]", f"[{GOOD}", f"[{GOOD},]",
                f"[{GOOD}] x", "[" * 100000, "[" * 500 + "]" * 500, '{"a":' * 50000, "\0", "[\0]",
                "null", "true", "7", '"text"', "{}", GOOD, "[null]", "[1]", '["2310520"]', "[[]]",
                f"[{GOOD}, null]", "[{}]", '[{"deviceSn": "2310520"}]', "NaN", "[1e999]",
                '[{"deviceSn": 2310520, "start": "2026-04-01", "days": "7"}]',
                '[{"deviceSn": "2310520", "start": 20260401, "days": "7"}]',
                '[{"deviceSn": "2310520", "start": "2026-04-01", "days": 7}]',
                '[{"deviceSn": "2310520", "start": "2026-04-01", "days": null}]',
                '[{"deviceSn": "2310520", "start": ["2026-04-01"], "days": "7"}]',
                '[{"deviceSN": "2310520", "start": "2026-04-01", "days": "7"}]',
                '[{"deviceSn": "\\ud800", "start": "2026-04-01", "days": "7"}]']:
            with self.subTest(posted=posted[:60]):
                self.assert_bad(self.form(ACTIVATE, encode({"posted": posted})), 400, "posted")

    def test_deep_nesting_where_anything_is_allowed(self) -> None:
        for depth in (20, 100000):
            posted = GOOD[:-1] + ', "more": ' + "[" * depth + "]" * depth + "}"
            self.assert_bad(self.form(ACTIVATE, "posted=[" + posted + "]"), 400, "too deeply")

    def test_the_same_for_profiles(self) -> None:
        for posted in ("", "{}", "[1]", "[{}]", '[{"deviceSn": 2310520}]', '[{"deviceSn": null}]'):
            with self.subTest(posted=posted):
                body = encode({"extend": "Y", "posted": posted})
                self.assert_bad(self.form(EXTEND, body), 400, "posted")

    def test_a_message_never_repeats_a_megabyte(self) -> None:
        posted = json.dumps([{"deviceSn": "é" * 300000, "start": "", "days": ""}],
                            ensure_ascii=False)
        status, headers, reply = self.form(ACTIVATE, ("posted=" + posted).encode())
        self.assertEqual((status, reply["rcode"]), (200, 1))
        self.assertLess(int(headers["Content-Length"]), 300)

    def test_everything_is_looked_at_before_the_session(self) -> None:
        # A form that cannot be read is told so even to a stranger; its content is not.
        stranger = self.client(self.sandbox, login=False)
        status, _, _ = stranger.request("POST", ACTIVATE, "posted=%", {"Content-Type": FORM})
        self.assertEqual(status, 400)
        _, _, reply = stranger.request("POST", ACTIVATE, "posted=nonsense", {"Content-Type": FORM})
        self.assertEqual(reply["rcode"], -99)


class Sizes(BadInputTestCase):
    def test_ten_megabytes(self) -> None:
        for kind in (FORM, "text/plain"):
            self.assert_bad(self.user.request("POST", ACTIVATE, b"x" * 10_000_000,
                                              {"Content-Type": kind}), 413, "1 MiB")

    def test_ten_megabytes_in_chunks(self) -> None:
        def chunks() -> Iterator[bytes]:
            for _ in range(1000):
                yield b"x" * 10_000
        self.assert_bad(self.user.request("POST", ACTIVATE, chunks(), {"Content-Type": FORM}), 413)

    def test_ten_megabytes_compressed_to_ten_kilobytes(self) -> None:
        import gzip
        body = gzip.compress(b"posted=" + b"x" * 10_000_000)
        self.assert_bad(self.form(ACTIVATE, body, **{"Content-Encoding": "gzip"}), 413)

    def test_a_megabyte_is_taken(self) -> None:
        body = "a=" + "x" * (1024 * 1024 - 13) + "&posted=[]"
        self.assertLess(len(body), 1024 * 1024)
        self.assertEqual(self.form(ACTIVATE, body)[2]["rcode"], 1)
        body += "y" * 3
        self.assert_bad(self.form(ACTIVATE, body), 413)

    def test_a_form_in_chunks(self) -> None:
        body = (piece for piece in (b"posted", b"=[", b"]"))
        _, _, reply = self.user.request("POST", ACTIVATE, body, {"Content-Type": FORM})
        self.assertEqual(reply["rcode"], 1)

    def test_many_headers_and_long_ones(self) -> None:
        assert self.user.cookie is not None
        for headers in ({f"X-{n}": "y" * 50 for n in range(90)}, {"X": "y" * 7000},
                        {"Cookie": "a=b;" * 1500 + self.user.cookie}):
            other = self.client(self.sandbox, login=False)
            status, _, reply = other.request("GET", GROUPS, headers=headers)
            self.assertEqual(status, 200)
            self.assertIn(reply["rcode"], (0, -99))
            other.close()


class RawBytes(BadInputTestCase):
    """What does not even look like HTTP."""

    def talk(self, request: bytes, wait: bool = True) -> bytes:
        context = ssl.create_default_context(cafile=self.sandbox.authority)
        with socket.create_connection(("127.0.0.1", self.sandbox.port), timeout=20) as plain:
            with context.wrap_socket(plain, server_hostname="localhost") as tls:
                tls.sendall(request)
                reply = b""
                while wait:
                    try:
                        piece = tls.recv(65536)
                    except ConnectionResetError:
                        break
                    if not piece:
                        break
                    reply += piece
                return reply

    def test_no_request_at_all(self) -> None:
        for request in (b"nonsense\r\n\r\n", b"\r\n\r\n", b"GET\r\n\r\n", b"GET / HTTP/9.9\r\n\r\n",
                        b"BREW / HTTP/1.1\r\n\r\n", b"\x00\xff\xfe\r\n\r\n",
                        b"GET / HTTP/1.1\r\nRange: bytes=x-y\r\n\r\n"):
            with self.subTest(request=request):
                reply = self.talk(request)
                head, _, body = reply.partition(b"\r\n\r\n")
                self.assertRegex(head, rb"^HTTP/1.1 4\d\d ")
                self.assertTrue(json.loads(body)["msg"])
                self.assertIn(b"Connection: close", head)
                self.assertNotIn(b"Keep-Alive", head)

    def test_the_hundredth_is_answered_like_the_first(self) -> None:
        # More than there are threads, so that each thread has had some before.
        first = self.talk(b"nonsense\r\n\r\n")
        for _ in range(150):
            self.assertEqual(self.talk(b"nonsense\r\n\r\n"), first)

    def test_what_follows_nonsense_is_not_carried_out(self) -> None:
        hidden = (f"GET {REMOVE}?activationId=25 HTTP/1.1\r\nCookie: {self.user.cookie}\r\n"
                  "Content-Length: 0\r\n\r\n").encode()
        for first in (b"nonsense\r\n\r\n",
                      b"GET / HTTP/1.1\r\nContent-Length: %d\r\n\r\n" % len(hidden)):
            reply = self.talk(first + hidden)
            self.assertEqual(reply.count(b"HTTP/1.1 "), 1)
            self.assertIn(b"HTTP/1.1 400", reply)

    def test_form_that_ends_too_early(self) -> None:
        body = encode({"posted": f"[{GOOD}]"}).encode()
        head = (f"POST {ACTIVATE} HTTP/1.1\r\nHost: localhost\r\nContent-Type: {FORM}\r\n"
                f"Cookie: {self.user.cookie}\r\nContent-Length: {len(body) + 1}\r\n\r\n").encode()
        self.talk(head + body, wait=False)

    def test_lengths_that_are_none(self) -> None:
        body = encode({"posted": f"[{GOOD}]"})
        for length in ("abc", "-1", "99999999999999999999999"):
            with self.subTest(length=length):
                head = (f"POST {ACTIVATE} HTTP/1.1\r\nHost: localhost\r\nContent-Type: {FORM}\r\n"
                        f"Cookie: {self.user.cookie}\r\nContent-Length: {length}\r\n\r\n")
                self.talk((head + body).encode(), wait=False)

    def test_connections_without_a_word(self) -> None:
        for _ in range(40):
            plain = socket.create_connection(("127.0.0.1", self.sandbox.port))
            plain.sendall(b"GET / HTTP/1.1\r\n\r\n")
            self.addCleanup(plain.close)
        self.assertEqual(self.user.get(GROUPS)["rcode"], 0)

    def test_ranges_are_passed_over(self) -> None:
        whole = self.user.get(GROUPS)
        for value in ("bytes=0-4", "bytes=5-", "bytes=-3", "bytes=99999-", "bytes=0-1,3-4"):
            status, _, reply = self.user.request("GET", GROUPS, headers={"Range": value})
            self.assertEqual((status, reply), (200, whole))


if __name__ == "__main__":
    unittest.main()
