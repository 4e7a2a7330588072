"""Closing the window: with replies outstanding, and with each box, menu and dialog open."""

from __future__ import annotations

import signal
from typing import Any, Union

from cases import LOGIN, Case, ScreenCase, rows, with_rows
from clientprocess import wait_until
from program import Program
from standin import Mode, path

CONNECTIONS = 6  # to one host: further requests wait in the client
GROUPS, TRACKERS = "/bsGetMyGroups.php", "/bsGetGroupTrackers.php"
DETAILS, ACTIVATE = "/bsGetGroupTrackerInfo.php", "/activateTrackers.php"

Way = list[tuple[Union[str, int], ...]]
# What opens, how, and what its window is.
BOXES: dict[str, tuple[Way, dict[str, Any]]] = {
    "question": ([("tick", 0), ("click", "activateButton")],
                 {"class": "QMessageBox", "title": "Activate ?"}),
    "profile": ([("tick", 0), ("click", "extendProfile")],
                {"class": "QMessageBox", "title": "Activate ?"}),
    "error": ([("click", "loginButton"), ("click", "loginButton")],
              {"class": "QMessageBox", "title": "Error"}),
    "dialog": ([("details", 0)], {"class": "EditTracker", "title": "Dialog"}),
}
POPUPS: dict[str, tuple[Way, dict[str, Any]]] = {
    "menu": ([("menu", 0, 0)], {"class": "QMenu", "actions": 1}),
    "empty_menu": ([("menu", 0, 1)], {"class": "QMenu", "actions": 0}),
    "month_menu": ([("click", "qt_calendar_monthbutton")], {"class": "QMenu", "actions": 12}),
    "year_editor": ([("click", "qt_calendar_yearbutton")], {}),
    "group_list": ([("combo",)], {"class": "QComboBoxPrivateContainer"}),
}
# How a box or dialog is left without doing what it is for.
LEAVE = {"question": "No", "profile": "No", "error": "OK", "dialog": "Cancel"}
# What was asked for until they are open, besides the login.
ASKED = {"error": ["POST /bslogin.php"],
         "dialog": ["GET /bsGetGroupTrackerInfo.php?fx=getInfo&groupId=12%20-%20Club%20A"
                    "&SN=1000003"]}


class Opening:
    """Cases in which something is open."""

    def open(self: Any, name: str, way: Way, window: dict[str, Any]) -> Program:
        if name == "error":
            self.service.answers["/bslogin.php"] = [{"id": 7, "name": "Operator"},
                                                    {"id": 0, "msg": "No."}]
        program: Program = self.start_logged_in()
        for words in way:
            program.do(*words)
        if window:
            opened = program.wait_for_window(window["class"])
            self.assertEqual(opened | window, opened)
        else:
            program.wait("the year is edited", lambda report: report["main"]["year_editor"])
        return program


@with_rows
class Replies(ScreenCase):
    """However many requests wait, the window closes at once, and none is sent twice or late."""

    def send(self, program: Program, number: int) -> None:
        """A post first, and then whatever else an impatient operator can click."""
        program.do("tick", 0)
        program.do("click", "activateButton")
        program.wait_for_window("QMessageBox")
        program.do("answer", "Yes")
        program.wait("the box is closed", lambda report: not report["open"])
        others: Way = [("click", "buttonRefresh"), ("group", 1), ("group", 0)]
        for index in range(number - 1):
            program.do(*others[index % len(others)])

    @rows(**{f"{number}_{name}": (number, mode) for number in (1, 10, 100)
             for name, mode in (("held", Mode.SILENT), ("half_received", Mode.HALF))})
    def outstanding(self, number: int, mode: Mode) -> None:
        program = self.start_logged_in()
        self.service.mode = mode
        self.send(program, number)
        arrived = len(LOGIN) + min(number, CONNECTIONS)
        wait_until("as many requests as there are connections arrived",
                   lambda: len(self.service.lines()) == arrived)
        self.assertEqual(program.see()["main"]["replies"], number)
        self.ask_to_close(program)
        self.check_end(program)
        lines = self.service.all_lines()
        self.assertEqual(len(lines), arrived, lines)
        self.assertEqual([path(request) for request in self.service.requests].count(ACTIVATE), 1)

    def test_details_outstanding(self) -> None:
        """Their replies have no slot that deletes them; they go with the window."""
        program = self.start_logged_in()
        self.service.mode = Mode.HALF
        for _ in range(3):
            program.do("details", 0)
        wait_until("they arrived", lambda: len(self.service.lines()) == len(LOGIN) + 3)
        self.ask_to_close(program)
        self.check_end(program)
        self.check_requests([*LOGIN, *ASKED["dialog"] * 3])


@with_rows
class WindowManager(Opening, ScreenCase):
    """What a taskbar, or the button in the title, asks for."""

    @rows(**{name: (name, *value) for name, value in BOXES.items()})
    def box(self, name: str, way: Way, window: dict[str, Any]) -> None:
        """The main window does not close behind its box, and goes on afterwards as if unasked."""
        program = self.open(name, way, window)
        self.ask_to_close(program)
        program.wait("the window was asked", lambda report: report["closes_asked"] == 1)
        program.wait_for_window(window["class"])
        self.assertTrue(program.see()["main"]["visible"])
        program.do("answer", LEAVE[name])
        program.wait("nothing else is open", lambda report: not report["open"])
        self.assertTrue(program.see()["main"]["visible"])
        self.ask_to_close(program)
        self.check_end(program)
        self.check_requests(LOGIN + ASKED.get(name, []))

    @rows(**{name: (name, *value) for name, value in BOXES.items()})
    def box_itself(self, name: str, way: Way, window: dict[str, Any]) -> None:
        """Closing the box does nothing of what it is for, and the main window stays."""
        program = self.open(name, way, window)
        program.wait("the box is active", lambda report: report["open"][0]["active"])
        self.manager.ask_to_close(int(program.see()["open"][0]["window"]))
        program.wait("nothing else is open", lambda report: not report["open"])
        self.assertTrue(program.see()["main"]["visible"])
        self.ask_to_close(program)
        self.check_end(program)
        self.check_requests(LOGIN + ASKED.get(name, []))

    @rows(**{name: (name, *value) for name, value in POPUPS.items()})
    def popup(self, name: str, way: Way, window: dict[str, Any]) -> None:
        program = self.open(name, way, window)
        self.ask_to_close(program)
        self.check_end(program)
        self.check_requests(LOGIN)


@with_rows
class Quit(Opening, Case):
    """The application itself is told to quit, as a menu of the system does it."""

    @rows(**{name: (name, *value) for name, value in (BOXES | POPUPS).items()})
    def with_open(self, name: str, way: Way, window: dict[str, Any]) -> None:
        program = self.open(name, way, window)
        program.do("quit")
        self.check_end(program)
        self.check_requests(LOGIN + ASKED.get(name, []))


WARNINGS = ["Could not read Level 1 certificate!", "Could not read Level 2 certificate!",
            "SSL certificates not loaded."]
UNREAD = [f'warning: QIODevice::read (QFile, ":/{name}.pem"): device not open'
          for name in ("GeoTrustGlobalCA", "RapidSSL_SHA256_CA-G3")]


class CertificateWarnings(Case):
    """A program without its resources warns before there is a window, and then works."""

    def start_without_resources(self) -> Program:
        return self.start(environment={"VELTRANO_WITHOUT_RESOURCES": "1"})

    def test_answered(self) -> None:
        program = self.start_without_resources()
        for text in WARNINGS:
            program.wait(f"the warning is: {text}", lambda report: [
                (window["title"], window["text"]) for window in report["open"]] == [
                    ("Veltrano", text)])
            program.do("answer", "OK")
        program.wait("the window shows", lambda report: report["main"]["visible"])
        program.log_in()
        program.do("close")
        self.check_end(program, complaints=UNREAD)

    def test_quit(self) -> None:
        """There is no event loop yet that could end: the remaining warnings are passed over."""
        program = self.start_without_resources()
        program.wait_for_window("QMessageBox")
        program.do("quit")
        program.wait("the window shows", lambda report: report.get("main", {}).get("visible")
                     and not report["open"])
        program.log_in()
        program.do("close")
        self.check_end(program, complaints=UNREAD)

    def test_killed(self) -> None:
        program = self.start_without_resources()
        program.wait_for_window("QMessageBox")
        program.process.send_signal(signal.SIGTERM)
        self.check_end(program, code=-signal.SIGTERM, stored=None)
