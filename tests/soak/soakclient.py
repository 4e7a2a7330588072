"""The client's process, and the probe inside it, which carries out commands and answers them."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path
from typing import Any, Optional

from clientprocess import PRELOADING, ClientProcess

ANSWER_TIME = 30.0  # seconds until a client that starts or works must answer


def environment(folder: Path, host: str, ca: str) -> dict[str, str]:
    """Nothing of the caller's own settings reaches the client."""
    runtime = folder / "runtime"
    runtime.mkdir(mode=0o700, exist_ok=True)
    return {
        "PATH": os.environ.get("PATH", os.defpath), "LANG": "C.UTF-8", "TZ": "UTC",
        "HOME": str(folder), "XDG_CONFIG_HOME": str(folder / "config"),
        "XDG_CACHE_HOME": str(folder / "cache"), "XDG_DATA_HOME": str(folder / "data"),
        "XDG_RUNTIME_DIR": str(runtime), "QT_QPA_PLATFORM": "offscreen",
        # The kind of each line: what the program logs itself is no more than information.
        "QT_MESSAGE_PATTERN": "%{type}: %{message}",
        "VELTRANO_TEST_HOST": host, "VELTRANO_TEST_CA": ca,
    }


class Client(ClientProcess):
    """The running executable; with a reader, below the emulation of one."""

    def __init__(self, program: list[str], probe: Path, reader: Optional[Path], folder: Path,
                 variables: dict[str, str], patience: float) -> None:
        self.warnings: list[str] = []
        self.has_reader = reader is not None
        self._time = ANSWER_TIME * patience
        socket_path = folder / "probe"
        super().__init__(
            [*([str(reader)] if reader else []), *PRELOADING, *program],
            variables | {"CLIENT_PRELOAD": str(probe), "VELTRANO_PROBE": str(socket_path)},
            folder / "client.log", socket_path, start_time=self._time, answer_time=self._time,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0)

    def do(self, *words: object) -> dict[str, Any]:
        """Has the probe carry out a command; returns what it says once the program is at rest."""
        return self.ask("\t".join(map(str, words)))

    def read_log(self) -> None:
        """Keeps the lines that are more than information and empties the log: in half an hour it
        would be half a gigabyte."""
        with open(self.log, "r+b") as log:
            for line in log:
                if not line.startswith((b"info: ", b"debug: ")):
                    self.warnings.append(line.decode("utf-8", "replace").rstrip())
            log.truncate(0)  # the client appends, wherever the end is

    def end(self) -> int:
        """Closes the window and waits for the exit code."""
        self.do("close")
        return self.exit_code(self._time)
