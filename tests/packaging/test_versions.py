"""The build's version, its day and its licence in every paper that names them."""

from __future__ import annotations

import os
import re
import unittest
import xml.etree.ElementTree
from email.utils import parsedate_to_datetime
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
VERSION = os.environ["VELTRANO_VERSION"]


def text(name: str) -> str:
    return (ROOT / name).read_text(encoding="utf-8")


class TestVersions(unittest.TestCase):

    def setUp(self) -> None:
        # The newest heading; what is not released yet has none with a number.
        found = re.search(r"^## (\d\S*) \((\d{4}-\d\d-\d\d)\)$", text("CHANGELOG.md"), re.M)
        assert found, "CHANGELOG.md has no heading with a version and a day"
        self.version, self.day = found[1], found[2]

    def test_changelog(self) -> None:
        self.assertEqual(self.version, VERSION)

    def test_metainfo(self) -> None:
        name = "packaging/example.quillmora.veltrano.metainfo.xml"
        release = xml.etree.ElementTree.fromstring(text(name)).find("releases/release")
        assert release is not None, name
        self.assertEqual(release.attrib, {"version": VERSION, "date": self.day})

    def test_debian_changelog(self) -> None:
        newest = re.match(r"veltrano \((\S+)\) .*?^ -- .*?>  (.*?)$", text("debian/changelog"),
                          re.M | re.S)
        assert newest, "debian/changelog has no entry that is signed"
        self.assertEqual(newest[1], VERSION)
        self.assertEqual(parsedate_to_datetime(newest[2]).date().isoformat(), self.day)

    def test_manual_pages(self) -> None:
        for program in ("veltrano", "veltrano-sandbox"):
            with self.subTest(program):
                page = text(f"packaging/{program}.1")
                title = program.upper().replace("-", r"\-")
                self.assertIn(f'\n.TH {title} 1 {self.day} "Veltrano {VERSION}" "User Commands"\n',
                              page)

    def test_licence(self) -> None:
        """There is none until the owner chooses one, and then it stands in all three."""
        metainfo = text("packaging/example.quillmora.veltrano.metainfo.xml")
        self.assertEqual(re.findall(r"<\w+_license>([^<]+)<", metainfo), ["LicenseRef-proprietary"] * 2)
        self.assertEqual(re.findall("^License: (.*)$", text("debian/copyright"), re.M),
                         ["LicenseRef-proprietary"])
        self.assertIn("\n## Licence\n\nThe owner has not chosen one yet;", text("README.md"))


if __name__ == "__main__":
    unittest.main()
