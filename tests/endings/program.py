"""The client's process: started in an environment that a case makes, worked by the hand in it."""

from __future__ import annotations

import json
import os
import re
import select
import socket
import subprocess
from collections.abc import Callable, Mapping, Sequence
from pathlib import Path
from typing import Any

from client import ClientLost, wait_until
from screen import Failure, Screen
from standin import EMAIL, PASSWORD

ANSWER_TIME = 20.0  # seconds until a client that is not hung has answered
END_TIME = 20.0     # seconds that an ending may take on a busy machine

CLIENT = Path(os.environ["ENDINGS_CLIENT"])
HAND = os.environ["ENDINGS_HAND"]
CLOCK = os.environ["ENDINGS_CLOCK"]
SANITIZER = os.environ["ENDINGS_SANITIZER"]  # its library, where the client is built with one

HARMLESS = (
    "info: ",
    "warning: This plugin does not support ",
    # A window that the window manager had just taken from under it.
    "warning: QXcbConnection: XCB error: 3 (BadWindow)",
)


class Place:
    """Folders of a client's own, and what it leaves in them."""

    def __init__(self, folder: Path) -> None:
        self.folder = folder
        self.home = folder / "home"
        self.config = folder / "config"
        self.settings = self.config / "Quillmora" / f"{CLIENT.name}.conf"
        for made in (self.home, self.config, folder / "runtime"):
            made.mkdir(mode=0o700)
        self.environment = {
            "PATH": os.environ.get("PATH", os.defpath), "LANG": "C.UTF-8", "TZ": "UTC",
            "HOME": str(self.home), "XDG_CONFIG_HOME": str(self.config),
            "XDG_DATA_HOME": str(folder / "data"), "XDG_CACHE_HOME": str(folder / "cache"),
            "XDG_RUNTIME_DIR": str(folder / "runtime"), "QT_QPA_PLATFORM": "offscreen",
            # Leaks are for the tests that hold all of the program in one process.
            "ASAN_OPTIONS": "detect_leaks=0:allocator_may_return_null=1",
        }

    def write_settings(self, text: str | bytes) -> None:
        self.settings.parent.mkdir(exist_ok=True)
        self.settings.write_bytes(text.encode() if isinstance(text, str) else text)

    def stored(self) -> str | None:
        return self.settings.read_text(encoding="utf-8") if self.settings.exists() else None

    def files(self) -> list[str]:
        """All that there is below the folder for settings: a lock or half a file would be, too."""
        return sorted(str(path.relative_to(self.config)) for path in self.config.rglob("*")
                      if not path.is_dir())


class Program:
    """Every action waits for what it needs and for what it brings about, none by the clock."""

    def __init__(self, place: Place, run: int, *, screen: Screen | None = None,
                 wrapper: Sequence[str] = (), environment: Mapping[str, str | None] | None = None,
                 preload: str = "", **options: Any) -> None:
        self.log_path = place.folder / f"client-{run}.log"
        self._socket_path = place.folder / f"hand-{run}"
        self._connection: socket.socket | None = None
        variables: dict[str, str | None] = place.environment | {
            "VELTRANO_HAND": str(self._socket_path),
            # Each line then says by itself whether it is a warning.
            "QT_MESSAGE_PATTERN": "%{type}: %{message}",
            # What is freed is overwritten: using it afterwards shows.
            "MALLOC_PERTURB_": "165",
        }
        if screen:
            variables |= {name: screen.environment[name] for name in (
                "DISPLAY", "XAUTHORITY", "FONTCONFIG_FILE")} | {"QT_QPA_PLATFORM": "xcb"}
        variables |= environment or {}
        libraries = ":".join(filter(None, (SANITIZER, HAND, preload)))
        # Only into the client: a wrapper is none of the hand's business.
        command = [*wrapper, "env", f"LD_PRELOAD={libraries}", str(CLIENT)]
        with open(self.log_path, "wb") as log:
            self.process = subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                env={name: value for name, value in variables.items() if value is not None},
                **{"stderr": log, **options})

    # Acting and looking

    def _connect(self) -> socket.socket:
        def connected() -> socket.socket | None:
            if self.process.poll() is not None:
                raise ClientLost(f"The client ended with code {self.process.returncode} instead "
                                 f"of starting: {self.end_of_log()}")
            connection = socket.socket(socket.AF_UNIX)
            connection.settimeout(ANSWER_TIME)
            try:
                connection.connect(str(self._socket_path))
            except OSError:
                connection.close()
                return None
            return connection

        connection: socket.socket = wait_until("the client starts", connected, ANSWER_TIME)
        return connection

    def do(self, *words: str | int) -> dict[str, Any]:
        """Has the hand do something once it has answered; returns what was shown before."""
        if self._connection is None:
            self._connection = self._connect()
        question = json.dumps([str(word) for word in words]) if words else ""
        try:
            self._connection.sendall(question.encode() + b"\n")
            with self._connection.makefile("rb") as answers:
                answer = answers.readline()
        except OSError as error:
            raise ClientLost(f"The client does not answer: {error}. {self.end_of_log()}") from error
        if not answer:
            raise ClientLost(f"The client is gone. {self.end_of_log()}")
        report: dict[str, Any] = json.loads(answer)
        return report

    def see(self) -> dict[str, Any]:
        return self.do()

    def wait(self, what: str, look: Callable[[dict[str, Any]], Any],
             seconds: float = ANSWER_TIME) -> Any:
        return wait_until(what, lambda: look(self.see()), seconds)

    def send_login(self, email: str = EMAIL) -> None:
        self.do("type", "userLineEdit", email)
        self.do("type", "passwordLineEdit", PASSWORD)
        self.do("click", "loginButton")

    def log_in(self, email: str = EMAIL) -> None:
        """Logs in and waits until the trackers of the first group are shown."""
        self.send_login(email)
        self.wait_for_table()

    def wait_for_table(self, group: str = "12 - Club A") -> dict[str, Any]:
        def shown(report: dict[str, Any]) -> dict[str, Any] | None:
            if report["open"]:
                raise Failure(f"There is a box: {report['open']}")
            main: dict[str, Any] = report["main"]
            return main if main["count"] == "(2)" and main["group"] == group else None

        main: dict[str, Any] = self.wait(f"the trackers of {group} are listed", shown)
        return main

    def wait_for_window(self, kind: str) -> dict[str, Any]:
        """The box, dialog, menu or list that opens."""
        def opened(report: dict[str, Any]) -> dict[str, Any] | None:
            return next((window for window in report["open"] if window["class"] == kind), None)

        window: dict[str, Any] = self.wait(f"a {kind} is open", opened)
        return window

    # Ending

    def end(self, seconds: float = END_TIME) -> int:
        """Waits for the end; the exit code, or minus the signal."""
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired as error:
            raise Failure(f"The client still runs {seconds:.0f} s after its end.") from error

    def kill(self) -> None:
        if self._connection is not None:
            self._connection.close()
            self._connection = None
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()

    def log(self) -> str:
        return self.log_path.read_text(encoding="utf-8", errors="replace")

    def end_of_log(self) -> str:
        return self.log()[-2000:]

    def complaints(self) -> list[str]:
        """The log's lines that are no traces of the program: warnings, and what libraries wrote."""
        return [line for line in self.log().splitlines() if not line.startswith(HARMLESS)]


def mounting() -> list[str] | None:
    """What starts a command with mounts of its own; nothing where that is not permitted."""
    for options in (["-m"], ["-r", "-m"]):
        tried = subprocess.run(["unshare", *options, "mount", "-t", "tmpfs", "tmpfs", "/tmp"],
                               stdin=subprocess.DEVNULL, capture_output=True, check=False)
        if tried.returncode == 0:
            return ["unshare", *options]
    return None
