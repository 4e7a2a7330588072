"""What an operator does to trackers: tick, schedule, change the profile, remove, rename."""

from __future__ import annotations

from collections.abc import Callable
from datetime import date, timedelta

from client import View
from clientprocess import wait_until
from day import Day
from service import Period, Tracker, expect

DAYS = 7  # what the field shows when the client has started
NEW_NAME = "Nora's spare"


def group(day: Day) -> str:
    return day.groups[1]


def bookable(day: Day) -> list[Tracker]:
    """Two trackers that can be ticked by hand and have nothing booked."""
    return [tracker for tracker in day.service.trackers(group(day))
            if tracker.enabled and not tracker.periods][:2]


def tick(day: Day, trackers: list[Tracker]) -> frozenset[str]:
    for tracker in trackers:
        day.operator.tick(tracker.serial)
    return frozenset(tracker.serial for tracker in trackers)


def untick(day: Day) -> None:
    day.operator.click_button("Select none")
    day.operator.wait("nothing is ticked",
                      lambda view: not any(row.check for row in view.table))


def question(day: Day, text: str) -> None:
    box = day.operator.wait("a question is asked", lambda view: view.dialog)
    expect("the question's title", box.title, "Activate ?")
    expect("the question", box.itself.text, text)


def schedule_question(day: Day, trackers: list[Tracker]) -> str:
    return (f"You are about to activate {len(trackers)} trackers.\n Starting "
            f"{day.clock.today} and during {DAYS} days. Are you sure?")


def answer_yes_and_wait(day: Day, what: str, carried_out: Callable[[], bool]) -> View:
    """The database first: a table that was not reloaded yet agrees with the old one."""
    day.operator.click_button("Yes")
    wait_until(f"the database holds {what}", carried_out)
    return day.check_reloaded(group(day), what)


def tick_by_hand(day: Day) -> None:
    day.check_group(group(day), tick(day, bookable(day)))


def select_all(day: Day) -> None:
    day.operator.click_button("Select All")
    everyone = frozenset(tracker.serial for tracker in day.service.trackers(group(day)))
    day.operator.wait("all are ticked", lambda view: all(row.check for row in view.table))
    # Those too that cannot be ticked by hand.
    day.check_group(group(day), everyone)


def select_none(day: Day) -> None:
    untick(day)
    day.check_group(group(day))


def answer_no(day: Day) -> None:
    before = day.service.log_text()
    ticked = tick(day, bookable(day))
    day.operator.click("activateButton")
    question(day, schedule_question(day, bookable(day)))
    day.operator.click_button("No")
    day.operator.wait("the question is gone", lambda view: view.dialog is None)
    day.check_group(group(day), ticked)
    expect("what the service was asked", day.service.log_text(), before)


def ask_to_schedule(day: Day) -> None:
    day.operator.click("activateButton")
    question(day, schedule_question(day, bookable(day)))


def schedule(day: Day) -> None:
    trackers = bookable(day)
    last_day = date.fromisoformat(day.clock.today) + timedelta(days=DAYS - 1)
    text = f"{day.clock.today} -> {last_day.isoformat()}"

    def booked() -> bool:
        return all([period.text for period in day.service.periods(tracker.serial)] == [text]
                   for tracker in trackers)

    answer_yes_and_wait(day, "the new periods", booked)
    for tracker in trackers:
        day.operator.expand(tracker.serial)
    expect("the warnings of activations that came twice",
           day.service.log_text().count("DUPLICATE ACTIVATION"), 0)


def has_profile(day: Day, serial: str, extended: bool) -> bool:
    (found,), = day.service.query("SELECT extended FROM tracker WHERE serial = ?", serial)
    return bool(found) == extended


def change_profile(day: Day, button: str, word: str, extended: bool) -> None:
    tracker = next(tracker for tracker in day.service.trackers(group(day))
                   if tracker.enabled and has_profile(day, tracker.serial, not extended))
    tick(day, [tracker])
    day.operator.click(button)
    question(day, f"You are about to set {word} profile on 1 trackers.\n Are you sure?")
    view = answer_yes_and_wait(day, f"the {word} profile",
                               lambda: has_profile(day, tracker.serial, extended))
    expect(f"{tracker.serial} is coloured", view.row(tracker.serial).colour is not None, extended)


def extend_profile(day: Day) -> None:
    change_profile(day, "extendProfile", "extended", True)


def normal_profile(day: Day) -> None:
    change_profile(day, "normalProfile", "normal", False)


def with_period(day: Day, done: int) -> tuple[Tracker, Period]:
    return next((tracker, period) for tracker in day.service.trackers(group(day))
                for period in tracker.periods if period.done == done and tracker.enabled)


def menu_of_done_period(day: Day) -> None:
    tracker, period = with_period(day, done=1)
    day.operator.expand(tracker.serial)
    expect("the menu of a done period", day.operator.open_menu(period.text), [])
    day.operator.press("Escape")
    day.operator.wait("the menu is closed", lambda view: view.menu is None)
    day.check_group(group(day))


def menu_of_pending_period(day: Day) -> None:
    tracker, period = with_period(day, done=0)
    if not day.operator.see().row(tracker.serial).expanded:
        day.operator.expand(tracker.serial)
    expect("the menu of a pending period", day.operator.open_menu(period.text), ["Remove"])


def remove(day: Day) -> None:
    tracker, period = with_period(day, done=0)
    before = day.service.balance()
    day.operator.choose_action("Remove")
    wait_until("the database holds no such period",
               lambda: period not in day.service.periods(tracker.serial))
    day.check_reloaded(group(day), "no such period")
    expect("the balance was left as it was", day.service.balance() == before, False)


def renamed(day: Day) -> Tracker:
    return day.service.trackers(group(day))[1]


def open_details(day: Day) -> None:
    day.operator.double_click(renamed(day).serial)
    dialog = day.operator.wait("the dialog is open", lambda view: view.dialog)
    expect("the dialog's title", dialog.title, "Dialog")
    expect("the name in the dialog", dialog.widget("trackerNameLineEdit").text, renamed(day).name)


def save_name(day: Day) -> None:
    before = renamed(day)
    dialog = day.operator.see().dialog
    assert dialog is not None
    day.operator.point_and_click(dialog.widget("trackerNameLineEdit").shown_rect, "the name")
    day.operator.press("ctrl+a")
    day.operator.type(NEW_NAME)
    day.operator.wait("the dialog has taken the name", lambda view: view.dialog is not None
                      and view.dialog.widget("trackerNameLineEdit").text == NEW_NAME)
    day.operator.click_button("OK")
    wait_until("the database holds the new name", lambda: renamed(day).name == NEW_NAME)
    # The table keeps the old name until it is asked for anew.
    view = day.operator.wait("the dialog is closed",
                             lambda view: view if view.dialog is None else None)
    expect("the name in the table", view.row(before.serial).texts[1], before.name)


def refresh(day: Day) -> None:
    day.operator.click("buttonRefresh")
    day.check_group(day.groups[0])
    day.operator.choose("groupComboBox", group(day))
    view = day.check_group(group(day))
    expect("the name in the table", view.row(renamed(day).serial).texts[1], NEW_NAME)
