"""The client's process, and what it shows: read from the probe inside it, never by guessing."""

from __future__ import annotations

import subprocess
from collections.abc import Iterator
from pathlib import Path
from typing import Any

from clientprocess import PRELOADING, ClientProcess, Failure
from clock import Clock
from screen import Rect, Screen

START_TIME = 20.0  # seconds until a started client must show its window
ANSWER_TIME = 10.0  # seconds until a client that is not hung has answered

LIGHTS = {"greenlight": "green", "yellowlight": "yellow", "redlight": "red"}


def _rect(report: dict[str, Any], key: str) -> Rect | None:
    value = report.get(key)
    return Rect(*value) if value else None


class Row:
    """A row of a table or list, top-level or under another row."""

    def __init__(self, report: dict[str, Any]) -> None:
        cells = report["cells"]
        first = cells[0] if cells else {}
        self.texts: list[str] = [cell["text"] for cell in cells]
        self.cells: list[Rect | None] = [_rect(cell, "rect") for cell in cells]
        self.text: str = first.get("text", "")
        self.check: int | None = first.get("check")
        self.colour: str | None = first.get("colour")
        self.light: str | None = LIGHTS.get(first.get("icon", ""))
        self.tip: str = report["tip"]
        self.data: list[Any] = report["data"]
        self.enabled: bool = report["enabled"]
        self.selected: bool = report["selected"]
        self.current: bool = report["current"]
        self.expanded: bool = report.get("expanded", False)
        self.in_sight: bool = report["in_sight"]
        self.check_rect = _rect(report, "check_rect")
        self.icon_rect = _rect(report, "icon_rect")
        self.text_rect = _rect(report, "text_rect")
        self.branch_rect = _rect(report, "branch_rect")
        self.rows = [Row(row) for row in report.get("rows", [])]


class Widget:
    """One widget; what is particular to its kind is read by key: widget["checked"]."""

    def __init__(self, report: dict[str, Any]) -> None:
        self._report = report
        self.name: str = report["name"]
        self.text: str = report.get("text", "")
        self.visible: bool = report["visible"]
        self.enabled: bool = report["enabled"]
        self.focus: bool = report["focus"]
        self.needs: list[int] = report["needs"]
        self.shown_rect = _rect(report, "shown_rect")
        self.caret_rect = _rect(report, "caret_rect")
        self.rows = [Row(row) for row in report.get("rows", [])]

    def __getitem__(self, key: str) -> Any:
        return self._report[key]

    def is_a(self, kind: str) -> bool:
        return kind in self._report["classes"]

    @property
    def is_cut(self) -> bool:
        """Whether there is less of it on the screen than its text or its parts need."""
        shown = self.shown_rect
        return shown is None or shown.width < self.needs[0] or shown.height < self.needs[1]


class Window:
    """A top-level window: the main window, a box, a dialog, a menu, a list that popped up."""

    def __init__(self, report: dict[str, Any]) -> None:
        self.title: str = report["title"]
        self.modal: bool = report["modal"]
        self.active: bool = report["active"]
        self.frame = Rect(*report["frame"])
        self.widgets = [Widget(widget) for widget in report["widgets"]]

    @property
    def itself(self) -> Widget:
        return self.widgets[0]

    def is_a(self, kind: str) -> bool:
        return self.itself.is_a(kind)

    def widget(self, name: str) -> Widget:
        for widget in self.widgets:
            if widget.name == name:
                return widget
        raise Failure(f'The window "{self.title}" has no widget {name}.')

    def shown(self, kind: str) -> list[Widget]:
        return [widget for widget in self.widgets if widget.visible and widget.is_a(kind)]

    def button(self, text: str) -> Widget:
        """The button with this text, whatever letter of it is underlined."""
        buttons = self.shown("QAbstractButton")
        for button in buttons:
            if button.text.replace("&", "") == text:
                return button
        raise Failure(f'The window "{self.title}" has no button "{text}", '
                      f"only {[button.text for button in buttons]}.")


class View:
    """All that the client shows at one moment."""

    def __init__(self, report: dict[str, Any]) -> None:
        self.report = report
        self.windows = [Window(window) for window in report["windows"]]

    def windows_of(self, kind: str) -> list[Window]:
        return [window for window in self.windows if window.is_a(kind)]

    @property
    def main(self) -> Window:
        windows = self.windows_of("QMainWindow")
        if not windows:
            raise Failure("The main window is not shown.")
        return windows[0]

    @property
    def dialog(self) -> Window | None:
        """The message box or dialog that waits for an answer."""
        modal = [window for window in self.windows if window.modal]
        return modal[-1] if modal else None

    @property
    def menu(self) -> Window | None:
        menus = self.windows_of("QMenu")
        return menus[-1] if menus else None

    @property
    def tool_tip(self) -> str:
        tips = self.windows_of("QTipLabel")
        return tips[0].itself.text if tips else ""

    @property
    def list_popup(self) -> list[Row] | None:
        """The entries of the combo box that is open."""
        lists = self.windows_of("QComboBoxPrivateContainer")
        return lists[0].shown("QListView")[0].rows if lists else None

    @property
    def frame(self) -> Rect:
        """What surrounds all the windows."""
        frames = [window.frame for window in self.windows]
        if not frames:
            raise Failure("The client shows no window.")
        around = frames[0]
        for frame in frames[1:]:
            around = around.united(frame)
        return around

    def widget(self, name: str) -> Widget:
        return self.main.widget(name)

    @property
    def table(self) -> list[Row]:
        return self.widget("treeView").rows

    @property
    def header(self) -> list[dict[str, Any]]:
        """The columns' titles above the table; none while the header is hidden."""
        for header in self.main.shown("QHeaderView"):
            if header["columns"] and self._inside(header, self.widget("treeView")):
                return list(header["columns"])
        return []

    @property
    def columns(self) -> list[str]:
        return [column["text"] for column in self.header]

    @property
    def cut_columns(self) -> list[str]:
        """The columns whose titles have less room in sight than they need."""
        return [column["text"] for column in self.header
                if not column["rect"] or column["rect"][2] < column["needs"][0]]

    @property
    def focus(self) -> Widget | None:
        """The widget that has the keyboard, in whichever window that is."""
        for window in self.windows:
            for widget in window.widgets:
                if widget["keyboard"]:
                    return widget
        return None

    @staticmethod
    def _inside(inner: Widget, outer: Widget) -> bool:
        return (inner.shown_rect is not None and outer.shown_rect is not None
                and outer.shown_rect.united(inner.shown_rect) == outer.shown_rect)

    def unfolded(self) -> Iterator[Row]:
        """The table's rows from top to bottom, with those under expanded rows."""
        for row in self.table:
            yield row
            if row.expanded:
                yield from row.rows

    def row(self, text: str) -> Row:
        """The row, top-level or under an expanded one, whose first cell reads so."""
        for row in self.unfolded():
            if row.text == text:
                return row
        raise Failure(f'The table shows no row "{text}".')


class Client(ClientProcess):
    """The running executable. Its input comes from the screen; here it is only started and read."""

    def __init__(self, program: Path, probe: Path, clock: Clock, reader: Path, screen: Screen,
                 folder: Path, run: int) -> None:
        socket_path = folder / f"probe-{run}"
        clock_environment = clock.environment(str(probe))
        environment = screen.environment | clock_environment | {
            "LD_PRELOAD": "", "CLIENT_PRELOAD": clock_environment["LD_PRELOAD"],
            "VELTRANO_PROBE": str(socket_path),
            "QT_QPA_PLATFORM": "xcb", "QT_STYLE_OVERRIDE": "Fusion",
            "QT_SCALE_FACTOR": str(screen.scale),
        }
        super().__init__([str(reader), *PRELOADING, str(program)], environment,
                         folder / f"client-{run}.log", socket_path, start_time=START_TIME,
                         answer_time=ANSWER_TIME, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                         bufsize=0)

    def see(self) -> View:
        return View(self.ask(""))
