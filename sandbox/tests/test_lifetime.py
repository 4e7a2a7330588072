"""Restarts, kills, stops, and the log."""

from __future__ import annotations

import re
import signal
import socket
import ssl
import unittest

from support import (ACTIVATE, EMAIL, EXTEND, FORM, GROUPS, INFO, LOGIN, PASSWORD, Sandbox,
                     TestCase, encode)


class Persistence(TestCase):
    def change(self, sandbox: Sandbox) -> None:
        user = self.client(sandbox)
        self.assertEqual(user.activate(("2310520", "2026-05-01", "7"))["rcode"], 0)
        self.assertEqual(user.extend("Y", "2310520")["rcode"], 0)
        self.assertEqual(user.get(INFO, fx="saveInfo", groupId="12", SN="2310520",
                                  name="Kept")["rcode"], 0)

    def assert_changed(self, sandbox: Sandbox) -> None:
        user = self.client(sandbox)
        tracker = user.trackers()["2310520"]
        self.assertEqual((tracker["p"], tracker["TrackerName"]), ("E", "Kept"))
        self.assertEqual([p["startTime"] for p in tracker["activations"]], ["2026-05-01"])

    def test_survives_a_restart(self) -> None:
        sandbox = self.start()
        self.change(sandbox)
        before = sandbox.dump()
        self.assertEqual(sandbox.end()[0], 0)
        again = self.start()
        self.assertEqual(again.dump(), before)
        self.assert_changed(again)

    def test_survives_a_kill_right_after_the_reply(self) -> None:
        sandbox = self.start()
        self.change(sandbox)
        self.assertEqual(sandbox.end(signal.SIGKILL)[0], -signal.SIGKILL)
        self.assert_changed(self.start())

    def test_a_kill_among_many_bookings_leaves_whole_ones(self) -> None:
        sandbox = self.start()
        user = self.client(sandbox)
        serials = [s for s, t in user.trackers().items() if not t["activations"]]
        sandbox.sql("UPDATE account SET balance_cents = 10000000")
        answered = 0
        for month in range(4, 8):
            reply = user.activate(*((s, f"2026-{month:02}-01", "10") for s in serials))
            answered += reply["rcode"] == 0
        # One more is under way when the end comes.
        entries = "".join(f'{{"deviceSn":"{s}","start":"2026-09-01","days":"10"}},' for s in serials)
        assert user.cookie is not None
        user.connection.request("POST", ACTIVATE, encode({"posted": f"[{entries[:-1]}]"}),
                                {"Content-Type": FORM, "Cookie": user.cookie})
        sandbox.end(signal.SIGKILL)
        self.assertEqual(answered, 4)
        again = self.start()
        counts = again.sql("SELECT count(*) FROM activation WHERE last_day - first_day = 0"
                           " AND first_day IN ('2026-04-01', '2026-05-01', '2026-06-01',"
                           " '2026-07-01', '2026-09-01') GROUP BY first_day")
        self.assertIn(len(counts), (4, 5))
        self.assertEqual({count for (count,) in counts}, {len(serials)})
        ((paid,),) = again.sql("SELECT sum(cost_cents) FROM activation"
                               " WHERE first_day LIKE '2026-0_-01' AND first_day >= '2026-04-01'")
        self.assertEqual(again.sql("SELECT balance_cents FROM account"), [(10000000 - paid,)])

    def test_reset_starts_anew(self) -> None:
        sandbox = self.start()
        self.change(sandbox)
        sandbox.end()
        again = self.start("--reset")
        tracker = self.client(again).trackers()["2310520"]
        self.assertEqual((tracker["p"], tracker["TrackerName"], tracker["activations"]),
                         ("N", "Jürgen Großmann", []))
        self.assertEqual(again.sql("SELECT balance_cents FROM account"), [(41250,)])

    def test_reset_dates_follow_that_day(self) -> None:
        self.start().end()
        for day, first in (("2026-03-10", "2026-03-07"), ("2031-12-31", "2031-12-28")):
            sandbox = self.start("--reset", today=day)
            periods = self.client(sandbox).trackers()["2310400"]["activations"]
            self.assertEqual(periods[1]["startTime"], first)
            self.assertEqual([p["done"] for p in periods], ["1", "1", "0"])
            sandbox.end()


class Stop(TestCase):
    # Half a second is the aim; idle connections and half requests would hold it up for 10 to 60.
    SECONDS = 3

    def test_both_signals_end_it_with_exit_code_0(self) -> None:
        for number in (signal.SIGINT, signal.SIGTERM):
            code, seconds = self.start().end(number)
            self.assertEqual(code, 0)
            self.assertLess(seconds, self.SECONDS)

    def test_open_connections_do_not_hold_it_up(self) -> None:
        sandbox = self.start()
        context = ssl.create_default_context(cafile=sandbox.authority)
        # Three that never said a word, never finished a handshake, never finished a request.
        silent = socket.create_connection(("127.0.0.1", sandbox.port))
        self.addCleanup(silent.close)
        half = socket.create_connection(("127.0.0.1", sandbox.port))
        half.sendall(b"\x16\x03\x01")
        self.addCleanup(half.close)
        slow = context.wrap_socket(socket.create_connection(("127.0.0.1", sandbox.port)),
                                   server_hostname="localhost")
        slow.sendall(b"POST /bslogin.php HTTP/1.1\r\nContent-Length: 100\r\n")
        self.addCleanup(slow.close)
        # Each address accepts in order: these are logged in, so it has accepted those above, too.
        for host in ("127.0.0.1", "localhost"):
            for _ in range(6):
                self.client(sandbox, host)
        code, seconds = sandbox.end()
        self.assertEqual(code, 0)
        self.assertLess(seconds, self.SECONDS)

    def test_right_after_the_start(self) -> None:
        for _ in range(5):
            code, seconds = self.start().end()
            self.assertEqual(code, 0)
            self.assertLess(seconds, self.SECONDS)

    def test_a_request_under_way_is_answered(self) -> None:
        sandbox = self.start()
        context = ssl.create_default_context(cafile=sandbox.authority)
        body = encode({"email": EMAIL, "password": PASSWORD}).encode()
        head = (f"POST {LOGIN} HTTP/1.1\r\nHost: localhost\r\nContent-Type: {FORM}\r\n"
                f"Expect: 100-continue\r\nContent-Length: {len(body)}\r\n\r\n")
        plain = socket.create_connection(("127.0.0.1", sandbox.port), timeout=20)
        with context.wrap_socket(plain, server_hostname="localhost") as tls:
            tls.sendall(head.encode())
            # Now it is known that the request was begun.
            self.assertEqual(tls.recv(1000), b"HTTP/1.1 100 Continue\r\n\r\n")
            sandbox.process.send_signal(signal.SIGTERM)
            tls.sendall(body)
            self.assertTrue(tls.recv(1000).startswith(b"HTTP/1.1 200 OK\r\n"))
        self.assertEqual(sandbox.end()[0], 0)


class Log(TestCase):
    LINE = re.compile(r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3} (\S+) (\S+) (\d{3}) (\S+)"
                      r" \d+\.\dms session=(\S+)$")

    def test_one_line_for_each_request(self) -> None:
        sandbox = self.start()
        user = self.client(sandbox)
        user.get(GROUPS)
        user.activate(("2310520", "2026-05-01", "7"))
        user.extend("Q", "2310520")
        user.request("GET", "/nothing/ö%20x".replace("ö", "%C3%B6") + "?secret=1")
        user.request("POST", EXTEND, "extend=%", {"Content-Type": FORM})
        user.request("GET", ACTIVATE)
        other = self.client(sandbox, login=False)
        other.get(GROUPS)
        other.post(LOGIN, email=EMAIL, password="wrong")
        matches = [self.LINE.match(line) for line in sandbox.log().splitlines()]
        self.assertNotIn(None, matches, sandbox.log())
        self.assertEqual([match.groups() for match in matches if match], [
            ("POST", LOGIN, "200", "id=1", "1"), ("GET", GROUPS, "200", "rcode=0", "1"),
            ("POST", ACTIVATE, "200", "rcode=0", "1"), ("POST", EXTEND, "200", "rcode=1", "1"),
            ("GET", "/nothing/%C3%B6%20x", "404", "rcode=-1", "-"),
            ("POST", EXTEND, "400", "rcode=-1", "-"), ("GET", ACTIVATE, "405", "rcode=-1", "-"),
            ("GET", GROUPS, "200", "rcode=-99", "-"), ("POST", LOGIN, "200", "id=0", "-")])

    def test_no_password_and_no_cookie(self) -> None:
        sandbox = self.start()
        user = self.client(sandbox)
        user.post(LOGIN, email=EMAIL, password="hush-hush")
        for body in (f"email=x&password={PASSWORD}%", f"password={PASSWORD}", PASSWORD):
            user.request("POST", LOGIN, body, {"Content-Type": FORM})
            user.request("POST", LOGIN, body, {"Content-Type": "text/plain"})
        user.request("GET", f"{LOGIN}?email={EMAIL}&password={PASSWORD}")
        user.activate(("2310520", "2026-05-01", "7"))
        user.activate(("2310520", "2026-05-01", "7"))
        sandbox.end()
        log = sandbox.log()
        assert user.cookie is not None
        self.assertEqual(len(sandbox.requests_logged()), 11)
        for secret in (PASSWORD, "hush-hush", user.cookie.split("=")[1], user.cookie[-16:]):
            self.assertNotIn(secret, log)

    def test_a_path_cannot_forge_a_line(self) -> None:
        sandbox = self.start()
        user = self.client(sandbox, login=False)
        user.request("GET", "/%0A2026-01-01T00:00:00.000%20GET%20/forged%1B[31m" + "x" * 3000)
        (line,) = sandbox.log().splitlines()
        self.assertTrue(self.LINE.match(line))
        self.assertLess(len(line), 400)


if __name__ == "__main__":
    unittest.main()
