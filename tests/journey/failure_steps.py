"""The same day when the session ends, and when the network fails: every command, every failure.

What holds after each one: the window is usable, nothing is booked twice, nothing is lost."""

from __future__ import annotations

from collections.abc import Callable
from datetime import date, timedelta

import command_steps as commands
from client import View, wait_until
from day import Day
from network import NONSENSE, Mode
from screen import Failure
from service import Books, Tracker, expect

GROUPS = "GET /bsGetMyGroups.php"
TRACKERS = "GET /bsGetGroupTrackers.php"
DETAILS = "GET /bsGetGroupTrackerInfo.php?fx=getInfo"
NEW_NAMES = ["Kestrel", "Kite"]
PRICE, EXTENDED_PRICE = 50, 100  # cents a day


def session_expired(day: Day) -> None:
    day.service.restart()
    day.operator.click("buttonRefresh")
    day.check_logged_out()
    expect("a box or dialog", day.operator.see().dialog, None)


def log_in_again(day: Day) -> None:
    books = day.service.books()
    day.log_in(day.password)
    day.operator.press("Return")
    check_first_group(day)
    check_books(day, books)


class Command:
    """Something that the operator has the service do, in the first group and ending there."""

    title: str
    request: str  # how its line begins; the client never posts one twice

    def prepare(self, day: Day) -> None:
        """Everything but the click that sends the request."""

    def send(self, day: Day) -> None:
        raise NotImplementedError

    def carry_out(self, books: Books) -> None:
        """What the command does if it reaches the service."""

    def check_failed(self, day: Day) -> None:
        """Waits for what a failure shows: mostly a reloaded table, here one that failed, too."""
        day.operator.wait("an empty table is shown", check_emptied)

    def work_on(self, day: Day) -> None:
        """What the operator goes on with while this command waits for its answer."""
        refresh(day)

    def release(self, day: Day) -> None:
        """A failed post reloads the table. The framework repeats a get, which then succeeds."""
        release_until(day, TRACKERS)

    def recover(self, day: Day) -> None:
        check_usable(day)
        refresh(day)


class Login(Command):
    title = "the login"
    request = "POST /bslogin.php"

    def prepare(self, day: Day) -> None:
        day.operator.click("loginButton")
        day.check_logged_out()
        day.log_in(day.password)

    def send(self, day: Day) -> None:
        day.operator.click("loginButton")

    def check_failed(self, day: Day) -> None:
        box = day.operator.wait("a box has opened", lambda view: view.dialog)
        expect("the box's title", box.title, "Error")
        expect("the box's text", box.itself.text, "")
        close_dialog(day, "OK")

    def work_on(self, day: Day) -> None:
        expect("the button is enabled", day.operator.see().widget("loginButton").enabled, False)
        day.operator.fill("userLineEdit", "someone else")
        day.operator.fill("userLineEdit", day.email)

    def release(self, day: Day) -> None:
        day.network.release()
        self.check_failed(day)

    def recover(self, day: Day) -> None:
        view = day.operator.see()
        expect("the button", view.widget("loginButton").text, "Login")
        for name in ("userLineEdit", "passwordLineEdit", "loginButton"):
            expect(f"{name} is enabled", view.widget(name).enabled, True)
        loads = day.network.count(TRACKERS)
        day.operator.click("loginButton")  # with the password that was kept
        wait_for_load(day, loads)


class GroupList(Command):
    title = "the list of groups"
    request = GROUPS

    def send(self, day: Day) -> None:
        day.operator.click("buttonRefresh")

    def check_failed(self, day: Day) -> None:
        day.operator.wait("no group is listed",
                          lambda view: not view.widget("groupComboBox")["items"])


class TrackerList(Command):
    # A list that comes late shows under the group that was chosen meanwhile, until the recovery.
    title = "the list of trackers"
    request = TRACKERS

    def send(self, day: Day) -> None:
        day.operator.choose("groupComboBox", day.groups[1])


class OnTracker(Command):
    """A command for one of the group's trackers, which find() chooses."""

    tracker: Tracker

    def find(self, day: Day, fits: Callable[[Tracker], object]) -> None:
        self.tracker = next(tracker for tracker in day.service.trackers(day.groups[0])
                            if tracker.enabled and fits(tracker))


class Posted(OnTracker):
    """A command that is sent with the answer to a question."""

    button: str

    def choose(self, day: Day) -> None:
        raise NotImplementedError

    def prepare(self, day: Day) -> None:
        self.choose(day)
        day.operator.tick(self.tracker.serial)
        day.operator.click(self.button)
        day.operator.wait("a question is asked", lambda view: view.dialog)

    def send(self, day: Day) -> None:
        close_dialog(day, "Yes")


class Schedule(Posted):
    title = "an activation"
    request = "POST /activateTrackers.php"
    button = "activateButton"

    def choose(self, day: Day) -> None:
        self.find(day, lambda tracker: not tracker.periods)
        self.first = date.fromisoformat(day.clock.today)

    def carry_out(self, books: Books) -> None:
        last = self.first + timedelta(days=commands.DAYS - 1)
        serial = self.tracker.serial
        price = commands.DAYS * (EXTENDED_PRICE if books.extended[serial] else PRICE)
        books.cents -= price
        books.periods.append((serial, self.first.isoformat(), last.isoformat(), price))


class Profile(Posted):
    title = "a profile"
    request = "POST /extendTrackers.php"
    button = "extendProfile"

    def choose(self, day: Day) -> None:
        self.find(day, lambda tracker: tracker.colour is None)

    def carry_out(self, books: Books) -> None:
        books.extended[self.tracker.serial] = True


class Removal(OnTracker):
    title = "a removal"
    request = "GET /removeActivation.php"

    def prepare(self, day: Day) -> None:
        self.find(day, lambda tracker: tracker.periods and not tracker.periods[-1].done)
        self.period = self.tracker.periods[-1]
        day.operator.expand(self.tracker.serial)
        expect("the menu", day.operator.open_menu(self.period.text), ["Remove"])

    def send(self, day: Day) -> None:
        day.operator.choose_action("Remove")

    def carry_out(self, books: Books) -> None:
        period = next(row for row in books.periods if row[0] == self.tracker.serial
                      and f"{row[1]} -> {row[2]}" == self.period.text)
        books.periods.remove(period)
        books.cents += period[3]


class LookUp(OnTracker):
    title = "a look at details"
    request = DETAILS

    def prepare(self, day: Day) -> None:
        self.find(day, lambda tracker: tracker.name)

    def send(self, day: Day) -> None:
        day.operator.double_click(self.tracker.serial)

    def check_failed(self, day: Day) -> None:
        self.check_dialog(day, "")

    def check_dialog(self, day: Day, name: str) -> None:
        dialog = day.operator.wait("the dialog is open", lambda view: view.dialog)
        expect("the name in the dialog", dialog.widget("trackerNameLineEdit").text, name)
        close_dialog(day, "Cancel")

    def release(self, day: Day) -> None:
        day.network.release()
        self.check_dialog(day, self.tracker.name)


class SavedName(OnTracker):
    title = "a saved name"
    request = "GET /bsGetGroupTrackerInfo.php?fx=saveInfo"

    def prepare(self, day: Day) -> None:
        self.find(day, lambda tracker: tracker.name)
        self.name = next(name for name in NEW_NAMES if name != self.tracker.name)
        day.operator.double_click(self.tracker.serial)
        dialog = day.operator.wait("the dialog is open", lambda view: view.dialog)
        day.operator.point_and_click(dialog.widget("trackerNameLineEdit").shown_rect, "the name")
        day.operator.press("ctrl+a")
        day.operator.type(self.name)
        day.operator.wait("the dialog has taken the name", lambda view: view.dialog is not None
                          and view.dialog.widget("trackerNameLineEdit").text == self.name)

    def send(self, day: Day) -> None:
        self.logged = logged_failures(day)
        close_dialog(day, "OK")

    def carry_out(self, books: Books) -> None:
        books.names[self.tracker.serial] = self.name

    def check_failed(self, day: Day) -> None:
        # The window shows nothing, whether a name was saved or not; the log has the empty reply.
        wait_until("the client has logged a failure", lambda: logged_failures(day) > self.logged)

    def release(self, day: Day) -> None:
        release_until(day, self.request)


COMMANDS: list[type[Command]] = [Login, GroupList, TrackerList, Schedule, Profile, Removal, LookUp,
                                 SavedName]


def refresh(day: Day) -> None:
    loads = day.network.count(TRACKERS)
    day.operator.click("buttonRefresh")
    wait_for_load(day, loads)


def wait_for_load(day: Day, before: int) -> None:
    """A table that is not reloaded yet may look like the reloaded one: only the request tells."""
    wait_until("the trackers are asked for", lambda: day.network.count(TRACKERS) > before)
    check_first_group(day)


def check_first_group(day: Day) -> None:
    view = day.check_group(day.groups[0])
    expect("the groups", view.widget("groupComboBox")["items"], day.groups)
    check_usable(day)


def release_until(day: Day, request: str) -> None:
    before = day.network.count(request)
    day.network.release()
    wait_until(f'"{request}" comes', lambda: day.network.count(request) > before)


def close_dialog(day: Day, button: str) -> None:
    day.operator.click_button(button)
    day.operator.wait("the box or dialog is closed", lambda view: view.dialog is None)


def logged_failures(day: Day) -> int:
    """The empty replies and the nonsense in the client's log."""
    assert day.client is not None
    lines = day.client.log.read_text(encoding="utf-8", errors="replace").splitlines()
    nonsense = NONSENSE.partition(b" ")[0].decode()
    return sum(line.endswith('""') or nonsense in line for line in lines)


def check_emptied(view: View) -> bool:
    expect("the number of trackers", view.widget("numberTrackers").text, "(0)")
    expect("the table", [row.text for row in view.table], [])
    expect("the balance", view.widget("accountBalance").text, "")
    return True


def check_usable(day: Day) -> None:
    view = day.operator.see()
    expect("a box or dialog", view.dialog, None)
    expect("the progress bar is shown", view.widget("progressBar").visible, False)
    expect("the button", view.widget("loginButton").text, "Logout")
    for name in ("loginButton", "groupComboBox", "calendarWidget", "weeksSpinBox", "treeView",
                 "activateButton", "extendProfile", "normalProfile", "buttonRefresh"):
        expect(f"{name} is enabled", view.widget(name).enabled, True)


def check_books(day: Day, right: Books) -> None:
    """Nothing booked twice, nothing lost; only the differences are shown."""
    seen, expected = day.service.books().entries(), right.entries()
    if seen != expected:
        raise Failure(f"the database holds {list(seen - expected)} too much "
                      f"and lacks {list(expected - seen)}.")


def check_sent(day: Day, command: Command, mode: Mode, before: int) -> None:
    times = day.network.count(command.request) - before
    if command.request.startswith("POST") or mode is Mode.REFUSE:
        expect("how often the request came", times, int(mode is not Mode.REFUSE))
    elif not times:
        raise Failure(f'"{command.request}" did not come.')


def fail(day: Day, command: Command, mode: Mode) -> None:
    books = day.service.books()
    command.prepare(day)
    before = day.network.count(command.request)
    day.network.become(mode)
    command.send(day)
    if mode is Mode.STALL:
        wait_until("the request is held", lambda: day.network.count(command.request) > before)
        day.network.become(Mode.PASS)  # for everything but what is held
        command.work_on(day)
        check_sent(day, command, mode, before)
        command.release(day)
    else:
        command.check_failed(day)
        check_sent(day, command, mode, before)
        day.network.become(Mode.PASS)
    repeated = mode is Mode.STALL and command.request.startswith("GET")
    if mode is Mode.ANSWER_LOST or repeated:
        command.carry_out(books)
    command.recover(day)
    if isinstance(command, Posted):
        check_sent(day, command, mode, before)  # not sent again later, either
    check_books(day, books)
    expect("the warnings of activations that came twice",
           day.service.log_text().count("DUPLICATE ACTIVATION"), 0)


def every_command(mode: Mode) -> Callable[[Day], None]:
    def step(day: Day) -> None:
        for command in COMMANDS:
            try:
                fail(day, command(), mode)
            except Failure as failure:
                raise type(failure)(f"{command.title}, {mode.value}: {failure}") from failure

    return step
