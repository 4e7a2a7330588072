"""Where the table's time goes: instructions that callgrind counts, by what the program calls."""

from __future__ import annotations

import re
import subprocess
import tempfile
from collections import Counter
from dataclasses import dataclass, field
from pathlib import Path

ROOTS = {"program": "MainWindow::onGetTrackersResult()",
         "bare work": "buildBareTable(QStandardItemModel*, QByteArray const&)"}

# The first that matches a call counts; what the program calls itself is looked into.
GROUPS = [("the body written to the log", r"QDebug::putByteArray"),
          ("the periods written to the log", r"QTextStream::|QDebug::|QMessageLogger::"),
          ("the body parsed", r"QJsonDocument::fromJson"),
          ("members looked up and read",
           r"QJson(Object|Value|Array)::|QString::(fromAscii_helper|toInt)"),
          ("items made", r"QStandardItem::QStandardItem|operator new"),
          ("items placed, and who listens",
           r"::setItem\(|QStandardItem::(insert|append|set(Child|Row))"),
          ("roles and flags set", r"QStandardItem::set|QIcon::operator QVariant"),
          ("the fifth column", r"::setHorizontalHeaderLabels")]
REST = "all else in the slot"
VIEW = "layout, paint and event loop"


@dataclass
class Profile:
    """One file that callgrind dumped."""
    trigger: str = ""
    total: int = 0
    own_costs: Counter[str] = field(default_factory=Counter)  # without calls, by function
    calls: Counter[tuple[str, str]] = field(default_factory=Counter)
    objects: dict[str, str] = field(default_factory=dict)  # a function's


def read(text: str) -> Profile:
    """Callgrind's format: names are written out once and are numbers later."""
    profile = Profile()
    names: dict[tuple[str, str], str] = {}

    def name(kind: str, value: str) -> str:
        number, _, written = value.partition(" ")
        if written:
            names[kind, number] = written
        return names[kind, number]

    holder = function = callee_holder = callee = ""
    is_call = False
    for line in text.splitlines():
        key, equals, value = line.partition("=")
        if line.startswith("desc: Trigger: Client Request: "):
            profile.trigger = line.rpartition("Request: ")[2]
        elif line.startswith("totals: "):
            profile.total = int(line.split()[1])
        elif equals and key == "ob":
            holder = callee_holder = name("ob", value)
        elif equals and key == "cob":
            callee_holder = name("ob", value)
        elif equals and key == "fn":
            function, callee_holder = name("fn", value), holder
            profile.objects[function] = holder
        elif equals and key == "cfn":
            callee = name("fn", value)
            profile.objects.setdefault(callee, callee_holder)
            callee_holder = holder
        elif equals and key == "calls":
            is_call = True
        elif re.match(r"[-+*\d]\S* \d+$", line):
            cost = int(line.split()[1])
            if is_call:
                profile.calls[function, callee] += cost
            else:
                profile.own_costs[function] += cost
            is_call = False
    return profile


def group_of(function: str) -> str:
    return next((name for name, pattern in GROUPS if re.search(pattern, function)), REST)


def grouped(profile: Profile) -> Counter[str]:
    """Instructions by group; what lies outside the root is the view's."""
    root = ROOTS[profile.trigger]
    program = profile.objects[root]
    found: Counter[str] = Counter()
    seen, open_ones = set(), [root]
    while open_ones:
        function = open_ones.pop()
        if function in seen:
            continue
        seen.add(function)
        found[REST] += profile.own_costs[function]
        for (caller, callee), cost in profile.calls.items():
            if caller == function and profile.objects[callee] == program:
                open_ones.append(callee)
            elif caller == function:
                found[group_of(callee)] += cost
    found[VIEW] = profile.total - sum(found.values())
    return found


def table(columns: dict[str, Counter[str]]) -> list[str]:
    def share(column: Counter[str], name: str) -> str:
        return f"{column[name] / 1e6:.0f} | {100 * column[name] / sum(column.values()):.1f} %"

    lines = ["| millions of instructions | program | share | bare work | share |",
             "| --- | ---: | ---: | ---: | ---: |"]
    for name in [*(name for name, _ in GROUPS), REST, VIEW]:
        lines.append(f"| {name} | {share(columns['program'], name)} | "
                     f"{share(columns['bare work'], name)} |")
    sums = [sum(columns[kind].values()) for kind in ("program", "bare work")]
    lines.append(f"| all | {sums[0] / 1e6:.0f} | 100 % | {sums[1] / 1e6:.0f} | 100 % |")
    return [*lines, "", f"Ratio of the instructions: {sums[0] / sums[1]:.2f}."]


def profile_table(valgrind: str, program: Path, trackers: int) -> list[str]:
    """The table of a run under callgrind, which counts only where the program asks it to."""
    with tempfile.TemporaryDirectory(prefix="veltrano-profile-") as folder:
        subprocess.run([valgrind, "--tool=callgrind", "--collect-atstart=no",
                        f"--callgrind-out-file={folder}/out", str(program),
                        "--sizes", str(trackers), "--runs", "1"],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
        dumps = [read(path.read_text(encoding="utf-8")) for path in Path(folder).glob("out.*")]
    columns = {dump.trigger: grouped(dump) for dump in dumps}
    if set(columns) != set(ROOTS):
        return ["The benchmarks were built without Valgrind's headers: no profile."]
    return table(columns)
