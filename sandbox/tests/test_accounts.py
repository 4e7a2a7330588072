"""Login, sessions, cookies, stored passwords."""

from __future__ import annotations

import sqlite3
import time
import unittest

from support import (ACTIVATE, EMAIL, EXTEND, FORM, GROUPS, INFO, LOGIN, PASSWORD, REMOVE,
                     TRACKERS, Client, Sandbox, ServiceTestCase, TestCase, encode)


class Login(ServiceTestCase):
    def test_reply_has_exactly_the_members_that_are_read(self) -> None:
        reply = self.client(self.sandbox, login=False).login()
        self.assertEqual(reply, {"id": 1, "msg": "", "name": "Mara Lindqvist"})
        self.assertIs(type(reply["id"]), int)

    def test_address_in_other_letter_case(self) -> None:
        other = self.client(self.sandbox, login=False)
        self.assertEqual(other.post(LOGIN, email=EMAIL.upper(), password=PASSWORD)["id"], 1)

    def test_wrong_credentials(self) -> None:
        for email, password in [
                (EMAIL, "demo-flight-8"), (EMAIL, ""), (EMAIL, PASSWORD.upper()),
                (EMAIL, PASSWORD + " "), (EMAIL, PASSWORD + "\0"), ("", ""), ("", PASSWORD),
                ("nobody@quillmora.example", PASSWORD), (EMAIL + " ", PASSWORD),
                ("' OR 1=1 --", "' OR 1=1 --"), ("%", PASSWORD), (EMAIL, "x" * 100000)]:
            with self.subTest(email=email, password=password[:20]):
                other = self.client(self.sandbox, login=False)
                reply = other.post(LOGIN, email=email, password=password)
                self.assertEqual(reply, {"id": 0, "msg": "Wrong e-mail address or password.",
                                         "name": ""})
                self.assertIsNone(other.cookie)

    def test_unknown_address_takes_as_long_as_a_wrong_password(self) -> None:
        def seconds(email: str) -> float:
            start = time.monotonic()
            self.user.post(LOGIN, email=email, password="wrong")
            return time.monotonic() - start
        known = min(seconds(EMAIL) for _ in range(3))
        unknown = min(seconds("nobody@quillmora.example") for _ in range(3))
        self.assertGreater(unknown, known / 3)

    def test_password_travels_with_blanks_raw_and_with_encoded_delimiters(self) -> None:
        # A password of all odd characters, put in by hand the way the service itself does it.
        import hashlib
        password = "a b&c=d%+é\n"
        digest = hashlib.pbkdf2_hmac("sha256", password.encode(), b"s" * 16, 1000)
        self.sandbox.sql("UPDATE account SET password_salt = ?, password_hash = ?,"
                         " password_iterations = 1000", b"s" * 16, digest)
        body = f"email={EMAIL}&password=a b%26c%3Dd%25%2Bé%0A".encode()
        _, _, reply = self.user.request("POST", LOGIN, body, {"Content-Type": FORM})
        self.assertEqual(reply["id"], 1)

    def test_missing_items(self) -> None:
        few: list[dict[str, str]] = [{}, {"email": EMAIL}, {"password": PASSWORD}]
        for items in few:
            with self.subTest(items=list(items)):
                status, _, reply = self.user.request("POST", LOGIN, encode(items),
                                                     {"Content-Type": FORM})
                self.assertEqual(status, 400)
                self.assertIn("missing", reply["msg"])


class Cookies(ServiceTestCase):
    def cookie(self) -> list[str]:
        other = self.client(self.sandbox, login=False)
        _, headers, _ = other.request("POST", LOGIN, encode({"email": EMAIL, "password": PASSWORD}),
                                      {"Content-Type": FORM})
        return headers.get_all("Set-Cookie")

    def test_flags(self) -> None:
        (cookie,) = self.cookie()
        value, *flags = cookie.split("; ")
        self.assertRegex(value, r"^veltrano_session=[0-9a-f]{64}$")
        self.assertEqual(set(flags), {"Path=/", "Secure", "HttpOnly", "SameSite=Strict"})

    def test_every_login_gets_another_one(self) -> None:
        self.assertEqual(len({self.cookie()[0] for _ in range(5)}), 5)

    def test_only_the_login_sets_one(self) -> None:
        for path in (GROUPS, TRACKERS + "?idgroup=12", "/nothing"):
            _, headers, _ = self.user.request("GET", path)
            self.assertIsNone(headers["Set-Cookie"], path)

    def test_found_among_others(self) -> None:
        _, _, reply = self.user.request(
            "GET", GROUPS, headers={"Cookie": f"a=b; {self.user.cookie};c=d"})
        self.assertEqual(reply["rcode"], 0)


class Sessions(TestCase):
    def every_guarded_request(self) -> list[tuple[str, str, str | None]]:
        posted = encode({"posted": '[{"deviceSn":"2310520","start":"2026-05-01","days":"7"}]'})
        return [("GET", GROUPS, None), ("GET", TRACKERS + "?idgroup=12", None),
                ("GET", INFO + "?fx=getInfo&groupId=12&SN=2310520", None),
                ("GET", INFO + "?fx=saveInfo&groupId=12&SN=2310520&name=x", None),
                ("POST", ACTIVATE, posted), ("POST", EXTEND, "extend=Y&" + posted),
                ("GET", REMOVE + "?activationId=25", None)]

    def assert_all_refused(self, sandbox: Sandbox, client: Client) -> None:
        before = sandbox.dump()
        for method, path, body in self.every_guarded_request():
            with self.subTest(path=path):
                status, _, reply = client.request(method, path, body, {"Content-Type": FORM})
                self.assertEqual((status, reply["rcode"]), (200, -99))
                self.assertIs(type(reply["rcode"]), int)
                self.assertTrue(reply["msg"])
                for name in ("groups", "trackers"):
                    self.assertEqual(reply.get(name, []), [])
        self.assertEqual(sandbox.dump(), before)

    def test_no_cookie_and_wrong_cookies(self) -> None:
        sandbox = self.start()
        self.client(sandbox)
        for cookie in (None, "veltrano_session=", "veltrano_session", "veltrano_session=" + "0" * 64,
                       "other=1", ";;;", "=", "veltrano_session=' OR 1=1 --"):
            stranger = self.client(sandbox, login=False)
            stranger.cookie = cookie
            self.assert_all_refused(sandbox, stranger)

    def test_the_requests_of_that_table_work_with_a_session(self) -> None:
        sandbox = self.start()
        user = self.client(sandbox)
        for method, path, body in self.every_guarded_request():
            status, _, reply = user.request(method, path, body, {"Content-Type": FORM})
            self.assertEqual((status, reply["rcode"]), (200, 0), path)

    def test_ends_after_its_lifetime_however_much_it_is_used(self) -> None:
        sandbox = self.start("--session-seconds", "1")
        user = self.client(sandbox)
        limit = time.monotonic() + 20
        while user.get(GROUPS)["rcode"] == 0:
            self.assertLess(time.monotonic(), limit)
        self.assert_all_refused(sandbox, user)
        user.login()
        self.assertEqual(user.get(GROUPS)["rcode"], 0)

    def test_restart_ends_it(self) -> None:
        sandbox = self.start()
        cookie = self.client(sandbox).cookie
        sandbox.end()
        again = self.start()
        user = self.client(again, login=False)
        user.cookie = cookie
        self.assertEqual(user.get(GROUPS)["rcode"], -99)

    def test_two_sessions_side_by_side(self) -> None:
        sandbox = self.start()
        first, second = self.client(sandbox), self.client(sandbox)
        self.assertNotEqual(first.cookie, second.cookie)
        self.assertEqual(first.get(GROUPS), second.get(GROUPS))


class StoredPassword(ServiceTestCase):
    def test_is_a_salted_hash_of_many_iterations(self) -> None:
        import hashlib
        ((salt, digest, iterations),) = self.sandbox.sql(
            "SELECT password_salt, password_hash, password_iterations FROM account")
        self.assertGreaterEqual(iterations, 100000)
        self.assertGreaterEqual(len(salt), 16)
        self.assertEqual(digest, hashlib.pbkdf2_hmac("sha256", PASSWORD.encode(), salt, iterations))
        with open(self.sandbox.database, "rb") as file:
            self.assertNotIn(PASSWORD.encode(), file.read())

    def test_salt_is_another_one_each_time(self) -> None:
        salts = set()
        for _ in range(2):
            self.sandbox.end()
            self.sandbox = self.start("--reset")
            with sqlite3.connect(self.sandbox.database) as connection:
                salts.add(connection.execute("SELECT password_salt FROM account").fetchone()[0])
            connection.close()
        self.assertEqual(len(salts), 2)


if __name__ == "__main__":
    unittest.main()
