"""The same day's work with keys alone: no step moves or clicks the mouse."""

from __future__ import annotations

import command_steps as commands
from clientprocess import wait_until
from day import Day
from service import Tracker, expect


def start(day: Day) -> None:
    day.start_client()
    day.operator.wait("the keyboard is in the user field",
                      lambda view: view.widget("userLineEdit").focus)


def log_in(day: Day) -> None:
    day.operator.type(day.email)
    day.operator.press("Tab")
    day.operator.wait("the keyboard is in the password field",
                      lambda view: view.widget("passwordLineEdit").focus)
    day.operator.type(day.password)
    day.operator.press("Return")
    day.check_group(day.groups[0])


def every_widget(day: Day) -> None:
    """Tab leads to each widget that can be used after a login, and Shift+Tab back again."""
    day.operator.go_to("loginButton")
    forwards = day.operator.way_of("Tab")
    expect("the way of Tab", forwards, [
        "loginButton", "groupComboBox", "treeView", "qt_calendar_calendarview", "weeksSpinBox",
        "buttonRefresh", "Select All", "Select none", "barReaderFound", "normalProfile",
        "extendProfile", "activateButton", "pushButtonNewGroup"])
    expect("the way of Shift+Tab", day.operator.way_of("shift+Tab"),
           forwards[:1] + forwards[:0:-1])


def second_group(day: Day) -> None:
    day.operator.go_to("groupComboBox")
    day.operator.press("Down")
    day.check_group(day.groups[1])


def tick(day: Day) -> None:
    trackers = commands.bookable(day)
    for tracker in trackers:
        day.operator.go_to_row(tracker.serial)
        day.operator.press("space")
    day.check_group(day.groups[1], frozenset(tracker.serial for tracker in trackers))


def most_booked(day: Day) -> Tracker:
    return max(day.service.trackers(day.groups[1]), key=lambda tracker: len(tracker.periods))


def expand(day: Day) -> None:
    tracker = most_booked(day)
    day.operator.go_to_row(tracker.serial)
    day.operator.press("Right")
    day.operator.wait(f"{tracker.serial} is expanded",
                      lambda view: view.row(tracker.serial).expanded)


def schedule(day: Day) -> None:
    trackers = commands.bookable(day)
    day.operator.go_to("weeksSpinBox")
    day.operator.press("Up", "Down")
    day.operator.wait("the days are as before",
                      lambda view: view.widget("weeksSpinBox")["value"] == commands.DAYS)
    day.operator.go_to("activateButton")
    day.operator.press("space")
    commands.question(day, commands.schedule_question(day, trackers))
    day.operator.press("Return")
    wait_until("the database holds the new periods", lambda: all(
        day.service.periods(tracker.serial) for tracker in trackers))
    day.check_reloaded(day.groups[1], "the new periods")


def extend_profile(day: Day) -> None:
    tracker = next(tracker for tracker in day.service.trackers(day.groups[1])
                   if tracker.enabled and commands.has_profile(day, tracker.serial, False))
    day.operator.go_to_row(tracker.serial)
    day.operator.press("space")
    day.operator.go_to("extendProfile")
    day.operator.press("space")
    commands.question(
        day, "You are about to set extended profile on 1 trackers.\n Are you sure?")
    day.operator.press("Return")
    wait_until("the database holds the extended profile",
               lambda: commands.has_profile(day, tracker.serial, True))
    day.check_reloaded(day.groups[1], "the extended profile")


def remove(day: Day) -> None:
    tracker, period = commands.with_period(day, done=0)
    day.operator.go_to_row(tracker.serial)
    day.operator.press("Right")
    day.operator.wait(f"{tracker.serial} is expanded",
                      lambda view: view.row(tracker.serial).expanded)
    day.operator.go_to_row(period.text)
    for key in ("Menu", "shift+F10"):
        day.operator.press(key)
        menu = day.operator.wait(f"{key} opens a menu", lambda view: view.menu)
        expect("the menu of a pending period",
               [action["text"] for action in menu.itself["actions"]], ["Remove"])
        if key == "Menu":
            day.operator.press("Escape")
            day.operator.wait("the menu is closed", lambda view: view.menu is None)
    day.operator.press("Down", "Return")
    wait_until("the database holds no such period",
               lambda: period not in day.service.periods(tracker.serial))
    day.check_reloaded(day.groups[1], "no such period")


def rename(day: Day) -> None:
    tracker = commands.renamed(day)
    day.operator.go_to_row(tracker.serial)
    day.operator.press("F2")
    dialog = day.operator.wait("the dialog is open", lambda view: view.dialog)
    expect("the name in the dialog", dialog.widget("trackerNameLineEdit").text, tracker.name)
    day.operator.go_to("trackerNameLineEdit")
    day.operator.press("ctrl+a")
    day.operator.type(commands.NEW_NAME)
    day.operator.press("Return")
    wait_until("the database holds the new name",
               lambda: commands.renamed(day).name == commands.NEW_NAME)
    day.operator.wait("the dialog is closed", lambda view: view.dialog is None)


def refresh(day: Day) -> None:
    day.operator.go_to("buttonRefresh")
    day.operator.press("space")
    day.check_group(day.groups[0])
    day.operator.go_to("groupComboBox")
    day.operator.press("Down")
    view = day.check_group(day.groups[1])
    expect("the name in the table", view.row(commands.renamed(day).serial).texts[1],
           commands.NEW_NAME)


def log_out(day: Day) -> None:
    day.operator.go_to("loginButton")
    day.operator.press("space")
    day.check_logged_out()


def quit_client(day: Day) -> None:
    day.operator.close_window()
    expect("the exit code", day.end_client(), 0)


def second_start(day: Day) -> None:
    day.start_client()
    day.operator.wait("the keyboard is in the password field",
                      lambda view: view.widget("passwordLineEdit").focus)
    day.operator.type(day.password)
    day.operator.press("Return")
    day.check_group(day.groups[0])
