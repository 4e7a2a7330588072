"""The sandbox's process, from its start to its end; the tests in other folders start it so, too."""

from __future__ import annotations

import signal
import subprocess
import threading
import time
from collections.abc import Mapping
from pathlib import Path

START_TIME = 30.0  # seconds; the first start makes the keys
END_TIME = 20.0  # seconds


class SandboxLost(AssertionError):
    """It did not start, or did not end."""


class SandboxProcess:
    """Listens once it is made. What it says at its start is in "lines", what it logs in a file."""

    def __init__(self, program: str | Path, *options: str, log_path: str | Path,
                 environment: Mapping[str, str] | None = None) -> None:
        self.log_path = str(log_path)
        with open(self.log_path, "ab") as log:
            self.process = subprocess.Popen(
                [str(program), *options], env=environment, stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE, stderr=log, text=True)
        try:
            self.lines = self._read_start()
        except BaseException:
            self.end(signal.SIGKILL)
            raise
        self.port = int(self.lines[-1].rpartition(":")[2])
        self.authority = self.line("CA certificate: ")
        self.email, _, self.password = self.line("log in as: ").partition(" with password: ")

    def _read_start(self) -> list[str]:
        assert self.process.stdout is not None
        lines: list[str] = []
        limit = threading.Timer(START_TIME, self.process.kill)
        limit.start()
        try:
            for line in self.process.stdout:
                lines.append(line.rstrip("\n"))
                if line.startswith("listening on "):
                    return lines
        finally:
            limit.cancel()
        raise SandboxLost("The sandbox did not start: " + self.log().strip())

    def line(self, prefix: str) -> str:
        found = [line[len(prefix):] for line in self.lines if line.startswith(prefix)]
        assert len(found) == 1, (prefix, self.lines)
        return found[0]

    def log(self) -> str:
        return Path(self.log_path).read_text(encoding="utf-8")

    def end(self, number: int = signal.SIGTERM) -> tuple[int, float]:
        """Stops it and returns its exit code and how many seconds that took."""
        start = time.monotonic()
        if self.process.poll() is None:
            self.process.send_signal(number)
        try:
            code = self.process.wait(END_TIME)
        except subprocess.TimeoutExpired as error:
            self.process.kill()
            self.process.wait()
            raise SandboxLost(f"The sandbox did not end within {END_TIME:.0f} s.") from error
        finally:
            assert self.process.stdout is not None
            self.process.stdout.close()
        return code, time.monotonic() - start
