"""What the cases share: a service, folders, clients, and what must hold at every end."""

from __future__ import annotations

import os
import tempfile
import unittest
from collections.abc import Callable
from pathlib import Path
from typing import Any, TypeVar

from manager import Manager
from program import Place, Program
from screen import Look, Screen
from standin import EMAIL, SECRET, Standin

STORED = f"[General]\nlastuser={EMAIL}\n"
NO_MOUNTS = "Mounts of one's own are not permitted here."
LOGIN = ["POST /bslogin.php", "GET /bsGetMyGroups.php", "GET /bsGetGroupTrackers.php?idgroup=12"]

T = TypeVar("T", bound=type)


def rows(**named: Any) -> Callable[[Any], Any]:
    """Makes a function of a class of cases one case a row, called with what stands in the row."""
    def mark(function: Any) -> Any:
        function.rows = named
        return function
    return mark


def with_rows(cls: T) -> T:
    for name, function in list(vars(cls).items()):
        for row, value in getattr(function, "rows", {}).items():
            def case(self: Any, function: Any = function, value: Any = value) -> None:
                function(self, *(value if isinstance(value, tuple) else (value,)))
            setattr(cls, f"test_{name}_{row}", case)
    return cls


class Case(unittest.TestCase):
    """Programs that are started by a case and still run at its end are killed."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory(prefix="veltrano-endings-")
        self.addCleanup(folder.cleanup)
        self.place = Place(Path(folder.name))
        self.service = Standin(int(os.environ["ENDINGS_PORT"]),
                               Path(os.environ["ENDINGS_CERTIFICATES"]))
        self.addCleanup(self.service.close)
        self.starts = 0

    def start(self, **options: Any) -> Program:
        self.starts += 1
        program = Program(self.place, self.starts, **options)
        self.addCleanup(program.close)
        return program

    def start_logged_in(self, **options: Any) -> Program:
        program = self.start(**options)
        program.log_in()
        return program

    def check_end(self, program: Program, code: int = 0, stored: str | None = STORED,
                  complaints: list[str] | None = None) -> None:
        """It ends in time and so; what it leaves behind is whole, and no secret."""
        self.assertEqual(program.end(), code, program.end_of_log())
        self.assertEqual(program.complaints(), complaints or [])
        self.assertEqual(self.place.stored(), stored)
        self.assertEqual(self.place.files(),
                         [] if stored is None else [f"Quillmora/{self.place.settings.name}"])
        self.check_secret(program)

    def check_secret(self, program: Program) -> None:
        kept = [path for folder in (self.place.config, self.place.home)
                for path in folder.rglob("*") if path.is_file()]
        for file in (program.log, *kept):
            self.assertNotIn(SECRET.encode(), file.read_bytes(), file)

    def check_requests(self, expected: list[str]) -> None:
        """All that ever arrived, in any order: connections overtake each other."""
        self.assertEqual(sorted(self.service.all_lines()), sorted(expected))


class ScreenCase(Case):
    """Cases on an X server with a window manager."""

    screen: Screen
    manager: Manager

    @classmethod
    def setUpClass(cls) -> None:
        folder = tempfile.TemporaryDirectory(prefix="veltrano-endings-")
        cls.addClassCleanup(folder.cleanup)
        cls.screen = Screen(Path(folder.name), Look())
        cls.addClassCleanup(cls.screen.close)
        cls.manager = Manager(cls.screen)
        cls.addClassCleanup(cls.manager.close)

    def start(self, **options: Any) -> Program:
        environment = {"VELTRANO_CLOSE_ATOM": str(self.manager.close_atom),
                       **options.pop("environment", {})}
        return super().start(screen=self.screen, environment=environment, **options)

    def start_logged_in(self, **options: Any) -> Program:
        """Waits for the window manager, too: it closes only what it knows already."""
        program = super().start_logged_in(**options)
        program.wait("the window is active", lambda report: report["main"]["active"])
        return program

    def ask_to_close(self, program: Program) -> None:
        """Has the window manager ask the main window to close."""
        self.manager.ask_to_close(int(program.see()["main"]["window"]))
