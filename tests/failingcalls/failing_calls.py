#!/usr/bin/env python3
"""Plays a short day on the client, again and again, and each time lets one call of the system's
fail: the first, the second, and so on, of each function in its turn.

The day: start, log in, look at the first group, tick a tracker, book it, close the window. The heap
is checked and filled with noise by the C library's own means. Whatever fails, the client must come
to its end in time, its heap must stay whole, its settings must stay readable, and a crash must not
be one of the client's own code. How the framework takes it is counted.

A function that is called more often than --most says is called from fewer places: of each place,
that is of each ten innermost frames, the first call is tried, and of more places than that so many,
evenly spread over the day.

exit codes: 0 all is as it must be, 1 something is not"""

from __future__ import annotations

import argparse
import errno
import socket
import sys
import tempfile
from collections import defaultdict
from dataclasses import dataclass
from pathlib import Path

from sandbox import Sandbox
from shortday import Day

# What is refused, and how.
CALLS = {
    "open": [errno.EMFILE], "read": [errno.EIO], "write": [errno.ENOSPC],
    "socket": [errno.EMFILE], "connect": [errno.ECONNREFUSED, errno.ENETUNREACH],
    "getaddrinfo": [socket.EAI_AGAIN], "pthread_create": [errno.EAGAIN],
    "alloc": [errno.ENOMEM],
}


def error_name(call: str, error: int) -> str:
    return "EAI_AGAIN" if call == "getaddrinfo" else errno.errorcode[error]


def chosen(callers: list[list[int]], most: int) -> list[int]:
    """The calls that are refused."""
    calls = [number for numbers in callers for number in numbers]
    if len(calls) > most:
        calls = [numbers[0] for numbers in callers]
    calls.sort()
    if len(calls) > most:
        calls = [calls[round(step * (len(calls) - 1) / max(most - 1, 1))] for step in range(most)]
    return calls


@dataclass(frozen=True)
class Class:
    """What happened, to how many calls, and by whom those were made."""

    what: str
    caller: str


def refuse(day: Day, call: str, error: int, most: int) -> tuple[int, int]:
    """Calls of a function; how many were tried, and how many findings there are."""
    callers = day.callers(call)
    tried = chosen(callers, most)
    outcomes: dict[Class, list[int]] = defaultdict(list)
    findings = 0
    print(f"\n{call}, {error_name(call, error)}: {sum(map(len, callers))} calls from "
          f"{len(callers)} places, {len(tried)} refused", flush=True)
    for number in tried:
        end = day.play(call, number, error)
        outcomes[Class(end.what, end.culprit)].append(number)
        for finding in end.findings:
            findings += 1
            print(f"  FINDING at call {number}: {finding}", flush=True)
            print("    " + "\n    ".join(end.stack[:30]), flush=True)
    for outcome, found in sorted(outcomes.items(), key=lambda item: (item[0].what, -len(item[1]))):
        print(f"  {len(found):4}  {outcome.what:32} {outcome.caller}  "
              f"({', '.join(map(str, found[:4]))}{', …' if len(found) > 4 else ''})")
    return len(tried), findings


def parse() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    for name in ("client", "probe", "library", "malloc-debug", "debugger", "sandbox"):
        parser.add_argument(f"--{name}", type=Path, required=True)
    parser.add_argument("--most", type=int, default=40, help="calls of a function")
    parser.add_argument("--most-allocations", type=int, default=200)
    parser.add_argument("--only", choices=CALLS, action="append", help="this function")
    parser.add_argument("--number", type=int, help="this call of the function")
    return parser.parse_args()


def main() -> int:
    options = parse()
    tried = findings = 0
    with tempfile.TemporaryDirectory(prefix="veltrano-failing-calls-") as folder:
        sandbox = Sandbox(options.sandbox, Path(folder))
        try:
            day = Day(options, sandbox, Path(folder))
            for call in options.only or CALLS:
                most = options.most_allocations if call == "alloc" else options.most
                for error in CALLS[call]:
                    if options.number:
                        print("\n".join(day.play(call, options.number, error).lines()))
                        continue
                    more = refuse(day, call, error, most)
                    tried, findings = tried + more[0], findings + more[1]
        finally:
            sandbox.end()
    print(f"\n{tried} calls refused, {findings} findings.")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
