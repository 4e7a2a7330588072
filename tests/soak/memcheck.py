"""Runs the client under Valgrind's memcheck, and says what that found."""

from __future__ import annotations

import xml.etree.ElementTree as xml
from pathlib import Path

REPORT = "memcheck.xml"
LOST = "Leak_DefinitelyLost"
CLIENT = "veltrano"
SHOWN_FRAMES = 14


def command(folder: Path) -> list[str]:
    return ["valgrind", "--tool=memcheck", "--num-callers=40", "--leak-check=full",
            "--show-leak-kinds=definite", "--errors-for-leak-kinds=definite",
            "--child-silent-after-fork=yes", "--xml=yes", f"--xml-file={folder / REPORT}"]


def report(folder: Path) -> int:
    """Prints every finding with its stack; how many of them are not the framework's own."""
    ours = 0
    errors = xml.parse(folder / REPORT).getroot().findall("error")
    for error in errors:
        what = error.findtext("what") or error.findtext("xwhat/text") or ""
        frames = [(frame.findtext("fn") or frame.findtext("ip") or "",
                   (frame.findtext("obj") or "").rpartition("/")[2])
                  for frame in error.findall("stack")[0]]
        # What is lost below main() alone was never in the client's hands.
        framework = error.findtext("kind") == LOST and all(
            function == "main" for function, library in frames if library == CLIENT)
        ours += not framework
        print(f"\n{error.findtext('kind')}{', the framework alone' if framework else ''}: {what}")
        for function, library in frames[:SHOWN_FRAMES]:
            print(f"    {library}: {function}")
    print(f"\n{len(errors)} findings, {ours} of them not the framework's alone.")
    return ours
