"""The document of the fault matrix: written from a run, and read again by its test."""

from __future__ import annotations

import os
import re
import textwrap
from collections.abc import Callable
from pathlib import Path

from commands import COMMANDS, KINDS, Shown
from faults import FAULTS, Fault

LONG_GAP = 100.0  # ms; what is longer is listed

SHOWN = {Shown.GOOD: "good", Shown.EMPTY: "empty", Shown.HELD: "waits", Shown.ODD: "odd"}

PREFACE = """\
# Whatever goes wrong

Every fault of this page was done to every command of the real program, over real TLS. The numbers
are the longest time in milliseconds for which the window's event loop did not come round, from the
click to the end of what came of it. This page is written by a run of the whole matrix:

```sh
cmake --build build/dev --target fault-matrix-programs
sh build/dev/tests/faults/play --write docs/faults.md
```

`scripts/test` plays a slice with every fault in it, `scripts/test --all` the whole. A new fault is
a new row of `tests/faults/faults.py`.

## What holds in every cell

- The program goes on. No box opens but the question that belongs to the command, and the box
  "Error" of a login that failed, without a text where no answer came.
- The window is as the last three columns say. **good**: as after a good reply. **empty**: as after
  an empty one; a login fails, the list of groups is empty and the table stays, the table is empty
  and its count is (0), the dialog has no name, and a booking, a profile and a removal load the
  table again. **waits**: nothing ends it, and nothing blocks. Only what the click itself does is
  seen: the login's button is disabled; while trackers are asked for the table is empty, and for
  them, a booking and a profile the progress bar stays. **odd**: what could be read is shown, and no
  more is checked than that everything goes on.
- A post arrives once, or not at all, and never again later. A get may be repeated by the framework:
  it arrives as often as the last but one column says.
- While a request waits, and after everything else, all eight commands work in the same process, and
  the table shows what the service has: nothing is booked twice, nothing is lost. What waited ends
  when the server lets go.
- Nothing is sent anywhere else, no other name is looked up, no credentials are sent to who asks for
  them by status 401 or 407, and cookies that are foreign, expired or malformed do not come back.
- The password is neither in the log nor in the settings, and a failed login does not change the
  user that is kept.
"""

REMARKS = """\
## What the framework does

None of this is the program's own doing, and all of it is pinned.

- A get whose reply has no whole status line is sent four times in all before it reads as empty, and
  so is one whose status line is none. A post is not: its body refuses to be wound back. A removal
  is a get.
- A request is tied to a connection when that has been made. What waits for a server that does not
  answer is sent over the next connection that one of the later commands opens.
- Where the server closes the connection after a body without its end (no length, a length that is
  none, chunks without the last one), the body counts as whole.
- Of the replies 1xx only 100 is passed over. Any other is taken for the reply itself: empty.
- Status 401 for NTLM makes it ask a get once more on some connections and not on others, and open a
  conversation in NTLM's own way, naming neither user nor domain nor machine.
- Cookies and headers are compared each with each: twice as many take four times as long. 1,000
  cookies in one reply hold the window up for a seventh of a second.
- A text is laid out whole before it is shown, however little of it there is room for: one of 200 KB
  holds the window up for most of a second in a box.
- Qt 6 reads all headers of a reply or none of them: none where there are more than a hundred, where
  one has more than 100 KB or all have more than 256, and where the name of one is none. It then
  knows no length, so the command waits until the server closes the connection, and what came until
  then counts as the whole body. The rows of such replies **wait** there; what all others say is the
  same.
"""


def times(fault: Fault) -> str:
    """How often a get arrives, and a post."""
    gets = f"{fault.gets} or {fault.gets + fault.gets_vary}" if fault.gets_vary else fault.gets
    return f"{gets}, {fault.posts}"


def row(fault: Fault, figures: list[str]) -> str:
    return " | ".join([f"| {fault.name}", *figures, SHOWN[fault.get], SHOWN[fault.post],
                       f"{times(fault)} |"])


def figure(gap: float, deviation: str) -> str:
    return f"**{deviation.replace('|', '/')}**" if deviation else f"{gap:.0f}"


def long_gaps(figures: list[list[str]]) -> list[str]:
    """The list of the cells whose figure is above the limit."""
    found = [f"- {fault.section}, {fault.name}, {kind}: {value} ms"
             for fault, values in zip(FAULTS, figures) for kind, value in zip(KINDS, values)
             if value.isdigit() and int(value) > LONG_GAP]
    return found or ["None."]


def played(jobs: int, qt: str) -> str:
    """Where and how the figures were taken."""
    def first(path: str, pattern: str) -> str:
        try:
            match = re.search(pattern, Path(path).read_text(encoding="utf-8"), re.M)
        except OSError:
            match = None
        return match[1] if match else "unknown"

    system = first("/etc/os-release", r'^PRETTY_NAME="(.*)"$')
    processor = first("/proc/cpuinfo", r"^model name\s*: (.*)$")
    return textwrap.fill(
        f"Played by {jobs} clients at a time on {os.cpu_count()} cores ({processor}), {system}, "
        f"Qt {qt}, a debug build. A cell above {LONG_GAP:.0f} ms was played up to three times, and "
        "the smallest figure counts.", 100)


def write(figure_of: Callable[[int, int], str], what_played: str) -> str:
    """The document; figure_of takes the places of a fault and a command in their tables."""
    figures = [[figure_of(fault, command) for command in range(len(COMMANDS))]
               for fault in range(len(FAULTS))]
    lines = [PREFACE, what_played, ""]
    section = ""
    for fault, values in zip(FAULTS, figures):
        if fault.section != section:
            section = fault.section
            columns = ["fault", *KINDS, "a get", "a post", "arrivals: get, post"]
            lines += [f"## {section}", "", f"| {' | '.join(columns)} |",
                      "| --- |" + " ---: |" * len(KINDS) + " --- |" * 3]
        lines.append(row(fault, values))
        if fault is FAULTS[-1] or FAULTS[FAULTS.index(fault) + 1].section != section:
            lines.append("")
    lines += [f"## Longer than {LONG_GAP:.0f} ms", "", *long_gaps(figures), "", REMARKS]
    return "\n".join(lines).rstrip("\n") + "\n"
