"""Signals: the system's own way to end a program, which saves nothing and asks nothing."""

from __future__ import annotations

import os
import signal
import subprocess
import time

from cases import LOGIN, STORED, Case, rows, with_rows
from clientprocess import wait_until
from program import CLIENT, Program
from standin import EMAIL, Mode

SIGNALS = {"terminate": signal.SIGTERM, "hang_up": signal.SIGHUP, "interrupt": signal.SIGINT}


@with_rows
class Signals(Case):

    def check_killed(self, program: Program, number: signal.Signals) -> None:
        program.process.send_signal(number)
        self.check_end(program, code=-number)

    @rows(**SIGNALS)
    def at_rest(self, number: signal.Signals) -> None:
        self.check_killed(self.start_logged_in(), number)
        self.check_requests(LOGIN)

    @rows(**SIGNALS)
    def in_a_box(self, number: signal.Signals) -> None:
        program = self.start_logged_in()
        program.do("tick", 0)
        program.do("click", "activateButton")
        program.wait_for_window("QMessageBox")
        self.check_killed(program, number)
        self.check_requests(LOGIN)

    @rows(**SIGNALS)
    def with_replies_outstanding(self, number: signal.Signals) -> None:
        program = self.start_logged_in()
        self.service.mode = Mode.SILENT
        program.do("tick", 0)
        program.do("click", "activateButton")
        program.wait_for_window("QMessageBox")
        program.do("answer", "Yes")
        program.do("click", "buttonRefresh")
        wait_until("both requests arrived", lambda: len(self.service.lines()) == len(LOGIN) + 2)
        self.check_killed(program, number)
        self.check_requests([*LOGIN, "POST /activateTrackers.php", "GET /bsGetMyGroups.php"])


class LastUser(Case):
    """The one setting is on disk as soon as the login shows, not only at the end."""

    def test_stored_at_once(self) -> None:
        self.service.answers["/bslogin.php"] = {"id": 7}
        program = self.start()
        program.send_login()
        program.wait("the button reads Logout",
                     lambda report: report["main"]["button"] == "Logout")
        self.assertEqual(self.place.stored(), STORED)
        program.process.kill()
        self.check_end(program, code=-signal.SIGKILL)

    def test_killed_as_soon_as_the_groups_are_asked_for(self) -> None:
        """The old address or the new one, never a piece; and the next start takes no notice."""
        old = STORED.replace(EMAIL, "somebody.else@example.org")
        for _ in range(5):
            self.place.write_settings(old)
            before = self.service.lines().count("GET /bsGetMyGroups.php")
            program = self.start()
            program.send_login()
            wait_until("the groups are asked for", lambda: self.service.lines().count(
                "GET /bsGetMyGroups.php") > before)
            program.process.kill()
            self.assertEqual(program.end(), -signal.SIGKILL)
            self.assertIn(self.place.stored(), (old, STORED))
            self.check_secret(program)
        # Left by one that was killed while it removed the lock of the one before; the framework
        # does not look at it again until it finds a lock.
        for left in self.place.settings.parent.glob("*.rmlock"):
            left.unlink()
        program = self.start_logged_in()
        program.do("close")
        self.check_end(program)  # without the lock that those may have left

    def test_lock_of_a_killed_client(self) -> None:
        """A lock whose process is gone holds nobody up."""
        gone = subprocess.Popen(["true"])
        gone.wait()
        self.place.write_settings("")
        lock = self.place.settings.with_name(f"{self.place.settings.name}.lock")
        lock.write_text(f"{gone.pid}\n{CLIENT.name}\n{os.uname().nodename}\n", encoding="utf-8")
        program = self.start()
        start = time.monotonic()
        program.log_in()
        self.assertLess(time.monotonic() - start, 10)
        program.do("close")
        self.check_end(program)
