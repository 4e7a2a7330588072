"""The sandbox: its process, its log, and what its database says the client must show."""

from __future__ import annotations

import json
import os
import sqlite3
import ssl
from contextlib import closing
from dataclasses import dataclass, fields, replace
from pathlib import Path
from typing import Any
from urllib.parse import urlencode
from urllib.request import urlopen

from client import Row, View
from clientprocess import Failure
from clock import Clock
from sandboxprocess import SandboxLost, SandboxProcess

EXTENDED_COLOUR = "#dd5500"
UNTICKED, TICKED = 0, 2


@dataclass(frozen=True)
class Period:
    """An activation period, as a row under its tracker."""

    text: str
    done: int
    id: int


@dataclass(frozen=True)
class Tracker:
    """A tracker's row in the table."""

    serial: str
    name: str
    competition_id: str
    firmware: str
    imsi: str
    light: str | None
    colour: str | None
    enabled: bool
    tip: str
    tick: int | None = UNTICKED
    periods: tuple[Period, ...] = ()

    @classmethod
    def shown(cls, row: Row) -> Tracker:
        periods = tuple(Period(child.text, *child.data) for child in row.rows)
        serial, name, competition_id, firmware, imsi = row.texts
        return cls(serial, name, competition_id, firmware, imsi, row.light, row.colour,
                   row.enabled, row.tip, row.check, periods)


class Service:
    """The stand-in of the web service, with a database of its own."""

    def __init__(self, program: Path, port: int, ca_folder: Path, folder: Path,
                 clock: Clock) -> None:
        self.today = clock.today
        self.port = port
        self.database = folder / "sandbox.db"
        self.log = folder / "sandbox.log"
        self._program = program
        self._options = ["--port", str(port), "--database", str(self.database),
                         "--data-dir", str(ca_folder), "--today", self.today]
        self._environment = os.environ | clock.environment()
        self._start()

    def _start(self, *options: str) -> None:
        """A sandbox that was started anew goes on with the log and the database of the old one."""
        self._logged_before = self.log.stat().st_size if self.log.exists() else 0
        try:
            self._process = SandboxProcess(self._program, *self._options, *options,
                                           log_path=self.log, environment=self._environment)
        except SandboxLost as error:
            raise Failure(str(error)) from error

    def restart(self, *options: str) -> None:
        """Ends all sessions: they are kept in the process, what was booked is not."""
        self.close()
        self._start(*options)

    def log_text(self) -> str:
        return self._process.log()

    def log_of_this_start(self) -> str:
        return self.log_text()[self._logged_before:]

    def close(self) -> None:
        self._process.end()

    def login(self) -> tuple[str, str]:
        """The e-mail address and password that the sandbox names at its start."""
        return self._process.email, self._process.password

    def ask(self, path: str, **items: str) -> Any:
        """Posts a form to the service, as the client does, and returns its answer."""
        # Its certificate is right for its own clock, which is not this process's.
        context = ssl._create_unverified_context()
        try:
            with urlopen(f"https://localhost:{self.port}{path}", context=context, timeout=10,
                         data=urlencode(items).encode()) as reply:
                return json.load(reply)
        except OSError as error:
            raise Failure(f"The sandbox does not answer: {error}") from error

    # The database

    def query(self, sql: str, *values: Any) -> list[tuple[Any, ...]]:
        with closing(sqlite3.connect(f"{self.database.as_uri()}?mode=ro", uri=True)) as database:
            return database.execute(sql, values).fetchall()

    def groups(self) -> list[str]:
        """The groups as the combo box lists them."""
        return [f"{group} - {name}" for group, name
                in self.query("SELECT id, name FROM tracker_group ORDER BY id")]

    def balance(self) -> str:
        (cents,), = self.query("SELECT balance_cents FROM account")
        return f"{cents // 100}.{cents % 100:02} EUR"

    def books(self) -> list[tuple[Any, ...]]:
        """All that an operator can change, as it stands in the database."""
        return [*self.query("SELECT balance_cents FROM account"),
                *self.query("SELECT serial, first_day, last_day, cost_cents FROM activation"
                            " ORDER BY serial, first_day"),
                *self.query("SELECT serial, name, extended FROM tracker ORDER BY serial")]

    def periods(self, serial: str) -> tuple[Period, ...]:
        rows = self.query("SELECT first_day, last_day, id FROM activation WHERE serial = ?"
                          " ORDER BY first_day", serial)
        return tuple(Period(f"{first} -> {last}", int(first <= self.today), number)
                     for first, last, number in rows)

    def trackers(self, group: str) -> list[Tracker]:
        """The table of a group, given by its entry in the combo box."""
        number = int(group.split(" ")[0])
        rows = self.query("SELECT serial, tracker.name, compe_id, firmware, imsi, extended,"
                          " provisioned FROM tracker JOIN group_member USING (serial)"
                          " WHERE group_id = ? ORDER BY serial", number)
        return [self._tracker(number, *row) for row in rows]

    def _tracker(self, group: int, serial: str, name: str, competition_id: str, firmware: str,
                 imsi: str, extended: int, provisioned: int) -> Tracker:
        running = self.query("SELECT 1 FROM activation WHERE serial = ? AND first_day <= ?"
                             " AND last_day >= ?", serial, self.today, self.today)
        periods = self.periods(serial)
        if running and provisioned:
            light = "green"
        else:
            light = "red" if all(period.done for period in periods) else "yellow"
        others = self.query("SELECT group_id FROM group_member WHERE serial = ? AND group_id <> ?"
                            " ORDER BY group_id", serial, group)
        tip = "other groups:" + ",".join(str(other) for other, in others) if others else ""
        return Tracker(serial, name, competition_id, f"{firmware[:1]}.{firmware[1:]}", imsi, light,
                       EXTENDED_COLOUR if extended else None, bool(provisioned), tip,
                       periods=periods)


def compare(view: View, service: Service, group: str,
            ticked: frozenset[str] = frozenset()) -> None:
    """The window and the database must agree, row by row."""
    expect("the current group", view.widget("groupComboBox").text, group)
    expect("the balance", view.widget("accountBalance").text, service.balance())
    shown = [Tracker.shown(row) for row in view.table]
    booked = service.trackers(group)
    expect("the trackers' serial numbers and order", [tracker.serial for tracker in shown],
           [tracker.serial for tracker in booked])
    for seen, right in zip(shown, booked):
        right = replace(right, tick=TICKED if right.serial in ticked else UNTICKED)
        for column in fields(Tracker):
            expect(f"{column.name} of {right.serial}", getattr(seen, column.name),
                   getattr(right, column.name))
    expect("the number of trackers", view.widget("numberTrackers").text, f"({len(booked)})")


def expect(what: str, seen: Any, right: Any) -> None:
    if seen != right:
        raise Failure(f"{what}:\n    shown:    {seen!r}\n    expected: {right!r}")
