"""Failures on purpose: what is asked for happens, in its turn, is said loudly, and nothing else."""

from __future__ import annotations

import http.client
import json
import socket
import time
from collections.abc import Iterable
from typing import Any

from support import (ACTIVATE, EMAIL, FORM, GROUPS, INFO, LOGIN, PASSWORD, REMOVE,
                     TRACKERS, Client, Sandbox, TestCase, encode)

KINDS = ["slow", "silent", "refuse-session", "empty-reply", "cut-reply", "error-page"]
ANNOUNCED = "FAILING ON PURPOSE: "
MARK = " FAILED ON PURPOSE: "
SERIAL = "2310520"  # has nothing booked
BOOKING = encode({"posted": json.dumps([{"deviceSn": SERIAL, "start": "2026-05-01",
                                         "days": "7"}])})
SLOW = 4  # seconds; what is not slow takes far less, what is takes five
STOP = 3  # seconds; idle connections and half requests are cut within half a second


def marks(sandbox: Sandbox) -> list[str]:
    """How each request was spoiled, for all that the log says."""
    return [line.partition(MARK)[2] for line in sandbox.requests_logged()]


class Failing(TestCase):
    def failing(self, *options: str) -> Sandbox:
        return self.start(*(word for option in options for word in ("--fail", option)))

    def send(self, client: Client, method: str, path: str, body: str | None = None) -> None:
        headers = {"Cookie": client.cookie} if client.cookie else {}
        if body is not None:
            headers["Content-Type"] = FORM
        client.connection.request(method, path, body, headers)

    def outcome(self, client: Client, method: str = "GET", path: str = GROUPS,
                body: str | None = None) -> str:
        """What becomes of a request, as its client sees it."""
        self.send(client, method, path, body)
        reply = client.connection.getresponse()
        self.assertEqual(len(reply.msg.get_all("Content-Type")), 1)
        try:
            text = reply.read()
        except http.client.IncompleteRead as error:
            self.assertEqual(reply.status, 200)
            self.assertEqual(len(error.partial), int(reply.headers["Content-Length"]) // 2)
            self.assertEqual(error.partial[:1], b"{")
            client.close()
            return "cut"
        if reply.status == 502:
            self.assertEqual(reply.headers.get_content_type(), "text/html")
            self.assertIn(b"<h1>502 Bad Gateway</h1>", text)
            self.assertNotIn("Set-Cookie", reply.headers)
            return "page"
        self.assertEqual(reply.status, 200)
        if not text:
            self.assertEqual(reply.headers["Content-Length"], "0")
            return "empty"
        return {0: "done", -99: "no session"}[json.loads(text)["rcode"]]

    def outcomes(self, client: Client, count: int) -> list[str]:
        return [self.outcome(client) for _ in range(count)]

    def booked(self, sandbox: Sandbox) -> int:
        ((count,),) = sandbox.sql("SELECT count(*) FROM activation WHERE serial = ?", SERIAL)
        return count

    def wait_for_mark(self, sandbox: Sandbox, count: int = 1) -> None:
        """Until so many requests are spoiled: what is silent says so to nobody but the log."""
        end = time.monotonic() + 10
        while len([mark for mark in marks(sandbox) if mark]) < count:
            self.assertLess(time.monotonic(), end, sandbox.log())
            time.sleep(0.01)


class Kinds(Failing):
    """Each in every third request: the login is the first, and a booking the one that fails."""

    def play(self, kind: str, seen: str, booked: int) -> None:
        sandbox = self.failing(f"{kind}:3")
        client = self.client(sandbox)
        self.assertEqual(self.outcomes(client, 1), ["done"])
        self.assertEqual(self.outcome(client, "POST", ACTIVATE, BOOKING), seen)
        self.assertEqual(self.booked(sandbox), booked)
        self.assertEqual(self.outcomes(client, 4), ["done", "done", seen, "done"])
        self.assertEqual(marks(sandbox), ["", "", kind, "", "", kind, ""])

    def test_empty_reply(self) -> None:
        self.play("empty-reply", "empty", booked=1)

    def test_cut_reply(self) -> None:
        self.play("cut-reply", "cut", booked=1)

    def test_error_page(self) -> None:
        self.play("error-page", "page", booked=1)

    def test_refuse_session(self) -> None:
        self.play("refuse-session", "no session", booked=0)

    def test_slow(self) -> None:
        sandbox = self.failing("slow:3")
        client = self.client(sandbox)
        took = []
        for request in [("GET", GROUPS), ("POST", ACTIVATE, BOOKING), ("GET", GROUPS)]:
            start = time.monotonic()
            self.assertEqual(self.outcome(client, *request), "done")
            took.append(time.monotonic() - start > SLOW)
        self.assertEqual(took, [False, True, False])
        self.assertEqual(self.booked(sandbox), 1)
        self.assertEqual(marks(sandbox), ["", "", "slow", ""])

    def test_silent(self) -> None:
        sandbox = self.failing("silent:3")
        client = self.client(sandbox)
        self.assertEqual(self.outcomes(client, 1), ["done"])
        self.send(client, "POST", ACTIVATE, BOOKING)
        self.wait_for_mark(sandbox)
        # Carried out before it falls silent, and in nobody's way.
        self.assertEqual(self.booked(sandbox), 1)
        other = self.client(sandbox)
        self.assertEqual(self.outcomes(other, 1), ["done"])
        code, seconds = sandbox.end()
        self.assertEqual(code, 0)
        self.assertLess(seconds, STOP)
        self.assertEqual(client.connection.sock.recv(1), b"")
        self.assertEqual(marks(sandbox), ["", "", "silent", "", ""])


class Rules(Failing):
    def test_every_request_is_the_default(self) -> None:
        sandbox = self.failing("error-page")
        client = self.client(sandbox, login=False)
        login = encode({"email": EMAIL, "password": PASSWORD})
        self.assertEqual(self.outcome(client, "POST", LOGIN, login), "page")
        self.assertEqual(self.outcomes(client, 3), ["page"] * 3)

    def test_requests_of_all_clients_are_counted_together(self) -> None:
        sandbox = self.failing("empty-reply:4")
        clients = [self.client(sandbox) for _ in range(3)]
        self.assertEqual([self.outcome(client) for client in clients * 2],
                         ["empty", "done", "done", "done", "empty", "done"])

    def test_what_is_no_request_to_the_service_does_not_count(self) -> None:
        sandbox = self.failing("empty-reply:2")
        client = self.client(sandbox)
        status, _, _ = client.request("POST", LOGIN, "{}", {"Content-Type": "application/json"})
        self.assertEqual(status, 415)
        self.assertEqual(self.outcomes(client, 2), ["empty", "done"])

    def test_several_of_which_the_first_that_is_due_counts(self) -> None:
        sandbox = self.failing("error-page:3", "empty-reply:2")
        client = self.client(sandbox)
        self.assertEqual(self.outcomes(client, 5), ["empty", "page", "empty", "done", "page"])
        self.assertEqual(sandbox.lines[-3:-1], [f"{ANNOUNCED}error-page, one request in 3",
                                                f"{ANNOUNCED}empty-reply, one request in 2"])

    def test_a_refused_session_takes_nothing_but_logins(self) -> None:
        sandbox = self.failing("refuse-session")
        before = sandbox.dump()
        client = self.client(sandbox)
        again = client.login()
        self.assertEqual(again["id"], 1)
        replies: Iterable[dict[str, Any]] = [
            client.get(GROUPS), client.get(TRACKERS, idgroup="12"),
            client.get(INFO, fx="getInfo", groupId="12", SN=SERIAL),
            client.get(INFO, fx="saveInfo", groupId="12", SN=SERIAL, name="New"),
            client.activate((SERIAL, "2026-05-01", "7")), client.extend("Y", SERIAL),
            client.get(REMOVE, activationId="25")]
        self.assertEqual([(reply["rcode"], reply["msg"]) for reply in replies],
                         [(-99, "Please log in.")] * 7)
        self.assertEqual(sandbox.dump(), before)
        self.assertEqual(marks(sandbox), ["", ""] + ["refuse-session"] * 7)

    def test_a_client_that_gives_up_makes_room(self) -> None:
        sandbox = self.failing("silent")
        for count in (40, 80):  # more than are served at a time
            clients = [self.client(sandbox, "127.0.0.1", login=False) for _ in range(40)]
            for client in clients:
                self.send(client, "GET", GROUPS)
            self.wait_for_mark(sandbox, count)
            for client in clients:
                # It could still hear a reply.
                socket.socket.shutdown(client.connection.sock, socket.SHUT_WR)
                self.assertEqual(client.connection.sock.recv(1), b"")

    def test_a_slow_reply_does_not_hold_up_the_end(self) -> None:
        sandbox = self.failing("slow:2")
        client = self.client(sandbox)
        self.send(client, "GET", GROUPS)
        self.wait_for_mark(sandbox)
        code, seconds = sandbox.end()
        self.assertEqual(code, 0)
        self.assertLess(seconds, STOP)


class CommandLine(Failing):
    def test_nothing_fails_unasked(self) -> None:
        sandbox = self.start()
        client = self.client(sandbox)
        self.assertEqual(self.outcomes(client, 12), ["done"] * 12)
        self.assertEqual(set(marks(sandbox)), {""})
        self.assertNotIn("ON PURPOSE", "\n".join(sandbox.lines))

    def test_each_kind_is_announced(self) -> None:
        lines = self.start(*(f"--fail={kind}" for kind in KINDS)).lines
        self.assertEqual(lines[-7:-1], [f"{ANNOUNCED}{kind}, every request" for kind in KINDS])
        self.assertTrue(lines[-1].startswith("listening on "))

    def test_help_names_each_kind(self) -> None:
        text = self.run_once("--help").stdout.partition("--fail")[2].partition("\n  --")[0]
        self.assertEqual([kind for kind in KINDS if kind not in text], [])

    def test_exit_code_2_and_one_sentence(self) -> None:
        for value in ("", "nonsense", "Slow", "slow ", "slow:", ":2", "slow:0", "slow:-1",
                      "slow:+1", "slow:1.5", "slow:two", "slow:1000001", "slow:1:2", "slow,silent"):
            with self.subTest(value):
                result = self.run_once("--fail", value, "--data-dir", f"{self.folder}/new")
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertRegex(result.stderr, r"\Aveltrano-sandbox: --fail [^\n]+\.\n\Z")
        self.assertEqual(self.start("--fail", "slow:1000000").lines[-2],
                         f"{ANNOUNCED}slow, one request in 1000000")
