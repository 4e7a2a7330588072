"""A short look at the window on other screens: nothing that an operator needs may be cut."""

from __future__ import annotations

from collections.abc import Callable

import session_steps as session
from client import View
from day import Day
from service import expect

FEWEST_ROWS = 5  # of the table that must be in sight at once
KINDS = ["QAbstractButton", "QLabel", "QLineEdit", "QComboBox", "QSpinBox", "QCalendarWidget"]


def check_widgets(view: View) -> None:
    """By the room that they have and the room that their texts need."""
    cut = [widget.name or widget.text for kind in KINDS for widget in view.main.shown(kind)
           if widget.is_cut and widget.name != "qt_spinbox_lineedit"]  # a part of its box
    expect("the widgets that are cut", cut, [])


def check_dense(day: Day) -> None:
    """The window as it is on an ordinary screen, with twice as many pixels."""
    view = day.operator.see()
    window = view.main.itself.shown_rect
    expect("the window's pixels", window and (window.width, window.height), (2 * 863, 2 * 727))
    expect("the buttons for the selection", {"Select All", "Select none"}
           - {button.text for button in view.main.shown("QPushButton")}, set())
    expect("the room that the calendar's texts need", view.widget("calendarWidget").needs[0],
           2 * 264)
    check_widgets(view)
    expect("the columns whose titles are cut", view.cut_columns, [])


def check_large_font(day: Day) -> None:
    """Columns are drawn wider by hand there; all else must be in sight on a small screen."""
    view = day.operator.see()
    frame, screen = view.main.frame, day.look
    expect("the window is on the screen", frame.x >= 0 and frame.y >= 0
           and frame.x + frame.width <= screen.width
           and frame.y + frame.height <= screen.height, True)
    check_widgets(view)
    if view.table:
        rows = [row.text for row in view.unfolded() if row.in_sight]
        expect("enough rows are in sight", len(rows) >= FEWEST_ROWS, True)


def steps(check: Callable[[Day], None]) -> list[tuple[str, Callable[[Day], None]]]:
    """The beginning of a day, looked at after each step."""
    def checked(step: Callable[[Day], None]) -> Callable[[Day], None]:
        def play(day: Day) -> None:
            step(day)
            check(day)
        return play

    return [("Start", checked(session.first_start)),
            ("Log in", checked(session.log_in_with_return)),
            ("Second group", checked(session.second_group)),
            ("Expanded tracker", checked(session.expanded_tracker)),
            ("Quit", session.quit_client)]
