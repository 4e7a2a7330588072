"""The operator: looks at the client's window and works it with mouse and keyboard."""

from __future__ import annotations

from collections.abc import Callable

from client import Client, Row, View, Widget
from clientprocess import Failure, Found, wait_until
from screen import Picture, Rect, Screen

LEFT, RIGHT, WHEEL_UP, WHEEL_DOWN = "1", "3", "4", "5"
MOST_WHEEL_TURNS = 400
CARET = (0, 0, 0)


class Operator:
    """Every action waits for what it needs and for what it brings about, none by the clock."""

    def __init__(self, screen: Screen) -> None:
        self._screen = screen
        self._client: Client | None = None

    def sit_down(self, client: Client) -> None:
        """From now on at this client."""
        self._client = client
        self.wait("the main window is there and has the focus", lambda view: view.main.active, 20)

    # Looking

    def see(self) -> View:
        if self._client is None:
            raise Failure("The operator sits at no client.")
        return self._client.see()

    def wait(self, what: str, look: Callable[[View], Found | None], seconds: float = 10.0) -> Found:
        """Looks until the condition holds and returns what it gave."""
        return wait_until(what, lambda: look(self.see()), seconds)

    def picture(self) -> Picture:
        """The screen, once it shows what the client painted last."""
        self._park()

        def settled() -> Picture | None:
            before = self._screen.picture()
            view = self.see()
            after = self._screen.picture()
            return after if before == after and self._caret_shown(view, after) else None

        return wait_until("the picture on the screen stands still", settled)

    def _park(self) -> None:
        """Takes the mouse away, so that nothing is lit up below it but what hangs on it."""
        view = self.see()
        if not (view.tool_tip or view.menu or view.list_popup):
            self._screen.tool("mousemove", "0", "0")

    @staticmethod
    def _caret_shown(view: View, picture: Picture) -> bool:
        """A caret blinks: pictures are taken while it shows, so that all of them are alike."""
        for window in view.windows:
            for edit in window.shown("QLineEdit"):
                if window.active and edit.focus and edit.enabled and edit.caret_rect:
                    return CARET in picture.colours(edit.caret_rect)
        return True

    # Mouse and keyboard

    def move_to(self, rect: Rect | None, what: str) -> None:
        if rect is None:
            raise Failure(f"{what} is not in sight.")
        x, y = rect.centre
        self._screen.tool("mousemove", str(x), str(y))

    def point_and_click(self, rect: Rect | None, what: str, button: str = LEFT,
                        times: int = 1) -> None:
        self.move_to(rect, what)
        self._screen.tool("click", "--repeat", str(times), "--delay", "40", button)

    def press(self, *keys: str) -> None:
        if keys:
            self._screen.tool("key", "--", *keys)

    def type(self, text: str) -> None:
        self._screen.tool("type", "--delay", "10", "--", text)

    # Widgets

    def click(self, name: str) -> None:
        """Clicks a widget of the main window."""
        def usable(view: View) -> Widget | None:
            widget = view.widget(name)
            return widget if widget.enabled and widget.shown_rect else None

        widget = self.wait(f"{name} is in sight and enabled", usable)
        rect = widget.shown_rect
        if rect is not None and widget.is_a("QCheckBox"):
            # It takes clicks on its box and its text only, not on all of the room that it has.
            rect = Rect(rect.x, rect.y, rect.height, rect.height)
        self.point_and_click(rect, name)

    def click_button(self, text: str) -> None:
        """Clicks a button by its text: in the open box or dialog, otherwise in the main window."""
        def usable(view: View) -> Widget | None:
            button = (view.dialog or view.main).button(text)
            return button if button.enabled and button.shown_rect else None

        button = self.wait(f'the button "{text}" is in sight and enabled', usable)
        self.point_and_click(button.shown_rect, f'the button "{text}"')

    def fill(self, name: str, text: str) -> None:
        """Types into a line edit of the main window, in place of what stands there."""
        self.click(name)
        self.wait(f"{name} has the focus", lambda view: view.widget(name).focus)
        if self.see().widget(name).text:
            self.press("ctrl+a", "BackSpace")
            self.wait(f"{name} is empty", lambda view: not view.widget(name).text)
        self.type(text)
        self.wait(f"{name} has taken the text",
                  lambda view: len(view.widget(name).text) == len(text))

    def choose(self, name: str, entry: str) -> None:
        """Chooses an entry of a combo box with the mouse."""
        self.click(name)
        rows = self.wait(f"the list of {name} is open", lambda view: view.list_popup)
        for row in rows:
            if row.text == entry:
                break
        else:
            raise Failure(f'{name} has no entry "{entry}", only {[row.text for row in rows]}.')
        # A list that opened under the resting mouse ignores a click until the mouse has moved.
        self.move_to(rows[-1].text_rect, f"the last entry of {name}")
        self.move_to(row.text_rect, f'the entry "{entry}"')
        self._screen.tool("click", LEFT)
        view = self.wait(f'{name} shows "{entry}"',
                         lambda view: view if view.list_popup is None
                         and view.widget(name).text == entry else None)
        # A box whose list closed stays lit up now and then, until the mouse has been there again.
        self.move_to(view.widget(name).shown_rect, name)
        self.see()

    def close_window(self) -> None:
        """Asks the window manager to close the active window."""
        self.press("alt+F4")

    # Keys alone

    def _focus_name(self) -> str:
        focus = self.wait("a widget has the keyboard", lambda view: view.focus)
        return focus.name or focus.text

    def _next_widget(self, key: str) -> str:
        """Presses a key that takes the keyboard to another widget; returns that one's name."""
        before = self._focus_name()
        self.press(key)
        self.wait(f"{key} leaves {before}", lambda view: view.focus is not None
                  and (view.focus.name or view.focus.text) != before)
        return self._focus_name()

    def way_of(self, key: str) -> list[str]:
        """The widgets that a key leads through, from the present one until it is back there."""
        names = [self._focus_name()]
        while (name := self._next_widget(key)) != names[0]:
            if name in names:
                raise Failure(f"{key} leads round and round: {[*names, name]}.")
            names.append(name)
        return names

    def go_to(self, name: str) -> None:
        """Presses Tab until a widget of the active window has the keyboard."""
        seen = [self._focus_name()]
        while seen[-1] != name:
            seen.append(self._next_widget("Tab"))
            if seen[-1] in seen[:-1]:
                raise Failure(f"Tab does not lead to {name}, only to {seen}.")

    def go_to_row(self, text: str) -> None:
        """Goes down the table from its first row; rows that cannot be ticked are passed over."""
        self.go_to("treeView")
        self.press("Home")
        view = self.wait("the first row is the current one", lambda view: view if any(
            row.current for row in view.unfolded()) else None)
        texts = [row.text for row in view.unfolded() if row.enabled]
        if text not in texts:
            raise Failure(f'The keys find no row "{text}", only {texts}.')
        self.press(*["Down"] * texts.index(text))
        self.wait(f'the row "{text}" is the current one', lambda view: view.row(text).current)

    # The table

    def find_row(self, text: str) -> Row:
        """The row with this first cell, scrolled into sight with the wheel."""
        self.wait(f'the table has a row "{text}"', lambda view: view.row(text))
        for _ in range(MOST_WHEEL_TURNS):
            view = self.see()
            row = view.row(text)
            if row.in_sight:
                return row
            shown = list(view.unfolded())
            above = [other.in_sight for other in shown[:shown.index(row)]]
            self.point_and_click(view.widget("treeView").shown_rect, "the table",
                                 WHEEL_DOWN if any(above) else WHEEL_UP)
        raise Failure(f'The row "{text}" cannot be scrolled into sight.')

    def tick(self, text: str) -> None:
        row = self.find_row(text)
        self.point_and_click(row.check_rect, f"the check box of {text}")
        self.wait(f"the tick of {text} changed", lambda view: view.row(text).check != row.check)

    def expand(self, text: str) -> None:
        row = self.find_row(text)
        self.point_and_click(row.branch_rect, f"the branch of {text}")
        self.wait(f"the row of {text} is expanded", lambda view: view.row(text).expanded)

    def double_click(self, text: str) -> None:
        self.point_and_click(self.find_row(text).text_rect, f"the row of {text}", times=2)

    def open_menu(self, text: str) -> list[str]:
        """Right-clicks a row and returns the texts of the menu that opens."""
        self.point_and_click(self.find_row(text).text_rect, f"the row of {text}", RIGHT)
        menu = self.wait("the context menu is open", lambda view: view.menu)
        return [action["text"] for action in menu.itself["actions"]]

    def choose_action(self, text: str) -> None:
        """Clicks an entry of the open menu."""
        menu = self.wait("a menu is open", lambda view: view.menu)
        for action in menu.itself["actions"]:
            if action["text"] == text and action["rect"]:
                self.point_and_click(Rect(*action["rect"]), f'the entry "{text}"')
                self.wait("the menu is closed", lambda view: view.menu is None)
                return
        raise Failure(f'The menu has no entry "{text}".')

    def hover(self, text: str) -> str:
        """Rests the mouse on a row until its tool tip shows; returns the tip's text."""
        rect = self.find_row(text).text_rect
        self.move_to(rect, f"the row of {text}")
        # A tool tip belongs to a mouse that moved over the row and then rests.
        self._screen.tool("mousemove_relative", "2", "0")
        return self.wait(f"the tool tip of {text} shows", lambda view: view.tool_tip)
