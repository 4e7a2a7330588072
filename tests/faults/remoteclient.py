"""The client's process, worked and read from within by the library that it loads."""

from __future__ import annotations

import json
import os
import socket
import subprocess
import time
from collections.abc import Callable
from datetime import datetime, timezone
from pathlib import Path
from typing import Any, TypeVar

START_TIME = 30.0  # seconds until a started client must take orders
ANSWER_TIME = 60.0  # seconds until a client that is not hung has answered
PATIENCE = 30.0  # seconds within which everything else must show
LOOK_INTERVAL = 0.004
NOW = datetime(2026, 3, 11, 6, tzinfo=timezone.utc)  # the day of which the certificates are

Found = TypeVar("Found")


class Failure(Exception):
    """What should hold does not."""


class ClientLost(Failure):
    """The client ended, or no longer answers: waiting on is of no use."""


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


class Client:
    """A running executable."""

    def __init__(self, program: Path, remote: Path, address: str, folder: Path) -> None:
        folder.mkdir(parents=True)
        self.log = folder / "client.log"
        self.settings = folder / "config" / "Quillmora" / "veltrano.conf"
        self._socket_path = folder / "remote"
        self._connection: socket.socket | None = None
        self._answers: Any = None
        environment = {name: value for name, value in os.environ.items()
                       if not name.startswith(("QT_", "XDG_", "FAKETIME"))}
        environment |= {
            "LD_PRELOAD": str(remote), "VELTRANO_REMOTE": str(self._socket_path),
            "VELTRANO_ADDRESS": address, "VELTRANO_AHEAD": str(seconds_ahead(NOW)),
            "QT_QPA_PLATFORM": "offscreen",
            "QT_STYLE_OVERRIDE": "Fusion", "HOME": str(folder),
            "XDG_CONFIG_HOME": str(folder / "config"), "XDG_RUNTIME_DIR": str(folder),
        }
        with open(self.log, "wb") as log:
            self._process = subprocess.Popen([str(program)], env=environment, stderr=log,
                                             stdin=subprocess.DEVNULL, stdout=log)

    # Orders

    def see(self) -> View:
        return View(self._ask({"do": "see"}))

    def reset(self) -> View:
        """From here on what ended and the longest gap are counted anew."""
        return View(self._ask({"do": "reset"}))

    def names(self, mode: str) -> None:
        """Whether the service's name has an address: known, unknown or silent."""
        self._ask({"do": "names", "name": mode})

    def set_clock(self, moment: datetime) -> None:
        self._ask({"do": "clock", "ahead": seconds_ahead(moment)})

    def do(self, order: str, name: str = "", **items: Any) -> None:
        self._ask({"do": order, "name": name, **items})
        refused = self.see().report["refused"]
        if refused:
            raise Failure(f"{order}: {refused[-1]}")

    def wait(self, what: str, look: Callable[[View], Found], seconds: float = PATIENCE) -> Found:
        """Looks until there is something; a look that fails says why nothing was found."""
        end = time.monotonic() + seconds
        while True:
            reason = ""
            try:
                found = look(self.see())
                if found:
                    return found
            except ClientLost:
                raise
            except Failure as failure:
                reason = f" Last seen: {failure}"
            if time.monotonic() > end:
                raise Failure(f"not within {seconds:.0f} s: {what}.{reason}")
            time.sleep(LOOK_INTERVAL)

    def _ask(self, order: dict[str, Any]) -> dict[str, Any]:
        if self._connection is None:
            self._connection = self._connect()
            self._answers = self._connection.makefile("rb")
        try:
            self._connection.sendall(json.dumps(order).encode() + b"\n")
            line = self._answers.readline()
        except TimeoutError as error:
            raise ClientLost(f"the client hangs: no answer for {ANSWER_TIME:.0f} s") from error
        except OSError as error:
            raise ClientLost(f"the client is gone: {error}") from error
        if not line:
            raise ClientLost(f"the client is gone, with code {self._process.wait(10)}")
        answer: dict[str, Any] = json.loads(line)
        return answer

    def _connect(self) -> socket.socket:
        end = time.monotonic() + START_TIME
        while True:
            connection = socket.socket(socket.AF_UNIX)
            connection.settimeout(ANSWER_TIME)
            try:
                connection.connect(str(self._socket_path))
                return connection
            except OSError:
                connection.close()
            if self._process.poll() is not None:
                raise ClientLost(f"the client ended with code {self._process.returncode} instead "
                                 f"of starting")
            if time.monotonic() > end:
                raise ClientLost(f"the client did not start within {START_TIME:.0f} s")
            time.sleep(0.02)

    def quit(self) -> None:
        """As its operator ends it."""
        self._ask({"do": "close"})
        try:
            code = self._process.wait(PATIENCE)
        except subprocess.TimeoutExpired as error:
            raise ClientLost("the client still runs after its end") from error
        expect("the exit code", code, 0)

    def close(self) -> None:
        if self._connection is not None:
            self._answers.close()
            self._connection.close()
            self._connection = None
        if self._process.poll() is None:
            self._process.kill()
        self._process.wait()
