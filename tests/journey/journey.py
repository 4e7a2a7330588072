#!/usr/bin/env python3
"""A day's work of an operator, played with mouse and keyboard on the real client.

Each step acts, then holds what the window shows against what the sandbox's database says, and
leaves a picture of the window."""

from __future__ import annotations

import argparse
import json
import re
import shutil
import signal
import socket
import sys
import tempfile
import time
from collections.abc import Callable
from dataclasses import replace
from pathlib import Path

import command_steps as commands
import failure_steps as failures
import keyboard_steps as keyboard
import reader_steps as reader
import screen_steps as screens
import session_steps as session
from clientprocess import Failure
from day import Day
from screen import Look

# What the operator's screen is made with, and the Debian package that has it.
TOOLS = {"Xvfb": "xvfb", "openbox": "openbox", "xdotool": "xdotool",
         "xrdb": "x11-xserver-utils", "umockdev-wrapper": "umockdev"}

Steps = list[tuple[str, Callable[[Day], None]]]

DAY: Steps = [
    # The title names the step's picture, too.
    ("First start", session.first_start),
    ("Wrong password", session.wrong_password),
    ("Box closed", session.box_closed),
    ("Log in with Return", session.log_in_with_return),
    ("Second group", session.second_group),
    ("Expanded tracker", session.expanded_tracker),
    ("Tool tip", session.tool_tip),
    ("Ticked by hand", commands.tick_by_hand),
    ("Select All", commands.select_all),
    ("Select none", commands.select_none),
    ("Scanned", reader.scan),
    ("Unplugged", reader.unplug),
    ("Plugged in again", reader.plug_in_again),
    ("Question answered No", commands.answer_no),
    ("Question", commands.ask_to_schedule),
    ("Scheduled", commands.schedule),
    ("Extended profile", commands.extend_profile),
    ("Normal profile", commands.normal_profile),
    ("Menu of a done period", commands.menu_of_done_period),
    ("Menu of a pending period", commands.menu_of_pending_period),
    ("Removed", commands.remove),
    ("Details", commands.open_details),
    ("Saved name", commands.save_name),
    ("Refreshed", commands.refresh),
    ("Session expired", session.session_expired),
    ("Logged in again", session.log_in_again),
    ("Log out", session.log_out),
    ("Log in with the button", session.log_in_with_button),
    ("Quit", session.quit_client),
    ("Second start", session.second_start),
]


KEYBOARD_DAY: Steps = [
    ("Start", keyboard.start),
    ("Log in", keyboard.log_in),
    ("Every widget", keyboard.every_widget),
    ("Second group", keyboard.second_group),
    ("Expanded tracker", keyboard.expand),
    ("Ticked", keyboard.tick),
    ("Scheduled", keyboard.schedule),
    ("Extended profile", keyboard.extend_profile),
    ("Removed", keyboard.remove),
    ("Saved name", keyboard.rename),
    ("Refreshed", keyboard.refresh),
    ("Log out", keyboard.log_out),
    ("Quit", keyboard.quit_client),
    ("Second start", keyboard.second_start),
]

# What is played, and on what kind of screen.
JOURNEYS: dict[str, tuple[Steps, Look]] = {
    "day": (DAY, Look()),
    "keyboard": (KEYBOARD_DAY, Look()),
    "failures": (failures.STEPS, Look()),
    "dense-screen": (screens.steps(screens.check_dense), Look(dpi=192)),
    # Between the factors: the next one is taken, and the window is as it is on the screen above.
    "half-dense-screen": (screens.steps(screens.check_dense), Look(dpi=144)),
    "large-font": (screens.steps(screens.check_large_font),
                   Look(width=1024, height=768, font_points=14)),
}


def play(day: Day, steps: Steps) -> bool:
    """Plays the steps one after the other until one fails."""
    for number, (title, function) in enumerate(steps, 1):
        name = f"{number:02}-{re.sub('[^a-z0-9]+', '-', title.lower())}"
        start = time.monotonic()
        print(f"{number:2}/{len(steps)}  {title:26}", end="", flush=True)
        try:
            function(day)
            if day.client is not None:
                day.picture(name)
        except Failure as failure:
            print("FAILED")
            print(f"  {failure}")
            keep_evidence(day, name)
            return False
        print(f"{time.monotonic() - start:5.1f} s", flush=True)
    return True


def keep_evidence(day: Day, name: str) -> None:
    """What helps to understand a failure: the screen, what the probe saw, the logs."""
    day.screen.picture().save(day.pictures / f"{name}-failed.png")
    if day.client is not None:
        try:
            report = json.dumps(day.client.see().report, indent=1, ensure_ascii=False)
            (day.pictures / f"{name}-failed.json").write_text(report, encoding="utf-8")
        except Failure as failure:
            print(f"  {failure}")
    for log in day.folder.glob("*.log"):
        shutil.copy(log, day.pictures)
    print(f"  The screen at that moment, what was in the window, and the logs: {day.pictures}")


def check_tools() -> None:
    missing = [package for tool, package in TOOLS.items() if shutil.which(tool) is None]
    if missing:
        raise Failure("The journey needs the Debian packages " + " ".join(missing) + ".")


def check_port(port: int) -> None:
    with socket.socket() as listener:
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            listener.bind(("127.0.0.1", port))
        except OSError as error:
            raise Failure(f"Port {port}, which this build's client asks, is taken: another journey "
                          "of this build may be running.") from error


def read_options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--client", type=Path, required=True, help="the client's executable")
    parser.add_argument("--probe", type=Path, required=True, help="the library that looks into it")
    parser.add_argument("--sandbox", type=Path, required=True, help="the sandbox's executable")
    parser.add_argument("--sandbox-folder", type=Path, required=True,
                        help="where the sandbox has the CA that the client trusts")
    parser.add_argument("--clock", type=Path, required=True,
                        help="the library that sets a process's clock")
    parser.add_argument("--reader", type=Path, required=True,
                        help="the program that emulates the barcode reader")
    parser.add_argument("--port", type=int, required=True, help="the port that the client asks")
    parser.add_argument("--pictures", type=Path, required=True, help="where the pictures go")
    parser.add_argument("--journey", choices=list(JOURNEYS), default="day", help="what is played")
    parser.add_argument("--scale", type=int, default=1, help="screen pixels per window pixel")
    return parser.parse_args()


def main() -> int:
    # Ended from outside it still ends all that it has started.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    options = read_options()
    options.pictures.mkdir(parents=True, exist_ok=True)
    for old in options.pictures.glob("[0-9][0-9]-*.*"):
        old.unlink()
    try:
        check_tools()
        check_port(options.port)
        with tempfile.TemporaryDirectory(prefix="veltrano-journey-") as folder:
            steps, look = JOURNEYS[options.journey]
            day = Day(options, Path(folder), replace(look, scale=options.scale))
            try:
                succeeded = play(day, steps)
            finally:
                day.close()
    except Failure as failure:
        print(f"The journey could not be played: {failure}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 130
    print(f"Pictures: {options.pictures}")
    return 0 if succeeded else 1


if __name__ == "__main__":
    sys.exit(main())
