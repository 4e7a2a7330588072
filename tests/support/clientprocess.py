"""The client's process and the library inside it that works it, and waiting for what must come."""

from __future__ import annotations

import json
import select
import socket
import subprocess
import time
from collections.abc import Callable, Mapping, Sequence
from pathlib import Path
from typing import Any, TypeVar

# Starts a command with further libraries: the emulation of a reader preloads one of its own, and
# both are for the client alone.
PRELOADING = ("sh", "-c", 'LD_PRELOAD=$LD_PRELOAD:$CLIENT_PRELOAD exec "$0" "$@"')

Found = TypeVar("Found")


class Failure(Exception):
    """What should hold does not."""


class ClientLost(Failure):
    """The client ended, or no longer answers: waiting on is of no use."""


def wait_until(what: str, look: Callable[[], Found | None], seconds: float = 10.0,
               interval: float = 0.02) -> Found:
    """Looks until there is something; a look that fails says why nothing was found."""
    end = time.monotonic() + seconds
    while True:
        reason = ""
        try:
            found = look()
            if found:
                return found
        except ClientLost:
            raise
        except Failure as failure:
            reason = f" Last seen: {failure}"
        if time.monotonic() > end:
            raise Failure(f"Not within {seconds:.0f} s: {what}.{reason}")
        time.sleep(interval)


class ClientProcess:
    """A running executable. The library listens on a socket: a line asks, and a line answers."""

    def __init__(self, command: Sequence[str], environment: Mapping[str, str], log: Path,
                 socket_path: Path, *, start_time: float, answer_time: float,
                 **options: Any) -> None:
        self.log = log
        self._socket_path = socket_path
        self._start_time, self._answer_time = start_time, answer_time
        self._connection: socket.socket | None = None
        self._answers: Any = None
        with open(log, "ab") as output:
            streams: dict[str, Any] = {
                "stdin": subprocess.DEVNULL, "stdout": output, "stderr": output}
            self.process: subprocess.Popen[bytes] = subprocess.Popen(
                command, env=environment, **streams | options)

    def ask(self, question: str) -> dict[str, Any]:
        if self._connection is None:
            try:
                self._connection = wait_until("the client starts", self._connect, self._start_time)
            except Failure as failure:
                raise ClientLost(f"{failure} {self.end_of_log()}") from failure
            self._answers = self._connection.makefile("rb")
        try:
            self._connection.sendall(question.encode() + b"\n")
            line = self._answers.readline()
        except TimeoutError as error:
            raise ClientLost(f"The client hangs: no answer to {question!r:.100} for "
                             f"{self._answer_time:.0f} s. {self.end_of_log()}") from error
        except OSError as error:
            raise ClientLost(f"The client is gone: {error}. {self.end_of_log()}") from error
        if not line:
            raise ClientLost(f"The client is gone. {self.end_of_log()}")
        return json.loads(line)

    def _connect(self) -> socket.socket | None:
        if not self.running:
            raise ClientLost(f"The client ended with code {self.process.returncode} instead of "
                             "starting.")
        connection = socket.socket(socket.AF_UNIX)
        connection.settimeout(self._answer_time)
        try:
            connection.connect(str(self._socket_path))
        except OSError:
            connection.close()
            return None
        return connection

    def tell_reader(self, command: str) -> None:
        """To the emulation below which the client runs: "scan 96385074", "unplug", "plug"."""
        assert self.process.stdin is not None and self.process.stdout is not None
        self.process.stdin.write(f"{command}\n".encode())
        ready, _, _ = select.select([self.process.stdout], [], [], self._answer_time)
        answer = self.process.stdout.readline().decode().strip() if ready else "nothing"
        if answer != f"done {command}":
            raise Failure(f'The reader answers "{answer}" to "{command}".')

    @property
    def running(self) -> bool:
        return self.process.poll() is None

    def log_text(self) -> str:
        return self.log.read_text(encoding="utf-8", errors="replace")

    def end_of_log(self) -> str:
        return self.log_text()[-2000:]

    def exit_code(self, seconds: float = 10.0) -> int:
        """Waits for the end; minus the signal where one ended it."""
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired as error:
            raise ClientLost(f"The client still runs {seconds:.0f} s after its end.") from error

    def close(self) -> None:
        if self._connection is not None:
            self._answers.close()
            self._connection.close()
            self._connection = None
        if self.running:
            self.process.kill()
        self.process.wait()
