"""The eight commands of the client: how each is given, and what the window shows of its outcome."""

from __future__ import annotations

from dataclasses import dataclass
from enum import Enum

from clientprocess import Failure
from faultserver import GROUPS, POSTS, Server
from remoteclient import Client, View, expect

EMAIL = "ada@gliders.example"
PASSWORD = "Zx-4711 unlikely"
COLUMNS = ["Serial Number", "Tracker Name", "CompeId", "Firmware", "Imsi"]
GROUP_TEXTS = [f"{group['id']} - {group['group_name']}" for group in GROUPS]
CRITICAL, QUESTION = 3, 4
UNTICKED, TICKED = 0, 2


class Shown(Enum):
    """What the window shows of a request."""

    GOOD = "as after a good reply"
    EMPTY = "as after an empty one"
    HELD = "as while none has come"
    ODD = "whatever there is in a strange one"


@dataclass
class Desk:
    """A client, its service, and what the window showed before the command."""

    client: Client
    server: Server
    table: str = ""  # the balance
    held: tuple[str, ...] = ()  # the requests that wait while others are played

    def arrived(self, kind: str) -> int:
        return self.server.arrivals()[kind]


def expect_rows(desk: Desk, view: View, table: str, ticked: int | None = None) -> None:
    """The rows of the list of trackers that came with this balance."""
    expect("the balance", view["accountBalance"]["text"], table)
    trackers = desk.server.list_of(table)
    expect("the table", view.rows, [{
        "cells": [tracker["deviceSn"], tracker["TrackerName"], tracker["compe_id"], "3.05",
                  tracker["imsi"]],
        "enabled": tracker["state"] is not None,
        "extended": tracker["p"] == "E",
        "periods": [[f"{period['startTime']} -> {period['endTime']}", 0, int(period["id"])]
                    for period in tracker["activations"]],
        "tick": TICKED if row == ticked else UNTICKED,
    } for row, tracker in enumerate(trackers)])
    expect("the columns", view.columns, COLUMNS)
    expect("the number of trackers", view["numberTrackers"]["text"], f"({len(view.rows)})")


def expect_loaded(desk: Desk, view: View, table: str, group: int = 0) -> None:
    """The window after a good list of trackers."""
    expect_rows(desk, view, table)
    expect("the progress bar is shown", view.bar, False)
    expect("the groups", view["groupComboBox"]["items"], GROUP_TEXTS)
    expect("the group", view["groupComboBox"]["index"], group)


def expect_emptied(view: View) -> None:
    """The window after a list of trackers that read as empty."""
    expect("the table", view.rows, [])
    expect("the columns", view.columns, COLUMNS)
    expect("the number of trackers", view["numberTrackers"]["text"], "(0)")
    expect("the balance", view["accountBalance"]["text"], "")
    expect("the progress bar is shown", view.bar, False)


def expect_asking_trackers(view: View, table: str) -> None:
    """The window between the request for trackers and its reply."""
    expect("the table", (view.columns, view.rows), ([], []))
    expect("the number of trackers", view["numberTrackers"]["text"], "")
    expect("the balance", view["accountBalance"]["text"], table)
    expect("the progress bar is shown", view.bar, True)


def expect_session(view: View, logged_in: bool) -> None:
    """The widgets that a login and a logout switch, and those that they leave alone."""
    expect("logged in", view.logged_in, logged_in)
    for name in ("groupComboBox", "calendarWidget", "treeView"):
        expect(f"{name} is enabled", view[name]["enabled"], logged_in)
    for name in ("userLineEdit", "passwordLineEdit"):
        expect(f"{name} is enabled", view[name]["enabled"], not logged_in)
    for name in ("activateButton", "extendProfile", "normalProfile", "weeksSpinBox",
                 "buttonRefresh"):
        expect(f"{name} is enabled", view[name]["enabled"], True)


def expect_usable(view: View) -> None:
    expect("windows beside the main one", view.windows, [])
    expect_session(view, True)
    expect("loginButton is enabled", view["loginButton"]["enabled"], True)


class Command:
    """Something that the operator has the service do, in the first group and ending there."""

    kind: str
    path: str  # as the client's report names the request

    @property
    def is_post(self) -> bool:
        return self.kind in POSTS

    def prepare(self, desk: Desk) -> None:
        """Everything but what sends the request."""

    def send(self, desk: Desk) -> None:
        raise NotImplementedError

    def check(self, desk: Desk, shown: Shown, follow_up: Shown) -> None:
        """Waits for what is shown; follow_up is what became of the reload behind it."""
        if shown is Shown.HELD:
            self.check_held(desk)
            return
        desk.client.wait(f"{self.path} has ended", self.has_ended)
        if shown is Shown.GOOD:
            self.check_good(desk)
        elif shown is Shown.ODD:
            self.check_odd(desk)
        else:
            self.check_empty(desk, follow_up)

    def has_ended(self, view: View) -> bool:
        return any(ended["request"] == self.path for ended in view.ended)

    def check_held(self, desk: Desk) -> None:
        view = desk.client.see()
        expect("requests under way", self.path in view.running, True)
        expect("requests that have ended", view.ended, [])
        self.expect_held(desk, view)

    def expect_held(self, desk: Desk, view: View) -> None:
        """By default nothing but what was there."""
        expect_usable(view)
        expect_loaded(desk, view, desk.table)

    def check_good(self, desk: Desk) -> None:
        raise NotImplementedError

    def check_empty(self, desk: Desk, follow_up: Shown) -> None:
        raise NotImplementedError

    def check_odd(self, desk: Desk) -> None:
        """By default nothing of the reply is read."""
        self.check_good(desk)

    def clear_up(self, desk: Desk, shown: Shown) -> None:
        """Closes what a reply that came late has opened."""


def check_loaded(desk: Desk, group: int = 0) -> None:
    """Waits for the service's newest list of trackers."""
    def loaded(view: View) -> bool:
        expect_loaded(desk, view, desk.server.table, group)
        expect_usable(view)
        return True

    desk.client.wait("the newest list of trackers is shown", loaded)


def check_at_rest(desk: Desk) -> None:
    """Waits until nothing is under way, whatever is listed then."""
    def at_rest(view: View) -> bool:
        expect("requests under way", view.running, [])
        expect("the progress bar is shown", view.bar, False)
        expect_usable(view)
        return True

    desk.client.wait("the window is at rest", at_rest)


def check_reload(desk: Desk, follow_up: Shown) -> None:
    if follow_up is Shown.GOOD:
        desk.client.wait("another list than before", lambda view:
                         view["accountBalance"]["text"] not in ("", desk.table))
        check_loaded(desk)
        return

    def emptied(view: View) -> bool:
        expect_emptied(view)
        expect_usable(view)
        return True

    desk.client.wait("the reload has failed", emptied)


class Login(Command):
    kind, path = "login", "/bslogin.php"
    other_email = "someone@else.example"

    def prepare(self, desk: Desk) -> None:
        desk.client.do("click", "loginButton")
        view = desk.client.see()
        expect_session(view, False)
        expect("the table", (view.columns, view.rows), ([], []))
        expect("the groups", view["groupComboBox"]["items"], [])
        expect("the password's length", view["passwordLineEdit"]["length"], 0)
        desk.client.do("text", "userLineEdit", text=self.other_email)
        desk.client.do("text", "passwordLineEdit", text=PASSWORD)

    def send(self, desk: Desk) -> None:
        desk.client.do("click", "loginButton")

    def expect_held(self, desk: Desk, view: View) -> None:
        expect("windows beside the main one", view.windows, [])
        expect_session(view, False)
        expect("loginButton is enabled", view["loginButton"]["enabled"], False)
        expect("the progress bar is shown", view.bar, False)
        # The fields stay the operator's.
        desk.client.do("text", "userLineEdit", text=EMAIL)

    def check_good(self, desk: Desk) -> None:
        check_loaded(desk)
        self.check_last_user(desk, self.other_email)

    def check_empty(self, desk: Desk, follow_up: Shown) -> None:
        self.close_box(desk)
        view = desk.client.see()
        expect("windows beside the main one", view.windows, [])
        expect_session(view, False)
        expect("loginButton is enabled", view["loginButton"]["enabled"], True)
        expect("the user", view["userLineEdit"]["text"], self.other_email)
        expect("the password's length", view["passwordLineEdit"]["length"], len(PASSWORD))
        expect("the groups", view["groupComboBox"]["items"], [])
        expect("the table", (view.columns, view.rows), ([], []))
        expect("the progress bar is shown", view.bar, False)
        self.check_last_user(desk, EMAIL)

    def check_odd(self, desk: Desk) -> None:
        box = desk.client.wait("a box has opened", lambda view: view.window("QMessageBox"))
        expect("the box", (box["title"], box["icon"], box["buttons"]), ("Error", CRITICAL, ["OK"]))
        desk.client.do("answer", "OK")
        desk.client.wait("the box is closed", lambda view: not view.windows)
        expect_session(desk.client.see(), False)
        self.check_last_user(desk, EMAIL)

    @staticmethod
    def check_last_user(desk: Desk, right: str) -> None:
        def stored(view: View) -> bool:
            text = desk.client.settings.read_text(encoding="utf-8")
            expect("the settings", text, f"[General]\nlastuser={right}\n")
            return True

        desk.client.wait("the last user is stored", stored)

    @staticmethod
    def close_box(desk: Desk) -> None:
        box = desk.client.wait("a box has opened", lambda view: view.window("QMessageBox"))
        expect("the box", (box["title"], box["text"], box["icon"], box["buttons"]),
               ("Error", "", CRITICAL, ["OK"]))
        desk.client.do("answer", "OK")
        desk.client.wait("the box is closed", lambda view: not view.windows)

    def clear_up(self, desk: Desk, shown: Shown) -> None:
        if shown is Shown.EMPTY:
            self.close_box(desk)


class Groups(Command):
    kind, path = "groups", "/bsGetMyGroups.php"

    def check_odd(self, desk: Desk) -> None:
        check_at_rest(desk)

    def send(self, desk: Desk) -> None:
        desk.client.do("click", "buttonRefresh")

    def check_good(self, desk: Desk) -> None:
        check_reload(desk, Shown.GOOD)

    def check_empty(self, desk: Desk, follow_up: Shown) -> None:
        view = desk.client.see()
        expect("the groups", view["groupComboBox"]["items"], [])
        expect("requests under way", view.running, list(desk.held))
        expect_rows(desk, view, desk.table)
        expect("the progress bar is shown", view.bar, False)
        expect_usable(view)


class Trackers(Command):
    kind, path = "trackers", "/bsGetGroupTrackers.php"

    def check_odd(self, desk: Desk) -> None:
        check_at_rest(desk)

    def send(self, desk: Desk) -> None:
        desk.client.do("group", row=1)

    def expect_held(self, desk: Desk, view: View) -> None:
        expect_asking_trackers(view, desk.table)
        expect_usable(view)

    def check_good(self, desk: Desk) -> None:
        check_loaded(desk, 1)

    def check_empty(self, desk: Desk, follow_up: Shown) -> None:
        view = desk.client.see()
        expect_emptied(view)
        expect("the groups", view["groupComboBox"]["items"], GROUP_TEXTS)
        expect("the group", view["groupComboBox"]["index"], 1)
        expect_usable(view)


class Details(Command):
    kind, path = "details", "/bsGetGroupTrackerInfo.php?getInfo"

    def send(self, desk: Desk) -> None:
        desk.client.do("details", row=0)

    def check_good(self, desk: Desk) -> None:
        self.close_dialog(desk, desk.server.name("96385074"))

    def check_empty(self, desk: Desk, follow_up: Shown) -> None:
        self.close_dialog(desk, "")

    def check_odd(self, desk: Desk) -> None:
        desk.client.wait("the dialog is open", lambda view: view.window("EditTracker"))
        desk.client.do("answer", "Cancel")
        check_at_rest(desk)

    def close_dialog(self, desk: Desk, name: str) -> None:
        dialog = desk.client.wait("the dialog is open", lambda view: view.window("EditTracker"))
        expect("the name", dialog["widgets"]["trackerNameLineEdit"]["text"], name)
        expect_loaded(desk, desk.client.see(), desk.table)
        desk.client.do("answer", "Cancel")
        desk.client.wait("the dialog is closed", lambda view: not view.windows)
        expect_usable(desk.client.see())

    def clear_up(self, desk: Desk, shown: Shown) -> None:
        dialog = desk.client.wait("the dialog is open", lambda view: view.window("EditTracker"))
        expect("the name", dialog["widgets"]["trackerNameLineEdit"]["text"],
               desk.server.name("96385074") if shown is Shown.GOOD else "")
        desk.client.do("answer", "Cancel")
        desk.client.wait("the dialog is closed", lambda view: not view.windows)


class Save(Command):
    kind, path = "save", "/bsGetGroupTrackerInfo.php?saveInfo"

    def prepare(self, desk: Desk) -> None:
        desk.client.do("details", row=0)
        desk.client.wait("the dialog is open", lambda view: view.window("EditTracker"))
        desk.client.do("text", "trackerNameLineEdit", text="Windhover")

    def send(self, desk: Desk) -> None:
        desk.client.do("answer", "OK")
        desk.client.wait("the dialog is closed", lambda view: not view.windows)

    def check_good(self, desk: Desk) -> None:
        """The window shows nothing, whether a name was saved or not."""
        view = desk.client.see()
        expect_usable(view)
        expect_loaded(desk, view, desk.table)
        expect("requests under way", view.running, list(desk.held))

    def check_empty(self, desk: Desk, follow_up: Shown) -> None:
        self.check_good(desk)


class Posted(Command):
    """Sent with the answer to a question; whatever comes of it, the table is loaded again."""

    button: str
    question: str

    def prepare(self, desk: Desk) -> None:
        desk.client.do("tick", row=0)
        desk.client.do("click", self.button)
        box = desk.client.wait("a question is asked", lambda view: view.window("QMessageBox"))
        expect("the question", (box["title"], box["icon"]), ("Activate ?", QUESTION))
        if not box["text"].startswith(self.question):
            raise Failure(f"the question reads {box['text']!r}")

    def send(self, desk: Desk) -> None:
        desk.client.do("answer", "Yes")

    def expect_held(self, desk: Desk, view: View) -> None:
        expect("the progress bar is shown", view.bar, True)
        expect_rows(desk, view, desk.table, ticked=0)
        expect_usable(view)

    def check_good(self, desk: Desk) -> None:
        check_reload(desk, Shown.GOOD)

    def check_empty(self, desk: Desk, follow_up: Shown) -> None:
        check_reload(desk, follow_up)


class Activate(Posted):
    kind, path = "activate", "/activateTrackers.php"
    button = "activateButton"
    question = "You are about to activate 1 trackers.\n"


class Profile(Posted):
    kind, path = "profile", "/extendTrackers.php"
    button = "extendProfile"
    question = "You are about to set extended profile on 1 trackers.\n"


class Remove(Command):
    kind, path = "remove", "/removeActivation.php"

    def prepare(self, desk: Desk) -> None:
        desk.client.do("menu", row=0)
        menu = desk.client.wait("a menu is open", lambda view: view.window("QMenu"))
        expect("the menu", menu["actions"], ["Remove"])

    def send(self, desk: Desk) -> None:
        desk.client.do("choose", "Remove")

    def check_good(self, desk: Desk) -> None:
        check_reload(desk, Shown.GOOD)

    def check_empty(self, desk: Desk, follow_up: Shown) -> None:
        check_reload(desk, follow_up)


COMMANDS: list[Command] = [Login(), Groups(), Trackers(), Details(), Save(), Activate(), Profile(),
                           Remove()]
KINDS = [command.kind for command in COMMANDS]


def log_in(desk: Desk) -> None:
    """From whichever state, as the operator of the matrix."""
    view = desk.client.see()
    if view.logged_in:
        desk.client.do("click", "loginButton")
        view = desk.client.see()
    desk.client.do("text", "userLineEdit", text=EMAIL)
    desk.client.do("text", "passwordLineEdit", text=PASSWORD)
    # A login under way has the button; the key takes another one's way.
    if view["loginButton"]["enabled"]:
        desk.client.do("click", "loginButton")
    else:
        desk.client.do("return", "passwordLineEdit")
    desk.client.wait("the login has come", lambda view: view.logged_in)
    check_loaded(desk)


def every_command(desk: Desk) -> None:
    """All eight after one another, each answered well, ending in the first group."""
    before = desk.server.arrivals()
    log_in(desk)
    for command in (Trackers(), Groups(), Details(), Save(), Activate(), Profile(), Remove()):
        desk.table = desk.server.table
        desk.client.reset()
        command.prepare(desk)
        command.send(desk)
        command.check(desk, Shown.GOOD, Shown.GOOD)
    came = desk.server.arrivals() - before
    for kind in POSTS:
        expect(f"how often {kind} came when all was well", came[kind], 1)
    for kind, least in (("groups", 2), ("trackers", 6), ("details", 2), ("save", 1), ("remove", 1)):
        if came[kind] < least:
            raise Failure(f"{kind} came {came[kind]} times when all was well, not {least}")
