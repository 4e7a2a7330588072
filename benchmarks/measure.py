"""Runs the benchmarks of a build and writes the document of their figures."""

from __future__ import annotations

import argparse
import datetime
import os
import platform
import re
import shutil
import subprocess
import sys
import textwrap
from dataclasses import dataclass
from pathlib import Path

import instructions

PROFILED = 10000  # trackers

PREFACE = """\
# How fast it is

How long an operator waits, and how much of that no client could save. Written on a quiet machine
by one command, which builds the release first:

```sh
scripts/measure
```

A **ratio** is that of the medians. The program and the **bare work** take turns in the same run, so
that what else the machine does hits both. What the bare work is stands above each table. Every
tracker has three periods.
"""

SECTIONS = [
    ("bench_table", "From a reply to the shown table", """\
From the finished reply to the painted table; the transfer is in neither. The bare work writes the
same lines to the same log, parses the body, reads each member once and puts the same items into a
model that no view looks at, by the same calls in the same order. An older table is freed when the
new one is asked for, which is a row of its own."""),
    ("bench_heap", "What a table keeps", """\
Bytes of the heap that go when the table goes, for each tracker with its three periods, against the
bare work's model."""),
    ("bench_selection", "Ticks and scans", """\
From the click, or from the signal that carries the serial number, to the painted tick. The bare
work is the same walk with the same calls over a model that no view looks at; what it cannot have is
the repaint of the visible rows, about a millisecond. The view measures rows that it has not seen
yet when it first passes them: the first scan of a table is of its last row."""),
    ("bench_booking", "A booking", """\
From the Yes to the table that was loaded again: two requests to a service on the same machine."""),
    ("bench_startup", "The start", """\
From before the process is made to its first paint. The bare work is a program that only makes the
framework's calls, with the same form and the same libraries: `benchmarks/bare_startup.cpp`."""),
]

PROFILE_PREFACE = f"""\
From the finished reply to the painted table with {PROFILED:,} trackers, as callgrind counts; what
the framework does inside a call is the call's. Instructions are the same on a busy machine, but
they are no times: the fifth column is put into a table that has its rows already, which moves all
that follows once for each row, so its share of the time is larger, and grows with the square."""


@dataclass
class Row:
    """One line of a benchmark's table."""
    what: str
    trackers: int
    median: float
    ratio: float | None


@dataclass
class Limit:
    """What is wanted of the row."""
    what: str
    trackers: int
    most: float
    of_ratio: bool

    def measured(self, rows: list[Row]) -> float | None:
        for row in rows:
            if (row.what, row.trackers) == (self.what, self.trackers):
                return row.ratio if self.of_ratio else row.median
        return None

    def is_met(self, rows: list[Row]) -> bool:
        value = self.measured(rows)
        return value is not None and value <= self.most

    def text(self, value: float) -> str:
        return f"{value:.2f} × the bare work" if self.of_ratio else f"{value:.1f} ms"


LIMITS = [Limit("reply to shown table", 10000, 1.3, True),
          Limit("first scan of a table, its last row, to tick", 10000, 25.0, False)]


def rows_of(output: str) -> list[Row]:
    """The rows of Markdown tables with the benchmarks' columns."""
    found = []
    for what, trackers, program, ratio in re.findall(
            r"^\| (\S.*?) \| (\d+|-) \| ([\d.]+ / [\d.]+ / [\d.]+) \| [^|]+ \| ([\d.]+|-) \|$",
            output, re.M):
        found.append(Row(what, 0 if trackers == "-" else int(trackers),
                         float(program.split(" / ")[1]), None if ratio == "-" else float(ratio)))
    return found


def limits_table(rows: list[Row]) -> list[str]:
    lines = ["| wanted | trackers | at most | measured | |", "| --- | ---: | ---: | ---: | --- |"]
    for limit in LIMITS:
        value = limit.measured(rows)
        measured = "-" if value is None else limit.text(value)
        verdict = "not measured" if value is None else "met" if limit.is_met(rows) else "**missed**"
        lines.append(f"| {limit.what} | {limit.trackers} | {limit.text(limit.most)} | "
                     f"{measured} | {verdict} |")
    return lines


def command_output(*command: str) -> str:
    try:
        return subprocess.run(command, text=True, capture_output=True, check=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return ""


def first(path: str, pattern: str) -> str:
    """The pattern's group in a file of the system's, or nothing."""
    try:
        match = re.search(pattern, Path(path).read_text(encoding="utf-8"), re.M)
    except OSError:
        match = None
    return match[1] if match else ""


def memory() -> str:
    try:
        return f"{os.sysconf('SC_PAGE_SIZE') * os.sysconf('SC_PHYS_PAGES') / 2**30:.1f} GiB"
    except (OSError, ValueError):
        return "unknown"


def machine(options: argparse.Namespace) -> str:
    processor = (first("/proc/cpuinfo", r"^model name\s*: (.*)$") or
                 command_output("sysctl", "-n", "machdep.cpu.brand_string") or platform.machine())
    system = first("/etc/os-release", r'^PRETTY_NAME="(.*)"$') or platform.system()
    return textwrap.fill(
        f"Measured on {datetime.date.today().isoformat()}: {processor}, {os.cpu_count()} cores, "
        f"{memory()} of memory, load {os.getloadavg()[0]:.1f} before the run; {system}, kernel "
        f"{platform.release()}; Qt {options.qt}, {options.compiler}, build type {options.build}, "
        f"platform {os.environ['QT_QPA_PLATFORM']}.", 100)


def run(program: Path, options: argparse.Namespace) -> str:
    command = [str(program)]
    if options.sizes:
        command += ["--sizes", options.sizes]
    if options.runs:
        command += ["--runs", str(options.runs)]
    environment = dict(os.environ)
    if program.name == "bench_heap":
        # The C library counts what it keeps at hand for each thread as in use.
        environment["GLIBC_TUNABLES"] = "glibc.malloc.tcache_count=0"
    print(f"== {program.name}", flush=True)
    output = subprocess.run(command, text=True, stdout=subprocess.PIPE, env=environment,
                            check=True).stdout
    print(output, flush=True)
    return output.strip()


def profile_section(options: argparse.Namespace) -> list[str]:
    valgrind = shutil.which("valgrind")
    if options.no_profile or not valgrind:
        return []
    print("== profile", flush=True)
    lines = instructions.profile_table(valgrind, options.programs / "bench_table", PROFILED)
    print("\n".join(lines), flush=True)
    return ["## Where a rebuild's time goes", "", PROFILE_PREFACE, "", *lines, ""]


def parse_options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", type=Path, required=True, help="folder of the benchmarks")
    parser.add_argument("--qt", required=True, help="the framework's version")
    parser.add_argument("--compiler", required=True)
    parser.add_argument("--build", required=True, help="the build type")
    parser.add_argument("--write", type=Path, required=True, metavar="FILE")
    parser.add_argument("--check", action="store_true",
                        help="fail where a wanted limit is missed; only on a quiet machine")
    parser.add_argument("--sizes", help="trackers in the tables, with commas between")
    parser.add_argument("--runs", type=int, help="how often each is measured")
    parser.add_argument("--no-profile", action="store_true", help="do not count instructions")
    return parser.parse_args()


def main() -> int:
    options = parse_options()
    os.environ.setdefault("QT_QPA_PLATFORM", "offscreen")
    where = machine(options)  # before the load is its own
    rows: list[Row] = []
    sections = []
    for name, title, text in SECTIONS:
        output = run(options.programs / name, options)
        rows += rows_of(output)
        sections += [f"## {title}", "", text, "", output, ""]
    sections += profile_section(options)
    lines = [PREFACE, where, "", "## What is wanted", "", *limits_table(rows), "", *sections]
    options.write.write_text("\n".join(lines).rstrip("\n") + "\n", encoding="utf-8")
    missed = [limit for limit in LIMITS if not limit.is_met(rows)]
    for limit in missed:
        print(f"Not shown: {limit.what}, {limit.trackers} trackers, at most "
              f"{limit.text(limit.most)}.")
    return 1 if options.check and missed else 0


if __name__ == "__main__":
    sys.exit(main())
