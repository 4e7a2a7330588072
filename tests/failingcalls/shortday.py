"""One start of the client in which one call fails: what it did, and how it ended."""

from __future__ import annotations

import argparse
import configparser
import json
import re
import shutil
import signal
import subprocess
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any, Optional

from sandbox import Sandbox
from soakclient import environment

TIME = 40.0  # seconds until a client that did not end hangs; a step that is late takes three
LIST_CALLS = -1
SETTINGS = Path("config") / "Quillmora" / "veltrano.conf"
USER_BEFORE = "before@quillmora.example"
CORRUPTION = re.compile(r"corrupt|double free|invalid pointer|invalid size|invalid next|"
                        r"stack smashing|terminated \*\*\*", re.I)
# Frames that say how a call was made, not who made it.
LIBC = re.compile(r"^(libc\.so|libc_malloc_debug|libstdc\+\+|libgcc_s|ld-linux|libm\.so|"
                  r"libfailing_calls|libpthread)")
CLIENT = "veltrano"
PROBE = "libsoak_probe.so"


@dataclass
class End:
    """How a start ended."""

    what: str
    culprit: str  # the first frame that is not the C or C++ library's
    findings: list[str] = field(default_factory=list)
    stack: list[str] = field(default_factory=list)
    steps: list[dict[str, Any]] = field(default_factory=list)

    def lines(self) -> list[str]:
        return [self.what, self.culprit, *self.findings, *map(str, self.steps), *self.stack]


class Day:
    """A short day's script, and the ways in which it may be played."""

    def __init__(self, options: argparse.Namespace, sandbox: Sandbox, folder: Path) -> None:
        self._options, self._sandbox, self._folder = options, sandbox, folder
        self._hang: list[str] = []
        self._script = "\n".join("\t".join(words) for words in [
            ["fill", "userLineEdit", sandbox.email],
            ["fill", "passwordLineEdit", sandbox.password],
            ["click", "loginButton"],
            ["tick", "0"], ["date", "250"], ["days", "2"],
            ["click", "activateButton", "Yes"],
            ["close"]])
        code, log, steps = self._run("none", 0, 0)
        self._right = [self._essence(step) for step in steps]
        if code != 0 or len(steps) != 8 or steps[6]["pending"] != steps[2]["pending"] + 1:
            raise RuntimeError(f"Where nothing fails the client ends with {code}: {log[-2000:]}")

    def callers(self, call: str) -> list[list[int]]:
        """The numbers of the function's calls where nothing fails, one list for each caller."""
        self._run(call, LIST_CALLS, 0)
        callers: dict[str, list[int]] = {}
        for number, caller in re.findall(r"^call (\d+) (\w+)$", self._report.read_text(), re.M):
            callers.setdefault(caller, []).append(int(number))
        return list(callers.values())

    def play(self, call: str, number: int, error: int) -> End:
        code, log, steps = self._run(call, number, error)
        callers = self._frames("refused")
        end = End("", first_of_note(callers), steps=steps, stack=callers)
        if code is None:
            end.stack = self._hang
            end.what = "hangs"
            end.culprit = first_of_note(end.stack)
            if call != "pthread_create" or end.culprit.startswith(CLIENT):
                end.findings.append("The client did not end.")
        elif code < 0:
            name = signal.Signals(-code).name
            why = re.findall(r"std::\w+|Qt has caught an exception|^fatal: .*", log, re.M)
            end.stack = self._frames("signal")
            end.what = f"{name} {' '.join(sorted(set(why)))}".strip()
            end.culprit = first_of_note(end.stack)
            self._judge_crash(end, name)
        elif code != 0:
            end.what = f"exit code {code}"
            end.findings.append(f"The client ended with the code {code}.")
        else:
            end.what = self._compare(steps)
        end.findings += [f"The heap is corrupt: {line}" for line in log.splitlines()
                         if CORRUPTION.search(line)]
        self._judge_settings(end, call)
        return end

    # A start

    @property
    def _report(self) -> Path:
        return self._folder / "report"

    def _variables(self, call: str, number: int, error: int) -> dict[str, str]:
        preloaded = [self._options.library, self._options.probe]
        if call != "alloc":
            # Before the other: both have a malloc, and this one takes none from the other's hands.
            preloaded.insert(0, self._options.malloc_debug)
        host = f"localhost:{self._sandbox.port}"
        return environment(self._home, host, self._sandbox.authority) | {
            "LD_PRELOAD": ":".join(map(str, preloaded)),
            "VELTRANO_PROBE_SCRIPT": self._script,
            "FAILING_CALL": call, "FAILING_CALL_NUMBER": str(number),
            "FAILING_CALL_ERROR": str(error), "FAILING_CALL_REPORT": str(self._report),
            "MALLOC_CHECK_": "3", "MALLOC_PERTURB_": "165",
        }

    @property
    def _home(self) -> Path:
        return self._folder / "home"

    def _lay_out(self) -> None:
        """As if nobody had ever logged in but one."""
        self._sandbox.set_back()
        self._report.unlink(missing_ok=True)
        for name in ("config", "data"):
            shutil.rmtree(self._home / name, ignore_errors=True)
        settings = self._home / SETTINGS
        settings.parent.mkdir(parents=True)
        settings.write_text(f"[General]\nlastuser={USER_BEFORE}\n", encoding="utf-8")

    def _run(self, call: str, number: int,
             error: int) -> tuple[Optional[int], str, list[dict[str, Any]]]:
        """The exit code, none of one that hangs, its log and what the probe saw."""
        self._lay_out()
        log = self._folder / "client.log"
        with open(log, "wb") as output:
            process = subprocess.Popen([str(self._options.client)], stdin=subprocess.DEVNULL,
                                       stdout=output, stderr=output,
                                       env=self._variables(call, number, error))
            try:
                code: Optional[int] = process.wait(TIME)
            except subprocess.TimeoutExpired:
                code = None
                self._hang = self._main_stack(process.pid)
                process.kill()
                process.wait()
        text = log.read_text(encoding="utf-8", errors="replace")
        steps = [json.loads(line) for line in re.findall(r"^PROBE (\{.*\})$", text, re.M)]
        return code, text, steps

    # What it means

    @staticmethod
    def _essence(step: dict[str, Any]) -> dict[str, Any]:
        return {name: value for name, value in step.items() if name != "ms"}

    def _compare(self, steps: list[dict[str, Any]]) -> str:
        seen = [self._essence(step) for step in steps]
        if seen == self._right:
            return "no difference"
        if any(step["outcome"] == "late" for step in seen):
            return "a command is never answered"
        return "a command does without its answer"

    def _frames(self, word: str) -> list[str]:
        """The stack that stands behind this word in the report."""
        report = self._report.read_text(errors="replace") if self._report.exists() else ""
        _, found, rest = report.rpartition(f"{word} ")
        lines = re.split(r"^(?:signal|counted) ", rest, flags=re.M)[0].splitlines()[1:]
        return [readable(line) for line in lines] if found else []

    def _user(self) -> Optional[str]:
        """Whom the settings name; none if they cannot be read."""
        parser = configparser.ConfigParser(interpolation=None)
        try:
            parser.read_string((self._home / SETTINGS).read_text(encoding="utf-8"))
        except (OSError, UnicodeError, configparser.Error):
            return None
        return parser.get("General", "lastuser", fallback="")

    def _judge_settings(self, end: End, call: str) -> None:
        user = self._user()
        # A file that takes no more bytes: the framework then puts an empty one in its place.
        if user == "" and call == "write":
            end.what = "the settings are empty"
        elif user not in (USER_BEFORE, self._sandbox.email):
            end.findings.append(f"The settings name the user {user}.")

    # Crashes and hangs

    def _main_stack(self, process: int) -> list[str]:
        """What the GUI thread waits for."""
        done = subprocess.run([str(self._options.debugger), "-batch", "-nx", "-p", str(process),
                               "-ex", "thread 1", "-ex", "bt"],
                              text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, timeout=2 * TIME, check=False)
        frames = [line for line in done.stdout.splitlines() if re.match(r"#\d+ ", line)]
        # What comes before is where the debugger stood first.
        starts = [index for index, frame in enumerate(frames) if frame.startswith("#0 ")]
        return [debugged(frame) for frame in frames[starts[-1]:]] if starts else []

    @staticmethod
    def _judge_crash(end: End, name: str) -> None:
        """The framework may give up; nobody may go on with what is not there."""
        if not end.stack:
            end.findings.append(f"{name} without a stack.")
        elif name != "SIGABRT" and end.culprit.startswith((CLIENT, PROBE)):
            end.findings.append(f"{name} in the client's own code.")


def readable(line: str) -> str:
    """A line of the C library's backtrace: the library and the function."""
    found = re.match(r"(?:.*/)?([^/(]+)\(([^+)]*)", line)
    if not found:
        return line
    library, function = found.groups()
    return f"{library}: {demangled(function) or '?'}"


def debugged(frame: str) -> str:
    """A line of the debugger's: the same of it."""
    found = re.match(r"#\d+ +(?:0x\w+ in )?(.*?) \(.*?(?: (from|at) (\S+))?$", frame)
    if not found:
        return frame
    function, kind, place = found.groups()
    if kind == "from":
        return f"{place.rpartition('/')[2]}: {function}"
    # With line numbers: of the client, or of the C library, whose sources are named relative.
    return f"{'libc.so.6' if (place or '').startswith(('./', '../')) else CLIENT}: {function}"


def demangled(function: str) -> str:
    if not function.startswith("_Z"):
        return function
    return subprocess.run(["c++filt", function], text=True, stdout=subprocess.PIPE,
                          check=False).stdout.strip()


def first_of_note(stack: list[str]) -> str:
    """The first frame that is not the C or C++ library's; its function, where that is exported."""
    return next((frame for frame in stack if not LIBC.match(frame)), "")
