"""The display is lost: the X server ends, or takes the client's connection away."""

from __future__ import annotations

import re
import tempfile
from pathlib import Path

from cases import LOGIN, Case, ScreenCase, rows, with_rows
from clientprocess import wait_until
from program import Program
from screen import Look, Screen
from standin import Mode

# What is said of it: by the framework where it looks for events, or in a call by it and the X
# library, whatever comes first. On the way out there may be such a call, too, and the framework then
# no longer says what kind of line it is; Qt 6 does that now and then.
FOUND = r"warning: The X11 connection broke \(error 1\)\. Did the X11 server die\?\n"
CALLED = (r"(warning: )?The X11 connection broke: I/O error \(code 1\)\n"
          r"(X connection to :\d+ broken \(explicit kill or server shutdown\)\.\n"
          r"|XIO:  fatal IO error .* on X server .*\n +after \d+ requests .*\n)")
LOST = re.compile(f"{FOUND}|({FOUND})?{CALLED}")


class DisplayCase(Case):

    def start_on_screen(self) -> tuple[Screen, Program]:
        folder = tempfile.TemporaryDirectory(prefix="veltrano-endings-")
        self.addCleanup(folder.cleanup)
        screen = Screen(Path(folder.name), Look())
        self.addCleanup(screen.close)
        return screen, self.start_logged_in(screen=screen)

    def check_lost(self, program: Program) -> None:
        self.assertEqual(program.end(), 1)
        complaints = program.complaints()
        self.assertTrue(LOST.fullmatch("\n".join([*complaints, ""])), complaints)
        self.check_end(program, code=1, complaints=complaints)


@with_rows
class Lost(DisplayCase):

    @rows(at_rest=0, with_replies_outstanding=9)
    def server_ended(self, outstanding: int) -> None:
        screen, program = self.start_on_screen()
        self.service.mode = Mode.HALF
        for index in range(outstanding):
            program.do("group", (index + 1) % 2)
        wait_until("they arrived",
                   lambda: len(self.service.lines()) == len(LOGIN) + min(outstanding, 6))
        screen.close()
        self.check_lost(program)
        self.assertEqual(len(self.service.all_lines()), len(LOGIN) + min(outstanding, 6))

    @rows(question=("QMessageBox", ["tick", 0], ["click", "activateButton"]),
          menu=("QMenu", ["menu", 0, 0]))
    def server_ended_with_open(self, kind: str, *way: list[str | int]) -> None:
        screen, program = self.start_on_screen()
        for words in way:
            program.do(*words)
        program.wait_for_window(kind)
        screen.close()
        self.check_lost(program)
        self.check_requests(LOGIN)


class Killed(DisplayCase, ScreenCase):

    def test_window_killed_by_hand(self) -> None:
        """What xkill does: the server goes on, only this client's connection is closed."""
        program = self.start_logged_in()
        self.screen.tool("windowkill", str(int(program.see()["main"]["window"])))
        self.check_lost(program)
        self.check_requests(LOGIN)
