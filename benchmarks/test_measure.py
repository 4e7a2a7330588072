"""The benchmarks run, what they print is read, and the document says what they printed."""

from __future__ import annotations

import os
import re
import subprocess
import tempfile
import unittest
from collections import Counter
from pathlib import Path

import instructions
import measure

MEASURE = os.environ["VELTRANO_MEASURE"]
QT_VERSION = os.environ["VELTRANO_QT_VERSION"]
DOCUMENT = Path(__file__).resolve().parents[1] / "docs" / "speed.md"

TABLE = """\
| milliseconds, min / median / max | trackers | program | bare work | ratio |
| --- | ---: | ---: | ---: | ---: |
| reply to shown table | 10000 | 190.1 / 195.5 / 210.0 | 150.0 / 151.0 / 160.2 | 1.29 |
| first scan of a table, its last row, to tick | 10000 | 20.0 / 25.1 / 26.0 | 0.700 / 0.8 / 1.1 | 31 |
| start of the process to first paint | - | 60.1 / 61.0 / 70.2 | - | - |
"""

DUMP = """\
desc: Trigger: Client Request: program
ob=(1) bench_table
fn=(1) MainWindow::onGetTrackersResult()
10 100
cob=(2) libQt5Core.so
cfn=(2) QJsonDocument::fromJson(QByteArray const&, QJsonParseError*)
calls=1 0
11 4000
cfn=(3) (anonymous namespace)::setTrackerRow(QStandardItemModel*, int)
calls=1 0
12 600
fn=(3)
+1 50
cob=(3) libQt5Gui.so
cfn=(4) QStandardItemModel::setItem(int, int, QStandardItem*)
calls=5 0
* 550
ob=(3)
fn=(4)
20 550
cfn=(5) QDebug::putByteArray(char const*)
calls=1 0
21 7
totals: 5000
"""


class TestRun(unittest.TestCase):
    """The smallest run of all programs."""

    output: str
    code: int
    document: str

    @classmethod
    def setUpClass(cls) -> None:
        with tempfile.TemporaryDirectory(prefix="veltrano-measure-") as folder:
            file = Path(folder) / "speed.md"
            done = subprocess.run(
                ["sh", MEASURE, "--sizes", "100", "--runs", "1", "--no-profile", "--check",
                 "--write", str(file)],
                text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
            cls.output, cls.code = done.stdout, done.returncode
            if not file.exists():
                raise AssertionError(f"no document was written:\n{cls.output}")
            cls.document = file.read_text(encoding="utf-8")

    def test_every_program_printed_rows(self) -> None:
        for name, title, _ in measure.SECTIONS:
            with self.subTest(name):
                section = self.document.partition(f"## {title}\n")[2].partition("\n## ")[0]
                if "does not count the heap" in section:
                    continue
                rows = measure.rows_of(section)
                self.assertTrue(rows, self.output)
                self.assertTrue(all(row.median > 0 for row in rows), section)

    def test_ratios_where_there_is_bare_work(self) -> None:
        ratios = {row.what for row in measure.rows_of(self.document) if row.ratio is not None}
        self.assertLessEqual({"reply to shown table", "old table freed",
                              "first scan of a table, its last row, to tick",
                              "later scan, all over it, to tick", "Select All to repaint",
                              "Select none to repaint", "start of the process to first paint"},
                             ratios, self.output)

    def test_a_limit_that_was_not_measured_is_not_met(self) -> None:
        self.assertEqual(self.code, 1, self.output)
        for limit in measure.LIMITS:
            self.assertRegex(self.output, rf"Not shown: {re.escape(limit.what)}, {limit.trackers} ")
        self.assertEqual(self.document.count("| not measured |"), len(measure.LIMITS))

    def test_the_machine_is_named(self) -> None:
        words = " ".join(self.document.split())
        self.assertRegex(words, r"Measured on \d{4}-\d\d-\d\d: .*, \d+ cores, [\d.]+ GiB of memory,"
                                r" load [\d.]+ before the run; .*, kernel .*; "
                                rf"Qt {re.escape(QT_VERSION)}, \w+ [\d.]+, build type \w*, "
                                r"platform offscreen\.")
        self.assertRegex(QT_VERSION, r"^[56]\.\d+\.\d+$")


class TestFigures(unittest.TestCase):

    def test_rows(self) -> None:
        self.assertEqual(
            measure.rows_of(TABLE),
            [measure.Row("reply to shown table", 10000, 195.5, 1.29),
             measure.Row("first scan of a table, its last row, to tick", 10000, 25.1, 31.0),
             measure.Row("start of the process to first paint", 0, 61.0, None)])

    def test_limits(self) -> None:
        rows = measure.rows_of(TABLE)
        self.assertEqual([limit.is_met(rows) for limit in measure.LIMITS], [True, False])
        self.assertEqual([limit.is_met(rows[1:]) for limit in measure.LIMITS], [False, False])
        verdicts = [line.split(" | ")[-1] for line in measure.limits_table(rows)[2:]]
        self.assertEqual(verdicts, ["met |", "**missed** |"])

    def test_instructions_by_what_is_called(self) -> None:
        """The program's own functions are looked into, the framework's are not."""
        found = instructions.grouped(instructions.read(DUMP))
        self.assertEqual({name: cost for name, cost in found.items() if cost},
                         {"the body parsed": 4000, "items placed, and who listens": 550,
                          instructions.REST: 150, instructions.VIEW: 300})

    def test_table_of_instructions(self) -> None:
        column = Counter({"the body parsed": 3_000_000, instructions.VIEW: 1_000_000})
        bare = Counter({"the body parsed": 2_000_000})
        lines = instructions.table({"program": column, "bare work": bare})
        self.assertIn("| the body parsed | 3 | 75.0 % | 2 | 100.0 % |", lines)
        self.assertEqual(lines[-1], "Ratio of the instructions: 2.00.")


class TestDocument(unittest.TestCase):
    """What is in docs/speed.md was written by a whole run."""

    def setUp(self) -> None:
        self.text = DOCUMENT.read_text(encoding="utf-8")

    def test_sections(self) -> None:
        self.assertTrue(self.text.startswith(measure.PREFACE))
        for _, title, text in measure.SECTIONS:
            self.assertEqual(self.text.count(f"## {title}\n\n{text}\n\n| "), 1, title)
        self.assertEqual(self.text.count(f"\n\n{measure.PROFILE_PREFACE}\n\n| "), 1)
        self.assertEqual(" ".join(self.text.split()).count("build type Release"), 1)

    def test_limits(self) -> None:
        """They are those of today, with the figures of the tables below them."""
        table = "\n".join(measure.limits_table(measure.rows_of(self.text)))
        self.assertEqual(self.text.count(table), 1, table)
        self.assertEqual(self.text.count("not measured"), 0)

    def test_sizes(self) -> None:
        sizes = {row.trackers for row in measure.rows_of(self.text)
                 if row.what == "reply to shown table"}
        self.assertEqual(sizes, {100, 1000, 10000, 100000})


if __name__ == "__main__":
    unittest.main()
