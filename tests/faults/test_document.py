"""The document has every fault of the table, with a figure for every command."""

from __future__ import annotations

import re
import unittest
from pathlib import Path

import document
from commands import KINDS
from faults import ALWAYS, FAULTS

DOCUMENT = Path(__file__).resolve().parents[2] / "docs" / "faults.md"


class TestDocument(unittest.TestCase):

    def setUp(self) -> None:
        self.maxDiff = None
        self.text = DOCUMENT.read_text(encoding="utf-8")
        self.rows = [[cell.strip() for cell in line.strip("|\n").split("|")]
                     for line in re.findall(r"^\| .*$", self.text, re.M)
                     if not line.startswith(("| fault |", "| --- |"))]

    def test_every_fault(self) -> None:
        """In the table's order and sections, with what it says of each."""
        self.assertEqual([row[0] for row in self.rows], [fault.name for fault in FAULTS])
        self.assertEqual([row[-3:] for row in self.rows],
                         [document.row(fault, []).strip(" |").split(" | ")[-3:]
                          for fault in FAULTS])

    def test_every_figure(self) -> None:
        for row in self.rows:
            with self.subTest(row[0]):
                figures = row[1:-3]
                self.assertEqual(len(figures), len(KINDS))
                for value in figures:
                    self.assertRegex(value, r"^(\d+|\*\*.+\*\*)$")

    def test_written_by_a_run(self) -> None:
        """Nothing was written between the figures by hand."""
        played = re.search(r"^Played .*?$(?:\n.+$)*", self.text, re.M)
        assert played, self.text
        self.assertEqual(document.write(lambda fault, command: self.rows[fault][1 + command],
                                        played[0]), self.text)

    def test_names(self) -> None:
        """A row is called by its name, and those of the slice are rows."""
        names = [fault.name for fault in FAULTS]
        self.assertEqual(len(set(names)), len(names))
        self.assertEqual(set(ALWAYS) - set(names), set())


if __name__ == "__main__":
    unittest.main()
