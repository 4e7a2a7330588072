"""The client's process: started in an environment that a case makes, worked by the hand in it."""

from __future__ import annotations

import json
import os
import subprocess
from collections.abc import Callable, Mapping, Sequence
from pathlib import Path
from typing import Any

from clientprocess import ClientProcess, Failure, Found, wait_until
from screen import Screen
from standin import EMAIL, PASSWORD

ANSWER_TIME = 20.0  # seconds until a client that is not hung has answered
END_TIME = 20.0     # seconds that an ending may take on a busy machine

CLIENT = Path(os.environ["ENDINGS_CLIENT"])
HAND = os.environ["ENDINGS_HAND"]
CLOCK = os.environ["ENDINGS_CLOCK"]
QT_VERSION = os.environ["ENDINGS_QT"]
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


class Program(ClientProcess):
    """Every action waits for what it needs and for what it brings about, none by the clock."""

    def __init__(self, place: Place, run: int, *, screen: Screen | None = None,
                 wrapper: Sequence[str] = (), environment: Mapping[str, str | None] | None = None,
                 preload: str = "", **options: Any) -> None:
        socket_path = place.folder / f"hand-{run}"
        variables: dict[str, str | None] = {
            **place.environment,
            "VELTRANO_HAND": str(socket_path),
            # Each line then says by itself whether it is a warning.
            "QT_MESSAGE_PATTERN": "%{type}: %{message}",
            # What is freed is overwritten: using it afterwards shows.
            "MALLOC_PERTURB_": "165",
        }
        if screen:
            variables["QT_QPA_PLATFORM"] = "xcb"
            for name in ("DISPLAY", "XAUTHORITY", "FONTCONFIG_FILE"):
                variables[name] = screen.environment[name]
        variables.update(environment or {})
        libraries = ":".join(filter(None, (SANITIZER, HAND, preload)))
        # Only into the client: a wrapper is none of the hand's business.
        command = [*wrapper, "env", f"LD_PRELOAD={libraries}", str(CLIENT)]
        super().__init__(
            command, {name: value for name, value in variables.items() if value is not None},
            place.folder / f"client-{run}.log", socket_path, start_time=ANSWER_TIME,
            answer_time=ANSWER_TIME, **{"stdout": subprocess.DEVNULL, **options})

    # Acting and looking

    def do(self, *words: str | int) -> dict[str, Any]:
        """Has the hand do something once it has answered; returns what was shown before."""
        return self.ask(json.dumps([str(word) for word in words]) if words else "")

    def see(self) -> dict[str, Any]:
        return self.do()

    def wait(self, what: str, look: Callable[[dict[str, Any]], Found | None],
             seconds: float = ANSWER_TIME) -> Found:
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

        return self.wait(f"the trackers of {group} are listed", shown)

    def wait_for_window(self, kind: str) -> dict[str, Any]:
        """The box, dialog, menu or list that opens."""
        def opened(report: dict[str, Any]) -> dict[str, Any] | None:
            return next((window for window in report["open"] if window["class"] == kind), None)

        return self.wait(f"a {kind} is open", opened)

    # Ending

    def end(self) -> int:
        return self.exit_code(END_TIME)

    def complaints(self) -> list[str]:
        """The log's lines that are no traces of the program: warnings, and what libraries wrote."""
        return [line for line in self.log_text().splitlines() if not line.startswith(HARMLESS)]


def mounting() -> list[str] | None:
    """What starts a command with mounts of its own; nothing where that is not permitted."""
    for options in (["-m"], ["-r", "-m"]):
        tried = subprocess.run(["unshare", *options, "mount", "-t", "tmpfs", "tmpfs", "/tmp"],
                               stdin=subprocess.DEVNULL, capture_output=True, check=False)
        if tried.returncode == 0:
            return ["unshare", *options]
    return None
