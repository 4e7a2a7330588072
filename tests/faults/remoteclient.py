"""The client's process, worked and read from within by the library that it loads."""

from __future__ import annotations

import json
import os
import time
from collections.abc import Callable
from datetime import datetime, timezone
from pathlib import Path
from typing import Any

from clientprocess import ClientProcess, Failure, Found, wait_until

START_TIME = 30.0  # seconds until a started client must take orders
ANSWER_TIME = 60.0  # seconds until a client that is not hung has answered
PATIENCE = 30.0  # seconds within which everything else must show
LOOK_INTERVAL = 0.004
NOW = datetime(2026, 3, 11, 6, tzinfo=timezone.utc)  # the day of which the certificates are


def seconds_ahead(moment: datetime) -> int:
    """How far a clock on which it is that moment is ahead of this machine's."""
    return int(moment.timestamp() - time.time())


def expect(what: str, seen: Any, right: Any) -> None:
    if seen != right:
        raise Failure(f"{what}: {seen!r:.300}, not {right!r:.300}")


class View:
    """What the client shows at one moment."""

    def __init__(self, report: dict[str, Any]) -> None:
        self.report = report
        self.widgets: dict[str, dict[str, Any]] = report["widgets"]
        self.windows: list[dict[str, Any]] = report["windows"]
        self.columns: list[str] = report["table"]["columns"]
        self.rows: list[dict[str, Any]] = report["table"]["rows"]
        self.running: list[str] = report["running"]
        self.ended: list[dict[str, Any]] = report["ended"]
        self.gap: float = report["gap"]

    def __getitem__(self, name: str) -> dict[str, Any]:
        return self.widgets[name]

    @property
    def logged_in(self) -> bool:
        return bool(self["loginButton"]["text"] == "Logout")

    @property
    def bar(self) -> bool:
        return bool(self["progressBar"]["visible"])

    def window(self, kind: str) -> dict[str, Any] | None:
        """The one window beside the main one, if it is of this kind."""
        return self.windows[0] if [window["class"] for window in self.windows] == [kind] else None


class Client(ClientProcess):
    """A running executable."""

    def __init__(self, program: Path, remote: Path, address: str, folder: Path) -> None:
        folder.mkdir(parents=True)
        self.settings = folder / "config" / "Quillmora" / "veltrano.conf"
        socket_path = folder / "remote"
        environment = {name: value for name, value in os.environ.items()
                       if not name.startswith(("QT_", "XDG_", "FAKETIME"))}
        environment |= {
            "LD_PRELOAD": str(remote), "VELTRANO_REMOTE": str(socket_path),
            "VELTRANO_ADDRESS": address, "VELTRANO_AHEAD": str(seconds_ahead(NOW)),
            "QT_QPA_PLATFORM": "offscreen",
            "QT_STYLE_OVERRIDE": "Fusion", "HOME": str(folder),
            "XDG_CONFIG_HOME": str(folder / "config"), "XDG_RUNTIME_DIR": str(folder),
        }
        super().__init__([str(program)], environment, folder / "client.log", socket_path,
                         start_time=START_TIME, answer_time=ANSWER_TIME)

    # Orders

    def see(self) -> View:
        return View(self._order({"do": "see"}))

    def reset(self) -> View:
        """From here on what ended and the longest gap are counted anew."""
        return View(self._order({"do": "reset"}))

    def names(self, mode: str) -> None:
        """Whether the service's name has an address: known, unknown or silent."""
        self._order({"do": "names", "name": mode})

    def set_clock(self, moment: datetime) -> None:
        self._order({"do": "clock", "ahead": seconds_ahead(moment)})

    def do(self, order: str, name: str = "", **items: Any) -> None:
        self._order({"do": order, "name": name, **items})
        refused = self.see().report["refused"]
        if refused:
            raise Failure(f"{order}: {refused[-1]}")

    def wait(self, what: str, look: Callable[[View], Found | None],
             seconds: float = PATIENCE) -> Found:
        return wait_until(what, lambda: look(self.see()), seconds, LOOK_INTERVAL)

    def _order(self, order: dict[str, Any]) -> dict[str, Any]:
        return self.ask(json.dumps(order))

    def quit(self) -> None:
        """As its operator ends it."""
        self._order({"do": "close"})
        expect("the exit code", self.exit_code(PATIENCE), 0)
