"""The sandbox: its process, and its database, which can be set back to how it began."""

from __future__ import annotations

import sqlite3
from contextlib import closing
from pathlib import Path
from typing import Any

from sandboxprocess import SandboxProcess

BUSY_TIME = 30.0  # seconds until a database that the sandbox writes must be free
# What the client's commands change, in the order in which it may be taken out and put in again.
CHANGED = ("account", "tracker", "activation")


class Sandbox(SandboxProcess):

    def __init__(self, program: Path, folder: Path) -> None:
        super().__init__(program, "--port", "0", "--data-dir", str(folder),
                         log_path=folder / "sandbox.log")
        self._first = {table: self._query(f"SELECT * FROM {table}") for table in CHANGED}

    def _connect(self) -> sqlite3.Connection:
        return sqlite3.connect(self.line("database: "), timeout=BUSY_TIME)

    def _query(self, sql: str) -> list[tuple[Any, ...]]:
        with closing(self._connect()) as database:
            return database.execute(sql).fetchall()

    def serials(self) -> dict[int, list[str]]:
        """Of each group the serial numbers that can be scanned from a label, and whose rows can
        become the current one."""
        groups: dict[int, list[str]] = {}
        for group, serial in self._query("SELECT group_id, serial FROM group_member"
                                         " JOIN tracker USING (serial) WHERE provisioned"):
            if label(serial):
                groups.setdefault(group, []).append(serial)
        return groups

    def set_back(self) -> None:
        """What was booked, removed, renamed and paid is as it was at the start."""
        with closing(self._connect()) as database, database:
            for table, rows in self._first.items():
                for row in rows:
                    database.execute(f"INSERT OR REPLACE INTO {table} VALUES "
                                     f"({','.join('?' * len(row))})", row)
            last = max(row[0] for row in self._first["activation"])
            database.execute("DELETE FROM activation WHERE id > ?", [last])


def label(serial: str) -> str:
    """The barcode of a serial number; empty where its check value is no digit."""
    digits = [int(digit) for digit in serial]
    check = 10 - (3 * sum(digits[0::2]) + sum(digits[1::2])) % 10
    return "" if check == 10 else f"{serial}{check}"
