"""The sandbox: its process, and its database, which can be set back to how it began."""

from __future__ import annotations

import re
import sqlite3
import subprocess
import time
from contextlib import closing
from pathlib import Path
from typing import Any

START_TIME = 30.0  # seconds; the first start makes the keys
# What the client's commands change, in the order in which it may be taken out and put in again.
CHANGED = ("account", "tracker", "activation")


class SandboxLost(Exception):
    """It did not start, or is gone."""


class Sandbox:

    def __init__(self, program: Path, folder: Path) -> None:
        self.certificates = folder
        self.ca = folder / "ca.pem"
        self.database = folder / "sandbox.sqlite"
        self._log = folder / "sandbox.log"
        with open(self._log, "wb") as log:
            self._process = subprocess.Popen(
                [str(program), "--port", "0", "--data-dir", str(folder)],
                stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        try:
            self.port = int(self._said(r"listening on https://localhost:(\d+)")[0])
        except BaseException:
            self.close()
            raise
        self.email, self.password = self._said(r"log in as: (\S+) with password: (.+)")
        self._first = {table: self._query(f"SELECT * FROM {table}") for table in CHANGED}

    def _said(self, pattern: str) -> tuple[str, ...]:
        end = time.monotonic() + START_TIME
        while True:
            text = self._log.read_text(encoding="utf-8", errors="replace")
            found = re.search(f"^{pattern}$", text, re.M)
            if found:
                return found.groups()
            if self._process.poll() is not None or time.monotonic() > end:
                raise SandboxLost(f"The sandbox did not start: {text.strip()}")
            time.sleep(0.02)

    def _query(self, sql: str) -> list[tuple[Any, ...]]:
        with closing(sqlite3.connect(self.database, timeout=START_TIME)) as database:
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
        with closing(sqlite3.connect(self.database, timeout=START_TIME)) as database, database:
            for table, rows in self._first.items():
                for row in rows:
                    database.execute(f"INSERT OR REPLACE INTO {table} VALUES "
                                     f"({','.join('?' * len(row))})", row)
            last = max(row[0] for row in self._first["activation"])
            database.execute("DELETE FROM activation WHERE id > ?", [last])

    def close(self) -> None:
        self._process.terminate()
        try:
            self._process.wait(10)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()


def label(serial: str) -> str:
    """The barcode of a serial number; empty where its check value is no digit."""
    digits = [int(digit) for digit in serial]
    check = 10 - (3 * sum(digits[0::2]) + sum(digits[1::2])) % 10
    return "" if check == 10 else f"{serial}{check}"
