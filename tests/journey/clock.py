"""The day on which the journey is played: the same one whenever and wherever that is."""

from __future__ import annotations

from pathlib import Path

# Time-outs are measured with the clock that nobody sets. The library takes them for moments of the
# other one unless it is told not to: then each wait with a time-out ends at once, even the
# program's last, for its network thread.
UNTOUCHED_WAITS = {"FAKETIME_DONT_FAKE_MONOTONIC": "1", "FAKETIME_FORCE_MONOTONIC_FIX": "0"}


class Clock:
    """Lets the processes that it is given to begin on one morning; their time runs on from there."""

    today = "2026-03-11"  # what is done, running and pending in the sandbox hangs on it

    def __init__(self, library: Path) -> None:
        self._library = library

    def environment(self, preload: str = "") -> dict[str, str]:
        """What to add to a process's environment, with a library of its own to load first."""
        return {
            "LD_PRELOAD": f"{preload}:{self._library}" if preload else str(self._library),
            "FAKETIME": f"@{self.today} 06:00:00",
            **UNTOUCHED_WAITS,
        }
