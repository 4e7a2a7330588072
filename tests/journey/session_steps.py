"""Starting, logging in and out, looking at groups, quitting."""

from __future__ import annotations

from collections import Counter

from client import View
from clientprocess import Failure, wait_until
from day import Day
from screen import Picture
from service import Tracker, expect

WRONG_PASSWORD = "not the password"


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
    def look() -> Picture:
        rect = day.operator.see().widget("passwordLineEdit").shown_rect
        assert rect is not None
        return day.operator.picture().cut(rect)

    def painted(password: str) -> Picture:
        day.log_in(password)
        field = day.operator.see().widget("passwordLineEdit")
        expect("the different characters in the password field", len(set(field.text)), 1)
        if password[:1] == field.text[:1] or field.shown_rect is None:
            raise Failure(f"The password field shows {field.text!r}.")
        return look()

    empty, other, wrong = look(), painted(WRONG_PASSWORD[::-1]), painted(WRONG_PASSWORD)
    expect("a typed password is painted like none", wrong == empty, False)
    # A field that just got its text may still change its look: the caret, the frame of the focus.
    wait_until("two passwords of one length are painted alike", lambda: look() == other)


def first_start(day: Day) -> None:
    day.start_client()
    view = day.operator.see()
    expect("the title", view.main.title, "Veltrano")
    expect("the user field", view.widget("userLineEdit").text, "")
    expect("the password field", view.widget("passwordLineEdit").text, "")
    expect("the button", view.widget("loginButton").text, "Login")
    expect("the table", view.table, [])
    expect("a box or dialog", view.dialog, None)


def wrong_password(day: Day) -> None:
    check_password_hidden(day)
    day.operator.click("loginButton")
    box = day.operator.wait("a box has opened", lambda view: view.dialog)
    expect("the box's title", box.title, "Error")
    refusal = day.service.ask("/bslogin.php", email=day.email, password=WRONG_PASSWORD)
    expect("the box's text", box.itself.text, refusal["msg"])


def box_closed(day: Day) -> None:
    day.operator.click_button("OK")
    view = day.operator.wait("the box is closed",
                             lambda view: view if view.dialog is None else None)
    expect("the button", view.widget("loginButton").text, "Login")
    expect("the length of the kept password", len(view.widget("passwordLineEdit").text),
           len(WRONG_PASSWORD))


def log_in_with_return(day: Day) -> None:
    day.log_in(day.password)
    day.operator.press("Return")
    view = day.check_group(day.groups[0])
    expect("the groups", view.widget("groupComboBox")["items"], day.groups)
    expect("the button", view.widget("loginButton").text, "Logout")
    expect("the user field is enabled", view.widget("userLineEdit").enabled, False)
    expect("the password field is enabled", view.widget("passwordLineEdit").enabled, False)


def second_group(day: Day) -> None:
    day.operator.choose("groupComboBox", day.groups[1])
    check_lights_on_screen(day, day.check_group(day.groups[1]))


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


def tool_tip(day: Day) -> None:
    shared = next(tracker for tracker in day.service.trackers(day.groups[1]) if tracker.tip)
    expect(f"the tool tip of {shared.serial}", day.operator.hover(shared.serial), shared.tip)


def session_expired(day: Day) -> None:
    day.service.restart()
    day.operator.click("buttonRefresh")
    day.check_logged_out()
    expect("a box or dialog", day.operator.see().dialog, None)


def log_in_again(day: Day) -> None:
    books = day.service.books()
    day.log_in(day.password)
    day.operator.press("Return")
    view = day.check_group(day.groups[0])
    expect("the groups", view.widget("groupComboBox")["items"], day.groups)
    expect("a box or dialog", view.dialog, None)
    expect("the button", view.widget("loginButton").text, "Logout")
    for name in ("loginButton", "groupComboBox", "calendarWidget", "weeksSpinBox", "treeView",
                 "activateButton", "extendProfile", "normalProfile", "buttonRefresh"):
        expect(f"{name} is enabled", view.widget(name).enabled, True)
    expect("the books", day.service.books(), books)


def log_out(day: Day) -> None:
    day.operator.click("loginButton")
    day.check_logged_out()
    expect("the user field", day.operator.see().widget("userLineEdit").text, day.email)


def log_in_with_button(day: Day) -> None:
    day.log_in(day.password)
    day.operator.click("loginButton")
    day.check_group(day.groups[0])


def quit_client(day: Day) -> None:
    assert day.client is not None
    log = day.client.log
    day.operator.close_window()
    expect("the exit code", day.end_client(), 0)
    for file, text in ((log, log.read_text(encoding="utf-8", errors="replace")),
                       (day.service.log, day.service.log_text())):
        for secret in (day.password, WRONG_PASSWORD):
            if secret in text:
                raise Failure(f"A password stands in {file}.")


def second_start(day: Day) -> None:
    day.start_client()
    view = day.operator.see()
    expect("the remembered user", view.widget("userLineEdit").text, day.email)
    expect("the password field", view.widget("passwordLineEdit").text, "")
    expect("the button", view.widget("loginButton").text, "Login")
    expect("the table", view.table, [])
