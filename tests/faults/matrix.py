#!/usr/bin/env python3
"""The fault matrix: every fault of faults.py befalls the commands of the real client.

Each cell brings the client to a command, lets the fault befall the command's request, and then
checks what must hold: docs/faults.md says what that is, and has a figure for every cell."""

from __future__ import annotations

import argparse
import multiprocessing
import os
import queue
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import traceback
from collections.abc import Iterator
from contextlib import ExitStack
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import commands
import document
from clientprocess import Failure
from commands import COMMANDS, PASSWORD, Command, Desk, Shown
from document import LONG_GAP
from faults import ALWAYS, FAULTS, Fault, World
from faultserver import Place, Server
from qtversions import is_qt6
from remoteclient import NOW, Client, expect

PLAYED_AGAIN = 3  # times, a cell with a long gap
STRANGE_COOKIES = ("foreign", "expired", "malformed")


@dataclass(frozen=True)
class Cell:
    """A fault that befalls a command, by their places in their tables."""

    fault: int
    command: int

    @property
    def title(self) -> str:
        fault = FAULTS[self.fault]
        return f"{fault.section}, {fault.name}: {COMMANDS[self.command].kind}"


@dataclass(frozen=True)
class Result:
    """What came of a cell: the event loop's longest gap in ms, or what did not hold."""

    cell: Cell
    gap: float
    deviation: str
    seconds: float


def slice_of_cells() -> Iterator[Cell]:
    """Every fault at least once, the commands in turn; some faults befall all of them."""
    for number, fault in enumerate(FAULTS):
        if fault.name in ALWAYS:
            yield from (Cell(number, command) for command in range(len(COMMANDS)))
        else:
            kind = fault.quickest or commands.KINDS[number % len(COMMANDS)]
            yield Cell(number, commands.KINDS.index(kind))


def all_cells() -> Iterator[Cell]:
    for number in range(len(FAULTS)):
        yield from (Cell(number, command) for command in range(len(COMMANDS)))


class Player:
    """Plays cells on one client after the other, with a service at an address of its own."""

    def __init__(self, options: argparse.Namespace, folder: Path, number: int) -> None:
        self._options = options
        self._folder = folder / str(number)
        self._address = f"127.0.7.{number + 1}"
        self._certificates = {
            "server": (options.ca_folder / "server.pem", options.ca_folder / "server.key"),
            **{name: (folder / f"{name}.pem", folder / f"{name}.key")
               for name in ("other", "stranger")}}
        self._server = Server(self._address, options.port, *self._certificates["server"])
        self._starts = 0
        self._client: Client | None = None

    def finish(self) -> None:
        """After all that has befallen it the client ends as ever."""
        if self._client is not None:
            self._client.quit()

    def close(self) -> None:
        if self._client is not None:
            self._client.close()
            self._client = None
        self._server.close()

    def play(self, cell: Cell) -> Result:
        start = time.monotonic()
        gap, deviation = 0.0, ""
        try:
            gap = self._shortest_gap(FAULTS[cell.fault].of(self._options.qt),
                                     COMMANDS[cell.command])
        except (Failure, TimeoutError) as failure:
            deviation = str(failure)
            self._keep_evidence(cell)
            self._begin_anew()
        return Result(cell, gap, deviation, time.monotonic() - start)

    def _shortest_gap(self, fault: Fault, command: Command) -> float:
        """A machine's own hiccup does not come again and again; what the fault does, does."""
        gaps: list[float] = []
        while len(gaps) < PLAYED_AGAIN and (not gaps or min(gaps) > LONG_GAP):
            gaps.append(Round(World(self._desk(), self._certificates), fault, command).play())
            expect("errors of the server", self._server.errors, [])
            if fault.spoils:
                self._begin_anew()
                break
        if min(gaps) > fault.freeze:
            raise Failure(f"the event loop stood still for {min(gaps):.0f} ms")
        return min(gaps)

    def _desk(self) -> Desk:
        if self._client is None:
            self._starts += 1
            self._client = Client(self._options.client, self._options.remote, self._address,
                                  self._folder / str(self._starts))
            desk = Desk(self._client, self._server)
            commands.every_command(desk)
        return Desk(self._client, self._server)

    def _begin_anew(self) -> None:
        if self._client is not None:
            self._client.close()
            self._client = None
        self._server.close()
        self._server = Server(self._address, self._options.port, *self._certificates["server"])

    def _keep_evidence(self, cell: Cell) -> None:
        kept = self._options.evidence / f"{cell.fault}-{cell.command}"
        kept.mkdir(parents=True, exist_ok=True)
        assert self._client is not None
        try:
            (kept / "seen.txt").write_text(repr(self._client.see().report), encoding="utf-8")
        except Failure as failure:
            (kept / "seen.txt").write_text(f"{failure}\n", encoding="utf-8")
        shutil.copy(self._client.log, kept)


class Round:
    """One cell."""

    def __init__(self, world: World, fault: Fault, command: Command) -> None:
        self._world = world
        self._fault = fault
        self._command = command
        self._desk = world.desk
        self._client = world.desk.client
        self._server = world.desk.server
        self._rounds = 1  # how often the command is carried out behind its fault

    def play(self) -> float:
        """The event loop's longest gap, in ms, from the command to the end of what it shows."""
        desk, server, client = self._desk, self._server, self._client
        desk.table = server.table
        self._command.prepare(desk)
        before = server.arrivals()
        with ExitStack() as stack:
            begun = self._arm(stack)
            client.reset()
            self._command.send(desk)
            shown = self._fault.shown(self._command.is_post)
            if shown is Shown.HELD:
                client.wait("the request is held", lambda view: begun() or server.held > 0)
            self._command.check(desk, shown,
                                Shown.EMPTY if self._fault.everything else Shown.GOOD)
            gap = client.see().gap
            self._check_arrivals(before)
            self._check_elsewhere()
        server.disarm()
        if shown is Shown.HELD:
            gap = max(gap, self._go_on())
        else:
            self._look_again()
            commands.every_command(desk)
        self._check_posts(before)
        self._check_secrets()
        return gap

    def _arm(self, stack: ExitStack) -> Any:
        fault = self._fault
        if fault.place in (Place.NETWORK, Place.ACCEPTED, Place.ENCRYPTED):
            self._server.drop_idle()
        if fault.place is Place.NETWORK:
            return stack.enter_context(fault.perform(self._world))
        self._server.arm(fault.place, fault.perform, None if fault.everything
                         else self._command.kind)
        return lambda: False

    def _check_arrivals(self, before: Any) -> None:
        came = self._server.arrivals() - before
        kind, right = self._command.kind, self._fault.times(self._command.is_post)
        if came[kind] not in right:
            raise Failure(f"{kind} came {came[kind]} times, not {right[0]} to {right[-1]}")
        expect("requests that nobody should send",
               sorted(set(came) - set(commands.KINDS)), [])

    def _check_elsewhere(self) -> None:
        expect("connections to where nobody should go", self._server.strays(), 0)
        expect("credentials that nobody has", self._server.credentials(), [])
        expect("names that nobody should ask for", self._client.see().report["other_names"], [])

    def _look_again(self) -> None:
        """After a refresh, or a login with what was kept, the window shows what the service has."""
        self._client.reset()
        if not self._client.see().logged_in:
            self._rounds += 1
            self._client.do("click", "loginButton")
        else:
            self._client.do("click", "buttonRefresh")
        self._client.wait("the trackers have come", commands.Trackers().has_ended)
        commands.check_loaded(self._desk)

    def _go_on(self) -> float:
        """The operator works on while the request is held; then the server lets go."""
        if self._fault.resumes:
            # The framework ties a request to a connection only when that is made.
            self._client.do("click", "buttonRefresh")
            gap = self._see_late_reply()
            commands.every_command(self._desk)
            self._server.release()
            return gap
        self._desk.held = (self._command.path,)
        commands.every_command(self._desk)
        self._desk.held = ()
        self._client.reset()
        self._server.release()
        return self._see_late_reply()

    def _see_late_reply(self) -> float:
        client, command = self._client, self._command
        client.wait(f"{command.path} has ended at last", command.has_ended)
        command.clear_up(self._desk, self._fault.later(command.is_post))
        client.wait("nothing is under way", lambda view: not view.running)
        gap = client.see().gap
        self._look_again()
        return gap

    def _check_posts(self, before: Any) -> None:
        """None is sent again later, either."""
        if self._command.is_post:
            own = 1 if self._fault.resumes else self._fault.posts
            came = self._server.arrivals() - before
            expect(f"how often {self._command.kind} came in all", came[self._command.kind],
                   own + self._rounds)

    def _check_secrets(self) -> None:
        for file in (self._client.log, self._client.settings):
            text = file.read_text(encoding="utf-8", errors="replace")
            for secret in (PASSWORD, PASSWORD.replace(" ", "%20"), PASSWORD.replace(" ", "+")):
                expect(f"the password in {file.name}", secret in text, False)
        for kind, sent in self._server.cookies().items():
            for strange in STRANGE_COOKIES:
                expect(f"the cookie {strange} with {kind}", strange in sent, False)


# Many players

def work(options: argparse.Namespace, folder: Path, number: int, cells: Any, results: Any) -> None:
    """Plays cells until there are no more."""
    player = Player(options, folder, number)
    try:
        while True:
            cell = cells.get()
            if cell is None:
                player.finish()
                return
            results.put(player.play(cell))
    except BaseException:
        results.put(f"Player {number} could not go on:\n{traceback.format_exc()}")
        raise
    finally:
        player.close()


def play(options: argparse.Namespace, folder: Path, wanted: list[Cell]) -> list[Result]:
    cells: Any = multiprocessing.Queue()
    results: Any = multiprocessing.Queue()
    for cell in wanted:
        cells.put(cell)
    players = []
    for number in range(options.jobs):
        cells.put(None)
        players.append(multiprocessing.Process(target=work, args=(options, folder, number, cells,
                                                                  results)))
        players[-1].start()
    came: list[Result] = []
    try:
        while len(came) < len(wanted):
            try:
                result = results.get(timeout=1)
            except queue.Empty:
                if not any(player.is_alive() for player in players):
                    raise Failure("the players ended before all was played") from None
                continue
            if isinstance(result, str):
                raise Failure(result)
            came.append(result)
            show(result, options.verbose)
    finally:
        for player in players:
            if len(came) < len(wanted):
                player.terminate()
            player.join()
    if any(player.exitcode for player in players):
        raise Failure(results.get(timeout=1))
    return sorted(came, key=lambda result: (result.cell.fault, result.cell.command))


def show(result: Result, verbose: bool) -> None:
    if result.deviation:
        print(f"DEVIATION  {result.cell.title}: {result.deviation}", flush=True)
    elif verbose:
        print(f"{result.gap:6.0f} ms  {result.seconds:5.2f} s  {result.cell.title}", flush=True)


def write(options: argparse.Namespace, results: list[Result]) -> None:
    """The document, in place of the older one."""
    of_cell = {(result.cell.fault, result.cell.command): document.figure(result.gap,
                                                                         result.deviation)
               for result in results}
    played = document.played(options.jobs, options.qt)
    options.write.write_text(document.write(lambda fault, command: of_cell[fault, command], played),
                             encoding="utf-8")


def make_certificates(ca_folder: Path, clock: Path, folder: Path) -> None:
    """Another one of the CA that the client trusts, and one of a CA that nobody trusts."""
    def openssl(*arguments: str | Path) -> None:
        # On the day on which the client's clock stands.
        day = {"LD_PRELOAD": str(clock), "FAKETIME": f"@{NOW:%Y-%m-%d %H:%M:%S}", "TZ": "UTC"}
        subprocess.run(["openssl", *map(str, arguments)], check=True, env=os.environ | day,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)

    key = ("-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes")
    openssl("req", "-x509", *key, "-days", "300", "-subj", "/CN=A CA that nobody trusts",
            "-keyout", folder / "strange-ca.key", "-out", folder / "strange-ca.pem")
    extensions = folder / "extensions"
    extensions.write_text("subjectAltName=DNS:localhost\nextendedKeyUsage=serverAuth\n",
                          encoding="ascii")
    for name, ca, ca_key in (
            ("other", ca_folder / "ca.pem", ca_folder / "ca.key"),
            ("stranger", folder / "strange-ca.pem", folder / "strange-ca.key")):
        openssl("req", "-new", *key, "-subj", "/CN=localhost",
                "-keyout", folder / f"{name}.key", "-out", folder / f"{name}.csr")
        openssl("x509", "-req", "-days", "300", "-in", folder / f"{name}.csr", "-CA", ca,
                "-CAkey", ca_key, "-set_serial", "4711", "-extfile", extensions,
                "-out", folder / f"{name}.pem")


def read_options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--client", type=Path, required=True, help="the client's executable")
    parser.add_argument("--remote", type=Path, required=True, help="the library that works it")
    parser.add_argument("--clock", type=Path, required=True,
                        help="the library that sets a process's clock")
    parser.add_argument("--ca-folder", type=Path, required=True,
                        help="where the CA is that the client trusts")
    parser.add_argument("--port", type=int, required=True, help="the port that the client asks")
    parser.add_argument("--qt", required=True, help="the framework's version")
    parser.add_argument("--evidence", type=Path, required=True,
                        help="where is kept what helps to understand a deviation")
    parser.add_argument("--jobs", type=int, default=2, help="how many clients play at a time")
    parser.add_argument("--whole", action="store_true", help="every fault befalls every command")
    parser.add_argument("--write", type=Path, help="the document to write; implies --whole")
    parser.add_argument("--only", default="", help="only the faults whose names have this text")
    parser.add_argument("--command", choices=commands.KINDS, help="only this command")
    parser.add_argument("--verbose", action="store_true", help="a line for every cell")
    return parser.parse_args()


def choose(options: argparse.Namespace) -> list[Cell]:
    cells = all_cells() if options.whole or options.write or options.only else slice_of_cells()
    return [cell for cell in cells
            if options.only in f"{FAULTS[cell.fault].section}, {FAULTS[cell.fault].name}"
            and options.command in (None, COMMANDS[cell.command].kind)]


def main() -> int:
    # Ended from outside it still ends all that it has started.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    options = read_options()
    if options.write and (options.only or options.command):
        print("Only a whole run can be written.", file=sys.stderr)
        return 2
    if options.write and is_qt6(options.qt):
        print("The document says what holds with Qt 5.", file=sys.stderr)
        return 2
    shutil.rmtree(options.evidence, ignore_errors=True)
    wanted = choose(options)
    start = time.monotonic()
    try:
        with tempfile.TemporaryDirectory(prefix="veltrano-faults-") as folder:
            make_certificates(options.ca_folder, options.clock, Path(folder))
            results = play(options, Path(folder), wanted)
    except Failure as failure:
        print(f"The matrix could not be played: {failure}", file=sys.stderr)
        return 1
    if options.write:
        write(options, results)
    deviations = sum(bool(result.deviation) for result in results)
    # In the words of Python's own test programs, which scripts/count-tests reads.
    print(f"Ran {len(results)} tests in {time.monotonic() - start:.0f}s")
    if deviations:
        print(f"What helps to understand them: {options.evidence}")
    print(f"FAILED (failures={deviations})" if deviations else "OK")
    return 1 if deviations or not results else 0


if __name__ == "__main__":
    sys.exit(main())
