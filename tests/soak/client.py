"""The client's process, and the probe inside it, which carries out commands and answers them."""

from __future__ import annotations

import json
import os
import select
import socket
import subprocess
import time
from pathlib import Path
from typing import Any, Optional

START_TIME = 30.0  # seconds until a started client must answer
READER_TIME = 30.0  # seconds until the reader's bytes are read


class ClientLost(Exception):
    """It ended, or does not come to rest."""


def environment(folder: Path, host: str, ca: Path) -> dict[str, str]:
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
        "VELTRANO_TEST_HOST": host, "VELTRANO_TEST_CA": str(ca),
    }


class Client:
    """The running executable; with a reader, below the emulation of one."""

    def __init__(self, program: list[str], probe: Path, reader: Optional[Path], folder: Path,
                 variables: dict[str, str], patience: float) -> None:
        self.log = folder / "client.log"
        self.warnings: list[str] = []
        self._patience = patience
        self._socket_path = folder / "probe"
        self._has_reader = reader is not None
        # The emulation preloads a library of its own, and only into the client.
        command = ["sh", "-c", 'LD_PRELOAD=$LD_PRELOAD:$SOAK_PROBE exec "$0" "$@"', *program]
        if reader is not None:
            command.insert(0, str(reader))
        with open(self.log, "ab") as log:
            self._process = subprocess.Popen(
                command, env=variables | {"SOAK_PROBE": str(probe),
                                          "VELTRANO_PROBE": str(self._socket_path)},
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=log, bufsize=0)
        try:
            self._connection = self._connect()
        except BaseException:
            self.close()
            raise
        self._answers = self._connection.makefile("rb")

    def _connect(self) -> socket.socket:
        end = time.monotonic() + START_TIME * self._patience
        while True:
            connection = socket.socket(socket.AF_UNIX)
            connection.settimeout(30 * self._patience)
            try:
                connection.connect(str(self._socket_path))
                return connection
            except OSError:
                connection.close()
            if self._process.poll() is not None or time.monotonic() > end:
                raise ClientLost(f"The client did not start; see {self.log}.")
            time.sleep(0.02)

    def do(self, *words: object) -> dict[str, Any]:
        """Has the probe carry out a command; returns what it says once the program is at rest."""
        self._connection.sendall(("\t".join(str(word) for word in words) + "\n").encode())
        try:
            line = self._answers.readline()
        except OSError as error:
            raise ClientLost(f"The client does not come to rest after {words[0]}: {error}; "
                             f"see {self.log}.") from error
        if not line:
            raise ClientLost(f"The client ended in {words[0]}; see {self.log}.")
        report: dict[str, Any] = json.loads(line)
        return report

    def scan(self, code: str) -> None:
        assert self._process.stdin is not None and self._process.stdout is not None
        self._process.stdin.write(f"scan {code}\n".encode())
        ready, _, _ = select.select([self._process.stdout], [], [], READER_TIME * self._patience)
        answer = self._process.stdout.readline().decode().strip() if ready else "nothing"
        if answer != f"done scan {code}":
            raise ClientLost(f'The reader answers "{answer}" to the scan of {code}.')

    @property
    def has_reader(self) -> bool:
        return self._has_reader

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
        try:
            return self._process.wait(30 * self._patience)
        except subprocess.TimeoutExpired as error:
            raise ClientLost("The client still runs after its window was closed.") from error

    def close(self) -> None:
        if self._process.poll() is None:
            self._process.kill()
            self._process.wait()
