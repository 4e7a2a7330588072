"""What an operator does all day, in an order that comes from a seed."""

from __future__ import annotations

import random
from dataclasses import dataclass
from typing import Any, Callable

from clientprocess import ClientLost
from proxy import Proxy
from sandbox import Sandbox, label
from soakclient import Client

LATEST_START = 300  # days from today


@dataclass(frozen=True)
class Done:
    """A command that was carried out."""

    kind: str
    milliseconds: float
    spoiled: bool  # by a fault of the network's


class Mix:
    """Every command is a click or a key and all that follows, up to the finished table."""

    def __init__(self, client: Client, sandbox: Sandbox, proxy: Proxy, seed: int) -> None:
        self._client, self._sandbox, self._proxy = client, sandbox, proxy
        self._random = random.Random(seed)
        self._serials = sandbox.serials()
        self._state: dict[str, Any] = client.do("state")
        self.done: list[Done] = []
        self.boxes = 0
        self._commands: dict[Callable[[], None], int] = {
            self._refresh: 18, self._change_group: 22, self._tick: 8, self._select: 4,
            self._activate: 16, self._change_profile: 9, self._remove: 12, self._details: 6,
            self._new_session: 2,
        }
        if client.has_reader:
            self._commands[self._scan] = 3

    def next(self) -> None:
        """Carries out one command, and what it needs before it."""
        if not self._state["logged_in"]:
            self._log_in()
        elif not self._state["groups"] or not self._state["rows"]:
            self._refresh()  # what a spoiled reply left empty
        else:
            commands, weights = zip(*self._commands.items())
            self._random.choices(commands, weights)[0]()

    def settle(self) -> None:
        """The same table as at every other moment of counting: first group, first bookings."""
        self._proxy.calm = True
        if not self._state["logged_in"]:
            self._log_in()
        self._sandbox.set_back()
        self._do("refresh", "click", "buttonRefresh")
        self._proxy.calm = False
        if not self._state["rows"]:
            raise ClientLost(f"No table after a refresh: {self._state}.")

    def _do(self, kind: str, *words: object) -> None:
        faults = self._proxy.spoiled()
        self._state = self._client.do(*words)
        self.boxes += len(self._state["boxes"])
        if self._state["outcome"] == "done":
            self.done.append(Done(kind, self._state["ms"],
                                  self._proxy.spoiled() != faults))

    def _log_in(self) -> None:
        self._client.do("fill", "userLineEdit", self._sandbox.email)
        self._client.do("fill", "passwordLineEdit", self._sandbox.password)
        self._do("login", "click", "loginButton")

    def _row(self) -> int:
        return self._random.randrange(self._state["rows"])

    def _refresh(self) -> None:
        self._do("refresh", "click", "buttonRefresh")

    def _change_group(self) -> None:
        self._do("group", "choose", self._random.randrange(self._state["groups"]))

    def _tick(self) -> None:
        self._do("tick", "tick", self._row())

    def _select(self) -> None:
        self._do("select", "click", self._random.choice(["Select All", "Select none"]))

    def _answer(self) -> str:
        return "No" if self._random.random() < 0.1 else "Yes"

    def _activate(self) -> None:
        self._tick()
        self._client.do("date", self._random.randrange(LATEST_START))
        self._client.do("days", self._random.choice([2, 3, 7]))
        self._do("activation", "click", "activateButton", self._answer())

    def _change_profile(self) -> None:
        self._tick()
        self._do("profile", "click", self._random.choice(["normalProfile", "extendProfile"]),
                 self._answer())

    def _remove(self) -> None:
        self._do("removal", "remove", self._random.randrange(1000))

    def _details(self) -> None:
        name = f"Renamed {self._random.randrange(10**6):06}"
        self._do("details", "details", self._row(), self._random.choice(["", name]))

    def _new_session(self) -> None:
        self._do("logout", "click", "loginButton")
        self._log_in()

    def _scan(self) -> None:
        group = int(self._state["group"].partition(" ")[0])
        serial = self._random.choice(self._serials[group])
        self._client.tell_reader(f"scan {label(serial)}")
        self._do("scan", "state")
        if self._state["current"] != serial:
            raise ClientLost(f"{serial} was scanned, and {self._state['current']} is current.")
