"""Asking an X server's window manager, as a taskbar does, to close a window."""

from __future__ import annotations

import ctypes
import os

from clientprocess import Failure
from screen import Screen

CLIENT_MESSAGE = 33
SUBSTRUCTURE = 1 << 19 | 1 << 20  # what a window manager listens to at the root window


class _Message(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("sent", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong), ("kind", ctypes.c_ulong),
                ("format", ctypes.c_int), ("data", ctypes.c_long * 5),
                ("room", ctypes.c_long * 24)]  # an event is as large as the largest kind of it


class Manager:
    """A connection of its own to the screen."""

    def __init__(self, screen: Screen) -> None:
        self._x = ctypes.CDLL("libX11.so.6")
        self._x.XOpenDisplay.restype = ctypes.c_void_p
        self._x.XInternAtom.restype = ctypes.c_ulong
        self._x.XDefaultRootWindow.restype = ctypes.c_ulong
        before = os.environ.get("XAUTHORITY")
        os.environ["XAUTHORITY"] = screen.environment["XAUTHORITY"]
        try:
            display = self._x.XOpenDisplay(screen.environment["DISPLAY"].encode())
        finally:
            if before is None:
                del os.environ["XAUTHORITY"]
            else:
                os.environ["XAUTHORITY"] = before
        if not display:
            raise Failure("The screen cannot be opened.")
        self._display = ctypes.c_void_p(display)
        self.close_atom = self._atom(b"WM_DELETE_WINDOW")

    def _atom(self, name: bytes) -> int:
        return self._x.XInternAtom(self._display, name, 0)

    def ask_to_close(self, window: int) -> None:
        message = _Message(type=CLIENT_MESSAGE, window=window, format=32,
                           kind=self._atom(b"_NET_CLOSE_WINDOW"))
        root = ctypes.c_ulong(self._x.XDefaultRootWindow(self._display))
        self._x.XSendEvent(self._display, root, 0, ctypes.c_long(SUBSTRUCTURE),
                           ctypes.byref(message))
        self._x.XFlush(self._display)

    def close(self) -> None:
        self._x.XCloseDisplay(self._display)
