#!/usr/bin/env python3
"""A day's work of an operator, played with mouse and keyboard on the real client.

Each step acts, then holds what the window shows against what the sandbox's database says, and
leaves a picture of the window."""

from __future__ import annotations

import argparse
import json
import re
import shutil
import signal
import socket
import sys
import tempfile
import time
from collections import Counter
from collections.abc import Callable
from pathlib import Path

from client import Client, View
from player import Operator
from screen import Failure, Picture, Screen
from service import Service, Tracker, compare, expect

TODAY = "2026-03-11"  # the sandbox's day: what is done, running and pending hangs on it
WRONG_PASSWORD = "not the password"
COLUMNS = ["Serial Number", "Tracker Name", "CompeId", "Firmware", "Imsi"]

# What the operator's screen is made with, and the Debian package that has it.
TOOLS = {"Xvfb": "xvfb", "openbox": "openbox", "xdotool": "xdotool"}

Step = Callable[["Day"], None]
STEPS: list[tuple[str, Step]] = []


def step(title: str) -> Callable[[Step], Step]:
    """Appends a function to the day; the title names its picture, too."""
    def add(function: Step) -> Step:
        STEPS.append((title, function))
        return function
    return add


class Day:
    """What the steps share: the operator, the service, and the client that runs at the moment."""

    def __init__(self, options: argparse.Namespace, folder: Path) -> None:
        self.options = options
        self.folder = folder
        self.pictures: Path = options.pictures
        self.starts = 0
        self.client: Client | None = None
        self.screen = Screen(folder, options.scale)
        self.operator = Operator(self.screen)
        try:
            self.service = Service(options.sandbox, options.port, options.sandbox_folder, folder,
                                   TODAY)
        except BaseException:
            self.screen.close()
            raise
        self.email, self.password = self.service.login()
        self.groups = self.service.groups()

    def close(self) -> None:
        if self.client is not None:
            self.client.close()
        self.service.close()
        self.screen.close()

    def start_client(self) -> None:
        self.starts += 1
        self.client = Client(self.options.client, self.options.probe, self.screen, self.folder,
                             self.starts)
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


def hue(colour: tuple[int, int, int]) -> str:
    """The light that a pixel of this colour belongs to; empty for greys and text."""
    red, green, blue = colour
    if max(colour) - min(colour) < 100:
        return ""
    if green > 1.3 * max(red, blue):
        return "green"
    if red > 1.5 * max(green, blue):
        return "red"
    return "yellow" if min(red, green) > 1.5 * blue else ""


def check_lights_on_screen(day: Day, view: View) -> None:
    """Every light in sight must really be painted in its colour."""
    picture = day.operator.picture()
    seen = set()
    for row in view.table:
        if not (row.in_sight and row.enabled and row.icon_rect):
            continue
        hues: Counter[str] = Counter()
        for colour, count in picture.colours(row.icon_rect).items():
            hues[hue(colour)] += count
        hues[""] = 0  # edges and symbols, which every light has
        expect(f"the light painted for {row.text}", hues.most_common(1)[0][0], row.light)
        seen.add(row.light)
    expect("the lights that are in sight", seen, {"green", "yellow", "red"})


def check_password_hidden(day: Day) -> None:
    """Two passwords of the same length must look the same, and not like nothing."""
    def painted(password: str) -> Picture:
        day.log_in(password)
        field = day.operator.see().widget("passwordLineEdit")
        expect("the different characters in the password field", len(set(field.text)), 1)
        if password[:1] == field.text[:1] or field.shown_rect is None:
            raise Failure(f"The password field shows {field.text!r}.")
        return day.operator.picture().cut(field.shown_rect)

    empty = day.operator.picture().cut(day.operator.see().widget("passwordLineEdit").shown_rect)
    other, wrong = painted(WRONG_PASSWORD[::-1]), painted(WRONG_PASSWORD)
    expect("two passwords of one length are painted alike", other == wrong, True)
    expect("a typed password is painted like none", wrong == empty, False)


@step("First start")
def first_start(day: Day) -> None:
    day.start_client()
    view = day.operator.see()
    expect("the title", view.main.title, "Veltrano")
    expect("the user field", view.widget("userLineEdit").text, "")
    expect("the password field", view.widget("passwordLineEdit").text, "")
    expect("the button", view.widget("loginButton").text, "Login")
    expect("the table", view.table, [])
    expect("a box or dialog", view.dialog, None)


@step("Wrong password")
def wrong_password(day: Day) -> None:
    check_password_hidden(day)
    day.operator.click("loginButton")
    box = day.operator.wait("a box has opened", lambda view: view.dialog)
    expect("the box's title", box.title, "Error")
    refusal = day.service.ask("/bslogin.php", email=day.email, password=WRONG_PASSWORD)
    expect("the box's text", box.itself.text, refusal["msg"])


@step("Box closed")
def box_closed(day: Day) -> None:
    day.operator.click_button("OK")
    view = day.operator.wait("the box is closed",
                             lambda view: view if view.dialog is None else None)
    expect("the button", view.widget("loginButton").text, "Login")
    expect("the length of the kept password", len(view.widget("passwordLineEdit").text),
           len(WRONG_PASSWORD))


@step("Log in with Return")
def log_in_with_return(day: Day) -> None:
    day.log_in(day.password)
    day.operator.press("Return")
    view = day.check_group(day.groups[0])
    expect("the groups", view.widget("groupComboBox")["items"], day.groups)
    expect("the button", view.widget("loginButton").text, "Logout")
    expect("the user field is enabled", view.widget("userLineEdit").enabled, False)
    expect("the password field is enabled", view.widget("passwordLineEdit").enabled, False)


@step("Second group")
def second_group(day: Day) -> None:
    day.operator.choose("groupComboBox", day.groups[1])
    check_lights_on_screen(day, day.check_group(day.groups[1]))


@step("Expanded tracker")
def expanded_tracker(day: Day) -> None:
    tracker = most_booked(day)
    day.operator.expand(tracker.serial)
    day.operator.find_row(tracker.periods[-1].text)
    view = day.check_group(day.groups[1])
    for period in tracker.periods:
        expect(f"the period {period.text} is in sight", view.row(period.text).in_sight, True)


def most_booked(day: Day) -> Tracker:
    """The first of the second group's trackers with the most periods."""
    return max(day.service.trackers(day.groups[1]), key=lambda tracker: len(tracker.periods))


@step("Tool tip")
def tool_tip(day: Day) -> None:
    shared = next(tracker for tracker in day.service.trackers(day.groups[1]) if tracker.tip)
    expect(f"the tool tip of {shared.serial}", day.operator.hover(shared.serial), shared.tip)


@step("Log out")
def log_out(day: Day) -> None:
    day.operator.click("loginButton")
    day.check_logged_out()
    expect("the user field", day.operator.see().widget("userLineEdit").text, day.email)


@step("Log in with the button")
def log_in_with_button(day: Day) -> None:
    day.log_in(day.password)
    day.operator.click("loginButton")
    day.check_group(day.groups[0])


@step("Quit")
def quit_client(day: Day) -> None:
    assert day.client is not None
    log = day.client.log
    day.operator.close_window()
    expect("the exit code", day.end_client(), 0)
    for file, text in ((log, log.read_text(encoding="utf-8", errors="replace")),
                       (day.service.log, day.service.requests())):
        for secret in (day.password, WRONG_PASSWORD):
            if secret in text:
                raise Failure(f"A password stands in {file}.")


@step("Second start")
def second_start(day: Day) -> None:
    day.start_client()
    view = day.operator.see()
    expect("the remembered user", view.widget("userLineEdit").text, day.email)
    expect("the password field", view.widget("passwordLineEdit").text, "")
    expect("the button", view.widget("loginButton").text, "Login")
    expect("the table", view.table, [])


def play(day: Day) -> bool:
    """Plays the steps one after the other until one fails."""
    for number, (title, function) in enumerate(STEPS, 1):
        name = f"{number:02}-{re.sub('[^a-z0-9]+', '-', title.lower())}"
        start = time.monotonic()
        print(f"{number:2}/{len(STEPS)}  {title:26}", end="", flush=True)
        try:
            function(day)
            if day.client is not None:
                day.picture(name)
        except Failure as failure:
            print("FAILED")
            print(f"  {failure}")
            keep_evidence(day, name)
            return False
        print(f"{time.monotonic() - start:5.1f} s", flush=True)
    return True


def keep_evidence(day: Day, name: str) -> None:
    """What helps to understand a failure: the screen, what the probe saw, the logs."""
    day.screen.picture().save(day.pictures / f"{name}-failed.png")
    if day.client is not None:
        try:
            report = json.dumps(day.client.see().report, indent=1, ensure_ascii=False)
            (day.pictures / f"{name}-failed.json").write_text(report, encoding="utf-8")
        except Failure as failure:
            print(f"  {failure}")
    for log in day.folder.glob("*.log"):
        shutil.copy(log, day.pictures)
    print(f"  The screen at that moment, what was in the window, and the logs: {day.pictures}")


def check_tools() -> None:
    missing = [package for tool, package in TOOLS.items() if shutil.which(tool) is None]
    if missing:
        raise Failure("The journey needs the Debian packages " + " ".join(missing) + ".")


def check_port(port: int) -> None:
    with socket.socket() as listener:
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            listener.bind(("127.0.0.1", port))
        except OSError as error:
            raise Failure(f"Port {port}, which this build's client asks, is taken: another journey "
                          "of this build may be running.") from error


def read_options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--client", type=Path, required=True, help="the client's executable")
    parser.add_argument("--probe", type=Path, required=True, help="the library that looks into it")
    parser.add_argument("--sandbox", type=Path, required=True, help="the sandbox's executable")
    parser.add_argument("--sandbox-folder", type=Path, required=True,
                        help="where the sandbox has the CA that the client trusts")
    parser.add_argument("--port", type=int, required=True, help="the port that the client asks")
    parser.add_argument("--pictures", type=Path, required=True, help="where the pictures go")
    parser.add_argument("--scale", type=int, default=1, help="screen pixels per window pixel")
    return parser.parse_args()


def main() -> int:
    # Ended from outside it still ends all that it has started.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    options = read_options()
    options.pictures.mkdir(parents=True, exist_ok=True)
    for old in options.pictures.glob("[0-9][0-9]-*.*"):
        old.unlink()
    try:
        check_tools()
        check_port(options.port)
        with tempfile.TemporaryDirectory(prefix="veltrano-journey-") as folder:
            day = Day(options, Path(folder))
            try:
                succeeded = play(day)
            finally:
                day.close()
    except Failure as failure:
        print(f"The journey could not be played: {failure}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 130
    print(f"Pictures: {options.pictures}")
    return 0 if succeeded else 1


if __name__ == "__main__":
    sys.exit(main())
