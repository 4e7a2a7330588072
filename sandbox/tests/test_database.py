"""What is asked of the database file: waiting for it, whole changes, and texts as they stand."""

from __future__ import annotations

import hashlib
import json
import sqlite3
import time
import unittest
from contextlib import closing
from typing import Any

from support import ACTIVATE, FORM, PASSWORD, ServiceTestCase, encode

FREE = "2310520"


class DatabaseTestCase(ServiceTestCase):
    def book(self, serial: str) -> tuple[int, Any]:
        period = json.dumps([{"deviceSn": serial, "start": "2026-05-01", "days": "7"}])
        status, _, reply = self.user.request("POST", ACTIVATE, encode({"posted": period}),
                                             {"Content-Type": FORM})
        return status, reply

    def errors_logged(self) -> list[str]:
        requests = self.sandbox.requests_logged()
        return [line for line in self.sandbox.log().splitlines() if line not in requests]

    def assert_fails(self, *errors: str, serial: str = FREE) -> None:
        self.assertEqual(self.book(serial), (500, {
            "msg": "The sandbox failed; its log says why.", "rcode": -1}))
        self.assertEqual(self.errors_logged(), list(errors))


class Changes(DatabaseTestCase):
    def test_waits_five_seconds_for_who_writes_before_a_rule_is_looked_at(self) -> None:
        """With a tracker that is none: a rule would refuse it at once."""
        with closing(sqlite3.connect(self.sandbox.database, isolation_level=None)) as other:
            other.execute("BEGIN IMMEDIATE")
            start = time.monotonic()
            self.assert_fails("error: database is locked", serial="9999999")
            self.assertGreater(time.monotonic() - start, 4.9)
            other.execute("ROLLBACK")
        self.assertEqual(self.book("9999999")[1]["rcode"], 1)

    def test_a_change_that_the_database_undid_itself(self) -> None:
        self.sandbox.sql("CREATE TRIGGER undo AFTER INSERT ON activation"
                         " BEGIN SELECT RAISE(ROLLBACK, 'not today'); END")
        self.assert_fails("rollback: cannot rollback - no transaction is active",
                          "error: not today")
        self.sandbox.sql("DROP TRIGGER undo")
        self.assertEqual(self.book(FREE)[1]["rcode"], 0)

    def test_what_belongs_together_stays_together(self) -> None:
        self.sandbox.sql("CREATE TRIGGER stray AFTER UPDATE ON account"
                         " BEGIN INSERT INTO group_member VALUES (99, '2310520'); END")
        before = self.sandbox.dump()
        self.assert_fails("error: FOREIGN KEY constraint failed")
        self.assertEqual(self.sandbox.dump(), before)


class Contents(DatabaseTestCase):
    def test_zero_bytes_in_a_text(self) -> None:
        self.sandbox.sql("UPDATE tracker SET name = CAST(X'410042' AS TEXT) WHERE serial = ?", FREE)
        self.assertEqual(self.user.trackers()[FREE]["TrackerName"], "A\0B")

    def test_zero_bytes_in_a_password_s_salt(self) -> None:
        salt = b"\0salt\0"
        self.sandbox.sql("UPDATE account SET password_salt = ?, password_hash = ?", salt,
                         hashlib.pbkdf2_hmac("sha256", PASSWORD.encode(), salt, 150000))
        self.assertEqual(self.user.login()["id"], 1)

    def test_kinds_of_values(self) -> None:
        kinds = {
            "account": ["integer", "text", "text", "blob", "blob", "integer", "integer"],
            "tracker_group": ["integer", "integer", "text"],
            "tracker": ["text", "integer", "text", "text", "text", "text", "integer", "integer"],
            "group_member": ["integer", "text"],
            "activation": ["integer", "text", "text", "text", "integer"]}
        self.assertEqual(self.book(FREE)[1]["rcode"], 0)
        for table, expected in kinds.items():
            names = [row[1] for row in self.sandbox.sql(f"PRAGMA table_info({table})")]
            types = ", ".join(f"typeof({name})" for name in names)
            self.assertEqual(self.sandbox.sql(f"SELECT DISTINCT {types} FROM {table}"),
                             [tuple(expected)])


if __name__ == "__main__":
    unittest.main()
