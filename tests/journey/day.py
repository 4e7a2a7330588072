"""What the steps of a day share: the operator, the service, the running client, common checks."""

from __future__ import annotations

import argparse
from pathlib import Path

from client import Client, View
from clock import Clock
from player import Operator
from screen import Look, Screen
from service import Service, compare, expect

COLUMNS = ["Serial Number", "Tracker Name", "CompeId", "Firmware", "Imsi"]


class Day:
    """What the steps share: the operator, the service, and the client that runs at the moment."""

    def __init__(self, options: argparse.Namespace, folder: Path, look: Look) -> None:
        self.options = options
        self.look = look
        self.folder = folder
        self.pictures: Path = options.pictures
        self.starts = 0
        self.clock = Clock(options.clock)
        self.client: Client | None = None
        self.screen = Screen(folder, look)
        self.operator = Operator(self.screen)
        self._open: list[Service | Screen] = [self.screen]
        try:
            self.service = Service(options.sandbox, options.port, options.sandbox_folder, folder,
                                   self.clock)
            self._open.append(self.service)
        except BaseException:
            self.close()
            raise
        self.email, self.password = self.service.login()
        self.groups = self.service.groups()

    def close(self) -> None:
        if self.client is not None:
            self.client.close()
        while self._open:
            self._open.pop().close()

    def start_client(self) -> None:
        self.starts += 1
        self.client = Client(self.options.client, self.options.probe, self.clock,
                             self.options.reader, self.screen, self.folder, self.starts)
        self.operator.sit_down(self.client)

    def end_client(self) -> int:
        assert self.client is not None
        code = self.client.exit_code()
        self.client.close()
        self.client = None
        return code

    def log_in(self, password: str) -> None:
        """Fills both fields; the caller sends them."""
        if self.operator.see().widget("userLineEdit").text != self.email:
            self.operator.fill("userLineEdit", self.email)
        self.operator.fill("passwordLineEdit", password)

    def check_group(self, group: str, ticked: frozenset[str] = frozenset()) -> View:
        """Waits for a group's table, then holds it against the database, row by row."""
        count = f"({len(self.service.trackers(group))})"
        view = self.operator.wait(
            f'the trackers of "{group}" are listed',
            lambda view: view if view.widget("groupComboBox").text == group
            and view.widget("numberTrackers").text == count else None)
        expect("the columns", view.columns, COLUMNS)
        expect("the progress bar is shown", view.widget("progressBar").visible, False)
        compare(view, self.service, group, ticked)
        return view

    def check_reloaded(self, group: str, what: str) -> View:
        """Waits until the table shows what the database holds, after a command was carried out."""
        def reloaded(view: View) -> View:
            expect("a box or dialog", view.dialog, None)
            expect("the progress bar is shown", view.widget("progressBar").visible, False)
            compare(view, self.service, group)
            return view

        return self.operator.wait(f"the reloaded table shows {what}", reloaded)

    def check_logged_out(self) -> None:
        """The session's widgets are as a logout leaves them."""
        view = self.operator.wait("the button reads Login",
                                  lambda view: view if view.widget("loginButton").text == "Login"
                                  else None)
        expect("the password field", view.widget("passwordLineEdit").text, "")
        expect("the groups", view.widget("groupComboBox")["items"], [])
        expect("the table", [row.text for row in view.table], [])
        expect("the number of trackers", view.widget("numberTrackers").text, "")
        for name in ("groupComboBox", "calendarWidget", "treeView"):
            expect(f"{name} is enabled", view.widget(name).enabled, False)
        for name in ("userLineEdit", "passwordLineEdit", "loginButton"):
            expect(f"{name} is enabled", view.widget(name).enabled, True)

    def picture(self, name: str) -> None:
        """Saves a picture of the client's windows."""
        picture = self.operator.picture()
        picture.cut(self.operator.see().frame).save(self.pictures / f"{name}.png")
