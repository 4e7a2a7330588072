"""A virtual screen with a window manager, and pictures of it."""

from __future__ import annotations

import math
import os
import secrets
import select
import struct
import subprocess
import time
import zlib
from collections import Counter
from dataclasses import dataclass
from pathlib import Path
from typing import Any, NamedTuple

from clientprocess import Failure

START_TIME = 20.0  # seconds that a server or the window manager may take to start

FONT_SETTINGS = """<?xml version="1.0"?>
<!DOCTYPE fontconfig SYSTEM "fonts.dtd">
<fontconfig>
  <dir>/usr/share/fonts/truetype/dejavu</dir>
  <dir>/usr/share/fonts/truetype/droid</dir>
  <cachedir>{cache}</cachedir>
  <match target="pattern">
    <edit name="family" mode="append_last" binding="strong"><string>DejaVu Sans</string></edit>
  </match>
  <match target="font">
    <edit name="antialias" mode="assign"><bool>true</bool></edit>
    <edit name="hintstyle" mode="assign"><const>hintslight</const></edit>
    <edit name="rgba" mode="assign"><const>none</const></edit>
  </match>
</fontconfig>
"""


KDE_SETTINGS = """[General]
font=DejaVu Sans,{points},-1,5,50,0,0,0,0,0
"""


@dataclass(frozen=True)
class Look:
    """What kind of screen an operator has."""

    width: int = 1280   # window pixels
    height: int = 1024
    scale: int = 1      # the screen's pixels to one of the window's, as the environment demands it
    dpi: int = 96       # as a desktop announces it in its resources
    font_points: int = 0  # 0: the framework's own size


class Rect(NamedTuple):
    """A piece of the screen in its pixels."""

    x: int
    y: int
    width: int
    height: int

    @property
    def centre(self) -> tuple[int, int]:
        return self.x + self.width // 2, self.y + self.height // 2

    def united(self, other: Rect) -> Rect:
        x, y = min(self.x, other.x), min(self.y, other.y)
        right = max(self.x + self.width, other.x + other.width)
        bottom = max(self.y + self.height, other.y + other.height)
        return Rect(x, y, right - x, bottom - y)


class Picture:
    """What the screen showed at one moment."""

    def __init__(self, width: int, height: int, rgb: bytes) -> None:
        self.width, self.height, self.rgb = width, height, rgb

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Picture) and self.rgb == other.rgb

    @classmethod
    def from_xwd(cls, dump: bytes) -> Picture:
        head = struct.unpack(">25I", dump[:100])
        width, height, order, bits, line = head[4], head[5], head[7], head[11], head[12]
        if bits != 32 or order not in (0, 1):
            raise Failure(f"A screen with {bits} bits a pixel cannot be read.")
        start = head[0] + 12 * head[19]  # behind the header comes the colour map
        pixels = b"".join(dump[start + y * line:start + y * line + 4 * width]
                          for y in range(height))
        rgb = bytearray(3 * width * height)
        for index in range(3):
            at = 1 + index if order else 2 - index  # most or least significant byte first
            rgb[index::3] = pixels[at::4]
        return cls(width, height, bytes(rgb))

    def cut(self, rect: Rect) -> Picture:
        left, top = max(rect.x, 0), max(rect.y, 0)
        right = min(rect.x + rect.width, self.width)
        bottom = min(rect.y + rect.height, self.height)
        rows = [self.rgb[3 * (y * self.width + left):3 * (y * self.width + right)]
                for y in range(top, bottom)]
        return Picture(right - left, bottom - top, b"".join(rows))

    def colours(self, rect: Rect) -> Counter[tuple[int, int, int]]:
        rgb = self.cut(rect).rgb
        return Counter(zip(rgb[0::3], rgb[1::3], rgb[2::3]))

    def save(self, path: Path) -> None:
        def chunk(name: bytes, data: bytes) -> bytes:
            checked = name + data
            return struct.pack(">I", len(data)) + checked + struct.pack(">I", zlib.crc32(checked))

        line = 3 * self.width
        # The zero before each line says: not filtered.
        lines = b"".join(b"\0" + self.rgb[y * line:(y + 1) * line] for y in range(self.height))
        head = struct.pack(">IIBBBBB", self.width, self.height, 8, 2, 0, 0, 0)
        path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head)
                         + chunk(b"IDAT", zlib.compress(lines, 9)) + chunk(b"IEND", b""))


class Screen:
    """An X server of its own, so that nobody's desktop sees the player's mouse and keys."""

    def __init__(self, folder: Path, look: Look) -> None:
        self.scale = look.scale
        self.folder = folder
        self._processes: list[subprocess.Popen[bytes]] = []
        self._log = open(folder / "screen.log", "ab")
        authority = folder / "Xauthority"
        self._write_authority(authority)
        fonts = folder / "fonts.conf"
        fonts.write_text(FONT_SETTINGS.format(cache=folder / "fonts"), encoding="utf-8")
        # Nothing of the caller's own settings reaches the screen or what runs on it.
        self.environment = {
            "PATH": os.environ.get("PATH", os.defpath),
            "HOME": str(folder), "LANG": "C.UTF-8", "TZ": "UTC",
            "XAUTHORITY": str(authority), "FONTCONFIG_FILE": str(fonts),
            "XDG_RUNTIME_DIR": str(self._private(folder / "runtime")),
            "XDG_CONFIG_HOME": str(folder / "config"), "XDG_DATA_HOME": str(folder / "data"),
            "XDG_CACHE_HOME": str(folder / "cache"),
        }
        try:
            density = math.ceil(look.scale * look.dpi / 96)
            self._start_server(look.width * density, look.height * density, authority)
            self._announce(look)
            self._start_window_manager()
        except BaseException:
            self.close()
            raise

    @staticmethod
    def _private(folder: Path) -> Path:
        folder.mkdir(mode=0o700, exist_ok=True)
        return folder

    @staticmethod
    def _write_authority(path: Path) -> None:
        def field(data: bytes) -> bytes:
            return struct.pack(">H", len(data)) + data

        any_display = 0xFFFF
        path.touch(mode=0o600)
        path.write_bytes(struct.pack(">H", any_display) + field(b"") + field(b"")
                         + field(b"MIT-MAGIC-COOKIE-1") + field(secrets.token_bytes(16)))

    def _start_server(self, width: int, height: int, authority: Path) -> None:
        number_read, number_write = os.pipe()
        self._run(["Xvfb", "-displayfd", str(number_write), "-screen", "0", f"{width}x{height}x24",
                   "-dpi", "96", "-fbdir", str(self.folder), "-nocursor", "-noreset",
                   "-nolisten", "tcp", "-auth", str(authority)],
                  pass_fds=(number_write,))
        os.close(number_write)
        with os.fdopen(number_read, "rb") as number:
            if not select.select([number], [], [], START_TIME)[0]:
                raise Failure(f"The X server did not start within {START_TIME:.0f} s.")
            display = number.readline().strip().decode()
        if not display:
            raise Failure(f"The X server did not start; see {self._log.name}.")
        self.environment["DISPLAY"] = f":{display}"

    def _announce(self, look: Look) -> None:
        """What a desktop tells its programs of its screen and its font."""
        subprocess.run(["xrdb", "-nocpp", "-load"], env=self.environment, check=True, text=True,
                       input=f"Xft.dpi: {look.dpi}\n", timeout=START_TIME)
        if look.font_points:
            # The framework reads the font from one desktop's settings without that desktop.
            settings = Path(self.environment["XDG_CONFIG_HOME"]) / "kdeglobals"
            settings.parent.mkdir(exist_ok=True)
            settings.write_text(KDE_SETTINGS.format(points=look.font_points), encoding="utf-8")
            self.environment |= {"XDG_CURRENT_DESKTOP": "KDE", "KDE_SESSION_VERSION": "5"}

    def _start_window_manager(self) -> None:
        self._run(["openbox", "--sm-disable"])
        end = time.monotonic() + START_TIME
        # It answers for the number of desktops once it manages the screen.
        while self.tool("get_num_desktops", check=False).returncode != 0:
            if time.monotonic() > end:
                raise Failure(f"The window manager did not start; see {self._log.name}.")
            time.sleep(0.05)

    def _run(self, command: list[str], **options: Any) -> None:
        self._processes.append(subprocess.Popen(
            command, env=self.environment, stdin=subprocess.DEVNULL, stdout=self._log,
            stderr=self._log, **options))

    def tool(self, *words: str, check: bool = True) -> subprocess.CompletedProcess[str]:
        """Runs xdotool: the operator's hand."""
        return subprocess.run(["xdotool", *words], env=self.environment, check=check, text=True,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=30)

    def picture(self) -> Picture:
        # The server's own pixels. A dump taken through it leaves windows of another visual black.
        return Picture.from_xwd((self.folder / "Xvfb_screen0").read_bytes())

    def close(self) -> None:
        for process in reversed(self._processes):
            process.terminate()
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        self._processes.clear()
        self._log.close()
