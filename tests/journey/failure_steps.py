"""The exercises of the sandbox's README: what an operator sees where it fails on purpose."""

from __future__ import annotations

import re
from collections.abc import Callable
from pathlib import Path

from client import View
from clientprocess import wait_until
from day import Day
from service import Tracker, expect

README = Path(__file__).parents[2] / "sandbox" / "README.md"


def begin(day: Day, failure: str) -> None:
    """A new start of sandbox and client."""
    if day.client is not None:
        day.client.close()
    day.service.restart("--reset", "--fail", failure)
    day.start_client()
    day.log_in(day.password)
    day.operator.press("Return")


def failed(day: Day) -> None:
    wait_until("a request has failed on purpose",
               lambda: "FAILED ON PURPOSE" in day.service.log_of_this_start())


def unbooked(day: Day) -> Tracker:
    return next(tracker for tracker in day.service.trackers(day.groups[0])
                if tracker.enabled and not tracker.periods)


def say_yes(day: Day, tracker: Tracker) -> None:
    day.operator.tick(tracker.serial)
    day.operator.click("activateButton")
    day.operator.wait("a question is asked", lambda view: view.dialog)
    day.operator.click_button("Yes")


def book(day: Day) -> Tracker:
    """Once it is carried out; returns the tracker as it was before."""
    day.check_group(day.groups[0])
    tracker = unbooked(day)
    say_yes(day, tracker)
    wait_until("the database holds the period", lambda: day.service.periods(tracker.serial))
    return tracker


def refresh(day: Day) -> None:
    """After which everything is as it should be."""
    day.operator.click("buttonRefresh")
    day.check_group(day.groups[0])


def check_lost_list(day: Day) -> None:
    view = day.operator.wait("the list is none", lambda view: view if view.widget(
        "numberTrackers").text == "(0)" else None)
    expect("the table", view.table, [])
    expect("the balance", view.widget("accountBalance").text, "")
    expect("the progress bar is shown", view.widget("progressBar").visible, False)
    refresh(day)


def lost_login(day: Day) -> None:
    box = day.operator.wait("a box has opened", lambda view: view.dialog)
    expect("the box", (box.title, box.itself.text), ("Error", ""))
    day.operator.click_button("OK")


def silent_login(day: Day) -> None:
    failed(day)
    view = day.operator.see()
    expect("a box or dialog", view.dialog, None)
    expect("the button is enabled", view.widget("loginButton").enabled, False)
    day.operator.close_window()
    expect("the exit code", day.end_client(), 0)


def slow_list(day: Day) -> None:
    failed(day)
    day.operator.choose("groupComboBox", day.groups[1])
    day.check_group(day.groups[1])
    first = [tracker.serial for tracker in day.service.trackers(day.groups[0])]
    view = day.operator.wait("the first group's trackers come late", lambda view: view if [
        row.text for row in view.table] == first else None)
    expect("the current group", view.widget("groupComboBox").text, day.groups[1])
    expect("the number of trackers", view.widget("numberTrackers").text, f"({len(first)})")


def lost_groups(day: Day) -> None:
    old = day.check_group(day.groups[0])
    day.operator.click("buttonRefresh")
    day.operator.wait("there is no group",
                      lambda view: not view.widget("groupComboBox")["items"])
    tracker = unbooked(day)
    say_yes(day, tracker)
    wait_until("the database holds the period", lambda: day.service.periods(tracker.serial))
    view = day.operator.wait("the command is answered", lambda view: view if not view.widget(
        "progressBar").visible else None)
    # The command succeeded, and nothing shows it.
    expect("the tracker's periods", view.row(tracker.serial).rows, [])
    expect("the balance", view.widget("accountBalance").text, old.widget("accountBalance").text)
    refresh(day)


def lost_answer(day: Day) -> None:
    book(day)
    day.check_reloaded(day.groups[0], "the period")


def lost_list_after_booking(day: Day) -> None:
    book(day)
    check_lost_list(day)


def refused_booking(day: Day) -> None:
    day.check_group(day.groups[0])
    tracker = unbooked(day)
    say_yes(day, tracker)
    failed(day)
    day.operator.wait("the table is reloaded", lambda view: not view.row(tracker.serial).check)
    day.check_group(day.groups[0])
    expect("the periods", day.service.periods(tracker.serial), ())
    book(day)
    day.check_reloaded(day.groups[0], "the period")


def refused_list_after_booking(day: Day) -> None:
    book(day)
    view = day.operator.wait("nobody is logged in", lambda view: view if view.widget(
        "loginButton").text == "Login" else None)
    expect("a box or dialog", view.dialog, None)
    expect("the table", view.table, [])
    day.log_in(day.password)
    day.operator.press("Return")
    day.check_group(day.groups[0])


def silent_booking(day: Day) -> None:
    tracker = book(day)

    def waiting(view: View) -> bool:
        bar = view.widget("progressBar")
        return bar.visible and bar.text == "100%"
    day.operator.wait("the bar stays", waiting)
    failed(day)
    view = day.operator.see()
    expect("it still does", waiting(view), True)
    expect("the tracker's periods", view.row(tracker.serial).rows, [])
    refresh(day)


EXERCISES: dict[str, Callable[[Day], None]] = {
    "error-page": lost_login,
    "silent": silent_login,
    "empty-reply:3": check_lost_list,
    "slow:3": slow_list,
    "empty-reply:4": lost_groups,
    "cut-reply:4": lost_answer,
    "cut-reply:5": lost_list_after_booking,
    "refuse-session:4": refused_booking,
    "refuse-session:5": refused_list_after_booking,
    "silent:4": silent_booking,
}


def all_are_played(_: Day) -> None:
    written = re.findall(r"^\| `--fail ([\w:-]+)` \| (?!fail)", README.read_text(encoding="utf-8"),
                         re.M)
    expect("the exercises in the README", written, list(EXERCISES))


def exercise(failure: str) -> Callable[[Day], None]:
    def play(day: Day) -> None:
        begin(day, failure)
        EXERCISES[failure](day)
        failed(day)
    return play


STEPS = [("All are played", all_are_played),
         *((f"--fail {failure}", exercise(failure)) for failure in EXERCISES)]
